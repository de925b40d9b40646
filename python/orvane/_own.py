"""This process's own clocks: which are inside which, and what the outer ones show meanwhile."""
from __future__ import annotations

import ctypes as c
import os
import time
from functools import partial
from operator import is_

from orvane import _library as lib
from orvane._clocks import adding, carry_out, find
from orvane._instants import SECOND
from orvane._zone import Zone

__tracebackhide__ = True  # pytest shows the line of whoever calls
_DAY = 86400 * SECOND
_REALTIME, _BOOTTIME = 0, 7


# Asked for in the C library itself, where neither a clock nor the speed of intervals comes between.
_clock_gettime = c.PyDLL("libc.so.6").clock_gettime
_clock_gettime.argtypes = [c.c_int, c.c_void_p]
_Timespec = c.c_int64 * 2


def _read(which: int) -> int:
    read = _Timespec()
    _clock_gettime(which, c.byref(read))
    return int(read[0] * SECOND + read[1])


def elapsed() -> int:
    """Real nanoseconds since the machine started."""
    return _read(_BOOTTIME)


class State:
    """A clock as it was set, and what it shows since."""

    foreign = False  # set by others, before this process set one itself
    zone = Zone()
    leaving = lib.Request()  # where the library's word on the deletion comes: no interrupt can come between the two

    def __init__(self, whose: str | None, start: int, speed: int, rewind: bool, descendants: bool | None) -> None:
        self.whose, self.start, self.speed, self.rewind = whose, start, speed, rewind
        self.descendants = descendants
        self.since = elapsed()
        if not inside:
            _real_before[:] = [_read(_REALTIME) - self.since]

    def shown(self) -> int:
        passed = elapsed() - self.since
        if self.speed == 0 or self.speed > 1000:
            passed = 0
        elif self.speed < 0:
            passed //= -self.speed
        else:
            passed *= self.speed
        if not self.rewind:
            return self.start + passed
        east = time.localtime(self.start // SECOND).tm_gmtoff * SECOND
        midnight = (self.start + east) // _DAY * _DAY
        return midnight + (self.start + east + passed) % _DAY - east

    def request(self) -> lib.Request:
        return adding(self.whose, self.start, self.speed, self.rewind, self.descendants)

    def set_anew(self, start: int) -> None:
        """Puts this clock in the place of what is there."""
        before, self.start = self.start, start
        try:
            request = self.request()
        except BaseException:  # it is refused, and nothing has changed
            self.start = before
            raise
        try:
            carry_out(lib.request_for(lib.DELETE, self.whose))
        except lib.NoClock:
            pass
        self.since = elapsed()
        carry_out(request, self.descendants)


# The innermost one is the last. The first may have been set by others.
inside: list[State] = []
_real_before: list[int] = []


def replace(state: State, request: lib.Request) -> None:
    """Sets a clock where there is one already, which is put back behind it."""
    request.drop_message()  # of the clock that is there
    found = None if inside else find("p:%d" % os.getpid())
    if found is not None:
        outer = State(None, time.time_ns(), found.speed, found.rewind, None)
        outer.foreign = True
        inside[:] = [outer, state]
    else:
        inside.append(state)
    try:
        carry_out(lib.request_for(lib.DELETE, None))
    except lib.NoClock:  # others delete it at any time, too
        pass
    carry_out(request, state.descendants)


def bring_inside(state: State | None) -> None:
    """Makes a clock that has been entered the innermost one."""
    if state in inside[:-1]:
        now = state.shown()
        inside.sort(key=partial(is_, state))  # one step for interrupts
        state.set_anew(now)


def settle() -> None:
    """Puts back what deleted clocks were in."""
    if not inside:
        return
    deleted = [state for state in inside if state.leaving.message is not None]
    if not deleted:
        return
    for state in reversed(deleted):
        state.zone.leave()
    staying = [state for state in inside if state not in deleted]
    if staying:
        staying[-1].set_anew(staying[-1].shown())
    inside[:] = [] if len(staying) == 1 and staying[0].foreign else staying


def real_time() -> float:
    """The real time, as time.time() shows it to those who have no clock."""
    return (_real_before[0] + elapsed() if inside else _read(_REALTIME)) / SECOND


def is_travelling() -> bool:
    """Whether this process has a virtual clock, or its user or group."""
    try:
        return bool(inside) or any(map(find, ("p:%d" % os.getpid(), "u:%d" % os.geteuid(), "g:%d" % os.getegid())))
    except lib.NoControlFile:
        return False
