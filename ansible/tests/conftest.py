"""Hosts that are namespaces with an /etc, /usr and /var of their own, and a simulated kernel module for each."""
import json
import os
import shutil
import subprocess

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))


class Fleet:
    """Hosts below a folder, and what plays on them come to."""

    def __init__(self, folder, names):
        self.folder, self.names = folder, names
        self.hosts = {}
        for name in names:
            host = self.add(name)
            host["simulator"] = self.simulator(folder / name / "table")

    def add(self, name):
        """A host without clocks, nor a kernel module."""
        units = self.folder / name / "own/usr/lib/systemd/system"
        units.mkdir(parents=True)
        shutil.copy(os.environ["ORVANE_UNIT"], units)
        python = self.folder / name / "python"
        python.write_text('#!/bin/sh\nexec %s/host %s/own /usr/bin/python3 "$@"\n' % (HERE, python.parent))
        python.chmod(0o755)
        self.hosts[name] = {"ansible_python_interpreter": str(python), "simulator": {}}
        return self.hosts[name]

    @staticmethod
    def simulator(table):
        seen = subprocess.run(["zynov-sim", "--quiet", "--shared", "--state", str(table), "env"], check=True,
                              capture_output=True, text=True).stdout.splitlines()
        return dict(line.split("=", 1) for line in seen if line.startswith(("LD_PRELOAD=", "ZYNOV_SIM_")))

    def inventory(self):
        path = self.folder / "inventory.json"
        path.write_text(json.dumps({"all": {"hosts": self.hosts}}))
        return str(path)

    def play(self, book, *options, **variables):
        done = subprocess.run(
            ["ansible-playbook", "-i", self.inventory(), "--forks", "20", os.path.join(HERE, book), *options,
             "--extra-vars", json.dumps(variables)], capture_output=True, text=True, timeout=3000,
            env={**os.environ, "ANSIBLE_STDOUT_CALLBACK": "told", "TZ": "UTC", "ANSIBLE_PIPELINING": "1",
                 "ANSIBLE_CALLBACK_PLUGINS": os.path.join(HERE, "callback_plugins")})
        assert done.stdout.startswith("{"), done.stderr
        return json.loads(done.stdout)

    def steps(self, host, *tasks):
        """What came of tasks on one host: each a module, whether in check mode, its arguments, and its environment."""
        book = self.folder / "steps.json"
        book.write_text(json.dumps([{
            "hosts": host, "gather_facts": False, "connection": "local", "tasks": [
                {"name": "%03d" % number, "orvane.clocks." + module: arguments, "check_mode": check, "diff": True,
                 "ignore_errors": True, "environment": {**self.hosts[host]["simulator"], **dict(*around)}}
                for number, (module, check, arguments, *around) in enumerate(tasks)]}]))
        told = self.play(str(book))["tasks"]
        return [told[name][host] for name in sorted(told)]

    def inside(self, host, command):
        """What a shell command prints on a host."""
        return subprocess.run([HERE + "/host", str(self.folder / host / "own"), "sh", "-c", command],
                              capture_output=True, text=True).stdout


@pytest.fixture(scope="session")
def fleet(tmp_path_factory):
    if os.geteuid() != 0:
        pytest.skip("needs the superuser")
    folder = tmp_path_factory.mktemp("fleet")
    hosts = Fleet(folder, ["host%03d" % number for number in range(int(os.environ.get("FLEET_HOSTS", "20")))])
    yield hosts
    shutil.rmtree(folder)
