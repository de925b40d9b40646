// Storms over the simulator, each for a few seconds: attack SECONDS, under zynov-sim. Prints how many of each there
// were, and what was lost, torn, duplicated, hung or left open; its status is 0 when that is nothing.
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include "kernel/zynov.h"
#include "simulator/table/table.h"

using Clock = std::chrono::steady_clock;

static Clock::duration length; // of a storm
static int faults;

static void complain(const char *what, long count)
{
    printf("%s: %ld\n", what, count);
    ++faults;
}

// A clock of user ID whose fields all tell what it is.
static int send(unsigned long command, int64_t id, int control)
{
    zynov_iov record = {
        ZYNOV_IOV_VERSION, 0, 0, id, command == ZYNOV_IOC_DELETE_CLOCK ? 1 : 1000000000 + id, 1, 0, 0, id, 0, 0};
    return ioctl(control, command, &record) == 0 ? 0 : errno;
}

static int open_control()
{
    const int control = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    if (control < 0)
        perror(ZYNOV_PATH), exit(2);
    return control;
}

static bool adds_and_deletes(int64_t id, int control)
{
    return send(ZYNOV_IOC_ADD_CLOCK, id, control) == 0 && send(ZYNOV_IOC_DELETE_CLOCK, id, control) == 0;
}

// How often clock ID is in the table; counts those whose fields do not fit together.
static int count(int64_t id, int control, int &torn)
{
    int found = 0;
    for (uint32_t slot = 0; slot < sim::Table::capacity; ++slot) {
        zynov_iov record = {ZYNOV_IOV_VERSION, slot};
        if (ioctl(control, ZYNOV_IOC_GET_SLOT, &record) != 0)
            complain("a slot that cannot be read", errno);
        found += record.id == id;
        torn += record.id != 0 && (record.origin != record.id || record.vtime != 1000000000 + record.id);
    }
    return found;
}

static long count_open()
{
    long found = 0;
    DIR *folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr)
        ++found;
    closedir(folder);
    return found;
}

// A child that lives until it is killed, and no longer than this process.
static pid_t start(const std::function<void()> &work)
{
    const pid_t child = fork();
    if (child < 0) // not to be taken for everybody
        perror("fork"), exit(2);
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        _exit(faults != 0);
    }
    return child;
}

static void pause_at_random(int longest_microseconds)
{
    static std::mt19937 random(static_cast<unsigned>(getpid()));
    usleep(random() % static_cast<unsigned>(longest_microseconds));
}

// A change of a stranger's, who finds no lock that somebody left.
static void expect_change(int control)
{
    const auto begun = Clock::now();
    if (!adds_and_deletes(900000, control) || Clock::now() - begun > std::chrono::seconds(1))
        complain("a change that hung or failed", errno);
}

// What the simulator is not to call.
extern "C" int flock(int, int)
{
    abort();
}

// Wild pointers, and records at the end of memory.
static void ask_wrongly(int control)
{
    auto *const page =
        static_cast<char *>(mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    zynov_iov record = {ZYNOV_IOV_VERSION, 0, 0, 950000, 1, 1};
    memcpy(page + 4096 - sizeof record, &record, sizeof record);
    mprotect(page, 4096, PROT_READ);
    munmap(page + 4096, 4096);
    const auto answer = [control](unsigned long command, void *given) {
        return ioctl(control, command, given) == 0 ? 0 : errno;
    };
    void *const read_only = page + 4096 - sizeof record, *const cut = page + 4096 - sizeof record / 2;
    const char *const nowhere = page + 4096;
    for (const auto &[expected, seen] :
         std::initializer_list<std::pair<int, int>>{{EFAULT, answer(ZYNOV_IOC_GET_SLOT, nullptr)},
                                                    {EFAULT, answer(ZYNOV_IOC_GET_SLOT, page + 4096)},
                                                    {EFAULT, answer(ZYNOV_IOC_GET_SLOT, cut)},
                                                    {EFAULT, answer(ZYNOV_IOC_GET_SLOT, read_only)},
                                                    {EL2HLT, answer(ZYNOV_IOC_DELETE_CLOCK, read_only)},
                                                    {EINVAL, open(nowhere, O_TMPFILE | O_RDONLY) < 0 ? errno : 0},
                                                    {EFAULT, open(nowhere, O_RDONLY) < 0 ? errno : 0},
                                                    {EFAULT, access(nowhere, R_OK) < 0 ? errno : 0}})
        if (expected != seen)
            complain("another answer than a kernel's", seen);
}

static void write_as_eight(int control)
{
    constexpr int writers = 8, changes = 10000;
    int writing = writers, torn = 0, lost = 0, status;
    for (int writer = 1; writer <= writers; ++writer)
        start([&] {
            const int own = open_control();
            for (int i = 0; i < changes / 2 && faults == 0; ++i)
                if (!adds_and_deletes(1000 * writer + i % 10, own))
                    complain("a writer's change failed", errno);
            if (send(ZYNOV_IOC_ADD_CLOCK, 1000 * writer, own) != 0)
                complain("a writer's last clock failed", errno);
        });
    for (int own_torn; writing > 0; writing -= waitpid(-1, &status, WNOHANG) > 0)
        count(0, control, own_torn = 0), torn += own_torn;
    for (int writer = 1; writer <= writers; ++writer) {
        lost += count(1000 * writer, control, torn) != 1;
        lost += send(ZYNOV_IOC_DELETE_CLOCK, 1000 * writer, control) != 0;
    }
    if (lost + torn > 0)
        complain("lost, twice or torn", lost + torn);
    printf("%d writers, %d changes each\n", writers, changes);
}

// Processes that are killed at any moment; with children that another thread of theirs makes meanwhile, and that live
// on.
static void kill_at_random(int control, bool forking)
{
    int kills = 0, torn = 0, lost = 0;
    for (const auto begun = Clock::now(); Clock::now() - begun < length; ++kills) {
        int ready[2], children[2];
        if (pipe(ready) != 0 || pipe(children) != 0)
            abort();
        const pid_t victim = start([&] {
            std::thread([&] {
                write(ready[1], "", 1);
                for (;;)
                    adds_and_deletes(500000, control);
            }).detach();
            for (; forking; usleep(300)) {
                const pid_t child = fork();
                if (child == 0)
                    close(children[1]), read(children[0], ready, 1), _exit(0);
            }
            pause();
        });
        close(children[0]);
        char started;
        read(ready[0], &started, 1);
        pause_at_random(5000);
        kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
        send(ZYNOV_IOC_DELETE_CLOCK, 500000, control);
        expect_change(control);
        if (kills % 16 == 0)
            lost += count(700000, control, torn) != 1;
        for (const int descriptor : {ready[0], ready[1], children[1]}) // the children end
            close(descriptor);
    }
    if (lost + torn > 0)
        complain("lost, twice or torn", lost + torn);
    printf("%d kills%s\n", kills, forking ? " of processes that fork" : "");
}

static sigjmp_buf way_out;
static volatile sig_atomic_t may_leave;
static int signals_control;
static std::atomic<long> signals_taken;

static void command_and_leave(int)
{
    const long taken = ++signals_taken;
    if (!adds_and_deletes(600000 + taken % 2, signals_control) && errno != EEXIST && errno != EL2HLT)
        complain("a handler's change failed", errno);
    if (taken % 3 == 0 && may_leave)
        siglongjmp(way_out, 1);
}

static void signal_at_random(int control)
{
    signals_control = control;
    const long open_before = count_open();
    struct sigaction action = {};
    action.sa_handler = command_and_leave;
    sigaction(SIGUSR1, &action, nullptr);
    const pid_t target = getpid();
    const pid_t sender = start([&] {
        for (;; pause_at_random(100))
            kill(target, SIGUSR1);
    });
    long changes = 0;
    for (const auto begun = Clock::now(); Clock::now() - begun < length; ++changes) {
        if (sigsetjmp(way_out, 1) == 0) {
            may_leave = 1;
            send(ZYNOV_IOC_ADD_CLOCK, 610000, control);
            send(ZYNOV_IOC_DELETE_CLOCK, 610000, control);
        }
        may_leave = 0;
        if (changes % 16 == 0) { // a handler may come in between here, too
            const pid_t child = fork();
            if (child == 0)
                _exit(0);
            waitpid(child, nullptr, 0);
        }
    }
    kill(sender, SIGKILL);
    waitpid(sender, nullptr, 0);
    signal(SIGUSR1, SIG_IGN);
    for (const int64_t id : {600000, 600001, 610000})
        send(ZYNOV_IOC_DELETE_CLOCK, id, control);
    if (count_open() != open_before)
        complain("descriptors left open by signals", count_open() - open_before);
    expect_change(control);
    printf("%ld signals, in %ld changes\n", signals_taken.load(), changes);
}

static void cancel_at_random(int control)
{
    const long open_before = count_open();
    long cancelled = 0;
    for (const auto begun = Clock::now(); Clock::now() - begun < length; ++cancelled) {
        pthread_t thread;
        int given = control;
        pthread_create(
            &thread, nullptr,
            [](void *control_file) -> void * {
                for (;; pthread_testcancel())
                    adds_and_deletes(620000, *static_cast<int *>(control_file));
            },
            &given);
        pause_at_random(300);
        pthread_cancel(thread);
        pthread_join(thread, nullptr);
    }
    send(ZYNOV_IOC_DELETE_CLOCK, 620000, control);
    if (count_open() != open_before)
        complain("descriptors left open by cancelled threads", count_open() - open_before);
    expect_change(control);
    printf("%ld cancellations\n", cancelled);
}

static bool is_ended_by_a_fault(const std::function<void()> &work)
{
    int status = 0;
    waitpid(start(work), &status, 0);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS;
}

// The handler by which a cut table is outlived changes nothing else.
static void look_for_a_handler()
{
    struct sigaction seen = {};
    const auto own = [](int) { _exit(0); };
    const auto touch_cut_file = [] {
        const int file = open("/tmp", O_TMPFILE | O_RDWR, 0600);
        *static_cast<volatile char *>(mmap(nullptr, 1, PROT_WRITE, MAP_SHARED, file, 0)) = 1;
    };
    if (sigaction(SIGBUS, nullptr, &seen) != 0 || seen.sa_handler != SIG_DFL || seen.sa_flags != 0 ||
        signal(SIGBUS, own) != SIG_DFL || is_ended_by_a_fault(touch_cut_file) || signal(SIGBUS, SIG_DFL) != own ||
        signal(SIGBUS, SIG_DFL) != SIG_DFL || !is_ended_by_a_fault(touch_cut_file) ||
        !is_ended_by_a_fault([] { raise(SIGBUS), pause(); }))
        complain("a handler is to be seen", 1);
}

// Readers and writers of a table that is scribbled over, and cut, under them.
static void wreck(int control, bool cut)
{
    const char *const file = getenv("ZYNOV_SIM_STATE");
    pid_t victims[4];
    for (int i = 0; i < 4; ++i)
        victims[i] = start([=] {
            for (;;) {
                if (i % 2 == 0)
                    adds_and_deletes(1000 + i, control);
                else
                    for (int reading = 0; reading < 1000; ++reading)
                        time(nullptr);
            }
        });
    const int table = open(file, O_RDWR | O_CLOEXEC);
    std::mt19937_64 random(1);
    long blows = 0;
    usleep(20000);
    for (const auto begun = Clock::now(); Clock::now() - begun < length; ++blows) {
        const uint64_t word = random();
        const auto place = static_cast<off_t>(word % sizeof(sim::Table) / 8 * 8);
        const struct {
            sim::Header header;
            uint64_t generation;
        } begin = {{}, word};
        pwrite(table, &word, sizeof word, place);
        pwrite(table, &begin, sizeof begin, 0);
        if (cut) {
            const bool done = ftruncate(table, blows % 2 == 0 ? place : 0) == 0;
            usleep(100);
            if (!done || ftruncate(table, sizeof(sim::Table)) != 0)
                abort();
        }
    }
    int ended = 0, status;
    for (const pid_t victim : victims) {
        ended += waitpid(victim, &status, WNOHANG) != 0;
        kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
    }
    if (ended > 0)
        complain("processes that were ended", ended);
    if (cut && ftruncate(table, 0) == 0 && time(nullptr) > 0 && ftruncate(table, sizeof(sim::Table)) == 0) {
        const sim::Header header;
        pwrite(table, &header, sizeof header, 0);
        int torn = 0;
        if (send(ZYNOV_IOC_ADD_CLOCK, 5, control) != 0 || count(5, control, torn) != 1)
            complain("a table that was cut does not serve again", errno);
    }
    printf("%ld %s\n", blows, cut ? "truncations" : "scribbled words");
    close(table);
}

int main(int argc, char **argv)
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc != 2)
        return 2;
    const auto end = Clock::now() + std::chrono::seconds(atol(argv[1]));
    const int control = open_control();
    const long open_before = count_open();
    if (send(ZYNOV_IOC_ADD_CLOCK, 700000, control) != 0) // which is to last
        complain("no clock could be added", errno);
    write_as_eight(control);
    length = std::max<Clock::duration>((end - Clock::now()) / 6, std::chrono::milliseconds(100));
    kill_at_random(control, false);
    kill_at_random(control, true);
    signal_at_random(control);
    cancel_at_random(control);
    int torn = 0;
    if (count(700000, control, torn) != 1 || torn != 0)
        complain("lost, twice or torn", torn);
    ask_wrongly(control);
    look_for_a_handler();
    wreck(control, false);
    wreck(control, true);
    close(control);
    if (count_open() != open_before - 1)
        complain("descriptors left open", count_open() - open_before + 1);
    puts(faults == 0 ? "Nothing was lost, torn, duplicated, hung or left open." : "FAILED");
    return faults != 0;
}
