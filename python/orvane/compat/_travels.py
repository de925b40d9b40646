"""freeze_time and travel."""
from __future__ import annotations

import time as _time
from datetime import datetime as _datetime
from datetime import timedelta, timezone, tzinfo
from functools import partial
from types import SimpleNamespace
from typing import Any

from orvane._clocks import Speed
from orvane._instants import SECOND, Destination, instant, unwrap
from orvane._own import is_travelling, real_time
from orvane._travel import clock
from orvane._zone import zone_of
from orvane.compat.config import say_ignored

__tracebackhide__ = True  # pytest shows the line of whoever calls
_EPOCH = _datetime(1970, 1, 1, tzinfo=timezone.utc)


def _refuse_steps() -> None:
    """In the place of an instant: raised when the clock is entered, and not where a module decorates a test."""
    raise TypeError("a real clock does not step when it is read: use tick=True, or orvane.clock(speed=)")


class freeze_time(clock):
    """As freezegun's, and what it returns when it is entered."""

    _naive = timezone.utc

    def __init__(self, time_to_freeze: Destination = None, tz_offset: float | timedelta = 0, ignore: Any = None,
                 tick: bool = False, as_arg: bool = False, as_kwarg: str = "", auto_tick_seconds: float = 0,
                 real_asyncio: bool = False) -> None:
        if ignore is not None:
            say_ignored()
        time_to_freeze = unwrap(time_to_freeze)
        super().__init__(_refuse_steps if auto_tick_seconds else time_to_freeze, tick=tick, tz_offset=tz_offset,
                         as_arg=as_arg, as_kwarg=as_kwarg)
        self._asked = dict(time_to_freeze=time_to_freeze, tz_offset=tz_offset, tick=tick, as_arg=as_arg,
                           as_kwarg=as_kwarg, auto_tick_seconds=auto_tick_seconds)

    @property
    def time_to_freeze(self) -> _datetime:
        """What it shows, or is going to show, in UTC."""
        shown = self._shown() if self.started else instant(self._at, self._naive)
        return _EPOCH.replace(tzinfo=None) + timedelta(microseconds=shown // 1000)

    @property
    def tz_offset(self) -> timedelta:
        """Of the local zone."""
        return self._offset or timedelta(0)

    def move_to(self, target_datetime: Destination, *, tick: bool | None = None, speed: Speed | None = None) -> None:
        """Sets the clock anew."""
        super().move_to(target_datetime, tick=tick, speed=speed)

    def tick(self, delta: timedelta | float = 1) -> _datetime:
        """Moves the clock on, and returns what it shows then, in UTC."""
        self.shift(delta)
        return self.time_to_freeze

    def __call__(self, function: Any = None) -> Any:
        return self.time_to_freeze if function is None else super().__call__(function)


def _of_time_machine(destination: Destination) -> Destination:
    """A text without a zone is local time there, all else UTC."""
    at = unwrap(destination)
    return _EPOCH + timedelta(microseconds=instant(at) // 1000) if isinstance(at, str) else at


class travel(clock):
    """As time-machine's, and what it returns when it is entered."""

    _naive = timezone.utc

    def __init__(self, destination: Destination, *, tick: bool = True) -> None:
        super().__init__(partial(_of_time_machine, destination), tick=tick)
        self._asked = dict(destination=destination, tick=tick)

    def move_to(self, destination: Destination, tick: bool | None = None, *, speed: Speed | None = None) -> None:
        """Sets the clock anew, in the zone of a ZoneInfo, or that from before."""
        at = _of_time_machine(destination)
        super().move_to(at, tick=tick, speed=speed)
        if zone_of(at, None) is None:
            self._zone.leave()

    def shift(self, delta: timedelta | float) -> None:
        """Moves the clock by a distance."""
        super().shift(delta)

    def time(self) -> float:
        """What it shows."""
        return self.time_ns() / SECOND

    def time_ns(self) -> int:
        """Likewise."""
        return self._shown()


class _Datetime:
    """datetime.datetime outside of all clocks."""

    def now(self, tz: tzinfo | None = None) -> _datetime:
        return _datetime.fromtimestamp(real_time(), tz)

    today = now

    def utcnow(self) -> _datetime:
        return self.now(timezone.utc).replace(tzinfo=None)


class _Time:
    """The module time outside of all clocks."""

    time = staticmethod(real_time)
    monotonic, monotonic_ns = staticmethod(_time.monotonic), staticmethod(_time.monotonic_ns)

    def time_ns(self) -> int:
        return round(real_time() * SECOND)

    def clock_gettime(self, which: int) -> float:
        return real_time() if which == _time.CLOCK_REALTIME else _time.clock_gettime(which)

    def clock_gettime_ns(self, which: int) -> int:
        return self.time_ns() if which == _time.CLOCK_REALTIME else _time.clock_gettime_ns(which)

    def gmtime(self, seconds: float | None = None) -> _time.struct_time:
        return _time.gmtime(real_time() if seconds is None else seconds)

    def localtime(self, seconds: float | None = None) -> _time.struct_time:
        return _time.localtime(real_time() if seconds is None else seconds)

    def strftime(self, form: str, moment: _time.struct_time | None = None) -> str:
        return _time.strftime(form, moment or self.localtime())


class _EscapeHatch:
    """The real time: escape_hatch.datetime.datetime.now(), escape_hatch.time.time()."""

    is_travelling = staticmethod(is_travelling)
    datetime = SimpleNamespace(datetime=_Datetime())
    time = _Time()


escape_hatch = _EscapeHatch()
