#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026 Orvane maintainers. All rights reserved.

from __future__ import absolute_import, division, print_function
__metaclass__ = type

DOCUMENTATION = r'''
---
module: clocks
short_description: Give a host the virtual clocks of a list
version_added: "12.10.6"
description:
  - Sees to it that a host has the virtual clocks of a list, by way of C(ovuser apply), with I(exact) those alone, and
    with I(persist) after its next boot too.
  - A clock that is there is changed where it differs from what is wanted, and only there, as by
    M(orvane.clocks.clock).
  - Where one of the clocks cannot be set nothing is changed.
author:
  - Orvane maintainers (@orvane)
options:
  clocks:
    description:
      - The clocks, each of another identity. One is either a dictionary of C(identity), C(at), C(in), C(date),
        C(epoch), C(speed), C(rewind), C(descendants) and C(within), which mean what they do to M(orvane.clocks.clock),
        or a line in the words that C(ovuser add) takes, as in a file for C(ovuser apply).
    type: list
    elements: raw
    required: true
  exact:
    description:
      - Whether all clocks that the list does not name are taken away, those of processes too.
    type: bool
    default: false
  within:
    description:
      - How far the time of a clock that is there may be off, such as C(60s), where the clock does not say it itself.
    type: raw
  persist:
    description:
      - Whether I(file) is made to say the list, and the service C(orvane-clocks), which applies it at every boot, is
        enabled. Times that count from the present count from then.
    type: bool
    default: false
  file:
    description:
      - The file that I(persist) writes.
    type: path
    default: /etc/orvane/clocks
attributes:
  check_mode:
    description: Finds out whether the clocks could be set, and what they would show, but changes nothing.
    support: full
  diff_mode:
    description: Shows the clocks before and after, in words, and the file.
    support: full
notes:
  - A clock whose user or group does not exist any more cannot be taken away; a warning tells of it.
seealso:
  - module: orvane.clocks.clock
  - module: orvane.clocks.clock_info
'''

EXAMPLES = r'''
- name: These clocks and no others, and again after a boot
  orvane.clocks.clocks:
    clocks:
      - {identity: 'g:testers', at: '2038-01-19 03:00', speed: frozen}
      - {identity: 'u:alice', in: 1y, within: 60s}
      - u:nobody --epoch 1924419600 --speed 60 --rewind
    exact: true
    persist: true

- name: Real time for everybody
  orvane.clocks.clocks:
    clocks: []
    exact: true
'''

RETURN = r'''
clocks:
  description:
    - The clocks that the list names, as C(ovuser list --json) tells of them; in check mode as they would be.
  returned: success
  type: list
  elements: dict
  sample:
    - kind: user
      id: 1000
      name: alice
      time: '2030-12-25T09:00:00+00:00'
      epoch: 1924419600
      ahead: 129168000
      real: '2026-11-21T09:00:00+00:00'
      speed: 60
      speed_text: 60 times faster
      frozen: false
      rewind: false
      origin: null
      descendants: false
differs:
  description:
    - For each identity whose clock was not as it is wanted what differed, of C(speed), C(rewind), C(time) and
      C(descendants).
  returned: success
  type: dict
  sample: {'u:alice': [speed]}
commands:
  description: The arguments that ovuser and systemctl were called with, or would be, and the file that was written.
  returned: success
  type: list
  elements: list
  sample: [[delete, --, 'u:bob'], [set, '--at=2030-12-25 09:00', '--speed=60', --, 'u:alice']]
status:
  description: The exit status of the command that failed.
  returned: failure
  type: int
  sample: 2
'''

import os
import tempfile

from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.common.text.converters import to_bytes, to_native
from ansible_collections.orvane.clocks.plugins.module_utils import steps
from ansible_collections.orvane.clocks.plugins.module_utils.ovuser import Ovuser, OvuserError, clock_of

TITLE = "# Written by Ansible's orvane.clocks.clocks, for 'ovuser apply'.\n"
SERVICE = "orvane-clocks.service"


def contents(path):
    """Returns the text of a file; None if it is missing."""
    if not os.path.exists(path):
        return None
    with open(path, "rb") as stream:
        return to_native(stream.read())


def write(path, text):
    """Writes a whole file or keeps the old one, even if the power fails."""
    folder = os.path.dirname(path)
    if not os.path.isdir(folder):
        os.makedirs(folder, 0o755)
    descriptor, beside = tempfile.mkstemp(dir=folder, prefix=".clocks.")
    try:
        with os.fdopen(descriptor, "wb") as stream:
            stream.write(to_bytes(text))
            stream.flush()
            os.fsync(stream.fileno())
        os.chmod(beside, 0o644)
        os.rename(beside, path)
    except (IOError, OSError):
        os.unlink(beside)
        raise


class Persistence(object):
    """The file of the clocks and the service that applies it: plans and makes their changes."""

    def __init__(self, module, wanted):
        self.module = module
        self.path = module.params["file"]
        self.systemctl = module.get_bin_path("systemctl", required=True)
        self.before = contents(self.path)
        self.after = TITLE + "".join(each.line() + "\n" for each in wanted)
        self.commands = [["write", self.path]] if self.before != self.after else []
        if module.run_command([self.systemctl, "is-enabled", "--quiet", SERVICE])[0] != 0:
            self.commands.append(["systemctl", "enable", SERVICE])

    def diff(self):
        return {"before_header": self.path, "after_header": self.path, "before": self.before or "", "after": self.after}

    def carry_out(self):
        for command in self.commands:
            if command[0] == "write":
                write(self.path, self.after)
                continue
            status, output, errors = self.module.run_command([self.systemctl] + command[1:])
            if status != 0:
                raise OvuserError(command, status, errors.strip() or output.strip())


def find_steps(ovuser, wanted, exact):
    """Returns the steps to the wanted clocks."""
    arguments = ["apply", "-", "--replace"] + (["--prune", "--empty"] if exact else [])
    lines = "".join(each.line() + "\n" for each in wanted)
    return steps.steps(ovuser.plan(arguments, lines), wanted)


def present(ovuser, named):
    """Returns the present clocks of the steps."""
    owners = [(step["kind"], step["id"]) for step in named]
    return sorted([clock for clock in ovuser.clocks() if (clock["kind"], clock["id"]) in owners],
                  key=lambda clock: owners.index((clock["kind"], clock["id"])))


def act(module):
    options, ovuser = module.params, Ovuser(module)
    wanted = steps.read_list(options["clocks"], steps.tolerance(options["within"]))
    persistence = Persistence(module, wanted) if options["persist"] else None
    found = find_steps(ovuser, wanted, options["exact"])
    commands = [step["command"] for step in found if step["command"]]
    if not module.check_mode:
        for command in commands:
            ovuser.run(command)
    named = [step for step in found if "line" in step]
    result = {"differs": dict((step["identity"], step["differs"]) for step in named if step["differs"]),
              "diff": [steps.difference_of(found)] if commands else []}
    if module.check_mode or not commands:
        result["clocks"] = [clock_of(step, step["to"]) for step in named]
    else:
        result["clocks"] = present(ovuser, named)
    if persistence and persistence.commands:
        commands = commands + persistence.commands
        result["diff"].append(persistence.diff())
        if not module.check_mode:
            persistence.carry_out()
    for step in found:
        if step["to"] and "line" not in step:
            module.warn("%s does not exist any more: only 'ovuser reset' takes its clock away" % step["identity"])
    return dict(result, changed=bool(commands), commands=commands)


def main():
    module = AnsibleModule(
        argument_spec={
            "clocks": {"type": "list", "elements": "raw", "required": True},
            "exact": {"type": "bool", "default": False},
            "within": {"type": "raw"},
            "persist": {"type": "bool", "default": False},
            "file": {"type": "path", "default": "/etc/orvane/clocks"},
        },
        supports_check_mode=True,
    )
    try:
        result = act(module)
    except steps.Refused as refused:
        module.fail_json(msg=str(refused))
    except OvuserError as error:
        module.fail_json(msg=str(error), status=error.status, command=error.command)
    except (IOError, OSError) as error:
        module.fail_json(msg="%s: %s" % (module.params["file"], to_native(error)))
    module.exit_json(**result)


if __name__ == "__main__":
    main()
