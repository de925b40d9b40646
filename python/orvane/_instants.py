"""What people write for an instant, in nanoseconds since the epoch."""
from __future__ import annotations

import ctypes as c
import functools
import math
import re
import time
from collections.abc import Callable, Iterator
from datetime import date, datetime, timedelta, timezone, tzinfo
from importlib import import_module
from numbers import Real
from typing import Any, Union

from orvane import _library as lib

__tracebackhide__ = True  # pytest shows the line of whoever calls
SECOND = 10**9
# A function or a generator gives any of the others.
Destination = Union[datetime, date, timedelta, float, str, None, Callable[[], Any], Iterator[Any]]

_EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
_LAST_OF_PYTHON = 2**63 // SECOND  # time.time_ns() and datetime.now() are signed 64 bits inside
_DATE = re.compile(r"(?P<year>\d{4})-?(?:(?P<month>\d\d)-?(?P<day>\d\d)|W(?P<week>\d\d)(?:-?(?P<weekday>\d))?|"
                   r"(?P<ordinal>\d{3}))")
_TIME = re.compile(r"(?P<hour>\d\d)(?::?(?P<minute>\d\d)(?::?(?P<second>\d\d))?)?(?:[.,](?P<fraction>\d+))?"
                   r" ?(?P<offset>[Zz]|[+-]\d\d(?::?\d\d)?)?")


def aware(value: int) -> datetime:
    """Seconds since the epoch in local time."""
    return (_EPOCH + timedelta(seconds=value)).astimezone()


def unwrap(at: Destination) -> Destination:
    """What a function or a generator gives."""
    while not isinstance(at, (str, date)) and (callable(at) or isinstance(at, Iterator)):
        at = at() if callable(at) else next(at)
    return at


def instant(at: Destination, naive: tzinfo | None = None) -> int:
    """The nanoseconds; `naive` is the zone of what has none, and None the local one."""
    at = unwrap(at)
    if at is None:
        return time.time_ns()
    if isinstance(at, timedelta):
        return time.time_ns() + length(at)
    if isinstance(at, str):
        return _read(at, naive)
    if isinstance(at, date):
        try:
            return _of_datetime(at if isinstance(at, datetime) else datetime(at.year, at.month, at.day), naive)
        except (OverflowError, ValueError):  # years at which the local offset leaves the calendar
            raise _out_of_range(str(at)) from None
    if isinstance(at, (int, float)) and not isinstance(at, bool):
        return _of_number(at, "an instant")
    raise TypeError("a time is a datetime, a date, a number of seconds since the epoch, a timedelta from now, a text, "
                    "None, or a function or generator of these, not %r" % (at,))


def length(distance: timedelta | float) -> int:
    """Of a distance, which may be a number of seconds."""
    if isinstance(distance, timedelta):
        return (distance.days * 86400 + distance.seconds) * SECOND + distance.microseconds * 1000
    if not isinstance(distance, (int, float, Real)):
        raise TypeError("a distance is a timedelta or a number of seconds, not %r" % (distance,))
    return _of_number(distance, "a distance")


def _of_number(number: float, what: str) -> int:
    if not math.isfinite(number):
        raise ValueError("%s is not %r" % (what, number))
    whole = math.floor(number)
    return whole * SECOND + round((number - whole) * SECOND)


def _of_datetime(at: datetime, naive: tzinfo | None) -> int:
    if at.tzinfo is None or at.utcoffset() is None:
        at = at.replace(tzinfo=naive) if naive else at.astimezone()
    return length(at - _EPOCH)


@functools.lru_cache
def _midnight_or_time(text: str) -> tuple[str, int] | None:
    """A text of ISO 8601 in the one of its forms that the library reads, and the nanoseconds behind it, of which a
    fraction of an hour has many."""
    day = _DATE.match(text)
    if not day:
        return None
    rest = text[day.end():]
    hours = _TIME.fullmatch(rest[1:]) if rest[:1] in ("T", "t", " ") else None
    if rest and not hours:
        return None
    try:
        if day["week"]:
            on = date.fromisocalendar(int(day["year"]), int(day["week"]), int(day["weekday"] or 1)).isoformat()
        elif day["ordinal"]:
            on = (date(int(day["year"]), 1, 1) + timedelta(days=int(day["ordinal"]) - 1)).isoformat()
        else:
            on = "%s-%s-%s" % (day["year"], day["month"], day["day"])
        at_its_end = hours and "".join(part or "" for part in hours.groups()[:4]).rstrip("0") == "24"
        if at_its_end:
            on = (date.fromisoformat(on) + timedelta(days=1)).isoformat()
    except (OverflowError, ValueError):
        return None
    if not hours:
        return on + " 00:00:00", 0
    fraction = (hours["fraction"] or "0")[:18]
    offset = (hours["offset"] or "").replace(":", "").upper()
    seconds = ":" + hours["second"] if hours["second"] else ":00" if not hours["minute"] else ""
    unit = SECOND if hours["second"] else 60 * SECOND if hours["minute"] else 3600 * SECOND
    zone = offset[:3] + ":" + (offset[3:] or "00") if offset[1:] else offset
    return ("%s %s:%s%s%s" % (on, "00" if at_its_end else hours["hour"], hours["minute"] or "00", seconds, zone),
            int(fraction) * unit // 10**len(fraction))


def _read(text: str, naive: tzinfo | None) -> int:
    if "\0" in text:
        raise ValueError("a time has no NUL in it, unlike %r" % text)
    civil, nanoseconds = _midnight_or_time(text) or (text, 0)
    if naive is not None and re.fullmatch(r"\d{4}(-\d+){2} \d+(:\d+){1,2}", civil):
        try:
            return _of_datetime(datetime.fromisoformat(re.sub(r"\b\d\b", r"0\g<0>", civil)), naive) + nanoseconds
        except ValueError as error:
            raise lib.failure(lib.BAD_TIME, "%s: %s" % (error, text)) from None
    slot = c.c_void_p()
    value: int = lib.load().read_time(civil.encode(), c.byref(slot))
    message = lib.take_message(slot.value)
    if value != 0:
        return value * SECOND + nanoseconds
    try:
        other = import_module("dateutil.parser").parse(text)
    except (ImportError, ValueError, OverflowError) as error:
        more = " (dateutil, which reads more, is not installed)" if isinstance(error, ImportError) else ""
        raise lib.failure(lib.BAD_TIME, "%s: %s%s" % (message, text, more)) from None
    return _of_datetime(other, naive)


def _out_of_range(what: str) -> lib.OutOfRange:
    return lib.OutOfRange(lib.BAD_TIME, "a clock is set to 1970-01-01 09:00:00 UTC at the earliest, and to 9999-12-31 "
                          "23:59:59 eight hours behind UTC at the latest, not to " + what)


def check(nanoseconds: int, read_here: bool) -> None:
    """Refuses what no clock can be set to, or what this interpreter could not read then."""
    seconds = nanoseconds // SECOND
    if not lib.EARLIEST <= seconds <= lib.LATEST:
        shown = _EPOCH + timedelta(seconds=seconds) if abs(seconds) < 10**11 and seconds > -62135596800 else seconds
        raise _out_of_range(str(shown))
    if read_here and seconds >= _LAST_OF_PYTHON:
        raise lib.OutOfRange(lib.BAD_TIME, "Python itself reads no time behind 2262-04-11 23:47:16 UTC, such as %s: "
                             "datetime.now() would fail" % aware(value=seconds))
