#!/usr/bin/python
# -*- coding: utf-8 -*-
# Copyright (c) 2026 Orvane maintainers. All rights reserved.

from __future__ import absolute_import, division, print_function
__metaclass__ = type

DOCUMENTATION = r'''
---
module: clock_info
short_description: Tell which virtual clocks a host has
version_added: "12.10.6"
description:
  - Lists the virtual clocks that the caller may see, as C(ovuser list --json) does.
author:
  - Orvane maintainers (@orvane)
options:
  identity:
    description:
      - Whose clocks alone, each as C(ovuser) takes it, C(u:USER), C(g:GROUP) or C(p:PID).
      - Whoever has none is not told of; who does not exist is an error.
    type: list
    elements: str
    default: []
  kind:
    description: Clocks of these kinds alone.
    type: list
    elements: str
    choices: [user, group, process]
    default: [user, group, process]
attributes:
  check_mode:
    description: Changes nothing in any mode.
    support: full
seealso:
  - module: orvane.clocks.clock
  - module: orvane.clocks.clocks
'''

EXAMPLES = r'''
- name: Look at the clocks
  orvane.clocks.clock_info:
  register: virtual

- name: Which processes have clocks
  orvane.clocks.clock_info:
    kind: process
  register: processes

- name: Nobody may live in the past here
  ansible.builtin.assert:
    that: virtual.clocks | selectattr('ahead', 'lt', 0) | length == 0
'''

RETURN = r'''
clocks:
  description: One dictionary for each clock.
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
status:
  description: The exit status of ovuser, where it failed.
  returned: failure
  type: int
  sample: 5
'''

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.orvane.clocks.plugins.module_utils.ovuser import Ovuser, OvuserError


def main():
    kinds = ["user", "group", "process"]
    module = AnsibleModule(
        argument_spec={
            "identity": {"type": "list", "elements": "str", "default": []},
            "kind": {"type": "list", "elements": "str", "choices": kinds, "default": kinds},
        },
        supports_check_mode=True,
    )
    try:
        clocks = Ovuser(module).clocks(module.params["identity"])
    except OvuserError as error:
        module.fail_json(msg=str(error), status=error.status, command=error.command)
    module.exit_json(changed=False, clocks=[clock for clock in clocks if clock["kind"] in module.params["kind"]])


if __name__ == "__main__":
    main()
