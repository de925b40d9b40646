// A storm over monotonic time, under zynov-sim --intervals: processes with threads, signal handlers, forked children
// and new programs read it, while others set, change and delete the clock of their group. Whatever one has read, no
// other may read less afterwards, and time may not stand.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include "contract/zynov.h"
#include "simulator/raw/system_call.h"

constexpr clockid_t sources[] = {CLOCK_MONOTONIC, CLOCK_MONOTONIC_RAW, CLOCK_MONOTONIC_COARSE, CLOCK_BOOTTIME};
constexpr int source_count = std::size(sources);

// In shared memory.
static struct Shared {
    std::atomic<int64_t> latest[source_count];
    std::atomic<int> back, stood, changes, readers;
} * shared;

static int64_t nanoseconds(const timespec &time)
{
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

static int64_t bare()
{
    timespec time;
    sim::system_call(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    return nanoseconds(time);
}

static int64_t now(int source, bool by_number = false)
{
    timespec time;
    if (by_number)
        syscall(SYS_clock_gettime, sources[source], &time);
    else
        clock_gettime(sources[source], &time);
    return nanoseconds(time);
}

static int64_t read_source(int source, bool by_number = false)
{
    const int64_t before = shared->latest[source], present = now(source, by_number);
    if (present < before && ++shared->back <= 5)
        dprintf(1, "source %d went back by %jd ns\n", source, static_cast<intmax_t>(before - present));
    for (int64_t latest = before; latest < present;)
        if (shared->latest[source].compare_exchange_weak(latest, present))
            break;
    return present;
}

// The slowest clock has a thousandth of the real speed.
static void read_all(bool by_number)
{
    for (int pass = 0; pass < 6; ++pass) {
        const int64_t shown = read_source(0), start = bare();
        for (int i = 0; i < 500; ++i)
            read_source(i % source_count, by_number && i % 7 == 0);
        const int64_t real = bare() - start, passed = read_source(0) - shown;
        if (passed < real / 2000 && ++shared->stood <= 5)
            dprintf(1, "%jd ns in %jd\n", static_cast<intmax_t>(passed), static_cast<intmax_t>(real));
    }
}

// By the C library's function for system calls too, where it is not the program's own.
static void read_in_threads_and_children(bool by_number)
{
    const itimerval often = {{0, 300}, {0, 300}}, never = {};
    signal(SIGPROF, [](int) { read_source(0); });
    setitimer(ITIMER_PROF, &often, nullptr);
    for (int round = 0; round < 60; ++round) {
        std::thread one(read_all, by_number), other(read_all, by_number);
        const pid_t child = fork();
        read_all(by_number);
        if (child == 0)
            _exit(0);
        waitpid(child, nullptr, 0);
        one.join();
        other.join();
    }
    setitimer(ITIMER_PROF, &never, nullptr);
}

static bool is_static(const char *program)
{
    return strstr(program, "static") != nullptr;
}

static void change_clocks()
{
    static constexpr int64_t speeds[] = {60, 1000, -4, 0, 1, -1000, 7, 1000, -1000000, 5000};
    const int control = open(ZYNOV_PATH, O_RDONLY);
    for (unsigned turn = 0; shared->readers > 0; ++turn) {
        zynov_iov clock = {};
        clock.version = ZYNOV_IOV_VERSION;
        clock.id = getegid();
        clock.vtime = ZYNOV_GROUP;
        if (turn % 3 != 2) // it is set anew, or gone for a while
            ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock);
        clock.vtime = 1924419600;
        clock.flags = ZYNOV_GROUP;
        clock.speed = speeds[turn / 3 % std::size(speeds)];
        if (turn % 3 != 1 && ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) == 0)
            ++shared->changes;
        usleep(turn % 1000);
    }
}

static void read_on()
{
    static int64_t last;
    const int64_t before = last;
    last = now(0);
    if (last < before)
        dprintf(1, "back\n");
}

// Whether each source passes at a speed beside real time, in one of some tries. It is read around that, so it is never
// slower.
static bool passes_at(double speed)
{
    bool is_right = false;
    for (int tries = 0; tries < 20 && !is_right; ++tries) {
        int64_t shown[source_count], start = 0;
        read_on();
        for (int i = 0; i < source_count; ++i)
            shown[i] = now(i);
        for (start = bare(); bare() < start + 100'000'000;)
            ;
        const auto real = static_cast<double>(bare() - start);
        is_right = true;
        for (int i = 0; i < source_count; ++i) {
            const double ratio = static_cast<double>(now(i) - shown[i]) / real / speed;
            is_right = is_right && ratio > (sources[i] == CLOCK_MONOTONIC_COARSE ? 0.9 : 0.999) && ratio < 1.1;
        }
        read_on();
    }
    return is_right;
}

// passing now: prints the monotonic time. passing SPEED/DIVISOR...: tells whether time passes at each speed.
// passing READERS: the storm, with two processes of each of these programs. READER FILE EXECS: one of these, which
// executes itself so many times.
int main(int argc, char **argv)
{
    int multiplier = 0, divisor = 0;
    if (argc == 2 && strcmp(argv[1], "now") == 0)
        return printf("%jd\n", static_cast<intmax_t>(now(0))) < 0;
    for (; argc > 1 && sscanf(argv[1], "%d/%d", &multiplier, &divisor) == 2; --argc, ++argv) {
        dprintf(1, passes_at(1.0 * multiplier / divisor) ? "right\n" : "wrong\n");
        if (argc == 2)
            return 0;
    }
    const bool reads = argc > 1 && atoi(argv[1]) > 0;
    const int file = reads ? atoi(argv[1]) : memfd_create("latest", 0);
    if (!reads && ((getegid() == 0 && setresgid(54321, 54321, 54321) != 0) || ftruncate(file, sizeof *shared) != 0))
        return 1;
    shared = static_cast<Shared *>(mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    if (reads) {
        read_in_threads_and_children(!is_static(argv[0]));
        if (const int left = atoi(argv[2]); left > 0)
            execl(argv[0], argv[0], argv[1], std::to_string(left - 1).c_str(), nullptr);
        return 0;
    }
    shared->readers = 2 * (argc - 1);
    for (int i = 0; i < shared->readers; ++i)
        if (fork() == 0) {
            const char *reader = argv[1 + i / 2]; // what a static one executes keeps the real time
            execl(reader, reader, std::to_string(file).c_str(), is_static(reader) ? "0" : "2", nullptr);
            _exit(1);
        }
    if (fork() == 0) {
        change_clocks();
        _exit(0);
    }
    bool passed = true;
    for (int status; wait(&status) > 0;) {
        --shared->readers;
        passed = passed && status == 0;
    }
    printf("%d back, %d stood, %d changes\n", shared->back.load(), shared->stood.load(), shared->changes.load());
    return passed && shared->back + shared->stood == 0 && shared->changes >= 10 ? 0 : 1;
}
