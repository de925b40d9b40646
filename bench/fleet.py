"""Tells the time and the memory that many hosts take, which are namespaces of this machine."""
import os
import pathlib
import shutil
import tempfile
import threading
import time

from conftest import Fleet

COUNT = int(os.environ.get("FLEET_HOSTS", "200"))


def descendants():
    """The numbers of the processes that come from this one."""
    parents = {}
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            parents[int(process.name)] = int((process / "stat").read_text().rpartition(")")[2].split()[1])
        except OSError:  # it has ended
            continue
    found, more = set(), {os.getpid()}
    while more:
        more = {process for process, parent in parents.items() if parent in more}
        found |= more
    return found


def memory():
    """What the control node's processes and the hosts' own take, in MB: each its proportion of what they share."""
    control = hosts = 0
    for process in descendants():
        try:
            place = pathlib.Path("/proc/%d" % process)
            kilobytes = int((place / "smaps_rollup").read_text().split("\nPss:")[1].split()[0])
            if b"ansible-playbook" in (place / "cmdline").read_bytes():
                control += kilobytes
            else:
                hosts += kilobytes
        except (OSError, IndexError):
            continue
    return control / 1024, hosts / 1024


def watched(work):
    """What a function returns, the seconds and those of a processor that it took, and the peaks of the memory."""
    peaks, over = [0, 0], threading.Event()

    def watch():
        while not over.wait(0.5):
            peaks[:] = map(max, peaks, memory())

    watcher = threading.Thread(target=watch)
    watcher.start()
    begin, before = time.monotonic(), os.times()
    try:
        told, after = work(), os.times()
        busy = sum(after[2:4]) - sum(before[2:4])
        return told, (time.monotonic() - begin, busy), peaks
    finally:
        over.set()
        watcher.join()


folder = pathlib.Path(tempfile.mkdtemp())
try:
    fleet = Fleet(folder, ["host%03d" % number for number in range(COUNT)])
    for strategy, changed in ("linear", 1), ("free", 0):
        told, (seconds, busy), (control, hosts) = watched(lambda: fleet.play("fleet.yml", strategy=strategy))
        failed = [told["tasks"][task][name] for task in told["tasks"] for name in told["tasks"][task]
                  if told["tasks"][task][name].get("failed")]
        assert not failed, failed
        assert all(told["stats"][name]["changed"] == changed for name in fleet.names), strategy
        print("%d hosts, 20 forks, %s, %d changed: %.0f s, a host %.2f s and %.2f s of a processor; at most %.0f MB on "
              "the control node and %.0f MB on all hosts together"
              % (COUNT, strategy, changed * COUNT, seconds, seconds / COUNT, busy / COUNT, control, hosts), flush=True)
finally:
    shutil.rmtree(folder)
