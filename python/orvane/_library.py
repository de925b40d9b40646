"""The library ov_helper, by ctypes. Its calls hold the interpreter's lock, since it allows one at a time."""
from __future__ import annotations

import ctypes as c
import errno
import functools
import os
import sys
from typing import Any

__tracebackhide__ = True  # pytest shows the line of whoever calls
_NAME = "libov_helper.so.12"
NATIVE = os.path.join(os.path.dirname(__file__), "native")  # in a wheel, the library and the simulator
CONTROL_FILE = "/proc/zynov"
USER, GROUP, PROCESS = 1, 2, 3
NOTHING, ADD, DELETE = 0, 1, 2
ABSOLUTE = 1
OK, BAD_TIME, NOT_PERMITTED, NO_CONTROL_FILE, NO_CLOCK = 0, 809, 811, 812, 814
EARLIEST, LATEST = 32400, 253402329599  # the values that a clock may be set to
NANOSECONDS, DESCENDANTS = 1, 4


class Refined(c.Structure):
    """ov_refined."""

    _fields_ = [("what", c.c_uint32), ("id", c.c_uint32)] + [
        (name, c.c_int32) for name in ("generations", "nanoseconds", "utc_offset")]


class Request(c.Structure):
    """ov_request, and behind it what else a call takes."""

    message: int | None
    _fields_ = [(name, c.c_int32) for name in ("operation", "speed", "time_form", "rel_mode", "rewind", "id_count")] + [
        ("id_kind", c.c_int32 * 10),
        ("id_text", c.c_char_p * 10),
    ] + [(name, c.c_char_p) for name in ("abs_time", "x_date", "rel_minutes", "rel_hours", "rel_days", "rel_years",
                                         "rel_origin")] + [
        ("virtime", c.c_int64), ("number", c.c_uint32), ("refined", Refined), ("message", c.c_void_p)]

    def places(self) -> tuple[Any, ...]:
        """The arguments of process."""
        return c.byref(self), c.byref(self, _NUMBER) if self.number else None, c.byref(self, _REFINED), c.byref(
            self, _MESSAGE)

    def take_message(self) -> str:
        place, self.message = self.message, None
        return take_message(place) if place is not None else ""

    def drop_message(self) -> None:
        place, self.message = self.message, None
        if place is not None:
            _free(place)


_NUMBER, _REFINED, _MESSAGE = (getattr(Request, name).offset for name in ("number", "refined", "message"))


class NextClock(c.Structure):
    """ov_clock."""

    _fields_ = [("kind", c.c_int32), ("id", c.c_uint32), ("value", c.c_int64), ("origin", c.c_int64),
                ("speed", c.c_int32), ("mode", c.c_int32), ("rewind", c.c_int32), ("slot", c.c_uint32),
                ("owner", c.c_int64), ("owner_group", c.c_int64), ("named", c.c_int32), ("name", c.c_char * 1024),
                ("undecided", c.c_int32), ("begun", c.c_int32), ("high_mark", c.c_int32), ("next_slot", c.c_int64),
                ("container", c.c_uint64)]


class Library:
    """The loaded library."""

    def __init__(self, native: c.PyDLL) -> None:
        self.process = native.ov_process_refined
        self.process.argtypes = [c.c_void_p] * 4
        self.next_clock = native.ov_next_clock
        self.next_clock.argtypes = [c.c_int, c.c_int, c.c_void_p]
        self.read_time = native.ov_read_time
        self.read_time.argtypes = [c.c_char_p, c.c_void_p]
        self.read_time.restype = c.c_int64
        self.parse_uid = native.parse_uid
        self.parse_uid.argtypes = [c.c_char_p, c.c_int, c.POINTER(c.c_uint32)]
        # The same entry with four arguments behind, which it does not look at, and no result: what leaves a with
        # statement can then be this function itself, and no interrupt comes before it. Python's part comes behind it.
        self.leave = c.PYFUNCTYPE(None, *[c.c_void_p] * 4, *[c.py_object] * 4)(("ov_process_refined", native))
        self.leave.errcheck = _behind  # type: ignore[assignment]


def _behind(result: None, function: object, arguments: tuple[Any, ...]) -> None:
    arguments[4].behind()


@functools.cache
def load() -> Library:
    """Loads it when it is first needed, so that whoever only imports this package can do without."""
    try:
        own = os.path.join(NATIVE, "lib", _NAME)
        return Library(c.PyDLL(own if os.path.exists(own) else _NAME, use_errno=True))
    except (OSError, AttributeError) as error:
        raise NoLibrary(0, "%s cannot be loaded (%s): install the package libov-helper12" % (_NAME, error)) from None


_free = c.PyDLL(None).free
_free.argtypes = [c.c_void_p]


class OrvaneError(Exception):
    """What was asked for cannot be done. `code` is the library's result, `message` what it said."""

    __module__ = "orvane"  # the name by which people know it

    def __init__(self, code: int, message: str) -> None:
        super().__init__(code, message)  # with which it is made again in the process that asked a worker
        self.code = code
        self.message = message

    def __init_subclass__(cls) -> None:
        cls.__module__ = "orvane"

    def __str__(self) -> str:
        return self.message


class NoLibrary(OrvaneError):
    """The library is not installed."""


class BadTime(OrvaneError, ValueError):
    """No time is read from such a text."""


class OutOfRange(BadTime):
    """No clock is set to such a time, or Python could not read it."""


class AlreadyHasClock(OrvaneError):
    """The identity has a clock, which is left as it is."""


class NoClock(OrvaneError):
    """The identity has no clock."""


class NotPermitted(OrvaneError):
    """Only root, or somebody else, may do this."""


class NoControlFile(OrvaneError):
    """There is neither the kernel module nor the simulator, or it may not be used."""


_CLASSES = {BAD_TIME: BadTime, NOT_PERMITTED: NotPermitted, NO_CONTROL_FILE: NoControlFile, NO_CLOCK: NoClock}
_HOW_TO_START = ("there are no virtual clocks here: run %s, or load the kernel module (modprobe zynov)")


def take_message(place: int | None) -> str:
    """The text that a call left there, which is freed."""
    if place is None:
        return ""
    text = c.string_at(place).decode(errors="backslashreplace").strip()
    _free(place)
    for word in "ovuser: ", "error: ", "warning: ", "report: ":
        text = text.removeprefix(word)
    return text


def failure(code: int, message: str) -> OrvaneError:
    """The exception for a result."""
    if code == NO_CONTROL_FILE and "error = %d" % errno.ENOENT in message:
        message = _HOW_TO_START % ("pytest --orvane" if "pytest" in sys.modules else "python3 -m orvane SCRIPT")
    return _CLASSES.get(code, OrvaneError)(code, message or "the request was not carried out, result = %d" % code)


def request_for(operation: int, identity: str | None, request: Request | None = None) -> Request:
    """A request about one identity, as ovuser takes them: u:NAME, g:NAME, p:PID, or a user without a prefix; None is
    this process."""
    if request is None:
        request = Request()
    request.operation, request.speed, request.id_count = operation, 1, 1
    if identity is None:
        request.id_kind[0], request.number = PROCESS, os.getpid()
        return request
    kind, text = {"u:": USER, "g:": GROUP, "p:": PROCESS}.get(identity[:2]), identity[2:]
    if kind is None:
        kind, text = USER, identity
    if not text or "\0" in text:
        raise ValueError("an identity is u:USER, g:GROUP or p:PID, not %r" % identity)
    if text.lstrip("+-").isdecimal() and not 0 <= int(text) <= 4294967294:
        raise ValueError("the number of an identity is from 0 to 4294967294, not %s" % text)
    request.id_kind[0] = kind
    request.id_text[0] = text.encode()
    return request


def open_control_file() -> int:
    """A descriptor, to be closed by the caller."""
    try:
        return os.open(CONTROL_FILE, os.O_RDONLY | os.O_CLOEXEC)
    except OSError as error:
        raise failure(NO_CONTROL_FILE, "Open of /proc/zynov failed; error = %d" % error.errno) from None
