"""Virtual clocks for processes, users and groups: what tests live by, with the programs and servers they talk to."""
from orvane._clocks import Clock, add, clocks, delete, find, parse_speed, parse_time
from orvane._library import (
    AlreadyHasClock,
    BadTime,
    NoClock,
    NoControlFile,
    NoLibrary,
    NotPermitted,
    OrvaneError,
    OutOfRange,
)
from orvane._own import is_travelling, real_time
from orvane._start import require
from orvane._travel import clock

__all__ = ["AlreadyHasClock", "BadTime", "Clock", "NoClock", "NoControlFile", "NoLibrary", "NotPermitted",
           "OrvaneError", "OutOfRange", "add", "clock", "clocks", "delete", "find", "is_travelling", "parse_speed",
           "parse_time", "real_time", "require"]
