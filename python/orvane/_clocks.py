"""The library's operations in Python's words."""
from __future__ import annotations

import ctypes as c
import os
import re
import time as _time
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone
from typing import Union

from orvane import _library as lib

Instant = Union[datetime, str, None]
Speed = Union[int, str]

_KINDS = {lib.USER: "user", lib.GROUP: "group", lib.PROCESS: "process"}
_EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)


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
        return _aware(self.value)

    @property
    def frozen(self) -> bool:
        return self.speed == 0 or self.speed > 1000

    @property
    def identity(self) -> str:
        """As the operations take it."""
        return "%s:%d" % (self.kind[0], self.id)


def _aware(value: int) -> datetime:
    return (_EPOCH + timedelta(seconds=value)).astimezone()


def _value(at: Instant) -> int:
    """The clock value of an instant, in whole seconds, as the clocks have them."""
    if at is None:
        return int(_time.time())
    if isinstance(at, datetime):
        aware = at.astimezone() if at.tzinfo is None else at
        return (aware - _EPOCH) // timedelta(seconds=1)
    if not isinstance(at, str):
        raise TypeError("a time is a datetime, a text or None, not %r" % (at,))
    slot = c.c_char_p()
    value: int = lib.library.ov_read_time(at.encode(), c.byref(slot))
    if value == 0:
        raise lib.failure(809, lib.take_message(slot))
    return value


def parse_time(text: str) -> datetime:
    """Reads a time in any form that `ovuser add --at` takes."""
    return _aware(_value(text))


def parse_speed(text: str) -> int:
    """Reads a speed, -1000 to 1000 or `frozen`."""
    if text == "frozen":
        return 0
    if not re.fullmatch("[+-]?[0-9]+", text) or abs(int(text)) > 1000:
        raise ValueError("a speed is a whole number from -1000 to 1000, or 'frozen', not %r" % text)
    return int(text)


def adding(identity: str, at: Instant, speed: Speed, rewind: bool) -> lib.Request:
    """The request that sets a clock."""
    pace = parse_speed(speed) if isinstance(speed, str) else speed
    if not -1000 <= pace <= 1000:
        raise ValueError("a speed is from -1000 to 1000, not %d" % pace)
    request = lib.request_for(lib.ADD, identity)
    request.time_form = lib.ABSOLUTE
    request.virtime = _value(at)
    request.speed = pace
    request.rewind = int(rewind)
    return request


def conclude(code: int, slot: c.c_char_p) -> None:
    """Raises what a request came to, unless it was carried out."""
    message = lib.take_message(slot)
    if code == lib.OK and lib.was_there():
        raise lib.AlreadyHasClock(code, message)
    if code != lib.OK:
        raise lib.failure(code, message)


def carry_out(request: lib.Request) -> None:
    slot = c.c_char_p()
    c.set_errno(0)
    conclude(lib.process_request(c.byref(request), c.byref(slot)), slot)


def add(identity: str, at: Instant = None, *, speed: Speed = 1, rewind: bool = False) -> None:
    """Gives an identity a clock. Whoever has one keeps it: AlreadyHasClock."""
    carry_out(adding(identity, at, speed, rewind))


def delete(identity: str) -> None:
    """Takes an identity's clock away; NoClock where there is none."""
    carry_out(lib.request_for(lib.DELETE, identity))


def clocks() -> list[Clock]:
    """The clocks that the caller may see."""
    control = lib.open_control_file()
    try:
        found, entry = [], lib.NextClock()
        while (step := lib.library.ov_next_clock(control, os.getuid(), c.byref(entry))) > 0:
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
    if lib.library.parse_uid(request.id_text[0], request.id_kind[0], c.byref(number)) != 0:
        return None
    return next((clock for clock in clocks()
                 if (clock.kind, clock.id) == (_KINDS[request.id_kind[0]], number.value)), None)
