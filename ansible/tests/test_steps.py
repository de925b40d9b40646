"""What is wanted, and what leads there, without a host."""
import importlib.util
import os

import pytest

PLACE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "plugins", "module_utils", "steps.py")
SPEC = importlib.util.spec_from_file_location("steps", PLACE)
steps = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(steps)


def state(epoch, speed=1, rewind=False, descendants=False):
    return {"epoch": epoch, "speed": speed, "rewind": rewind, "frozen": speed == 0 or speed > 1000, "ahead": 0,
            "descendants": descendants,
            "time": "2030-12-25T09:00:%02d+00:00" % (epoch % 60), "speed_text": "%d times" % speed}


AT = ["--at=then"]


@pytest.mark.parametrize("present, planned, fixed, within, differs, command", [
    (state(5), state(5), True, None, [], None),
    (state(5), state(900), True, None, [], None),  # it runs, and began there
    (state(5), state(66), True, 60, ["time"], AT),
    (state(5), state(65), False, 60, [], None),
    (state(65), state(4), False, 60, ["time"], AT),
    (state(5, 0), state(6, 0), True, None, ["time"], AT),
    (state(5, 0), state(6, 0), False, None, [], None),  # counted from now, it would never be right
    (state(5, 0), state(6, 0), True, 60, [], None),
    (state(5, 0), state(66, 0), False, 60, ["time"], AT),
    (state(5), state(6, 0), True, None, ["speed", "time"], AT),
    (state(5, 0), state(6, 1), True, None, ["speed", "time"], AT),
    (state(5, 2), state(900, 60), True, None, ["speed"], ["--speed=60", "--no-rewind"]),
    (state(5), state(900, 1, True), True, None, ["rewind"], ["--speed=1", "--rewind"]),
    (state(5, 0), state(5, 1001), True, None, ["speed"], ["--speed=FROZEN", "--no-rewind"]),
    (state(5, -1), state(900, 1), True, None, [], None),  # both are the normal speed
    (state(5), state(900, 1, False, True), True, None, ["descendants"], ["--descendants"]),
    (state(5, 1, False, True), state(900, 2, False, True), True, None, ["speed"],
     ["--speed=2", "--no-rewind", "--descendants"]),
    (state(5, 1), state(900, -2, True), True, None, ["speed", "rewind"], ["--speed=-2", "--rewind"])])
def test_only_what_differs_is_changed(present, planned, fixed, within, differs, command):
    plan = {"added": [], "deleted": [], "failed": [], "changed": [
        {"identity": "u:a", "kind": "user", "id": 9, "name": "a", "from": present, "to": planned}]}
    wanted = [steps.Wanted(AT + ["--", "u:a"], fixed, within)]
    (step,) = steps.steps(plan, wanted)
    assert step["differs"] == differs
    assert step["command"] == (command and ["set"] + command + ["--", "u:a"])
    assert step["to"]["epoch"] == (planned if "time" in differs else present)["epoch"]
    assert step["to"]["speed"] == (planned if differs else present)["speed"]
    (left,) = steps.steps(plan, wanted, replace=False)
    assert (left["differs"], left["command"], left["to"]) == (differs, None, present)


def test_clocks_go_before_others_come():
    def entry(name, line=None, **states):
        return dict({"identity": "u:" + name, "kind": "user", "id": ord(name), "name": name}, line=line, **states)
    plan = {"added": [entry("b", 2, **{"from": None, "to": state(2)})],
            "changed": [entry("c", 1, **{"from": state(3, 0), "to": state(3, 5, True)})],
            "deleted": [entry("a", **{"from": state(1), "to": None})],
            "failed": [entry("d", **{"from": state(4), "to": state(4)})]}
    wanted = [steps.read_options({"identity": "u:c", "speed": 5, "rewind": True}), steps.read_line("u:b --at @2")]
    found = steps.steps(plan, wanted)
    assert [step["command"] for step in found] == [
        ["delete", "--", "u:a"], None, ["set", "--speed=5", "--rewind", "--", "u:c"], ["set", "u:b", "--at", "@2"]]
    diff = steps.difference_of(found)
    assert diff["before"] == ("u:a: 2030-12-25 09:00:01+00:00, 1 times\nu:c: 2030-12-25 09:00:03+00:00, 0 times\n"
                              "u:d: 2030-12-25 09:00:04+00:00, 1 times\n")
    assert diff["after"].splitlines()[1] == "u:c: 2030-12-25 09:00:03+00:00, 5 times, rewinding at midnight"


@pytest.mark.parametrize("clock, line, fixed, within", [
    ({"identity": "u:a", "at": "2030-12-25 09:00", "speed": 60}, "'--at=2030-12-25 09:00' --speed=60 -- u:a", True,
     None),
    ({"identity": 1000, "epoch": 5, "rewind": False, "within": "1h 30m"}, "--epoch=5 --no-rewind -- 1000", True, 5400),
    ({"identity": "p:7", "at": "now", "speed": "frozen", "rewind": "yes"}, "--at=now --speed=frozen --rewind -- p:7",
     False, 9),
    ({"identity": "a b", "in": "2d", "within": None}, "--in=2d -- 'a b'", False, 9),
    ({"identity": "p:7", "descendants": True}, "--descendants -- p:7", False, None),
    ({"identity": "g:a", "at": 122509002030}, "--at=122509002030 -- g:a", True, None),
    ("g:a --at '2030-12-25 09:00' # then", "g:a --at '2030-12-25 09:00'", True, None),
    ("g:a --epoch=5", "g:a --epoch=5", True, None), ("g:a --at now", "g:a --at now", False, None),
    ("g:a --in 1d --speed 0", "g:a --in 1d --speed 0", False, None)])
def test_a_clock_in_ovusers_words(clock, line, fixed, within):
    (wanted,) = steps.read_list([clock], 9 if within == 9 else None)
    assert (wanted.line(), wanted.fixed, wanted.within) == (line, fixed, within)


@pytest.mark.parametrize("clock, cause", [
    ({"speed": False}, "reads a word such as off: write frozen"), ({"speed": "False"}, "such as off: write frozen"),
    ({"in": 90}, "without a unit; YAML reads 1:30 as"), ({"in": "90"}, "without a unit"),
    ({"at": "now", "within": 90}, "without a unit"), ({"at": "now", "within": "soon"}, "within takes numbers with"),
    ({"at": 8735953944}, "digits that begin with a 0"), ({"date": 267288}, "put it in quotes"),
    ({"speed": 1.5}, "a whole number"), ({"epoch": "then"}, "a whole number"), ({"at": True}, "at cannot be True"),
    ({"rewind": "maybe"}, "true or false"), ({"at": "now", "descendants": True}, "those of a process"),
    ({"at": "now", "in": "1d"}, "at and in are given together"),
    ({}, "a clock needs one of"), ({"at": "now", "sped": 5}, "a clock has no sped, but identity"),
    ({"identity": None, "at": "now"}, "identity cannot be None"), ({"identity": "u:", "at": "now"}, "is u:USER, g:"),
    ({"identity": "user:a", "at": "now"}, "an identity is u:"), ("g:a --at 'now", "No closing quotation"),
    ({"identity": "p:init", "at": "now"}, "an identity is u:"), ("# none", "not one clock"),
    ("g:a --in\n1d", "not one clock")])
def test_what_cannot_be_meant_is_refused_with_the_cause(clock, cause):
    if isinstance(clock, dict):
        clock = dict({"identity": "u:a"}, **clock)
    with pytest.raises(steps.Refused, match=cause) as refused:
        steps.read_list([{"identity": "u:a", "at": "now"}, clock])
    assert str(refused.value).startswith("clock 2: ")
