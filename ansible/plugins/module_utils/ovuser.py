# Copyright (c) 2026 Orvane maintainers. All rights reserved.
"""The utility ovuser as the modules of this collection call it."""

from __future__ import absolute_import, division, print_function
__metaclass__ = type

import json

NO_CLOCK = 4  # the exit status of "list IDENTITY" for somebody who has none


class OvuserError(Exception):
    """A command that ovuser refused, with its words and its exit status."""

    def __init__(self, command, status, message):
        super(OvuserError, self).__init__(message)
        self.command = command
        self.status = status


class Ovuser(object):
    """Runs ovuser by way of a module's run_command."""

    def __init__(self, module):
        self._run = module.run_command
        self._program = module.get_bin_path("ovuser", required=True, opt_dirs=["/usr/local/sbin", "/usr/sbin"])

    def run(self, arguments, may_end_with=(0,)):
        """Status and output; anything but the named statuses is an OvuserError."""
        command = [self._program] + arguments
        status, output, errors = self._run(command, environ_update={"LC_ALL": "C.UTF-8"})
        if status not in may_end_with:
            raise OvuserError(command, status, errors.strip() or output.strip())
        return status, output

    def clocks(self):
        """All clocks that the caller may see."""
        return json.loads(self.run(["list", "--json"])[1])

    def clock(self, identity):
        """The clock of one identity, or None."""
        status, output = self.run(["list", "--json", "--", identity], (0, NO_CLOCK))
        clocks = json.loads(output) if status == 0 else []
        return clocks[0] if clocks else None
