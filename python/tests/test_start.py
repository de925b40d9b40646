"""Programs that begin anew under the simulator: all of these start without it, and as an ordinary user."""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

import pytest

TEST = """
import datetime, os, sys, orvane, pytest
@pytest.mark.orvane("2038-01-19 04:14")
def test_marked():
    assert datetime.datetime.now().year == 2038 and os.getuid() == %d
    print("in", sys.prefix, "with", os.environ.get("ZYNOV_SIM_CHOICES"))
"""
SCRIPT = """
import datetime, sys, orvane
orvane.require()
with orvane.clock("2038-01-19"):
    print(datetime.date.today(), sys.argv[1:], 1 if sys.flags.dev_mode else 0)
"""
ANOTHER = """
import os, subprocess, sys
outside = {name: value for name, value in os.environ.items() if not name.startswith(("LD_PRELOAD", "ZYNOV"))}
subprocess.run([sys.executable, "-m", "orvane", "-c", "import orvane; orvane.clocks()"], env=outside, check=True)
print(os.path.isdir(os.environ["ORVANE_STARTED"].partition(":")[2]))
"""
NOBODY = 65534 if os.getuid() == 0 else os.getuid()


@pytest.fixture
def run():
    """Runs Python in a folder with the test and the script, and tells its status and output."""
    folder = tempfile.mkdtemp()
    environment = {name: value for name, value in os.environ.items()
                   if not name.startswith(("LD_PRELOAD", "ZYNOV", "PYTEST_", "COV_"))}
    os.chown(folder, NOBODY, -1)
    environment["HOME"] = environment["TMPDIR"] = folder  # nothing is to stay there

    def python(*words, ini="", program=sys.executable, feed="", **more):
        for name, text in ("test_it.py", TEST % NOBODY), ("script.py", SCRIPT), ("pytest.ini", "[pytest]\n" + ini):
            with open(os.path.join(folder, name), "w") as file:
                file.write(text)
        done = subprocess.run([program, *words], cwd=folder, env={**environment, **more}, input=feed, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, user=NOBODY, check=False)
        return done.returncode, done.stdout
    yield python
    assert not [name for name in os.listdir(folder) if name.startswith("orvane-")]
    shutil.rmtree(folder)


@pytest.mark.parametrize("words, ini", [
    (["-m", "pytest", "--orvane"], ""),
    (["-m", "pytest"], "orvane = true"),
    (["-m", "pytest", "--orvane", "-n", "2"], ""),
    (["-m", "pytest", "-n", "2"], "addopts = --orvane"),
    (["-m", "pytest", "--orvane", "-s"], ""),
    (["-m", "pytest", "--orvane", "--capture=sys"], ""),
    (["-m", "pytest", "--orvane", "--forked"], ""),
    (["-m", "pytest", "--orvane", "--cov=test_it"], ""),
    (["-m", "coverage", "run", "-m", "pytest", "--orvane"], ""),
    (["-m", "orvane", "-m", "pytest"], ""),
    (["-c", "import sys, pytest; sys.exit(pytest.main(['--orvane']))"], "")])
def test_pytest_starts_itself(run, words, ini):
    status, output = run(*words, ini=ini)
    assert status == 0 and "1 passed" in output, output


def test_intervals_pass_at_the_clocks_speed(run):
    test = """
import asyncio, time, orvane
orvane.require(intervals=True)
with orvane.clock("2038-01-19", speed=600, intervals=True):
    before = time.time()
    asyncio.run(asyncio.wait_for(asyncio.sleep(3600), 10**6))
    print(3600 <= time.time() - before)
"""
    before = time.monotonic()
    assert run("-c", test) == (0, "True\n") and time.monotonic() - before < 1800  # or the real hour
    status, output = run("-m", "orvane", "-c", "import orvane; orvane.clock(intervals=True).start()")
    assert status == 1 and "run pytest --orvane-intervals, or python3 -m orvane --intervals SCRIPT" in output


def test_a_debugger_reads_what_is_typed(run):
    status, output = run("-m", "pytest", "--orvane", "--trace", feed="c\n")
    assert status == 0 and "(Pdb)" in output and "1 passed" in output, output


def test_a_virtual_environment_stays(run):
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        subprocess.run([sys.executable, "-m", "venv", "--without-pip", "--system-site-packages", folder], check=True)
        status, output = run("-m", "pytest", "--orvane", "-s", program=folder + "/bin/python3")
        assert status == 0 and "in " + folder in output, output


def test_scripts_keep_their_arguments(run):
    assert run("-m", "orvane", "-c", "import os; os.kill(os.getpid(), 9)")[0] == -9  # its folder is left to the next
    assert run("-m", "orvane", "-c", ANOTHER) == (0, "True\n")
    assert run("-m", "orvane", "-", "a", feed=SCRIPT) == (0, "2038-01-19 ['a'] 0\n")
    status, output = run("-", feed=SCRIPT)
    assert status == 1 and "read once only: run python3 -m orvane -" in output
    for words, dev in ((["script.py", "a", "b c"], 0), (["-X", "dev", "-m", "orvane", "script.py", "a", "b c"], 1)):
        assert run(*words) == (0, "2038-01-19 ['a', 'b c'] %d\n" % dev)


def test_without_it_one_line_says_what_to_type(run):
    status, output = run("-m", "pytest")
    told = re.findall("^.*no virtual clocks here: run pytest --orvane, or load the kernel module.*$", output, re.M)
    assert status == 1 and len(told) >= 1 and "orvane/_" not in output, output
    status, output = run("-m", "pytest", "script.py")
    assert status == 2 and "pytest is running already: begin it by pytest --orvane" in output
    status, output = run("-m", "pytest", "--orvane", PATH="/usr/bin:/bin")
    assert status == 4 and "there is neither zynov-sim (package orvane-tools) nor the kernel module" in output
