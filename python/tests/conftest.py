import time

import pytest

pytest_plugins = "pytester"


@pytest.fixture(autouse=True)
def in_berlin(monkeypatch):
    """A zone that is not UTC, and has summer time."""
    monkeypatch.setenv("TZ", "Europe/Berlin")
    time.tzset()
