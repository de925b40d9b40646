"""Tells the time and the memory that many hosts take, which are namespaces of this machine."""
import os
import pathlib
import shutil
import tempfile
import threading
import time

from conftest import Fleet

COUNT = 200


def memory():
    """What the control node's processes and the hosts' own take, in MB: each its proportion of what they share."""
    control = hosts = 0
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            command = (process / "cmdline").read_bytes()
            if b"ansible" not in command and b"python" not in command and b"ovuser" not in command:
                continue
            kilobytes = int((process / "smaps_rollup").read_text().split("\nPss:")[1].split()[0])
        except (OSError, IndexError):  # it has ended
            continue
        if b"ansible-playbook" in command:
            control += kilobytes
        elif int(process.name) != os.getpid():
            hosts += kilobytes
    return control / 1024, hosts / 1024


def watched(work):
    """What a function returns, the seconds that it took, and the peaks of the memory."""
    peaks, over = [0, 0], threading.Event()

    def watch():
        while not over.wait(0.5):
            peaks[:] = map(max, peaks, memory())

    watcher = threading.Thread(target=watch)
    watcher.start()
    begin = time.monotonic()
    try:
        return work(), time.monotonic() - begin, peaks
    finally:
        over.set()
        watcher.join()


folder = pathlib.Path(tempfile.mkdtemp())
try:
    fleet = Fleet(folder, ["host%03d" % number for number in range(COUNT)])
    for strategy, changed in ("linear", 1), ("linear", 0), ("free", 0):
        told, seconds, (control, hosts) = watched(lambda: fleet.play("fleet.yml", strategy=strategy))
        assert all(told["stats"][name]["failures"] == 0 and told["stats"][name]["changed"] == changed
                   for name in fleet.names), told["stats"]
        print("%d hosts, 20 forks, %s, %d changed: %.0f s, %.2f s a host; %.0f MB at most on the control node, %.0f MB "
              "on all hosts together" % (COUNT, strategy, changed * COUNT, seconds, seconds / COUNT, control, hosts),
              flush=True)
finally:
    shutil.rmtree(folder)
