#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026 Orvane maintainers. All rights reserved.

from __future__ import absolute_import, division, print_function
__metaclass__ = type

DOCUMENTATION = r'''
---
module: clock
short_description: Give users, groups and processes virtual clocks, or take them away
version_added: "12.10.6"
description:
  - Gives one identity of a host a virtual clock of its own, or takes it away, by way of C(ovuser).
  - A clock that is there is left as it is, whatever it shows, unless I(replace) says otherwise.
author:
  - Orvane maintainers (@orvane)
options:
  identity:
    description:
      - Whose clock, as C(ovuser) takes it, C(u:USER), C(g:GROUP) or C(p:PID), by name or by number.
      - Without a prefix it is a user.
    type: str
    required: true
  state:
    description:
      - C(present) gives the identity a clock where it has none, C(absent) takes it away.
    type: str
    choices: [present, absent]
    default: present
  at:
    description:
      - The time that the clock starts at, in any form that C(ovuser add --at) takes, such as C(2030-12-25 09:00) in
        the host's local time, C(2030-12-25T09:00:00Z), or C(now).
    type: str
  in:
    description:
      - A distance from the host's present time, such as C(2d 3h) or C(-90m).
    type: str
  date:
    description:
      - A date at the host's present time of day, C(YYYY-MM-DD).
    type: str
  epoch:
    description:
      - Seconds since 1970-01-01 00:00:00 UTC.
    type: int
  speed:
    description:
      - N times faster, or -N times slower, up to 1000 either way; C(0) or C(frozen) lets the clock stand still.
    type: str
  rewind:
    description:
      - Whether the clock goes back to the same date at every midnight.
    type: bool
    default: false
  replace:
    description:
      - Sets the clock anew where the identity has one already. That is a change each time.
      - With none of I(at), I(in), I(date) and I(epoch), such a clock goes on from the time that it shows, at the same
        speed unless I(speed) says otherwise.
    type: bool
    default: false
attributes:
  check_mode:
    description: Finds out whether the clock could be set, and what it would show, but does not set it.
    support: full
  diff_mode:
    description: Shows speed, rewinding and the time of the clock before and after.
    support: full
notes:
  - One of I(at), I(in), I(date), I(epoch), I(speed) and I(rewind) is needed where a clock is to be set.
  - An ordinary user may set his own clock and those of processes.
seealso:
  - module: orvane.clocks.clock_info
'''

EXAMPLES = r'''
- name: Christmas for alice, sixty times as fast
  orvane.clocks.clock:
    identity: u:alice
    at: '2030-12-25 09:00'
    speed: 60

- name: The day over and over again for all testers, set anew
  orvane.clocks.clock:
    identity: g:testers
    date: '2038-01-19'
    rewind: true
    replace: true

- name: Real time again
  orvane.clocks.clock:
    identity: u:alice
    state: absent
'''

RETURN = r'''
clock:
  description:
    - The clock that the identity has now, as C(ovuser list --json) tells of it.
    - In check mode, of one that would be set, C(epoch), C(speed) and C(rewind).
  returned: when there is one
  type: dict
  sample:
    kind: user
    id: 1000
    name: alice
    time: '2030-12-25T09:00:00+00:00'
    epoch: 1924419600
    speed: 60
    rewind: false
commands:
  description: The arguments that ovuser was called with to make the change, or would be.
  returned: success
  type: list
  elements: list
  sample: [[add, '--at=2030-12-25 09:00', '--speed=60', --, 'u:alice']]
status:
  description: The exit status of ovuser, where it refused.
  returned: failure
  type: int
  sample: 2
'''

import re

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.orvane.clocks.plugins.module_utils.ovuser import Ovuser, OvuserError

WHEN = ("at", "in", "date", "epoch")


def setting(command, wanted):
    """The words of "ovuser add" or "ovuser set" for what is wanted."""
    words = [command]
    for name in WHEN + ("speed",):
        if wanted[name] is not None:
            words.append("--%s=%s" % (name, wanted[name]))
    if wanted["rewind"]:
        words.append("--rewind")
    elif command == "set":
        words.append("--no-rewind")
    return words + ["--", wanted["identity"]]


def plan(present, wanted):
    """The commands that lead from the clock that is present, or None, to what is wanted."""
    if wanted["state"] == "absent":
        return [["delete", "--", wanted["identity"]]] if present else []
    if present is None:
        return [setting("add", wanted)]
    return [setting("set", wanted)] if wanted["replace"] else []


def foreseen(present, wanted, rehearsal):
    """The clock that there will be, by what ovuser said of it in its rehearsal."""
    epoch = re.search(r"\((-?\d+) seconds since the epoch\)", rehearsal)
    speed = wanted["speed"]
    if speed is None:
        speed = present["speed"] if present and not any(wanted[name] for name in WHEN) else 1
    return {"epoch": int(epoch.group(1)) if epoch else None,
            "speed": 0 if speed == "frozen" else int(speed), "rewind": wanted["rewind"]}


def shown(clock):
    """What a difference shows of a clock: what can be set of it."""
    return {} if clock is None else {name: clock[name] for name in ("epoch", "speed", "rewind")}


def act(ovuser, wanted, check):
    present = ovuser.clock(wanted["identity"])
    commands = plan(present, wanted)
    result = {"changed": bool(commands), "commands": commands}
    after = present
    for command in commands:
        if not check:
            ovuser.run(command)
            after = ovuser.clock(wanted["identity"])
        elif command[0] == "delete":
            after = None
        else:
            after = foreseen(present, wanted, ovuser.run(command[:1] + ["--dry-run"] + command[1:])[1])
    if after is not None:
        result["clock"] = after
    if commands:
        result["diff"] = {"before": shown(present), "after": shown(after)}
    return result


def main():
    module = AnsibleModule(
        argument_spec={
            "identity": {"type": "str", "required": True},
            "state": {"type": "str", "choices": ["present", "absent"], "default": "present"},
            "at": {"type": "str"},
            "in": {"type": "str"},
            "date": {"type": "str"},
            "epoch": {"type": "int"},
            "speed": {"type": "str"},
            "rewind": {"type": "bool", "default": False},
            "replace": {"type": "bool", "default": False},
        },
        mutually_exclusive=[WHEN],
        supports_check_mode=True,
    )
    try:
        result = act(Ovuser(module), module.params, module.check_mode)
    except OvuserError as error:
        module.fail_json(msg=str(error), status=error.status, command=error.command)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
