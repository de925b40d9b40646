"""A PostgreSQL server for the tests, on a socket, as an ordinary user whose group has the tests' clock."""
import functools
import glob
import os
import pwd
import shutil
import subprocess
import tempfile

import pytest

import orvane

USER, GROUP = "postgres", "nogroup"
END = "2038-01-19T03:10:00Z"

# Programs of the group live by its clock, as this process, by its own, does not pass it on.
as_group = functools.partial(subprocess.run, group=GROUP, extra_groups=[])


@pytest.fixture(scope="session")
def psql():
    """How to reach a server that lives in 2038."""
    programs = max(glob.glob("/usr/lib/postgresql/*/bin"))
    folder = tempfile.mkdtemp()
    os.chown(folder, pwd.getpwnam(USER).pw_uid, -1)
    server = functools.partial(subprocess.run, user=USER, group=GROUP, extra_groups=[], check=True, cwd=folder,
                               stdout=subprocess.DEVNULL)
    data = folder + "/data"
    with orvane.clock(END, identity="g:" + GROUP):
        server([programs + "/initdb", "-D", data, "-A", "trust"])
        server([programs + "/pg_ctl", "-D", data, "-w", "-l", folder + "/log",
                "-o", "-c listen_addresses='' -k " + folder, "start"])
        try:
            yield [programs + "/psql", "-h", folder, "-U", USER, "postgres"]
        finally:
            server([programs + "/pg_ctl", "-D", data, "-m", "immediate", "stop"])
            shutil.rmtree(folder)
