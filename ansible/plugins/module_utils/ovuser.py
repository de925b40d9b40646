# Copyright (c) 2026 Orvane maintainers. All rights reserved.
"""The utility ovuser as the modules of this collection call it."""

from __future__ import absolute_import, division, print_function
__metaclass__ = type

import grp
import json
import pwd

NO_CLOCK = 4  # the exit status of "list IDENTITY" without a clock
NOT_KNOWN = 2  # the same for an unknown identity


class OvuserError(Exception):
    """A command that failed, with its message and its exit status."""

    def __init__(self, command, status, message):
        super(OvuserError, self).__init__(message)
        self.command = command
        self.status = status


def name_of(kind, number):
    """The name of a user or group of this host, or None."""
    try:
        if kind == "user":
            return pwd.getpwuid(number).pw_name
        return grp.getgrgid(number).gr_name if kind == "group" else None
    except (KeyError, OverflowError):
        return None


class Ovuser(object):
    """Runs ovuser by way of a module's run_command."""

    def __init__(self, module):
        self._run = module.run_command
        self._program = module.get_bin_path("ovuser", required=True, opt_dirs=["/usr/local/sbin", "/usr/sbin"])

    def run(self, arguments, may_end_with=(0,), text=None):
        """Status and output; anything but the named statuses is an OvuserError."""
        command = [self._program] + arguments
        status, output, errors = self._run(command, data=text, environ_update={"LC_ALL": "C.UTF-8"})
        if status not in may_end_with:
            raise OvuserError(command, status, errors.strip() or output.strip())
        return status, output

    def clocks(self, identities=()):
        """Returns all clocks that the caller may see, or those of some identities."""
        output = self.run(["list", "--json", "--"] + list(identities), (0, NO_CLOCK) if identities else (0,))[1]
        return json.loads(output)

    def plan(self, arguments, text=None):
        """Returns what a command would do, each clock with its owner's name."""
        output = self.run(arguments[:1] + ["--dry-run", "--json"] + arguments[1:], text=text)[1]
        plan = json.loads(output)
        for entries in plan.values():
            for entry in entries:
                entry["name"] = name_of(entry["kind"], entry["id"])
        return plan

    def removal(self, identity):
        """Plans to delete the clock of one identity. An unknown identity has none."""
        plan = dict((kind, []) for kind in ("added", "changed", "deleted", "left", "failed"))
        status, output = self.run(["list", "--json", "--", identity], (0, NO_CLOCK, NOT_KNOWN))
        for clock in json.loads(output) if status == 0 else []:
            plan["deleted"].append(dict(((name, clock[name]) for name in ("kind", "id", "name")),
                                        identity=identity, to=None, **{"from": clock}))
        return plan


def clock_of(owner, state):
    """Returns a clock as "ovuser list --json" prints it, from a plan's entry and a clock in it."""
    return dict(state, **dict((name, owner[name]) for name in ("kind", "id", "name")))
