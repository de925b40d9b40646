"""What freezegun's users know, of freezegun itself and of orvane.compat in its place: each row holds for both."""
import asyncio
import calendar
import logging
import subprocess
import threading
import time
import unittest
import uuid
from datetime import date, datetime, timedelta, timezone
from zoneinfo import ZoneInfo

import freezegun
import pytest

import orvane
import orvane.compat
from orvane.compat import config
from orvane.compat.api import FakeDate, FakeDatetime, FrozenDateTimeFactory

AT = datetime(2030, 1, 14, 3, 21, 34)
UTC = timezone.utc
TOKYO = datetime(2031, 1, 1, 9, tzinfo=ZoneInfo("Asia/Tokyo"))
THREADED = []


def hours(number):
    return timedelta(hours=number)


def three_days():
    for day in range(3):
        yield AT + timedelta(days=day)


# What is frozen, what is read then, and what is to come out.
READINGS = {
    "text": ("2030-01-14 03:21:34", {}, lambda: datetime.now(), AT),
    "text of a date": ("2030-01-14", {}, lambda: datetime.now(), datetime(2030, 1, 14)),
    "text with a T": ("2030-01-14T03:21:34", {}, lambda: datetime.now(), AT),
    "text in UTC": ("2030-01-14T03:21:34Z", {}, lambda: datetime.now(), AT),
    "text with an offset": ("2030-01-14 03:21:34+02:00", {}, lambda: datetime.now(), AT - hours(2)),
    "text with a fraction": ("2030-01-14 03:21:34.5", {}, lambda: datetime.now(), AT.replace(microsecond=500000)),
    "text of an hour alone": ("2030-1-14 3:21:34", {}, lambda: datetime.now(), AT),
    "compact text": ("20300114T032134", {}, lambda: datetime.now(), AT),
    "text of dateutil": ("Jan 14th, 2030", {}, lambda: datetime.now(), datetime(2030, 1, 14)),
    "text of dateutil with a time": ("14 Jan 2030 3:21:34 AM", {}, lambda: datetime.now(), AT),
    "naive datetime": (AT, {}, lambda: datetime.now(), AT),
    "datetime in UTC": (AT.replace(tzinfo=UTC), {}, lambda: datetime.now(), AT),
    "datetime of a zone": (AT.replace(tzinfo=timezone(hours(5))), {}, lambda: datetime.now(), AT - hours(5)),
    "microseconds": (AT.replace(microsecond=123456), {}, lambda: datetime.now(), AT.replace(microsecond=123456)),
    "date": (date(2030, 1, 14), {}, lambda: datetime.now(), datetime(2030, 1, 14)),
    "function": (lambda: AT, {}, lambda: datetime.now(), AT),
    "function of a text": (lambda: "2030-01-14", {}, lambda: datetime.now(), datetime(2030, 1, 14)),
    "generator": (three_days(), {}, lambda: datetime.now(), AT),
    "utcnow": (AT, {}, lambda: datetime.utcnow(), AT),
    "now of a zone": (AT, {}, lambda: datetime.now(ZoneInfo("Asia/Tokyo")).isoformat(), "2030-01-14T12:21:34+09:00"),
    "datetime.today": (AT, {}, lambda: datetime.today(), AT),
    "date.today": (AT, {}, lambda: date.today(), AT.date()),
    "time.time": (AT, {}, lambda: time.time(), calendar.timegm(AT.timetuple())),
    "time.time_ns": (AT, {}, lambda: time.time_ns(), calendar.timegm(AT.timetuple()) * 10**9),
    "time.gmtime": (AT, {}, lambda: calendar.timegm(time.gmtime()), calendar.timegm(AT.timetuple())),
    "time.strftime": (AT, {}, lambda: time.strftime("%c", time.gmtime()), AT.strftime("%c")),
    "uuid1": (AT, {}, lambda: (uuid.uuid1().time - 0x01b21dd213814000) // 10**7, calendar.timegm(AT.timetuple())),
    "tz_offset": (AT, {"tz_offset": -4}, lambda: (datetime.now(), datetime.utcnow()), (AT - hours(4), AT)),
    "tz_offset of half hours": (AT, {"tz_offset": hours(5.5)}, lambda: datetime.now(), AT + hours(5.5)),
    "negative tz_offset of half hours": (AT, {"tz_offset": -hours(3.5)}, lambda: datetime.now(), AT - hours(3.5)),
    "date by tz_offset": (AT, {"tz_offset": -4}, lambda: date.today(), date(2030, 1, 13)),
    "types": (AT, {}, lambda: isinstance(datetime.now(), datetime) and isinstance(date.today(), date), True),
    "log records": (AT, {}, lambda: logging.makeLogRecord({}).created, calendar.timegm(AT.timetuple())),
    "standing still": (AT, {}, lambda: [datetime.now(), time.sleep(0.01), datetime.now()][0::2], [AT, AT]),
    "ticking": (AT, {"tick": True}, lambda: AT < [time.sleep(0.001), datetime.now()][1] < AT + hours(1), True),
}


@pytest.fixture(params=[freezegun.freeze_time, orvane.compat.freeze_time], ids=["freezegun", "orvane"])
def freeze(request):
    yield request.param
    assert not orvane.is_travelling()


@pytest.mark.parametrize("row", READINGS)
def test_readings(freeze, row):
    at, keywords, read, expected = READINGS[row]
    if row == "generator":
        at = three_days()
    with freeze(at, **keywords):
        shown = read()
    assert shown == expected and datetime.now() != expected


def move(change, expected, **keywords):
    def check(freeze):
        with freeze(AT, **keywords) as frozen:
            change(frozen)
            time.sleep(0.001)
            passed = datetime.now() - expected
            return timedelta(0) < passed < timedelta(minutes=2) if keywords.get("tick") else passed == timedelta(0)
    return check


def from_now(freeze):
    with freeze(hours(1)):
        return datetime.utcnow() > datetime.utcfromtimestamp(orvane.real_time()) + timedelta(minutes=50)


def now(freeze):
    with freeze():
        return abs(time.time() - orvane.real_time()) < 60 and datetime.now() == datetime.now()


def started(freeze):
    freezer = freeze(AT)
    frozen = freezer.start()
    inside = frozen() == datetime.now() == AT
    freezer.stop()
    return inside and datetime.now() != AT


def decorated(freeze):
    @freeze(AT)
    def stamp(plus, *, minus=0):
        "doc"
        return datetime.now() + hours(plus - minus)
    return (stamp(2, minus=1), stamp.__name__, stamp.__doc__) == (AT + hours(1), "stamp", "doc")


def decorated_coroutine(freeze):
    @freeze(AT)
    async def stamp():
        return datetime.now()
    return asyncio.run(stamp()) == AT


def decorated_with_clock(freeze):
    @freeze(AT, as_arg=True)
    def first(frozen, plus):
        frozen.tick(hours(plus))
        return datetime.now()

    @freeze(AT, as_kwarg="frozen")
    def named(plus, frozen=None):
        frozen.tick(hours(plus))
        return datetime.now()
    return first(1) == named(1) == AT + hours(1)


def decorated_testcase(freeze):
    seen = []

    class Case(unittest.TestCase):
        @classmethod
        def setUpClass(cls):
            seen.append(datetime.now())

        def setUp(self):
            seen.append(datetime.now())

        def test(self):
            seen.append(datetime.now())
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(freeze(AT)(Case))
    return suite.run(unittest.TestResult()).wasSuccessful() and seen == [AT] * 3 and datetime.now() != AT


def decorated_class(freeze):
    class Base:
        def inherited(self):
            return datetime.now()

    @freeze(AT)
    class Decorated(Base):
        def method(self):
            return datetime.now()
    return Decorated().method() == Decorated().inherited() == AT != Base().inherited()


def nested(freeze):
    with freeze(AT):
        with freeze("2031-01-01"):
            inner = datetime.now()
        return (inner, datetime.now()) == (datetime(2031, 1, 1), AT)


def nested_decorators(freeze):
    @freeze("2031-01-01")
    def inner():
        return datetime.now()

    @freeze(AT)
    def outer():
        return inner(), datetime.now()
    return outer() == (datetime(2031, 1, 1), AT)


def raising(freeze):
    try:
        with freeze(AT):
            raise KeyError(datetime.now())
    except KeyError as error:
        return error.args == (AT,) and datetime.now() != AT


def asked_once(freeze):
    days = three_days()
    freezers = [freeze(days), freeze(days), freeze(lambda: next(days))]
    shown = [freezer.time_to_freeze for freezer in freezers]
    with pytest.raises(StopIteration):
        freeze(days)
    for freezer in reversed(freezers):
        with freezer:
            shown.append(datetime.now())
    return shown == [AT + timedelta(days=day) for day in (0, 1, 2, 2, 1, 0)]


def in_threads(freeze):
    with freeze(AT):
        thread = threading.Thread(target=lambda: THREADED.append(datetime.now()))
        thread.start()
        thread.join()
    return THREADED.pop() == AT


def refused(freeze):
    for wrong in object(), [AT]:
        with pytest.raises(TypeError):
            freeze(wrong).start()
    for wrong in "2030-13-14", "2030-01-14 25:00", "nonsense":
        with pytest.raises(ValueError, match=r"(?i)month|hour|format"):
            freeze(wrong).start()
    return True


CHECKS = {
    "a distance from now": from_now, "now": now, "start and stop": started, "functions": decorated,
    "coroutines": decorated_coroutine, "as_arg and as_kwarg": decorated_with_clock, "TestCase": decorated_testcase,
    "classes": decorated_class, "nested": nested, "nested decorators": nested_decorators, "exceptions": raising,
    "generators and functions": asked_once, "threads": in_threads, "what is no time": refused,
    "tick": move(lambda frozen: frozen.tick(), AT + timedelta(seconds=1)),
    "tick by a timedelta": move(lambda frozen: frozen.tick(hours(2)), AT + hours(2)),
    "tick by delta=": move(lambda frozen: frozen.tick(delta=hours(2)), AT + hours(2)),
    "tick by seconds": move(lambda frozen: frozen.tick(90), AT + timedelta(seconds=90)),
    "tick by a fraction": move(lambda frozen: frozen.tick(0.25), AT + timedelta(seconds=0.25)),
    "tick back": move(lambda frozen: frozen.tick(-hours(2)), AT - hours(2)),
    "tick while ticking": move(lambda frozen: frozen.tick(hours(2)), AT + hours(2), tick=True),
    "move_to a text": move(lambda frozen: frozen.move_to("2031-01-01"), datetime(2031, 1, 1)),
    "move_to a datetime": move(lambda frozen: frozen.move_to(AT + hours(5)), AT + hours(5)),
    "move_to a date": move(lambda frozen: frozen.move_to(date(2031, 1, 1)), datetime(2031, 1, 1)),
    "move_to what is before": move(lambda frozen: frozen.move_to("2029-01-01"), datetime(2029, 1, 1)),
    "move_to while ticking": move(lambda frozen: frozen.move_to("2031-01-01"), datetime(2031, 1, 1), tick=True),
    "move_to by tz_offset": move(lambda frozen: frozen.move_to(TOKYO), datetime(2031, 1, 1, 2), tz_offset=2),
}


@pytest.mark.parametrize("check", CHECKS)
def test_checks(freeze, check):
    if freeze is freezegun.freeze_time and check.endswith("while ticking") and not hasattr(
            freezegun.api.TickingDateTimeFactory, "tick"):
        pytest.skip("later versions of freezegun have it")
    assert CHECKS[check](freeze) is True


def refuses(error, *arguments, **keywords):
    def check(freeze):
        try:
            with freeze(*arguments, **keywords):
                return True
        except error:
            return False
    return check


def inside(read, **keywords):
    def check(freeze):
        with freeze(AT, **keywords):
            return read()
    return check


# The rows of python/from-freezegun.md: so it is with freezegun, and not with a clock.
DIFFERENCES = {
    "time.monotonic": inside(lambda: time.monotonic() == [time.sleep(0.001), time.monotonic()][1]),
    "time.perf_counter": inside(lambda: time.perf_counter() == [time.sleep(0.001), time.perf_counter()][1]),
    "auto_tick_seconds": refuses(TypeError, AT, auto_tick_seconds=15),
    "before 1970": refuses(orvane.OutOfRange, "1969-07-20"), "behind 2262": refuses(orvane.OutOfRange, "2300-01-01"),
    "FakeDatetime": inside(lambda: type(datetime.now()).__name__ == "FakeDatetime"),
    "localtime": inside(lambda: time.localtime().tm_hour != datetime.now().hour, tz_offset=-4),
    "now of a zone": inside(lambda: datetime.now(UTC) == (AT - hours(4)).replace(tzinfo=UTC), tz_offset=-4),
    "programs": inside(lambda: int(subprocess.check_output(["date", "+%Y"])) != 2030),
}


@pytest.mark.parametrize("difference", DIFFERENCES)
def test_differences(freeze, difference):
    assert DIFFERENCES[difference](freeze) is (freeze is freezegun.freeze_time)


def test_what_suites_import_and_set(recwarn):
    assert config.configure(extend_ignore_list=["celery"]) is None is orvane.compat.configure()
    with orvane.compat.freeze_time(AT, 2, ignore=["celery"]) as frozen:
        assert isinstance(datetime.now(), FakeDatetime) and isinstance(date.today(), FakeDate)
        assert isinstance(frozen, FrozenDateTimeFactory) and (frozen.time_to_freeze, frozen.tz_offset) == (AT, hours(2))
    assert [str(warning.message) for warning in recwarn if "no module is left out by ignore" in str(warning.message)] \
        and len(recwarn) == 1
