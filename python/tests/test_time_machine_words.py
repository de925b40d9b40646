"""What time-machine's users know, of orvane.compat in its place, and of orvane itself."""
import asyncio
import ctypes
import os
import pickle
import subprocess
import time
import unittest
from datetime import date, datetime, timedelta, timezone
from fractions import Fraction
from zoneinfo import ZoneInfo

import pytest

import orvane
from orvane.compat import escape_hatch, travel

UTC = timezone.utc
AT = datetime(2030, 1, 14, 3, 21, 34, tzinfo=UTC)
SECONDS = int(AT.timestamp())
TOKYO = AT.astimezone(ZoneInfo("Asia/Tokyo"))
own_time = time.time  # as others import it, long before


def shown():
    return datetime.now(UTC)


def generated():
    yield AT


@pytest.mark.parametrize("destination, expected", [
    (AT, AT), (AT.replace(tzinfo=None), AT), (AT.astimezone(timezone(timedelta(hours=-9))), AT), (TOKYO, AT),
    (date(2030, 1, 14), datetime(2030, 1, 14, tzinfo=UTC)), (SECONDS, AT),
    (SECONDS + 0.25, AT + timedelta(seconds=0.25)),
    ("2030-01-14 04:21:34", AT), ("2030-01-14T03:21:34Z", AT),
    ("2030-01-14T04:21:34.5+01:00", AT + timedelta(seconds=0.5)),
    ("2030-01-14", datetime(2030, 1, 13, 23, tzinfo=UTC)), ("2030-W03-1", datetime(2030, 1, 13, 23, tzinfo=UTC)),
    ("2030-014T0421.5", AT.replace(second=30)), ("2030-01-13T24:00Z", datetime(2030, 1, 14, tzinfo=UTC)),
    ("20300114T03,25Z", datetime(2030, 1, 14, 3, 15, tzinfo=UTC)),
    ("14 January 2030", datetime(2030, 1, 13, 23, tzinfo=UTC)),
    (lambda: AT, AT), (lambda: SECONDS, AT)])
def test_destinations(destination, expected):
    with travel(destination, tick=False):
        assert shown() == expected
    with travel("2029-01-01", tick=False) as traveller:
        traveller.move_to(destination)
        assert shown() == expected
    assert not orvane.is_travelling()


READINGS = {
    "time": time.time, "time_ns": lambda: time.time_ns() / 10**9, "an imported time": own_time,
    "clock_gettime": lambda: time.clock_gettime(time.CLOCK_REALTIME),
    "clock_gettime_ns": lambda: time.clock_gettime_ns(time.CLOCK_REALTIME) // 10**9,
    "gmtime": lambda: AT.timestamp() if time.gmtime()[:6] == AT.timetuple()[:6] else 0,
    "localtime": lambda: time.mktime(time.localtime()), "strftime": lambda: int(time.strftime("%s")),
    "now": lambda: datetime.now().timestamp(), "today": lambda: datetime.today().timestamp(),
    "now of a zone": lambda: datetime.now(TOKYO.tzinfo).timestamp(),
    "the C library": lambda: ctypes.CDLL(None).time(None),
    "asyncio": lambda: asyncio.run(asyncio.sleep(0.001, time)).time(),
}


@pytest.mark.parametrize("reading", READINGS)
def test_readings(reading):
    with travel(AT, tick=False):
        assert READINGS[reading]() == SECONDS
    assert abs(READINGS[reading]() - SECONDS) > 10**6


MOVES = {
    "shift": (lambda t: t.shift(delta=timedelta(hours=1)), 3600), "shift by seconds": (lambda t: t.shift(90), 90),
    "shift by a fraction": (lambda t: t.shift(Fraction(1, 2)), 0.5), "shift back": (lambda t: t.shift(-3600), -3600),
    "shift by a microsecond": (lambda t: t.shift(timedelta(microseconds=1)), 1e-6),
    "move": (lambda t: t.move_to(destination=AT + timedelta(days=1)), 86400),
    "move back": (lambda t: t.move_to(AT - timedelta(1)), -86400),
    "moves": (lambda t: [t.move_to(0 + SECONDS), t.shift(1), t.shift(1)], 2),
}


@pytest.mark.parametrize("tick", [False, True])
@pytest.mark.parametrize("move", MOVES)
def test_moves(move, tick):
    change, seconds = MOVES[move]
    with travel(AT, tick=tick) as traveller:
        change(traveller)
        passed = shown() - AT - timedelta(seconds=seconds)
    assert timedelta(0) <= passed < timedelta(minutes=2) if tick else passed == timedelta(0)


def test_moving_changes_whether_it_ticks():
    def ticks():
        before = shown()
        deadline = time.monotonic() + 30
        while shown() == before and time.monotonic() < deadline and stands:
            pass
        return shown() != before
    stands = True
    with travel(AT) as traveller:
        assert ticks()
        traveller.move_to(AT, False)
        stands = False
        assert not ticks() and shown() == AT and traveller.time() == traveller.time_ns() / 10**9 == SECONDS
        traveller.shift(1)
        assert not ticks()
        traveller.move_to(AT, tick=True)
        stands = True
        assert ticks()


def test_a_zone_is_the_local_one_inside():
    before = os.environ["TZ"], time.tzname
    with travel(TOKYO, tick=False) as traveller:
        assert (datetime.now(), time.tzname) == (TOKYO.replace(tzinfo=None), ("JST", "JST"))
        with orvane.clock("2030-01-13 23:51:34", tick=False, tz_offset=timedelta(hours=-3.5)):
            assert datetime.now().astimezone().isoformat() == "2030-01-13T23:51:34-03:30"
        assert (datetime.now(), time.tzname) == (TOKYO.replace(tzinfo=None), ("JST", "JST"))
        for mover in traveller, orvane.clock().start():
            mover.move_to(AT.astimezone(ZoneInfo("America/New_York")))
            assert (time.tzname, datetime.now().hour) == (("EST", "EDT"), 22)
        mover.stop()
        traveller.move_to(AT)
        assert time.tzname == before[1]
    assert (os.environ["TZ"], time.tzname) == before


def test_what_is_decorated():
    seen = []

    @travel(AT, tick=False)
    def function(plus, *, minus):
        return shown() + timedelta(hours=plus - minus)

    @travel(AT, tick=False)
    async def coroutine():
        await asyncio.sleep(0.001)
        return shown()

    @orvane.clock(AT, tick=False)
    def generator():
        yield shown()
        yield shown()

    @orvane.clock(AT, tick=False)
    async def later():
        yield shown()
        yield shown()

    async def entered():
        async with orvane.clock(AT, tick=False):
            return shown(), [each async for each in later()]

    @travel(AT, tick=False)
    class Case(unittest.TestCase):
        setUp = tearDown = lambda *_: seen.append(shown())

        @classmethod
        def tearDownClass(cls):
            seen.append(shown())

        def test_it(self):
            seen.append(shown())

    @orvane.clock(AT, tick=False, as_kwarg="clock")
    class Given(unittest.TestCase):
        def setUp(self):
            assert shown() == AT

        def test_it(self, clock):
            assert clock.started
    assert function(2, minus=2) == asyncio.run(coroutine()) == AT
    assert list(generator()) == [AT, AT] and asyncio.run(entered()) == (AT, [AT, AT])
    for case in Case, Given:
        assert unittest.defaultTestLoader.loadTestsFromTestCase(case).run(unittest.TestResult()).wasSuccessful()
    assert seen == [AT] * 4 and not orvane.is_travelling()


def test_start_stop_and_nesting():
    outer, inner = travel(AT, tick=False), orvane.clock("2029-01-01", tick=False)
    outer.start()
    inner.start()
    outer.stop()  # in the wrong order
    assert shown() == datetime(2028, 12, 31, 23, tzinfo=UTC)
    inner.stop()
    assert not orvane.is_travelling()
    for twice in outer.stop, inner.stop:
        with pytest.raises(RuntimeError):
            twice()
    with outer:
        with pytest.raises(RuntimeError):
            outer.start()
        assert shown() == AT
    with outer:  # again
        assert shown() == AT
    copied = pickle.loads(pickle.dumps(outer))
    with copied:
        assert shown() == AT


def test_the_outer_clock_goes_on_meanwhile():
    with orvane.clock(AT, speed=1000) as outer:
        before = shown()
        with travel("2029-01-01", tick=False):
            until = time.monotonic() + 0.01
            while time.monotonic() < until:
                pass
            outer.shift(3600)
        assert shown() - before >= timedelta(hours=1, seconds=10)


def test_others_clocks_are_put_back():
    own = "p:%d" % os.getpid()
    subprocess.run(["ovuser", "add", own, "--at", "2030-01-14T03:21:34Z", "--speed", "frozen"], check=True)
    try:
        with travel("2029-01-01"):
            assert datetime.now().year == 2029
        assert shown() == AT and orvane.is_travelling()
    finally:
        orvane.delete(own)


def test_the_escape_hatch():
    real = time.time()
    with travel(AT):
        assert escape_hatch.is_travelling() and orvane.is_travelling()
        for read in (escape_hatch.time.time(), escape_hatch.time.time_ns() / 10**9, orvane.real_time(),
                     escape_hatch.time.clock_gettime(0), escape_hatch.time.clock_gettime_ns(0) / 10**9,
                     escape_hatch.datetime.datetime.now().timestamp(), time.mktime(escape_hatch.time.localtime()) + 1,
                     escape_hatch.datetime.datetime.now(UTC).timestamp()):
            assert real - 1 <= read <= real + 600
    assert not escape_hatch.is_travelling()


def test_fixtures_and_marks(pytester):
    pytester.makepyfile("""
        import datetime, orvane.compat, pytest
        AT = datetime.datetime(2030, 1, 14)
        def now(): return datetime.datetime.utcnow()
        @pytest.fixture(scope="session")
        def whole(): return now()
        @pytest.fixture(scope="class")
        def some(): return now()
        @pytest.mark.freeze_time("2030-01-14")
        class TestFirst:
            def test_fixtures(self, whole, some): assert whole == some == now() == AT
            @pytest.mark.freeze_time("2029-01-14")
            def test_closer(self, freezer): assert now().year == 2029 == freezer().year
        def test_freezer(freezer):
            assert abs(freezer() - now()).total_seconds() == 0
            freezer.move_to("2030-01-14"); freezer.tick(1)
            assert now() == AT + datetime.timedelta(seconds=1)
        @pytest.mark.time_machine(AT, tick=False)
        def test_marked(time_machine):
            assert now() == AT
            time_machine.shift(1)
            assert now() == AT + datetime.timedelta(seconds=1)
        def test_machine(time_machine: orvane.compat.TimeMachineFixture):
            with pytest.raises(RuntimeError): time_machine.shift(1)
            assert now().year < 2029
            time_machine.move_to(AT, tick=False)
            assert now() == AT
        def test_usual(): assert now().year == 2028
        def test_fails(freezer): assert not freezer
    """)
    # What it replaces is still installed.
    pytester.makepyfile(rival="import pytest\n@pytest.fixture\ndef time_machine(): pytest.fail('the rival')")
    pytester.mkdir("rival-1.dist-info").joinpath("entry_points.txt").write_text("[pytest11]\ntime_machine = rival")
    pytester.makeini("[pytest]\norvane_at = 2028-06-01")
    pytester.runpytest_subprocess("-p", "no:cacheprovider", "-p", "orvane.compat").assert_outcomes(passed=6, failed=1)
    assert not orvane.is_travelling()
