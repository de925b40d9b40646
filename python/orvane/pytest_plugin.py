"""@pytest.mark.orvane(at=..., speed=..., rewind=..., identity=...): a test lives by a clock; the fixture orvane_clock
is that clock, or one from now on where a test has no mark."""
from __future__ import annotations

from collections.abc import Iterator

import pytest

import orvane


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "orvane(at, *, speed, rewind, identity): run the test by a virtual clock")


@pytest.fixture
def orvane_clock(request: pytest.FixtureRequest) -> Iterator[orvane.clock]:
    mark = request.node.get_closest_marker("orvane")
    with orvane.clock(*mark.args, **mark.kwargs) if mark else orvane.clock() as clock:
        yield clock


@pytest.fixture(autouse=True)
def _orvane_mark(request: pytest.FixtureRequest) -> None:
    if request.node.get_closest_marker("orvane"):
        request.getfixturevalue("orvane_clock")
