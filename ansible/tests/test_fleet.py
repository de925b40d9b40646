"""A fleet of hosts that are folders: the local connection, and a simulated kernel module for each."""
import json
import os
import subprocess

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
HOSTS = ["host%02d" % number for number in range(20)]
CHRISTMAS = 1924419600


@pytest.fixture(scope="module")
def inventory(tmp_path_factory):
    """Twenty hosts with a clock table each, and one without a control file."""
    folder = tmp_path_factory.mktemp("fleet")
    hosts = {"stray": {"simulator": {}}}
    for host in HOSTS:
        table = folder / host
        text = subprocess.run(["zynov-sim", "--state", str(table), "env"], check=True, capture_output=True, text=True)
        seen = dict(line.split("=", 1) for line in text.stdout.splitlines() if "=" in line)
        hosts[host] = {"simulator": {name: seen[name] for name in ("LD_PRELOAD", "ZYNOV_SIM_STATE")}}
    path = folder / "inventory.json"
    path.write_text(json.dumps({"all": {"hosts": hosts, "vars": {"ansible_python_interpreter": "/usr/bin/python3"}}}))
    return str(path)


def play(inventory, book, *options):
    done = subprocess.run(["ansible-playbook", "-i", inventory, "--forks", "8", os.path.join(HERE, book), *options],
                          capture_output=True, text=True, timeout=300,
                          env={**os.environ, "ANSIBLE_STDOUT_CALLBACK": "told", "TZ": "UTC", "ANSIBLE_PIPELINING": "1",
                               "ANSIBLE_CALLBACK_PLUGINS": os.path.join(HERE, "callback_plugins")})
    assert done.stdout.startswith("{"), done.stderr
    return json.loads(done.stdout)


def step(inventory, *options, **arguments):
    told = play(inventory, "one.yml", "--limit", "host00", "--extra-vars", json.dumps({"step": arguments}), *options)
    return told["tasks"]["Step"]["host00"]


def test_twenty_hosts_are_set_once_and_one_fails_alone(inventory):
    for options, changed in (["--check"], 1), ([], 1), ([], 0):
        told = play(inventory, "fleet.yml", *options)
        assert {host: told["stats"][host]["changed"] for host in HOSTS} == dict.fromkeys(HOSTS, changed), options
        assert all(told["stats"][host]["failures"] == 0 for host in HOSTS)
        stray = told["tasks"]["Set"]["stray"]
        assert told["stats"]["stray"]["failures"] == 1 and stray["status"] == 5
        assert stray["msg"].startswith("ovuser: error: Open of /proc/zynov failed; error = 2")


def test_a_step_does_what_check_mode_foretold(inventory):
    steps = (  # arguments, changed, and the clock afterwards
        ({"identity": "g:bin", "state": "absent"}, False, None),
        ({"identity": "g:bin", "epoch": CHRISTMAS, "speed": "frozen", "rewind": True}, True, (CHRISTMAS, 0, True)),
        ({"identity": "g:bin", "epoch": 99999, "speed": "frozen"}, False, (CHRISTMAS, 0, True)),
        ({"identity": "g:bin", "epoch": CHRISTMAS + 5, "speed": 0, "replace": True}, True, (CHRISTMAS + 5, 0, False)),
        ({"identity": "g:bin", "speed": "1", "replace": True}, True, (CHRISTMAS + 5, 1, False)),
        ({"identity": "g:bin", "state": "absent"}, True, None))
    for arguments, changed, expected in steps:
        foretold = step(inventory, "--check", "--diff", **arguments)
        done = step(inventory, "--diff", **arguments)
        for told in foretold, done:
            clock = told.get("clock")
            seen = clock and (clock["epoch"], clock["speed"], clock["rewind"])
            assert told["changed"] == changed, arguments
            if expected is None or expected[1] == 0 or told is foretold:
                assert seen == expected, (arguments, told)
        assert foretold["commands"] == done["commands"]
        frozen = done.get("diff", {}).get("before", {}).get("speed") == 0
        assert not frozen or foretold["diff"]["before"] == done["diff"]["before"]


@pytest.mark.parametrize("arguments, status, words", [
    ({"identity": "nosuchuser", "at": "now"}, 2, "incorrect/non-existent username, or uid nosuchuser passed in"),
    ({"identity": "g:bin", "at": "tomorrow"}, 4, "invalid date format"),
    ({"identity": "g:bin", "at": "now", "speed": "1001"}, 3, "wrong parameters for speed"),
    ({"identity": "g:bin"}, 2, "add needs a time")])
def test_refusals_are_ovusers_own(inventory, arguments, status, words):
    for options in ["--check"], []:
        told = step(inventory, *options, **arguments)
        assert told["status"] == status and words in told["msg"], told
