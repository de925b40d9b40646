"""freeze_time and travel."""
from __future__ import annotations

from datetime import datetime as _datetime
from datetime import timedelta, timezone, tzinfo
from time import gmtime, localtime, strftime, struct_time
from types import SimpleNamespace
from typing import Any

from orvane._instants import SECOND, Destination, instant, unwrap
from orvane._own import is_travelling, real_time
from orvane._travel import clock
from orvane.compat.config import say_ignored


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
        return _datetime(1970, 1, 1) + timedelta(microseconds=shown // 1000)

    @property
    def tz_offset(self) -> timedelta:
        """Of the local zone."""
        return self._offset or timedelta(0)

    def tick(self, delta: timedelta | float = 1) -> _datetime:
        """Moves the clock on, and returns what it shows then, in UTC."""
        self.shift(delta)
        return self.time_to_freeze

    def __call__(self, function: Any = None) -> Any:
        return self.time_to_freeze if function is None else super().__call__(function)


class travel(clock):
    """As time-machine's, and what it returns when it is entered."""

    _naive = timezone.utc

    def __init__(self, destination: Destination, *, tick: bool = True) -> None:
        super().__init__(destination, tick=tick)
        self._asked = dict(destination=destination, tick=tick)


class _Datetime:
    """datetime.datetime outside of all clocks."""

    def now(self, tz: tzinfo | None = None) -> _datetime:
        return _datetime.fromtimestamp(real_time(), tz)

    today = now

    def utcnow(self) -> _datetime:
        return _datetime.utcfromtimestamp(real_time())


class _Time:
    """The module time outside of all clocks."""

    def time(self) -> float:
        return real_time()

    def time_ns(self) -> int:
        return round(real_time() * SECOND)

    def gmtime(self, seconds: float | None = None) -> struct_time:
        return gmtime(real_time() if seconds is None else seconds)

    def localtime(self, seconds: float | None = None) -> struct_time:
        return localtime(real_time() if seconds is None else seconds)

    def strftime(self, form: str, moment: struct_time | None = None) -> str:
        return strftime(form, moment or self.localtime())


class _EscapeHatch:
    """The real time: escape_hatch.datetime.datetime.now(), escape_hatch.time.time()."""

    is_travelling = staticmethod(is_travelling)
    datetime = SimpleNamespace(datetime=_Datetime())
    time = _Time()


escape_hatch = _EscapeHatch()
