"""What an application, its database, a program that it starts and a C extension take for now: all the same, in 2038. To
be run as root: zynov-sim --state table --shared python3 -m pytest examples/python_tests"""
from datetime import datetime, timezone

import app
import freezegun
import orvane
import pytest
from conftest import END, GROUP, as_group

END_OF_TIME = orvane.parse_time(END)


@pytest.fixture
def by_orvane(psql):
    """This process at the time that the group's clock shows now."""
    with orvane.clock(orvane.find("g:" + GROUP).time):
        yield as_group


READINGS = {
    "datetime.now()": lambda psql, run: app.own_seconds(),
    "select now()": lambda psql, run: app.Orders(psql, run).seconds(),
    "a subprocess's date": lambda psql, run: app.date_seconds(run),
    "a C extension": lambda psql, run: app.c_seconds(),
}


@pytest.mark.parametrize("reading", READINGS)
def test_all_agree_on_2038(by_orvane, psql, reading):
    before = orvane.find("g:" + GROUP).value
    read = READINGS[reading](psql, by_orvane)
    assert before - 2 < read < orvane.find("g:" + GROUP).value + 1  # this process began with the group's whole second
    assert datetime.fromtimestamp(before, timezone.utc).year == 2038


@pytest.mark.parametrize("reading", READINGS)
def test_freezegun_reaches_this_interpreter_alone(psql, reading):
    orvane.delete("g:" + GROUP)
    try:
        with freezegun.freeze_time(END_OF_TIME, tick=True):
            agreed = abs(READINGS[reading](psql, as_group) - END_OF_TIME.timestamp()) <= 2
    finally:
        orvane.add("g:" + GROUP, END)
    assert agreed == (reading == "datetime.now()")


def test_what_is_ordered_in_2038_is_of_2038(by_orvane, psql):
    orders = app.Orders(psql, by_orvane)
    orders.create()
    orders.add("tea")
    assert orders.year_of("tea") == 2038
