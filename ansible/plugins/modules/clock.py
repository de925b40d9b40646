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
  - A clock that is there is changed where it differs from what is wanted, and only there. Its speed and its rewinding
    are compared, and the time where the clock stands still. The time of a clock that runs, which has left the one that
    it began with, is compared where I(within) says how far it may be off.
  - For all clocks of a host at once there is M(orvane.clocks.clocks).
author:
  - Orvane maintainers (@orvane)
options:
  identity:
    description:
      - Whose clock, as C(ovuser) takes it, C(u:USER), C(g:GROUP) or C(p:PID), by name or by number.
      - Without a prefix it is a user.
    type: raw
    required: true
  state:
    description:
      - C(present) sees to it that the identity has the clock, C(absent) that it has none.
      - Whoever does not exist has none.
    type: str
    choices: [present, absent]
    default: present
  at:
    description:
      - The time that the clock starts at, in any form that C(ovuser add --at) takes, such as C(2030-12-25 09:00) in
        the host's local time, C(2030-12-25T09:00:00Z), or C(now).
      - Mutually exclusive with I(in), I(date) and I(epoch).
    type: raw
  in:
    description:
      - A distance from the host's present time, such as C(2d 3h) or C(-90m).
      - A number without a unit is refused. YAML makes one of C(1:30).
    type: raw
  date:
    description:
      - A date at the host's present time of day, C(YYYY-MM-DD).
    type: raw
  epoch:
    description:
      - Seconds since 1970-01-01 00:00:00 UTC.
    type: raw
  speed:
    description:
      - N times faster, or -N times slower, up to 1000 either way; C(0) or C(frozen) lets the clock stand still.
      - C(off), which YAML reads as C(false), is refused.
      - With a time and without I(speed) the clock runs at the normal speed; with neither it keeps its speed.
    type: raw
  rewind:
    description:
      - Whether the clock goes back to the same date at every midnight.
      - With a time and without I(rewind) it does not; with neither it keeps to what it does.
    type: bool
  descendants:
    description:
      - Whether a process, C(p:PID), passes its clock on to what it starts from now on.
      - A clock that is passed on stays so; to end that, take it away.
    type: bool
    default: false
  within:
    description:
      - How far the time of a clock that is there may be off, such as C(60s) or C(1h 30m), before it is set anew.
      - It suits I(in) and I(date) at the normal speed, by which the clock stays as far from real time as it was.
      - Without it the time of a clock that stands still is compared to the second if I(at) or I(epoch) says it, and
        no other time is.
    type: raw
  replace:
    description:
      - Whether a clock that is there is changed where it differs.
      - With C(false) it is left as it is, whatever it shows, and C(differs) in what is returned tells what differs.
    type: bool
    default: true
attributes:
  check_mode:
    description: Finds out whether the clock could be set, and what it would show, but does not set it.
    support: full
  diff_mode:
    description: Shows the clock before and after, in words.
    support: full
notes:
  - One of I(at), I(in), I(date), I(epoch), I(speed), I(rewind) and I(descendants) is needed where a clock is to be
    set.
  - An ordinary user may set his own clock and those of processes.
seealso:
  - module: orvane.clocks.clocks
  - module: orvane.clocks.clock_info
'''

EXAMPLES = r'''
- name: Christmas for alice, sixty times as fast
  orvane.clocks.clock:
    identity: u:alice
    at: '2030-12-25 09:00'
    speed: 60

- name: All testers a year ahead, to the minute
  orvane.clocks.clock:
    identity: g:testers
    in: 1y
    within: 60s

- name: Let it stand still, at what it shows
  orvane.clocks.clock:
    identity: u:alice
    speed: frozen

- name: A year ahead for a server that runs, and what it starts from now on
  orvane.clocks.clock:
    identity: p:4242
    in: 1y
    within: 60s
    descendants: true

- name: Real time again
  orvane.clocks.clock:
    identity: u:alice
    state: absent
'''

RETURN = r'''
clock:
  description:
    - The clock that the identity has now, as C(ovuser list --json) tells of it; in check mode the one that it would
      have.
  returned: when there is one
  type: dict
  sample:
    kind: user
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
    - What of a clock that was there was not as it is wanted, of C(speed), C(rewind), C(time) and C(descendants).
  returned: success
  type: list
  elements: str
  sample: [speed]
commands:
  description: The arguments that ovuser was called with to make the change, or would be.
  returned: success
  type: list
  elements: list
  sample: [[set, '--at=2030-12-25 09:00', '--speed=60', --, 'u:alice']]
status:
  description: The exit status of ovuser, where it refused.
  returned: failure
  type: int
  sample: 2
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.orvane.clocks.plugins.module_utils import steps
from ansible_collections.orvane.clocks.plugins.module_utils.ovuser import Ovuser, OvuserError, clock_of


def find_steps(ovuser, options):
    """Returns the steps to the wanted clock, and its owner."""
    given = dict((name, options[name]) for name in steps.KNOWN)
    identity = steps.read_identity(given["identity"])
    if options["state"] == "absent":
        return steps.steps(ovuser.removal(identity), [])
    wanted = steps.read_options(given)
    return steps.steps(ovuser.plan(["set"] + wanted.words), [wanted], options["replace"])


def act(ovuser, options, check):
    found = find_steps(ovuser, options)
    commands = [step["command"] for step in found if step["command"]]
    result = {"changed": bool(commands), "commands": commands, "differs": sum([step["differs"] for step in found], [])}
    for step in found:
        after = [clock_of(step, step["to"])] if step["to"] else []
        if step["command"] and not check:
            ovuser.run(step["command"])
            after = ovuser.clocks([step["identity"]])
        if after:
            result["clock"] = after[0]
    if commands:
        result["diff"] = steps.difference_of(found)
    return result


def main():
    module = AnsibleModule(
        argument_spec={
            "identity": {"type": "raw", "required": True},
            "state": {"type": "str", "choices": ["present", "absent"], "default": "present"},
            "at": {"type": "raw"},
            "in": {"type": "raw"},
            "date": {"type": "raw"},
            "epoch": {"type": "raw"},
            "speed": {"type": "raw"},
            "rewind": {"type": "bool"},
            "descendants": {"type": "bool", "default": False},
            "within": {"type": "raw"},
            "replace": {"type": "bool", "default": True},
        },
        mutually_exclusive=[steps.WHEN],
        supports_check_mode=True,
    )
    try:
        result = act(Ovuser(module), module.params, module.check_mode)
    except steps.Refused as refused:
        module.fail_json(msg=str(refused))
    except OvuserError as error:
        module.fail_json(msg=str(error), status=error.status, command=error.command)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
