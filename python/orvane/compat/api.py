"""What suites import from freezegun.api: by a real clock, nothing is fake."""
import datetime as _datetime
import time as _time

from orvane.compat._travels import freeze_time

FakeDate = real_date = _datetime.date
FakeDatetime = real_datetime = _datetime.datetime
FrozenDateTimeFactory = TickingDateTimeFactory = freeze_time
real_time, real_gmtime, real_localtime, real_strftime = _time.time, _time.gmtime, _time.localtime, _time.strftime
real_monotonic, real_perf_counter = _time.monotonic, _time.perf_counter

__all__ = ["FakeDate", "FakeDatetime", "FrozenDateTimeFactory", "TickingDateTimeFactory", "freeze_time", "real_date",
           "real_datetime", "real_gmtime", "real_localtime", "real_monotonic", "real_perf_counter", "real_strftime",
           "real_time"]
