"""The package on the simulator: this runs under zynov-sim, as root."""
import contextlib
import os
import pickle
import random
import signal
import subprocess
import sys
import time
from datetime import datetime, timedelta, timezone

import pytest

import orvane

END = datetime(2038, 1, 19, 3, 14, tzinfo=timezone.utc)
OWN = "p:%d" % os.getpid()


@pytest.mark.parametrize("at", [
    END, END.replace(tzinfo=None) + timedelta(hours=1), END.astimezone(timezone(timedelta(hours=-5))),
    "2038-01-19 04:14", "2038-01-19T03:14:00Z", "@2147483640"])
def test_every_form_is_the_same_instant(at):
    with orvane.clock(at, speed="frozen"):
        assert datetime.now(timezone.utc) == END.replace(second=0)
        found = orvane.find(OWN)
        assert (found.time, found.frozen, found.rewind, found.identity) == (END, True, False, OWN)
    assert orvane.find(OWN) is None


def test_no_fraction_of_a_second_is_lost():
    exactly = END + timedelta(microseconds=999999)
    with orvane.clock(exactly) as clock:
        for distance in timedelta(seconds=0.5), 0.25, timedelta(microseconds=3):
            before = datetime.now(timezone.utc)
            clock.shift(distance)
            after = datetime.now(timezone.utc)
            passed = after - before - (distance if isinstance(distance, timedelta) else timedelta(seconds=distance))
            assert exactly <= before and timedelta(0) <= passed < timedelta(minutes=2)
        clock.shift(-3600)
        clock.move_to("2038-01-19T04:14:07.123456789+01:00", tick=False)
        assert time.time_ns() == 2147483647 * 10**9 + 123456789
        with orvane.clock("2030-12-25"):
            pass
        assert time.time_ns() % 10**9 == 123456789


def test_a_clock_moves_and_keeps_its_pace():
    with orvane.clock(at="2038-01-19 04:14", speed="frozen", rewind=True) as clock:
        clock.move_to(datetime(2030, 12, 25, 9))
        clock.shift(timedelta(days=-1, seconds=1))
        assert (datetime.now(), orvane.find(OWN).rewind) == (datetime(2030, 12, 24, 9, 0, 1), True)
        with pytest.raises(orvane.OrvaneError) as refused:
            clock.move_to("2030-12-25 25:00")
        assert refused.value.code == 809 and "invalid hours" in refused.value.message
        assert datetime.now() == datetime(2030, 12, 24, 9, 0, 1)


@pytest.mark.parametrize("change, error, words", [
    (lambda: orvane.add(OWN), orvane.AlreadyHasClock, "^process %d already" % os.getpid()),
    (lambda: orvane.add("u:nosuchuser"), orvane.OrvaneError, "incorrect/non-existent username, or uid nosuchuser"),
    (lambda: orvane.delete("u:bin"), orvane.NoClock, "does not have a virtual clock"),
    (lambda: orvane.add("u:bin", "tomorrow"), orvane.OrvaneError, "invalid date format: tomorrow$"),
    (lambda: orvane.add("u:bin", datetime(1960, 1, 1)), orvane.OutOfRange, "at the earliest.*1959-12-31 23"),
    (lambda: orvane.add("u:bin", 0), orvane.OutOfRange, "09:00:00 UTC at the earliest"),
    (lambda: orvane.clock(2**63 // 10**9), orvane.OutOfRange, "Python itself reads no time behind"),
    (lambda: orvane.add("u:bin", "2038-01-19\0 04:14"), ValueError, "no NUL"),
    (lambda: orvane.add("u:bin", b"2038-01-19"), TypeError, "a time is"),
    (lambda: orvane.add("u:bin", speed=2**32), ValueError, "a whole number from -1000 to 1000"),
    (lambda: orvane.clock().move_to(END), orvane.NoClock, "has not been given this clock"),
    (lambda: orvane.add("u:"), ValueError, "an identity is u:USER"),
    (lambda: orvane.clock(speed=1.5), ValueError, "a speed is"),
    (lambda: orvane.parse_speed("4294967297"), ValueError, "a speed is")])
def test_refusals_change_nothing(change, error, words):
    with orvane.clock(END, speed=0):
        before = orvane.clocks()
        with pytest.raises(error, match=words) as refused, change():
            pass
        assert orvane.clocks() == before
        again = pickle.loads(pickle.dumps(refused.value))  # as multiprocessing hands it to the parent
        assert (type(again), str(again)) == (refused.type, str(refused.value))


def test_what_ends_a_block_ends_its_clock():
    for way_out in KeyError, SystemExit, KeyboardInterrupt, GeneratorExit:
        with pytest.raises(way_out), orvane.clock(END, identity="u:bin", tz_offset=2):
            raise way_out
        assert orvane.clocks() == [] and os.environ["TZ"] == "Europe/Berlin"

    with contextlib.ExitStack() as stack:
        stack.enter_context(orvane.clock(END, speed=0))
        assert time.time() == END.timestamp()
    assert orvane.clocks() == []
    assert orvane.parse_time("2038-01-19T03:14:00Z") == END and orvane.parse_speed("frozen") == 0


def test_a_forked_child_leaves_its_parents_clock():
    child, left = -1, True
    try:
        with orvane.clock(END):
            child = os.fork()
            if child == 0:
                with orvane.clock("2030-12-25"):
                    pass
                left = orvane.find("p:%d" % os.getpid()) is not None
            assert child == 0 or (os.waitpid(child, 0)[1] == 0 and orvane.find(OWN))
    finally:
        if child == 0:
            os._exit(left)


STORM = """
import os, signal, time, orvane
armed = False
def interrupt(*_):
    global armed
    if armed:
        armed = False
        raise KeyboardInterrupt
signal.signal(signal.SIGINT, interrupt)
orvane.add("u:bin")
left = lost = rounds = 0
zone = os.environ["TZ"]
print(flush=True)
until = time.monotonic() + 5
while rounds < 2000 and (rounds < 10 or time.monotonic() < until):
    rounds += 1
    try:
        armed = True
        while True:
            with orvane.clock("2038-01-19T03:14:00Z"):
                with orvane.clock("2030-12-25", tz_offset=2):
                    pass
            try:
                with orvane.clock(identity="u:bin"):
                    pass
            except orvane.AlreadyHasClock:
                pass
    except KeyboardInterrupt:
        pass
    with orvane.clock():
        pass
    left += os.environ["TZ"] != zone
    kinds = [clock.kind for clock in orvane.clocks()]
    left += "process" in kinds
    lost += "user" not in kinds
print(left, lost, flush=True)
"""


@pytest.mark.skipif(sys.version_info < (3, 10), reason="it looks for interrupts between any two instructions")
def test_no_interrupt_leaves_a_clock_behind_nor_takes_another():
    child = subprocess.Popen([sys.executable, "-c", STORM], stdout=subprocess.PIPE, text=True)
    try:
        child.stdout.readline()
        pause = 1 / 2000
        while child.poll() is None:  # it comes to its end by itself, the slower the fewer rounds it has seen
            child.send_signal(signal.SIGINT)
            time.sleep(random.random() * pause)
            pause *= 1.0001  # lest a slow machine be busy with signals alone
        assert child.stdout.read().split() == ["0", "0"]
    finally:
        child.kill()
        child.wait()
        orvane.delete("u:bin")


def test_without_the_library_only_clocks_are_missing(pytester):
    pytester.makeconftest("import orvane._library; orvane._library._NAME = 'libov_helper.so.none'")
    pytester.makepyfile("""
        import orvane, pytest
        def test_bare(): pass
        @orvane.clock("2038-01-19 04:14")
        def test_decorated(): pass
        @pytest.mark.orvane("2038-01-19 04:14")
        def test_marked(): pass
    """)
    result = pytester.runpytest_subprocess("-p", "no:cacheprovider")
    result.assert_outcomes(passed=1, errors=1, failed=1)
    result.stdout.no_fnmatch_line("*orvane/_[!d]*")
    result.stdout.fnmatch_lines("libov_helper.so.none cannot be loaded*install the package libov-helper12")


def test_the_plugin_gives_tests_their_clocks(pytester):
    pytester.makepyfile("""
        import datetime, pytest, orvane
        @pytest.mark.orvane(at="2038-01-19 04:14", speed=0)
        @pytest.mark.parametrize("n", range(20))
        def test_marked(n):
            assert datetime.datetime.now() == datetime.datetime(2038, 1, 19, 4, 14)
        @pytest.fixture(scope="session")
        def server():
            with orvane.clock("2029-01-01"):
                yield
        @pytest.mark.orvane("2030-12-25 09:00", speed="frozen")
        def test_both(server, orvane_clock):
            orvane_clock.shift(datetime.timedelta(hours=1))
            assert datetime.datetime.now() == datetime.datetime(2030, 12, 25, 10)
        def test_unmarked(server):
            assert datetime.datetime.now().year == 2029
        @pytest.mark.orvane("2030-12-25 09:00")
        def test_left_by_an_exit():
            pytest.fail("meant so")
    """)
    for workers in [], ["-n", "2"]:
        pytester.runpytest_subprocess("-p", "no:cacheprovider", *workers).assert_outcomes(passed=22, failed=1)
    assert orvane.clocks() == []
