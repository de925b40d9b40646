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

__tracebackhide__ = True  # pytest shows the line of whoever calls
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
        """Whether it stands still."""
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
    if not isinstance(number, int) or not -1000 <= number <= 1000:
        raise ValueError("a speed is a whole number from -1000 to 1000, or 'frozen', not %r" % (number,))
    return number


def adding(identity: str | None, nanoseconds: int, speed: int, rewind: bool, descendants: bool | None) -> lib.Request:
    """The request that sets a clock."""
    request = lib.request_for(lib.ADD, identity)
    check(nanoseconds, read_here=identity is None or identity == "p:%d" % os.getpid())
    request.time_form = lib.ABSOLUTE
    request.virtime, rest = divmod(nanoseconds, SECOND)
    request.speed = speed
    request.rewind = int(rewind)
    refined = request.refined
    refined.nanoseconds = rest
    refined.what = (lib.NANOSECONDS if rest else 0) | (lib.DESCENDANTS if descendants is not False else 0)
    return request


def conclude(code: int, request: lib.Request, descendants: bool | None = None) -> None:
    """Raises what a request came to, unless it was carried out. That the module cannot refine a clock is put up with,
    unless descendants were asked for, which None does not."""
    given = request.operation == lib.ADD and request.refined.id != 0
    if code == lib.OK and (given or request.operation != lib.ADD):
        return
    problem = c.get_errno()
    message = request.take_message()
    if given and problem != errno.ENOTTY:
        raise lib.failure(code, "the clock was not refined: " + os.strerror(problem))
    if given and descendants:
        raise lib.failure(code, "this kernel module gives no clock to descendants")
    if code == lib.OK:
        if request.id_kind[0] == lib.PROCESS:  # the library says "uid" for every kind
            message = "process %s already has a virtual clock" % (request.id_text[0] or b"%d" % request.number).decode()
        raise lib.AlreadyHasClock(code, message)
    if not given:
        raise lib.failure(code, message)


def carry_out(request: lib.Request, descendants: bool | None = None) -> None:
    c.set_errno(0)
    conclude(lib.load().process(*request.places()), request, descendants)
    request.drop_message()


def add(identity: str, at: Destination = None, *, speed: Speed = 1, rewind: bool = False) -> None:
    """Gives an identity a clock. Whoever has one keeps it: AlreadyHasClock."""
    carry_out(adding(identity, instant(at), pace(speed), rewind, False))


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
