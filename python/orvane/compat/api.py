"""What suites import from freezegun.api: by a real clock, nothing is fake."""
import datetime as _datetime
import time as _time

from orvane.compat._travels import freeze_time

FakeDate = real_date = _datetime.date
FakeDatetime = real_datetime = _datetime.datetime
FrozenDateTimeFactory = StepTickTimeFactory = TickingDateTimeFactory = freeze_time
fake_time = real_time = _time.time
fake_gmtime = real_gmtime = _time.gmtime
fake_localtime = real_localtime = _time.localtime
fake_strftime = real_strftime = _time.strftime
fake_monotonic = real_monotonic = _time.monotonic
fake_perf_counter = real_perf_counter = _time.perf_counter

__all__ = ["FakeDate", "FakeDatetime", "FrozenDateTimeFactory", "StepTickTimeFactory", "TickingDateTimeFactory",
           "fake_gmtime", "fake_localtime", "fake_monotonic", "fake_perf_counter", "fake_strftime", "fake_time",
           "freeze_time", "real_date", "real_datetime", "real_gmtime", "real_localtime", "real_monotonic",
           "real_perf_counter", "real_strftime", "real_time"]
