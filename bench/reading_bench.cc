// The cost of reading the time under the simulator, beside the C library's own calls, and of a whole command. Runs
// under zynov-sim, for a user without a clock; it gives itself one. With a tool's name alone, it runs under that tool.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>

#include "bench/pairs.h"
#include "bench/program.h"
#include "contract/zynov.h"
#include "simulator/table/table.h"

using namespace bench;

// The C library's own function, not the simulator's.
template <typename Function> static Function *bare(Function *, const char *name)
{
    static void *const libc = dlopen("libc.so.6", RTLD_NOW);
    return reinterpret_cast<Function *>(dlsym(libc, name));
}

static const auto bare_clock_gettime = bare(&clock_gettime, "clock_gettime");
static const auto bare_gettimeofday = bare(&gettimeofday, "gettimeofday");
static const auto bare_clock_nanosleep = bare(&clock_nanosleep, "clock_nanosleep");
static timespec instant;
static timeval moment;
static constexpr timespec past = {1, 0};

static void give_clock(int64_t speed, uint64_t rewind)
{
    const int control = open(ZYNOV_PATH, O_RDONLY);
    constexpr uint64_t process = 3;
    zynov_iov clock = {ZYNOV_IOV_VERSION, 0, 0, getpid(), process, 0, 0, 0, 0, 0, 0};
    ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock);
    if (speed != 0) {
        clock.vtime = 1924419600;
        clock.flags = process | rewind << ZYNOV_REWIND_SHIFT;
        clock.speed = speed;
        if (ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) != 0)
            abort();
    }
    close(control);
}

static int control_file;

static void send(unsigned long command, uint64_t kind, int64_t id, uint64_t container)
{
    zynov_iov clock = {ZYNOV_IOV_VERSION, 0, 0, id, 1924419600, kind, 1, 0, 0, 0, container};
    if (command == ZYNOV_IOC_DELETE_CLOCK)
        clock.vtime = static_cast<int64_t>(kind);
    if (ioctl(control_file, command, &clock) != 0)
        abort();
}

// Makes so many clocks of live processes, each in a container of its own.
static void fill_table(uint64_t processes)
{
    zynov_iov none = {};
    none.version = ZYNOV_IOV_VERSION;
    for (uint64_t container = 1; container <= 1000; ++container) {
        none.container_id = container;
        ioctl(control_file, ZYNOV_IOC_RESET_ALL, &none);
    }
    for (uint64_t container = 1; container <= processes; ++container)
        send(ZYNOV_IOC_ADD_CLOCK, 3, getpid(), container);
}

// Leaves the table as if a writer had been killed during a change.
static void cut_change_short()
{
    const int file = open(getenv("ZYNOV_SIM_STATE"), O_RDWR | O_CLOEXEC);
    uint64_t generation;
    if (pread(file, &generation, sizeof generation, offsetof(sim::Table, generation)) != sizeof generation)
        abort();
    generation |= 1;
    if (pwrite(file, &generation, sizeof generation, offsetof(sim::Table, generation)) != sizeof generation)
        abort();
    close(file);
}

static void change_table()
{
    send(ZYNOV_IOC_ADD_CLOCK, 1, 1, 0);
    send(ZYNOV_IOC_DELETE_CLOCK, 1, 1, 0);
}

static void change_floor()
{
    for (int change = 0; change < 2; ++change) {
        const int file = open(getenv("ZYNOV_SIM_STATE"), O_RDWR | O_CLOEXEC);
        flock(file, LOCK_EX);
        close(file);
    }
}

static void fork_from_shell(char **environment)
{
    run("/bin/sh", "-c", environment, "i=0; while [ $i -lt 100 ]; do (:); i=$((i+1)); done");
}

static const char *utility, *static_true;

// Of a shell that has a clock.
static void fork_with_clock(const char *passed_on)
{
    setenv("OVUSER", utility, 1);
    setenv("PASSED_ON", passed_on, 1);
    run("/bin/sh", "-c", environ,
        "\"$OVUSER\" add p:$$ --epoch 1924419600 $PASSED_ON >/dev/null; i=0; while [ $i -lt 300 ]; do (:); i=$((i+1)); "
        "done");
}

// Starts Python with a clock of its own, which its parent sets.
static void start_python(const char *choices)
{
    setenv("OVUSER", utility, 1);
    setenv("ZYNOV_SIM_CHOICES", choices, 1);
    run("/bin/sh", "-c", environ,
        "\"$OVUSER\" add p:$$ --epoch 1924419600 && exec /usr/bin/python3 -c 'import asyncio, json, email.message'");
    unsetenv("ZYNOV_SIM_CHOICES");
}

static void run_bare_static()
{
    setenv("ZYNOV_SIM_CHOICES", "no-static,quiet", 1);
    run(static_true, nullptr, no_environment);
    unsetenv("ZYNOV_SIM_CHOICES");
}

using Prepare = std::function<void()>;

static void compare_readings(const std::string &clock, const Aims &aims, const Aims &of_time, const Prepare &prepare)
{
    compare<[] { clock_gettime(CLOCK_REALTIME, &instant); }, [] { bare_clock_gettime(CLOCK_REALTIME, &instant); }>(
        "clock_gettime, " + clock, "bare clock_gettime", aims, 1, prepare);
    compare<[] { gettimeofday(&moment, nullptr); }, [] { bare_gettimeofday(&moment, nullptr); }>(
        "gettimeofday, " + clock, "bare gettimeofday", aims, 1, prepare);
    compare<[] { benchmark::DoNotOptimize(time(nullptr)); }, [] { bare_clock_gettime(CLOCK_REALTIME, &instant); }>(
        "time, " + clock, "bare clock_gettime", of_time, 1, prepare);
}

static void compare_intervals(const std::string &clock, const Aims &aims, const Prepare &prepare)
{
    compare<[] { clock_gettime(CLOCK_MONOTONIC, &instant); }, [] { bare_clock_gettime(CLOCK_MONOTONIC, &instant); }>(
        "CLOCK_MONOTONIC, " + clock, "bare CLOCK_MONOTONIC", aims, 1, prepare);
}

static void compare_start(const std::string &tool, const Prepare &prepare)
{
    compare<[] { run("/bin/true", nullptr, environ); }, [] { run("/bin/true", nullptr, no_environment); }>(
        "/bin/true under " + tool, "/bin/true", {}, 1, prepare);
}

static void compare_programs()
{
    const auto no_clock = [] {
        fill_table(0);
        give_clock(0, 0);
    };
    compare_start("the simulator", no_clock);
    compare<[] { fork_from_shell(environ); }, [] { fork_from_shell(no_environment); }>(
        "100 forks of a shell under the simulator", "the same", {1.3}, 1, no_clock);
    compare<[] { fork_with_clock("--descendants"); }, [] { fork_with_clock(""); }>(
        "300 forks, the clock passed on", "the same, with a clock", {1.05}, 1, no_clock);
    compare<[] { run(utility, "list", environ); }, [] { run("/bin/true", nullptr, no_environment); }>(
        "ovuser list under an empty simulator", "/bin/true", {}, 1, no_clock);
    compare<[] { run(utility, "list", environ); }, [] { run("/bin/true", nullptr, environ); }>(
        "ovuser list under an empty simulator", "/bin/true, likewise", {}, 1, no_clock);
    compare<[] { run(utility, "--version", no_environment); }, [] { run("/bin/true", nullptr, no_environment); }>(
        "ovuser --version", "/bin/true", {}, 1, no_clock);

    if (access("/usr/bin/python3", X_OK) == 0)
        compare<[] { start_python("file-times"); }, [] { start_python(""); }>("start of Python with --file-times",
                                                                              "the same without", {1.2}, 1, no_clock);
    if (access(static_true, X_OK) == 0) {
        compare<[] { run(static_true, nullptr, no_environment); }, run_bare_static>(
            "start of a static program", "the same, not reached", {}, 1, no_clock);
        constexpr Aims of_start = {3.2}; // a millisecond more
        compare<[] { run(static_true, nullptr, no_environment); }, run_bare_static>(
            "the same, from a program of 1 GB", "the same, not reached", of_start, 1, [] {
                static const std::vector<char> memory(1 << 30, 1);
                benchmark::DoNotOptimize(memory.data());
            });
    }
}

static void run_all()
{
    Lines lines(stdout);
    benchmark::RunSpecifiedBenchmarks(&lines);
}

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (getenv("ZYNOV_SIM_STATE") == nullptr && argc == 2) {
        const std::string tool = argv[1];
        compare_readings(tool, {}, {}, nullptr);
        compare_start(tool, nullptr);
        run_all();
        return 0;
    }
    if (getenv("ZYNOV_SIM_STATE") == nullptr || argc != 3) {
        fprintf(stderr, "usage: zynov-sim ... reading_bench [BENCHMARK OPTIONS...] OVUSER STATIC_TRUE\n");
        return 1;
    }
    utility = argv[1];
    static_true = argv[2];
    const struct {
        const char *name;
        int64_t speed;
        uint64_t rewind;
    } clocks[] = {{"no clock", 0, 0}, {"60 times faster", 60, 0}, {"60 times slower, rewinding", -60, 1}};
    constexpr Aims with_clock = {2.5}, without_clock = {1.8}, of_time = {0.8}, of_wait = {1.3};
    const char *choices = getenv("ZYNOV_SIM_CHOICES");
    if (choices != nullptr && strstr(choices, "intervals") != nullptr) {
        compare_intervals("--intervals, no clock", {1.6}, [] { give_clock(0, 0); });
        compare_intervals("--intervals, 60 times faster", with_clock, [] { give_clock(60, 0); });
        compare_intervals("--intervals, 60 times slower", with_clock, [] { give_clock(-60, 0); });
        run_all();
        return 0;
    }
    for (const auto &clock : clocks) {
        const auto prepare = [=] { give_clock(clock.speed, clock.rewind); };
        compare_readings(clock.name, clock.speed != 0 ? with_clock : without_clock, of_time, prepare);
        compare<[] { clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &past, nullptr); },
                [] { bare_clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &past, nullptr); }>(
            std::string("expired wait, ") + clock.name, "bare clock_nanosleep", of_wait, 1, prepare);
    }
    compare_intervals("no --intervals", {1.3}, [] { give_clock(60, 0); });
    control_file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    compare<change_table, change_floor>("add and delete", "floor: open, flock, close", {10}, 1, [] { fill_table(0); });
    compare<change_table, change_floor>("the same among 1,000 clocks of processes", "floor: open, flock, close", {40},
                                        1, [] { fill_table(1000); });
    compare<[] { clock_gettime(CLOCK_REALTIME, &instant); }, [] { bare_clock_gettime(CLOCK_REALTIME, &instant); }>(
        "clock_gettime, after a change cut short", "bare clock_gettime", {3}, 1, [] {
            fill_table(1000);
            give_clock(60, 0);
            cut_change_short();
        });
    compare_programs();
    run_all();
}
