# Copyright (c) 2026 Orvane maintainers. All rights reserved.
"""Finds the steps from the existing clocks to the wanted ones. Nothing here queries or changes a host."""

from __future__ import absolute_import, division, print_function
__metaclass__ = type

import re
import shlex

try:
    from shlex import quote
except ImportError:  # Python 2
    from pipes import quote

WHEN = ("at", "in", "date", "epoch")
KNOWN = ("identity",) + WHEN + ("speed", "rewind", "descendants", "within")
UNITS = {"s": 1, "m": 60, "h": 3600, "d": 86400}
TRUTHS = ("true", "false", "yes", "no", "on", "off")
HIGHEST_SPEED = 1000


class Refused(Exception):
    """A clock that is written wrongly, and the reason."""


class Wanted(object):
    """A wanted clock: ovuser's words for it, whether they name an instant, and the tolerance of its time."""

    def __init__(self, words, fixed, within):
        self.words = words
        self.fixed = fixed
        self.within = within

    def line(self):
        """Returns a line for "ovuser apply"."""
        return " ".join(quote(word) for word in self.words)


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def text_of(option, value):
    """Returns the text that was written. YAML turns some words without quotes into other values."""
    is_truth = str(value).lower() in TRUTHS
    if option == "speed" and is_truth:
        raise Refused("speed is %s, which is how YAML reads a word such as off: write frozen for a clock that stands "
                      "still, or a number" % value)
    if is_truth or value is None or isinstance(value, (list, dict)):
        raise Refused("%s cannot be %s" % (option, value))
    text = str(value).strip()
    if option in ("in", "within") and re.match(r"[+-]?[0-9.]+$", text):
        raise Refused("%s is the number %s, without a unit; YAML reads 1:30 as sixty times one and thirty. Write it "
                      "with units and in quotes, such as '1h 30m'" % (option, text))
    digits = {"at": 12, "date": 8}.get(option)
    if digits and is_number(value) and len(text) != digits:
        raise Refused("%s is the number %s, as YAML reads digits that begin with a 0 or have colons between them: put "
                      "it in quotes" % (option, text))
    if option in ("speed", "epoch") and not re.match(r"[+-]?[0-9]+$|[Ff][A-Za-z]+$", text):
        raise Refused("%s takes a whole number, not %s" % (option, text))
    return text


def truth_of(option, value):
    truth = str(value).lower()
    if truth not in TRUTHS:
        raise Refused("%s takes true or false, not %s" % (option, value))
    return truth in ("true", "yes", "on")


def seconds_of(text):
    """Returns a tolerance, such as "60s" or "1h 30m", in seconds."""
    parts = re.findall(r"([0-9]+)\s*([smhd])", text)
    if not parts or not re.match(r"\s*([0-9]+\s*[smhd]\s*)+$", text):
        raise Refused("within takes numbers with the units d, h, m and s, such as 60s, not %s" % text)
    return sum(int(number) * UNITS[unit] for number, unit in parts)


def tolerance(value):
    return None if value is None else seconds_of(text_of("within", value))


def read_identity(value):
    identity = text_of("identity", value)
    if not re.match(r"(u:|g:)?[^:]+$|p:[0-9]+$", identity):
        raise Refused("an identity is u:USER, g:GROUP or p:PID, not '%s'" % identity)
    return identity


def read_options(options, within=None):
    """Reads a clock from options, as the module "clock" has them; None was not given."""
    given = dict((name, value) for name, value in options.items() if value is not None)
    strangers = sorted(set(given) - set(KNOWN))
    if strangers:
        raise Refused("a clock has no %s, but %s" % (", ".join(strangers), ", ".join(KNOWN)))
    identity = read_identity(given.get("identity"))
    times = [name for name in WHEN if name in given]
    if len(times) > 1:
        raise Refused("%s: %s are given together" % (identity, " and ".join(times)))
    words = ["--%s=%s" % (name, text_of(name, given[name])) for name in times + ["speed"] if name in given]
    if "rewind" in given:
        words.append("--rewind" if truth_of("rewind", given["rewind"]) else "--no-rewind")
    if truth_of("descendants", given.get("descendants", False)):
        if not identity.startswith("p:"):
            raise Refused("%s: descendants are those of a process, p:PID" % identity)
        words.append("--descendants")
    if not words:
        raise Refused("%s: a clock needs one of %s, speed, rewind and descendants" % (identity, ", ".join(WHEN)))
    fixed = "epoch" in given or "at" in given and text_of("at", given["at"]) != "now"
    return Wanted(words + ["--", identity], fixed, tolerance(given["within"]) if "within" in given else within)


def read_line(line, within=None):
    """Reads a clock from the words of a line for "ovuser apply"."""
    try:
        words = shlex.split(line, comments=True)
    except ValueError as error:
        raise Refused("%s: %s" % (line, error))
    if not words or "\n" in line:
        raise Refused("'%s' is not one clock" % line)
    instants = [(word.partition("=")[2] or following) for word, following in zip(words, words[1:] + [""])
                if word.startswith(("--a", "--e"))]
    return Wanted(words, instants not in ([], ["now"]), within)


def read_list(clocks, within=None):
    """Reads the clocks of a list, each as options or as a line."""
    wanted = []
    for number, clock in enumerate(clocks, 1):
        try:
            wanted.append(read_options(clock, within) if isinstance(clock, dict) else read_line(clock, within))
        except Refused as refused:
            raise Refused("clock %d: %s" % (number, refused))
    return wanted


def rate(speed):
    """1 and -1 are both the normal speed."""
    return 1 if speed == -1 else speed


def differences(present, planned, wanted):
    """Returns the differences of an existing clock from the wanted one. A running clock has left its first time, so
    its time counts only with a tolerance, as does a time relative to now."""
    found = []
    if rate(present["speed"]) != rate(planned["speed"]):
        found.append("speed")
    if present["rewind"] != planned["rewind"]:
        found.append("rewind")
    apart = abs(present["epoch"] - planned["epoch"])
    stands = present["frozen"] or planned["frozen"]
    if apart > wanted.within if wanted.within is not None else wanted.fixed and stands and apart != 0:
        found.append("time")
    if present.get("descendants") != planned.get("descendants"):
        found.append("descendants")
    return found


def changing(entry, wanted, replace):
    """Returns the step for an existing clock."""
    present, planned = entry["from"], entry["to"]
    differs = differences(present, planned, wanted)
    if not differs or not replace:
        return dict(entry, to=present, differs=differs, command=None)
    if "time" in differs:
        return dict(entry, differs=differs, command=["set"] + wanted.words)
    kept = dict((name, present[name]) for name in ("time", "epoch", "ahead"))
    words = ["--speed=%s" % ("FROZEN" if planned["speed"] > HIGHEST_SPEED else planned["speed"]),
             "--rewind" if planned["rewind"] else "--no-rewind"] if differs != ["descendants"] else []
    if planned.get("descendants"):
        words.append("--descendants")
    return dict(entry, to=dict(planned, **kept), differs=differs, command=["set"] + words + ["--", entry["identity"]])


def steps(plan, wanted, replace=True):
    """The steps from what there is to what is wanted, by what ovuser plans for it: each with the clock before (from)
    and behind it (to), with what differs, and the command that it takes or None. Clocks go before others come, which
    may need their room."""
    taken = [dict(entry, differs=[], command=["delete", "--", entry["identity"]]) for entry in plan["deleted"]]
    stuck = [dict(entry, differs=[], command=None) for entry in plan["failed"]]
    given = [dict(entry, differs=[], command=["set"] + wanted[entry.get("line", 1) - 1].words)
             for entry in plan["added"]]
    for entry in plan["changed"]:
        given.append(changing(entry, wanted[entry.get("line", 1) - 1], replace))
    return taken + stuck + sorted(given, key=lambda step: step.get("line", 1))


def describe(step, state):
    """Describes a clock in a line."""
    identity = "%s:%s" % (step["kind"][0], step["name"] or step["id"])
    time = state["time"].replace("T", " ") if state["time"] else "@%d" % state["epoch"]
    speed = state["speed_text"].lower() if state["speed"] <= HIGHEST_SPEED else state["speed_text"]
    more = ", rewinding at midnight" if state["rewind"] else ""
    if state.get("descendants"):
        more += ", passed on to its descendants"
    return "%s: %s, %s%s\n" % (identity, time, speed, more)


def difference_of(all_steps):
    """The clocks before and after, for people."""
    in_order = sorted(all_steps, key=lambda step: (step["kind"], step["id"]))
    return dict([("%s_header" % name, "clocks") for name in ("before", "after")],
                before="".join(describe(step, step["from"]) for step in in_order if step["from"]),
                after="".join(describe(step, step["to"]) for step in in_order if step["to"]))
