"""A clock for as long as a block, a function or a test lasts."""
from __future__ import annotations

import ctypes as c
import functools
import os
import sys
import time
from collections.abc import Callable
from datetime import timedelta, timezone, tzinfo
from typing import TYPE_CHECKING, Any, TypeVar

from orvane import _library as lib
from orvane import _own
from orvane._clocks import Speed, conclude, pace
from orvane._decorate import decorate
from orvane._instants import Destination, instant, length, unwrap
from orvane._start import has_clocks
from orvane._zone import Zone, offset_of, zone_of

if sys.version_info >= (3, 11):
    from typing import Self
else:
    Self = Any

__tracebackhide__ = True  # pytest shows the line of whoever calls
Function = TypeVar("Function", bound=Callable[..., Any])

_to_leave: list[lib.Request] = []


def _stay() -> None:
    """A forked child that gets out of a block, too, is not to take its parent's clock away."""
    for request in _to_leave:
        request.operation = lib.NOTHING
    _own.inside.clear()


os.register_at_fork(after_in_child=_stay)


class _Leaving:
    """What a with statement calls in the end, and looks up before it begins: the library's own function, with its
    arguments, so that an interrupt that is waiting is raised behind it, when the clock is gone."""

    def __get__(self, entered: clock | None, _: type[clock]) -> Callable[..., None]:
        if entered is None:  # as contextlib.ExitStack asks
            return lambda entered, *what: entered._leave()(*what)
        return entered._leave()


class clock:
    """Gives this process, or another identity, a clock: a context manager and a decorator.

    `at` is a datetime, a date (midnight), a number of seconds since the epoch, a timedelta from now, a text, None for
    now, or a function or generator of these. What has no zone is local time; a ZoneInfo's zone is the local one inside.
    `speed` is 1 to 1000 times the normal one, -2 to -1000 for slower, 0 or "frozen"; `tick=False` is the latter.
    `tz_offset` (hours, or a timedelta) is the local zone's offset inside. `intervals` makes sure that intervals pass at
    the clock's speed, too, such as those of asyncio.

    A clock of this process is that of the programs that it starts, too (`descendants`), and clocks in clocks put back
    what they found. `identity` is another's, u:USER, g:GROUP or p:PID, who keeps a clock that he has (AlreadyHasClock).
    On every way out the clock is taken away, and with the process, however it ends, if it is the process's own.
    """

    _naive: tzinfo | None = None

    def __init__(self, at: Destination = None, *, speed: Speed | None = None, tick: bool | None = None,
                 rewind: bool = False, identity: str | None = None, descendants: bool | None = None,
                 tz_offset: float | timedelta | None = None, intervals: bool = False, as_arg: bool = False,
                 as_kwarg: str = "") -> None:
        if speed is not None and tick is not None:
            raise TypeError("a clock has a speed, or is told whether it ticks, not both")
        self._asked: dict[str, Any] = dict(
            at=at, speed=speed, tick=tick, rewind=rewind, identity=identity, descendants=descendants,
            tz_offset=tz_offset, intervals=intervals, as_arg=as_arg, as_kwarg=as_kwarg)
        self._at, self._rewind, self._identity = at, rewind, identity
        self._speed = pace(speed) if speed is not None else 0 if tick is False else 1
        self._descendants = descendants if descendants is not None or identity is None else False
        self._offset = None if tz_offset is None else offset_of(tz_offset)
        self._to_function = as_arg, as_kwarg
        self._intervals = intervals
        self._zone = Zone()
        self._state: _own.State | None = None
        self._leaving = lib.Request()  # nothing is asked for yet
        self._end: Callable[..., None] | None = None

    @property
    def identity(self) -> str:
        """Whose clock it is."""
        return self._identity if self._identity is not None else "p:%d" % os.getpid()

    @property
    def started(self) -> bool:
        """Whether it has been entered, and not left."""
        return self._state is not None and self._leaving.message is None

    def _begin(self) -> tuple[_own.State, str | None]:
        """What is to be set, and the zone."""
        if self._intervals and not has_clocks(intervals=True):
            raise lib.NoControlFile(lib.NO_CONTROL_FILE, "intervals pass at a clock's speed under zynov-sim alone: run "
                                    "pytest --orvane-intervals, or python3 -m orvane --intervals SCRIPT")
        at = unwrap(self._at)
        naive = timezone(self._offset) if self._offset is not None and self._naive is None else self._naive
        _own.settle()
        state = _own.State(self._identity, instant(at, naive), self._speed, self._rewind, self._descendants)
        self._leaving.drop_message()
        state.leaving, state.zone = self._leaving, self._zone
        return state, zone_of(at, self._offset)

    def _leave(self) -> Callable[..., None]:
        end = self._end
        if end is None:
            self._leaving.number = 0 if self._identity is not None else os.getpid()
            end = self._end = functools.partial(lib.load().leave, *self._leaving.places(), self)
        return end

    def __enter__(self) -> Self:
        if self.started:
            raise RuntimeError("this clock has been entered already")
        state, zone = self._begin()
        request = state.request()
        places, process, leave = request.places(), lib.load().process, self._leave()
        lib.request_for(lib.DELETE, self._identity, self._leaving)
        _to_leave[:] = [each for each in _to_leave if each.operation]
        _to_leave.append(self._leaving)
        c.set_errno(0)
        # An interrupt may be raised behind any call of these, but not before the first: whatever it was raised
        # behind, the clock is taken away again, unless it was there before.
        try:
            code = process(*places)
            if code != lib.OK or (not request.refined.id and self._identity is not None):
                conclude(code, request, state.descendants)
            self._state = state
            if not request.refined.id:
                _own.replace(state, request)
            elif self._identity is None:
                _own.inside.append(state)
            self._zone.enter(zone)
            return self
        except BaseException:
            if request.refined.id or state in _own.inside:
                leave(None, None, None)
            self._leaving.operation, self._end = lib.NOTHING, None
            raise

    if TYPE_CHECKING:
        def __exit__(self, *what: object) -> None: ...
    else:
        __exit__ = _Leaving()

    def behind(self) -> None:
        """What is put back when the clock has been deleted."""
        self._leaving.operation = lib.NOTHING
        self._state = self._end = None
        self._zone.leave()
        _own.settle()
        self._leaving.drop_message()

    async def __aenter__(self) -> Self:
        return self.__enter__()

    async def __aexit__(self, *what: object) -> None:
        self._leave()(None, None, None)

    def start(self) -> Self:
        """Enters the clock, until stop()."""
        return self.__enter__()

    def stop(self) -> None:
        """Leaves the clock that start() entered."""
        if self._state is None:
            raise RuntimeError("this clock has not been started")
        self._leave()(None, None, None)

    def bring_inside(self) -> None:
        """Makes it the innermost one of the clocks that have been entered."""
        _own.bring_inside(self._state)

    def _entered(self) -> _own.State:
        if self._state is None:
            raise lib.NoClock(lib.NO_CLOCK, "%s has not been given this clock" % self.identity)
        return self._state

    def _shown(self) -> int:
        """What the clock shows now, in nanoseconds."""
        state = self._entered()
        return time.time_ns() if _own.inside[-1:] == [state] else state.shown()

    def _set(self, nanoseconds: int) -> None:
        state = self._entered()
        if self._identity is None and _own.inside and _own.inside[-1] is not state:
            state.start, state.since = nanoseconds, _own.elapsed()  # shown when the inner clocks have been left
        else:
            state.set_anew(nanoseconds)

    def move_to(self, at: Destination, *, tick: bool | None = None, speed: Speed | None = None) -> None:
        """Sets the clock anew, at the same speed unless another one is named. A ZoneInfo's zone gets local."""
        state, before, at = self._entered(), self._entered().speed, unwrap(at)
        nanoseconds = instant(at, self._naive)
        if speed is not None or tick is not None:
            state.speed = pace(speed) if speed is not None else int(bool(tick))
        try:
            self._set(nanoseconds)
        except lib.OutOfRange:
            state.speed = before
            raise
        if self._offset is None:
            self._zone.enter(zone_of(at, None))

    def shift(self, distance: timedelta | float) -> None:
        """Moves the clock by a distance, a timedelta or seconds, from what it shows."""
        self._set(self._shown() + length(distance))

    def tick(self, distance: timedelta | float = 1) -> Any:
        """As shift, by a second unless told otherwise."""
        self.shift(distance)

    def __call__(self, function: Function) -> Function:
        decorated: Function = decorate(self._fresh, function, *self._to_function)
        return decorated

    def _fresh(self) -> Self:
        return type(self)(**self._asked)

    def __reduce__(self) -> tuple[Any, ...]:
        return functools.partial(type(self), **self._asked), ()
