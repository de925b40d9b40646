"""What a clock costs a Python test: entering and leaving it beside freezegun's, with 1,000 modules loaded, and a
reading inside it beside one outside. To be run under zynov-sim."""
import statistics
import sys
import time
import types
from datetime import datetime, timezone

import freezegun
import orvane

END = datetime(2038, 1, 19, 3, 14, tzinfo=timezone.utc)


def load_modules(number):
    for i in range(number):
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


def main():
    load_modules(1000)
    freezing, readings = [], []
    for _ in range(31):
        freezing.append(seconds(with_freezegun, 3) / seconds(with_orvane, 100))
        outside = seconds(datetime.now, 2000)
        with orvane.clock(END, speed=60):
            inside = seconds(datetime.now, 2000)
        readings.append(inside / outside)
    met = {True: "yes", False: "NO"}
    times, cost = statistics.median(freezing), statistics.median(readings)
    print("| operation | beside | ratio | aim | met |\n|---|---|---|---|---|")
    row = "| freezegun's freeze_time, 1,000 modules | orvane.clock | %.0f | 40 or more | %s |"
    print(row % (times, met[times >= 40]))
    print("| datetime.now() by a clock | the same without | %.2f | 1.5 | %s |" % (cost, met[cost <= 1.5]))


main()
