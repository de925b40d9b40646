"""@pytest.mark.orvane(at, ...) lets a test, a class or a module live by a clock, its fixtures included; orvane_clock is
that clock, or one from now on. With --orvane, pytest runs itself again where there are clocks."""
from __future__ import annotations

from collections.abc import Callable, Generator, Iterator
from typing import Any

import pytest

import orvane
from orvane._start import begin_anew

__tracebackhide__ = True  # pytest shows the line of whoever calls
CLOCKS: dict[pytest.Item, orvane.clock] = {}  # of those that run; pytest 6 has no stash
MARKS: dict[str, Callable[..., orvane.clock]] = {"orvane": orvane.clock}


def pytest_addoption(parser: pytest.Parser) -> None:
    group = parser.getgroup("orvane")
    group.addoption("--orvane", action="store_true", help="run under zynov-sim, unless there are virtual clocks")
    group.addoption("--orvane-intervals", action="store_true", help="and let intervals pass at the speed of a clock")
    parser.addini("orvane", "run the tests under zynov-sim, unless there are virtual clocks", "bool", False)
    parser.addini("orvane_intervals", "let intervals pass at the speed of a clock", "bool", False)
    parser.addini("orvane_at", "the time for tests without a mark of their own")


@pytest.hookimpl(hookwrapper=True, tryfirst=True)  # type: ignore[misc] # Debian's has no types
def pytest_load_initial_conftests(early_config: pytest.Config) -> Generator[None, None, None]:
    """Before output is captured: what captures it would lose it."""
    asked = early_config.known_args_namespace
    intervals = asked.orvane_intervals or early_config.getini("orvane_intervals")
    if asked.orvane or intervals or early_config.getini("orvane"):
        try:
            begin_anew(intervals)
        except orvane.OrvaneError as error:
            raise pytest.UsageError(str(error)) from None
    yield


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "orvane(at, *, speed, tick, rewind, identity, descendants, tz_offset): run the "
                            "test by a virtual clock")


@pytest.hookimpl(tryfirst=True)  # type: ignore[misc]
def pytest_runtest_setup(item: pytest.Item) -> None:
    """Before fixtures of any scope are set up."""
    for name, make in MARKS.items():
        mark = item.get_closest_marker(name)
        if mark:
            clock = make(*mark.args, **mark.kwargs)
            break
    else:
        usual = item.config.getini("orvane_at")
        if not usual:
            return
        clock = orvane.clock(usual)
    CLOCKS[item] = clock
    start_clock(clock)


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_fixture_setup(fixturedef: Any) -> Generator[None, None, None]:
    """The clock that a fixture of many tests enters is outside of a mark's, also in the first of them."""
    yield
    if fixturedef.scope != "function":
        for clock in CLOCKS.values():
            clock.bring_inside()


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_protocol(item: pytest.Item) -> Generator[None, None, None]:
    """Behind the last fixture, whatever has happened."""
    yield
    clock = CLOCKS.pop(item, None)
    if clock is not None and clock.started:
        clock.stop()


@pytest.fixture
def orvane_clock(request: pytest.FixtureRequest) -> Iterator[orvane.clock]:
    """The clock of the test's mark, or one from now on where it has none."""
    clock = CLOCKS.get(request.node)
    if clock is not None:
        yield clock
        return
    clock = orvane.clock()
    start_clock(clock)
    yield clock
    clock.stop()


def start_clock(clock: orvane.clock) -> None:
    why_not = None
    try:
        clock.start()
    except orvane.OrvaneError as error:
        why_not = str(error)
    if why_not:
        pytest.fail(why_not, pytrace=False)
