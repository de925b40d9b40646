"""Whom a clock reaches, and whom freezegun: the table of python/README.md is true."""
import pathlib
import re

import freezegun
import orvane
import pytest
import reach
from conftest import END

README = pathlib.Path(__file__).parents[2] / "python" / "README.md"
ROWS = re.findall(r"^\| (.+) \| (2038|real time) \| (2038|real time) \|$", README.read_text(), re.M)
BEGIN = orvane.parse_time(END).timestamp()


def test_each_row_is_tried():
    assert [asked for asked, *_ in ROWS] == list(reach.READINGS)


@pytest.mark.parametrize("asked, here, there", ROWS)
def test_whom_a_clock_reaches(asked, here, there):
    with orvane.clock(END):
        read = reach.READINGS[asked]()
    assert {True: "2038", False: "real time"}[BEGIN <= read < BEGIN + 3600] == here


@pytest.mark.parametrize("asked, here, there", ROWS)
def test_whom_freezegun_reaches(asked, here, there):
    with freezegun.freeze_time(orvane.parse_time(END), tick=True):
        read = reach.READINGS[asked]()
    assert {True: "2038", False: "real time"}[BEGIN <= read < BEGIN + 3600] == there
