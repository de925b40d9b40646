"""The words of freezegun and time-machine, for real clocks: `sed s/freezegun/orvane.compat/` moves a suite. As a
plugin, `pytest -p orvane.compat`, it has the fixtures freezer and time_machine, and the marks freeze_time and
time_machine.

What has no zone is UTC here, as it is there, but for a text that travel is given: local time. freeze_time makes UTC, or
tz_offset, the local zone; travel keeps the zone, or takes that of a ZoneInfo."""
import sys as _sys

from orvane.compat import api, config
from orvane.compat._travels import escape_hatch, freeze_time, travel
from orvane.compat.config import configure

Coordinates = travel

__all__ = ["Coordinates", "api", "config", "configure", "escape_hatch", "freeze_time", "travel"]

if "pytest" in _sys.modules:
    from orvane.compat._fixtures import TimeMachineFixture, freezer, pytest_addoption, pytest_configure, time_machine
    __all__ += ["TimeMachineFixture", "freezer", "pytest_addoption", "pytest_configure", "time_machine"]
