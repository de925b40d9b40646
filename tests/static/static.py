"""What programs that nothing can be preloaded into see of their clocks. Runs under zynov-sim, as root, in the folder
that holds the programs."""
import contextlib
import os
import random
import signal
import subprocess
import sys
import threading
import time

OVUSER = "./ovuser"
FUTURE, PAST = 1924419600, 1262304000
PROGRAMS = {name: ["./" + name] for name in
            ("ticker_glibc", "ticker_pie", "ticker_musl", "ticker_go", "ticker_cgo", "ticker_dynamic")}
PROGRAMS["busybox"] = ["/bin/busybox", "sh", "-c", "while read -r line; do date +%s; done"]
failures = 0


def check(what, good, seen=""):
    global failures
    if not good:
        failures += 1
        print("FAILED:", what, seen)


def ovuser(*arguments):
    subprocess.run([OVUSER, *arguments], check=True, stdout=subprocess.DEVNULL)


class Ticker:
    """A program as the user nobody, which tells the time when it is asked."""

    def __init__(self, argv):
        self.process = subprocess.Popen(argv, user=65534, group=65534, extra_groups=[], text=True, bufsize=1,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def times(self):
        self.process.stdin.write("\n")
        return [int(word) for word in self.process.stdout.readline().split()]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.stdout.close()
        check("status", self.process.wait(10) == 0, self.process.returncode)


def see_clocks(name, argv):
    with Ticker(argv) as ticker:
        def sees(what, least, most):
            seen = ticker.times()
            check(f"{name}, {what}", seen and all(least <= time <= most for time in seen), seen)

        def real(what):
            now = int(time.time())
            sees(what, now - 2, now + 10)

        real("no clock")
        for owner in "u:65534", "g:65534", f"p:{ticker.process.pid}":
            for value in FUTURE, PAST:
                ovuser("add", owner, "--epoch", str(value), "--speed", "frozen")
                if name != "busybox" or owner[0] != "p":  # busybox's date is a process of its own
                    sees(f"{owner} frozen", value, value)
                ovuser("delete", owner)
            real(f"{owner} gone")
        ovuser("add", "u:65534", "--epoch", str(FUTURE), "--speed", "1000")
        time.sleep(0.1)
        sees("fast", FUTURE + 90, FUTURE + 100000)
        ovuser("delete", "u:65534")
        ovuser("add", "u:65534", "--epoch", str(FUTURE + 53990), "--speed", "1000", "--rewind")  # ten to midnight
        time.sleep(0.1)
        sees("rewinding", FUTURE - 32400, FUTURE + 53999)
        ovuser("delete", "u:65534")


def start(argv, live, counts, number):
    for _ in range(number):
        process = subprocess.Popen(argv, stdout=subprocess.PIPE, group=65534, extra_groups=[])
        with live.lock:
            live.pids.add(process.pid)
        said = process.stdout.read()
        process.stdout.close()
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)  # so that no signal hits another
        with live.lock:
            live.pids.remove(process.pid)
        outcome = (process.wait(), said.strip())
        with live.lock:
            counts[outcome] = counts.get(outcome, 0) + 1


class Live:
    lock, pids, over = threading.Lock(), set(), False

    def send(self, signals, pause):
        while not self.over:
            with self.lock:
                for pid in random.sample(sorted(self.pids), min(2, len(self.pids))):
                    os.kill(pid, random.choice(signals))
            time.sleep(pause)


def stand_a_storm():
    """A thousand starts, eight at once, while signals rain: none is lost or hangs, and none sees the real time."""
    ovuser("add", "g:65534", "--epoch", str(FUTURE), "--speed", "frozen")
    live, counts = Live(), {}
    signals = [signal.SIGSTOP, signal.SIGCONT, signal.SIGTERM, signal.SIGWINCH]
    workers = [threading.Thread(target=start, args=(["/bin/busybox", "date", "+%s"], live, counts, 125))
               for _ in range(8)]
    storm = [threading.Thread(target=live.send, args=(signals, 0.0003)),
             threading.Thread(target=live.send, args=([signal.SIGCONT], 0.01))]
    for thread in storm + workers:
        thread.start()
    for thread in workers:
        thread.join(60)
    live.over = True
    for thread in storm:
        thread.join()
    good = {(0, b"%d" % FUTURE), (-signal.SIGTERM, b""), (-signal.SIGTERM, b"%d" % FUTURE)}
    check("the storm", sum(counts.values()) == 1000 and set(counts) <= good, counts)
    print(f"1000 starts in a storm of signals: {counts.get((0, b'%d' % FUTURE), 0)} ran to their end, all others were"
          " terminated")


def say(*argv, **options):
    """Status, output and errors of a command."""
    done = subprocess.run(argv, capture_output=True, text=True, timeout=60, **options)
    return done.returncode, done.stdout.strip(), done.stderr.strip()


# A forked child gets a clock of its own.
CHILD = f"""mkfifo line; (read -r line <line; echo $EPOCHSECONDS) &
./ovuser add p:$! --epoch {FUTURE + 1} --speed frozen >line; wait"""

# The process is known by its number in its namespace, even if a child in its memory reads first.
NAMED = f"./ovuser add p:$$ --epoch {FUTURE + 1} --speed frozen >/dev/null; echo >once; exec ./ticker_glibc <once"

# A process that starts a program can be traced, but not the program once it runs.
GIVE_RIGHTS_UP = """
import ctypes, os, subprocess
os.setgroups([]), os.setresgid(65534, 65534, 65534), os.setresuid(65534, 65534, 65534)
subprocess.run(["/bin/busybox", "date", "+%s"])
print(ctypes.CDLL(None).prctl(3))
"""


def choose():
    """What the launcher is told to do, or not."""
    ovuser("add", "g:65534", "--epoch", str(FUTURE), "--speed", "frozen")
    nobody = {"group": 65534, "extra_groups": []}
    sim = ["./zynov-sim", "--state", "table"]
    date = ["/bin/busybox", "date", "+%s"]
    static = "zynov-sim: warning: /bin/busybox: keeps the real time, since it is linked statically, or by Go"
    real, virtual = str(int(time.time()))[:7], str(FUTURE)
    for options, argv, seen, said in (
            ([], date, virtual, ""),
            (["--descendants", "--state", "cut"], ["sh", "-c", ": >cut; exec /bin/busybox date +%s"], real, ""),
            (["--no-static"], date, real, static),
            (["--no-static", "--quiet", "--descendants"], ["sh", "-c", "/bin/busybox date +%s; true"], real, ""),
            (["--no-static"], ["sh", "-c", "/bin/busybox true; /bin/busybox date +%s"], real, static),  # said once
            (["--descendants"], ["/bin/busybox", "sh", "-c", "./ticker_go </dev/null; exec /bin/busybox date +%s"],
             virtual, ""),
            (["--descendants"], ["/bin/busybox", "sh", "-c", "echo | ./ticker_go; echo | ./ticker_dynamic"],
             "\n".join([virtual, " ".join([virtual] * 5)]), ""),
            ([], ["unshare", "-pf", "sh", "-c", "/bin/busybox date +%s; true"], virtual, ""),
            (["--descendants"], ["unshare", "-pf", "--mount-proc", "sh", "-c", NAMED],
             " ".join([str(FUTURE + 1)] * 5), ""),
            (["--descendants"], ["sh", "-c", "trap 'echo trapped' TRAP; kill -TRAP $$"], "trapped", ""),
            (["--descendants"], ["/usr/bin/python3", "-c", "import os\ntry: os.waitpid(-1, 0x40000000)\n"
                                 "except ChildProcessError: print('no child')"], "no child", ""),
            ([], ["/bin/busybox", "sh", "-c", CHILD], str(FUTURE + 1), "")):
        with contextlib.suppress(FileNotFoundError):
            os.remove("cut")
        status, output, errors = say(*sim, *options, *argv, **nobody)
        check(f"{options} {argv}", status == 0 and errors == said and
              (output == seen if seen != real else output.startswith(seen)), (output, errors))
    seen = say(*sim, "/usr/bin/python3", "-c", GIVE_RIGHTS_UP)
    check("a process that has given up rights, from a vforked child", seen[1][:7] == real and seen[1][-2:] == "\n0" and
          seen[2] == static + ", and its parent has given up rights in memory that others share", seen)
    server = subprocess.Popen(["./server", "--web.listen-address=127.0.0.1:0", "--collector.disable-defaults"],
                              stderr=subprocess.PIPE, text=True, **nobody)
    line = server.stderr.readline()
    server.terminate()
    check("a server's log", "ts=2030-12-25T09:00:00" in line and server.wait(10) is not None, line)
    server.stderr.close()
    ovuser("delete", "g:65534")


# The status of a program with faults, or the error of its start.
OUTCOMES = """
import subprocess
def outcome(path):
    try:
        return subprocess.run([path], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode
    except OSError as error:
        return error.strerror
print([outcome("./hostile" + str(i)) for i in range(6)])
"""


def stand_hostile_files():
    """Broken programs do as they do without the simulator."""
    with open("/bin/busybox", "rb") as file:
        good = file.read()
    class_, count = 4, 56
    for i, content in enumerate((good[:1000], good[:100], good[:count] + b"\xff\xff" + good[count + 2:],
                                 good[:count] + b"\0\0" + good[count + 2:], good[:class_] + b"\1" + good[5:],
                                 b"#!./hostile5\n")):
        with open(f"hostile{i}", "wb") as file:
            file.write(content)
        os.chmod(f"hostile{i}", 0o755)
    there = say("/usr/bin/python3", "-c", OUTCOMES)
    bare = say("/usr/bin/python3", "-c", OUTCOMES, env={})
    check("hostile files", there[:2] == bare[:2], (there, bare))


for name, argv in PROGRAMS.items():
    see_clocks(name, argv)
choose()
stand_hostile_files()
stand_a_storm()
try:
    check("no child is left", os.waitpid(-1, os.WNOHANG) is None)
except ChildProcessError:
    pass
print(f"{len(PROGRAMS)} programs, {failures} failures")
sys.exit(failures != 0)
