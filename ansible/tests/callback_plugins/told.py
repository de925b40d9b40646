"""Prints what a play came to as one JSON object: the results by task and host, and the counts by host."""
import json

from ansible.plugins.callback import CallbackBase

DOCUMENTATION = """
name: told
type: stdout
short_description: results as JSON
description: Results by task and host, and counts by host.
"""


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "stdout"
    CALLBACK_NAME = "told"

    def __init__(self):
        super().__init__()
        self.tasks = {}

    def keep(self, result, **_):
        self.tasks.setdefault(result._task.get_name(), {})[result._host.get_name()] = result._result

    v2_runner_on_ok = keep

    def keep_failed(self, result, **_):
        self.keep(result)
        result._result["failed"] = True

    v2_runner_on_failed = v2_runner_on_unreachable = keep_failed

    def v2_playbook_on_stats(self, stats):
        hosts = {host: stats.summarize(host) for host in stats.processed}
        print(json.dumps({"tasks": self.tasks, "stats": hosts}))
