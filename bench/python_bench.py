"""What a clock costs a Python test: entering and leaving it beside freezegun's, with 10 and with 1,000 modules more, a
reading inside it beside one outside, and 2,000 marked tests beside bare ones, whose floor is what the library's two
calls cost there. To be run under zynov-sim."""
import os
import statistics
import subprocess
import sys
import tempfile
import time
import types
from datetime import datetime, timezone

import freezegun
import orvane

END = datetime(2038, 1, 19, 3, 14, tzinfo=timezone.utc)
TESTS = """
import pytest
%s
@pytest.mark.parametrize("n", range(2000))
def test_it(n):
    pass
"""
MARK = "pytestmark = pytest.mark.orvane('2038-01-19 03:14')"
TWO_CALLS = """
import pytest
from orvane import _library as lib
add, delete = lib.request_for(lib.ADD, None), lib.request_for(lib.DELETE, None)
add.time_form, add.virtime, add.refined.what = lib.ABSOLUTE, 2147483640, lib.DESCENDANTS
@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_protocol():
    lib.load().process(*add.places())
    yield
    lib.load().process(*delete.places())
    delete.drop_message()
"""


def load_modules(first, end):
    for i in range(first, end):
        module = types.ModuleType("loaded_%d" % i)
        module.datetime, module.time, module.sleep = datetime, time.time, time.sleep
        sys.modules[module.__name__] = module


def with_orvane():
    with orvane.clock(END):
        pass


def with_freezegun():
    with freezegun.freeze_time(END):
        pass


def seconds(operation, calls):
    start = time.process_time()
    for _ in range(calls):
        operation()
    return (time.process_time() - start) / calls


def beside_freezegun():
    return statistics.median(seconds(with_freezegun, 3) / seconds(with_orvane, 100) for _ in range(31))


def reading():
    ratios = []
    for _ in range(31):
        outside = seconds(datetime.now, 2000)
        with orvane.clock(END, speed=60):
            ratios.append(seconds(datetime.now, 2000) / outside)
    return statistics.median(ratios)


def run_tests(mark="", configuration=""):
    """The processor's seconds that a suite takes."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in ("test_it.py", TESTS % mark), ("conftest.py", configuration):
            with open(os.path.join(folder, name), "w") as file:
                file.write(text)
        start = sum(os.times()[2:4])
        subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", folder], check=True,
                       stdout=subprocess.DEVNULL)
        return sum(os.times()[2:4]) - start


def marked_tests():
    """A suite with a mark on each test beside a bare one, and the floor."""
    runs = [(run_tests(), run_tests(MARK), run_tests(configuration=TWO_CALLS)) for _ in range(9)]
    return [statistics.median(each[place] / each[0] for each in runs) for place in (1, 2)]


def main():
    load_modules(0, 10)
    ten = beside_freezegun()
    load_modules(10, 1000)
    thousand = beside_freezegun()
    cost = statistics.median(seconds(with_orvane, 100) for _ in range(31)) * 1e6
    inside, (marked, floor) = reading(), marked_tests()
    print("| operation | beside | measured | aim | met |\n|---|---|---|---|---|")
    for what, beside, form, figure, aim, met in (
            ("freezegun's freeze_time, 10 modules more", "orvane.clock", "%.0f", ten, "15 or more", ten >= 15),
            ("freezegun's freeze_time, 1,000 more", "orvane.clock", "%.0f", thousand, "50 or more", thousand >= 50),
            ("orvane.clock", "nothing", "%.0f microseconds", cost, "100", cost <= 100),
            ("datetime.now() by a clock", "the same without", "%.2f", inside, "1.5", inside <= 1.5),
            ("2,000 tests with a mark", "bare ones", "%.2f", marked, "1.05", marked <= 1.05),
            ("the same with the library's two calls alone", "bare ones", "%.2f", floor, "", None)):
        print("| %s | %s | %s | %s | %s |" % (what, beside, form % figure, aim, {True: "yes", None: ""}.get(met, "NO")))


main()
