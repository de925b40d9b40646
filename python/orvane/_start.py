"""Runs this process again under the simulator, where there is no kernel module."""
from __future__ import annotations

import os
import shutil
import sys

from orvane import _library as lib

_MARK = "ORVANE_STARTED"


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
        os.environ.pop(_MARK, None)
        return
    start(_own_command()[1:], intervals)


def start(arguments: list[str], intervals: bool) -> None:
    """Runs the interpreter with these arguments under zynov-sim, in the place of this process."""
    simulator = _find_simulator()
    if simulator is None:
        raise lib.NoControlFile(lib.NO_CONTROL_FILE, "there is neither zynov-sim (package orvane-tools) nor the "
                                "kernel module (modprobe zynov)")
    if os.environ.get(_MARK) == str(os.getpid()):
        raise lib.NoControlFile(lib.NO_CONTROL_FILE, "%s has no effect on %s" % (simulator, sys.executable))
    os.environ[_MARK] = str(os.getpid())
    sys.stdout.flush()
    sys.stderr.flush()
    options = ["--intervals"] if intervals else []
    os.execv(simulator, [simulator, *options, sys.executable, *arguments])


def _own_command() -> list[str]:
    if sys.version_info >= (3, 10):
        return sys.orig_argv
    with open("/proc/self/cmdline", "rb") as command:
        return [os.fsdecode(word) for word in command.read().split(b"\0")[:-1]]


def interpreter_flags() -> list[str]:
    """What stands between the interpreter and the -m by which this package was run."""
    return _own_command()[1:-len(sys.argv) - 1]
