"""The library's operations in Python's words."""
from __future__ import annotations

import ctypes as c
import errno
import os
import re
from dataclasses import dataclass
from datetime import datetime
from typing import Union

from orvane import _library as lib
from orvane._instants import SECOND, Destination, aware, check, instant

Speed = Union[int, str]

_KINDS = {lib.USER: "user", lib.GROUP: "group", lib.PROCESS: "process"}


@dataclass(frozen=True)
class Clock:
    """A virtual clock as it was found."""

    kind: str
    id: int
    name: str | None
    value: int
    speed: int
    rewind: bool
    origin: int | None

    @property
    def time(self) -> datetime:
        """What it showed, in local time. OverflowError behind the year 9999, which datetime does not know."""
        return aware(self.value)

    @property
    def frozen(self) -> bool:
        return self.speed == 0 or self.speed > 1000

    @property
    def identity(self) -> str:
        """As the operations take it."""
        return "%s:%d" % (self.kind[0], self.id)


def parse_time(text: str) -> datetime:
    """Reads a time in any form that `ovuser add --at` takes."""
    return aware(instant(text) // SECOND)


def parse_speed(text: str) -> int:
    """Reads a speed, -1000 to 1000 or `frozen`."""
    if text == "frozen":
        return 0
    if not re.fullmatch("[+-]?[0-9]+", text) or abs(int(text)) > 1000:
        raise ValueError("a speed is a whole number from -1000 to 1000, or 'frozen', not %r" % text)
    return int(text)


def pace(speed: Speed) -> int:
    """A speed as a number, checked."""
    number = parse_speed(speed) if isinstance(speed, str) else speed
    if not -1000 <= number <= 1000:
        raise ValueError("a speed is from -1000 to 1000, not %d" % number)
    return number


def adding(identity: str, nanoseconds: int, speed: int, rewind: bool) -> lib.Request:
    """The request that sets a clock, to whole seconds: refine does the rest."""
    request = lib.request_for(lib.ADD, identity)
    check(nanoseconds, read_here=request.is_own())
    request.time_form = lib.ABSOLUTE
    request.virtime = nanoseconds // SECOND
    request.speed = speed
    request.rewind = int(rewind)
    return request


def conclude(code: int, slot: c.c_char_p, request: lib.Request) -> None:
    """Raises what a request came to, unless it was carried out."""
    __tracebackhide__ = True
    there = code == lib.OK and lib.was_there()
    message = lib.take_message(slot)
    if there:
        if request.id_kind[0] == lib.PROCESS:  # the library says "uid" for every kind
            message = "process %s already has a virtual clock" % request.id_text[0].decode()
        raise lib.AlreadyHasClock(code, message)
    if code != lib.OK:
        raise lib.failure(code, message)


def carry_out(request: lib.Request) -> None:
    slot = c.c_char_p()
    c.set_errno(0)
    conclude(lib.load().process_request(c.byref(request), c.byref(slot)), slot, request)


def refine(request: lib.Request, nanoseconds: int, descendants: bool | None) -> None:
    """Sets what does not fit into the request that a clock was added by. A module that cannot is put up with, unless
    descendants were asked for, which None does not."""
    what = (lib.NANOSECONDS if nanoseconds else 0) | (lib.DESCENDANTS if descendants is not False else 0)
    if not what:
        return
    lib.count_request()
    number = c.c_uint32()
    library = lib.load()
    library.parse_uid(request.id_text[0], request.id_kind[0], c.byref(number))
    if library.refine_clock(request.id_kind[0], number, nanoseconds, 0, what) == 0:
        return
    problem = c.get_errno()
    if problem != errno.ENOTTY:
        raise lib.failure(-1, "the clock was not refined: " + os.strerror(problem))
    if descendants:
        raise lib.failure(-1, "this kernel module gives no clock to descendants")


def add(identity: str, at: Destination = None, *, speed: Speed = 1, rewind: bool = False) -> None:
    """Gives an identity a clock. Whoever has one keeps it: AlreadyHasClock."""
    nanoseconds = instant(at)
    request = adding(identity, nanoseconds, pace(speed), rewind)
    carry_out(request)
    refine(request, nanoseconds % SECOND, False)


def delete(identity: str) -> None:
    """Takes an identity's clock away; NoClock where there is none."""
    carry_out(lib.request_for(lib.DELETE, identity))


def clocks() -> list[Clock]:
    """The clocks that the caller may see."""
    control = lib.open_control_file()
    try:
        found, entry = [], lib.NextClock()
        while (step := lib.load().next_clock(control, os.getuid(), c.byref(entry))) > 0:
            found.append(Clock(_KINDS[entry.kind], entry.id,
                               entry.name.decode(errors="backslashreplace") if entry.named == 1 else None,
                               entry.value, entry.speed, bool(entry.rewind), entry.origin or None))
        if step < 0:
            raise lib.failure(step, "the kernel module did not answer, error = %d" % c.get_errno())
        return found
    finally:
        os.close(control)


def find(identity: str) -> Clock | None:
    """The clock of one identity, if the caller may see it."""
    request = lib.request_for(lib.ADD, identity)
    number = c.c_uint32()
    if lib.load().parse_uid(request.id_text[0], request.id_kind[0], c.byref(number)) != 0:
        return None
    return next((clock for clock in clocks()
                 if (clock.kind, clock.id) == (_KINDS[request.id_kind[0]], number.value)), None)
