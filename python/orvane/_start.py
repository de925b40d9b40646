"""Runs this process again under the simulator, where there is no kernel module."""
from __future__ import annotations

import atexit
import fcntl
import glob
import os
import shutil
import sys
import tempfile

from orvane import _library as lib

_MARK = "ORVANE_STARTED"  # the process that was begun anew, and where its clocks are


def _find_simulator() -> str | None:
    own = os.path.join(lib.NATIVE, "bin", "zynov-sim")
    return own if os.access(own, os.X_OK) else shutil.which("zynov-sim")


def has_clocks(intervals: bool = False) -> bool:
    """Whether there is the kernel module, or the simulator, which alone changes intervals."""
    if intervals and "intervals" not in os.environ.get("ZYNOV_SIM_CHOICES", "").split(","):
        return False
    return os.access(lib.CONTROL_FILE, os.R_OK)


def require(*, intervals: bool = False) -> None:
    """Begins this program anew under zynov-sim, unless there are virtual clocks: to be called before all else. With
    `intervals`, intervals too pass at the speed of a clock."""
    if has_clocks(intervals):
        return
    if "orvane.pytest_plugin" in sys.modules:  # which captures what a new one would say
        raise lib.NoControlFile(lib.NO_CONTROL_FILE, "pytest is running already: begin it by pytest --orvane%s"
                                % ("-intervals" if intervals else ""))
    if sys.argv[:1] in ([""], ["-"]) and not os.isatty(0):
        try:
            os.lseek(0, 0, os.SEEK_SET)
        except OSError:
            raise lib.NoControlFile(lib.NO_CONTROL_FILE, "a program that comes through a pipe is read once only: run "
                                    "python3 -m orvane%s -" % (" --intervals" if intervals else "")) from None
    begin_anew(intervals)


def begin_anew(intervals: bool) -> None:
    """Runs this very command under zynov-sim, unless there are virtual clocks."""
    if not has_clocks(intervals):
        start(_own_command()[1:], intervals)


def start(arguments: list[str], intervals: bool) -> None:
    """Runs the interpreter with these arguments under zynov-sim, in the place of this process."""
    simulator = _find_simulator()
    if simulator is None:
        raise lib.NoControlFile(lib.NO_CONTROL_FILE, "there is neither zynov-sim (package orvane-tools) nor the "
                                "kernel module (modprobe zynov)")
    if _own_folder() is not None:
        raise lib.NoControlFile(lib.NO_CONTROL_FILE, "%s has no effect on %s" % (simulator, sys.executable))
    folder = _new_folder()
    os.environ[_MARK] = "%d:%s" % (os.getpid(), folder)
    sys.stdout.flush()
    sys.stderr.flush()
    options = ["--state", folder + "/table"] + ["--intervals"] * intervals
    os.execv(simulator, [simulator, *options, sys.executable, *arguments])


def _new_folder() -> str:
    """Locked for as long as this process lives, whatever it executes. Those that nobody locks any more are removed:
    their programs were killed, or never imported this package."""
    for left in glob.glob(os.path.join(tempfile.gettempdir(), "orvane-*")):
        try:
            lock = os.open(left, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW)
        except OSError:  # another user's, or gone by now
            continue
        try:
            if os.fstat(lock).st_uid == os.geteuid():
                fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
                shutil.rmtree(left, ignore_errors=True)
        except OSError:
            pass
        os.close(lock)
    unlocked = tempfile.mkdtemp(prefix=".orvane-")
    lock = os.open(unlocked, os.O_RDONLY | os.O_DIRECTORY)
    fcntl.flock(lock, fcntl.LOCK_SH)
    os.set_inheritable(lock, True)
    folder = unlocked.replace("/.orvane-", "/orvane-")
    os.rename(unlocked, folder)
    return folder


def _own_folder() -> str | None:
    """Where the clocks of this process are kept, if it was begun anew here."""
    process, _, folder = os.environ.get(_MARK, "").partition(":")
    return folder if process == str(os.getpid()) else None


def _clean_up() -> None:
    folder = _own_folder()
    if folder is not None:
        shutil.rmtree(folder, ignore_errors=True)


atexit.register(_clean_up)


def _own_command() -> list[str]:
    if sys.version_info >= (3, 10):
        return sys.orig_argv
    with open("/proc/self/cmdline", "rb") as command:
        return [os.fsdecode(word) for word in command.read().split(b"\0")[:-1]]


def interpreter_flags() -> list[str]:
    """What stands between the interpreter and the -m by which this package was run."""
    return _own_command()[1:-len(sys.argv) - 1]
