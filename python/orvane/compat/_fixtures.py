"""The fixtures and marks of pytest-freezer and time-machine."""
from __future__ import annotations

from collections.abc import Iterator
from datetime import timedelta

import pytest

from orvane._instants import Destination
from orvane.compat._travels import freeze_time, travel
from orvane.pytest_plugin import CLOCKS, MARKS, start_clock


def pytest_addoption(pluginmanager: pytest.PytestPluginManager) -> None:
    """Others' fixtures of the same names, where they are still installed, would come before these."""
    for name in "freezegun", "freezer", "time_machine":
        pluginmanager.set_blocked(name)


def pytest_configure(config: pytest.Config) -> None:
    MARKS.update(freeze_time=freeze_time, time_machine=travel)
    config.addinivalue_line("markers", "freeze_time(...): freeze the time of the test")
    config.addinivalue_line("markers", "time_machine(...): travel for the test")


@pytest.fixture
def freezer(request: pytest.FixtureRequest) -> Iterator[freeze_time]:
    """The clock of the test's mark, or one that stands still now."""
    clock = CLOCKS.get(request.node)
    if isinstance(clock, freeze_time):
        yield clock
        return
    own = freeze_time()
    start_clock(own)
    yield own
    own.stop()


class TimeMachineFixture:
    """Travels as soon as it is moved."""

    def __init__(self, clock: travel | None) -> None:
        self._clock = clock

    def move_to(self, destination: Destination, tick: bool | None = None) -> None:
        """Travels there."""
        if self._clock is None:
            self._clock = travel(destination, tick=tick is not False)
            start_clock(self._clock)
        else:
            self._clock.move_to(destination, tick=tick)

    def shift(self, delta: timedelta | float) -> None:
        """Moves the clock by a distance, once it has been moved."""
        if self._clock is None:
            raise RuntimeError("Initialize time_machine with move_to() before using shift().")
        self._clock.shift(delta)

    def stop(self) -> None:
        """Comes back."""
        if self._clock is not None and self._clock.started:
            self._clock.stop()


@pytest.fixture
def time_machine(request: pytest.FixtureRequest) -> Iterator[TimeMachineFixture]:
    """Travels for the test, once it is told where to."""
    marked = CLOCKS.get(request.node)
    machine = TimeMachineFixture(marked if isinstance(marked, travel) else None)
    yield machine
    machine.stop()
