"""Virtual clocks for processes, users and groups: what tests live by, with the programs and servers they talk to."""
from orvane._clocks import Clock, add, clocks, delete, find, parse_speed, parse_time
from orvane._library import AlreadyHasClock, NoClock, NoControlFile, NotPermitted, OrvaneError
from orvane._travel import clock

__all__ = ["AlreadyHasClock", "Clock", "NoClock", "NoControlFile", "NotPermitted", "OrvaneError", "add", "clock",
           "clocks", "delete", "find", "parse_speed", "parse_time"]
