"""The database of the application, in a time that begins shortly before seconds leave 31 bits."""
import orvane
import pytest
import reach

END = "2038-01-19T03:10:00Z"


@pytest.fixture(scope="module")
def psql():
    """A server of these tests' own, one for each worker of pytest-xdist."""
    with orvane.clock(END), reach.postgresql() as command:
        yield command
