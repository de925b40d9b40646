// Wild pointers, and a table that is overwritten and truncated while in use.
#include "tests/attack.h"

#include <sys/mman.h>

#include <cstring>
#include <initializer_list>
#include <utility>

// Wild pointers, and records at the end of memory.
void ask_wrongly(int control)
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
    for (const auto &[expected, seen] : std::initializer_list<std::pair<int, int>>{
             {EFAULT, answer(ZYNOV_IOC_GET_SLOT, nullptr)},
             {EFAULT, answer(ZYNOV_IOC_GET_SLOT, page + 4096)},
             {EFAULT, answer(ZYNOV_IOC_GET_SLOT, cut)},
             {EFAULT, answer(ZYNOV_IOC_GET_SLOT, read_only)},
             {EL2HLT, answer(ZYNOV_IOC_DELETE_CLOCK, read_only)},
             {EINVAL, open(nowhere, O_TMPFILE | O_RDONLY) < 0 ? errno : 0},
             {EFAULT, open(nowhere, O_RDONLY) < 0 ? errno : 0},
             {EFAULT, access(nowhere, R_OK) < 0 ? errno : 0},
             {EFAULT, execveat(AT_FDCWD, nowhere, nullptr, environ, 0) < 0 ? errno : 0}})
        if (expected != seen)
            complain("another answer than a kernel's", seen);
}

static bool is_ended_by_a_fault(const std::function<void()> &work)
{
    int status = 0;
    waitpid(start(work), &status, 0);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGBUS;
}

// The handler that survives a truncated table changes nothing else.
void look_for_a_handler()
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

// The writer of a change was killed, and the clock comes and goes in the table: a reading may stay cached for a moment,
// but not for good, nor after the end of a change.
void cut_short_a_change(int control)
{
    constexpr time_t christmas = 1924419600;
    const int file = open(getenv("ZYNOV_SIM_STATE"), O_RDWR | O_CLOEXEC);
    auto *const table =
        static_cast<sim::Table *>(mmap(nullptr, sizeof(sim::Table), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    zynov_iov clock = {ZYNOV_IOV_VERSION, 0, 0, getpid(), christmas, 3};
    if (ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) != 0)
        complain("a process's clock could not be added", errno);
    const uint64_t used = table->used;
    const auto is_right = [&] { return (time(nullptr) == christmas) == (table->used != 0); };
    int held = 0;
    table->generation |= 1;
    for (int turn = 0; turn < 1000; ++turn) {
        table->used = turn % 2 * used;
        held += !is_right();
    }
    if (held == 0)
        complain("readings that searched the table each", 1000);
    for (int turn = 0; turn < 2; ++turn) {
        table->used = turn * used;
        usleep(100000);
        if (!is_right())
            complain("a reading that holds for good", turn);
    }
    table->used = 0;
    ++table->generation;
    if (!is_right())
        complain("a change that has ended, and is not seen", 1);
    table->used = used;
    clock.vtime = 3;
    ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock);
    munmap(table, sizeof *table);
    close(file);
}

// Overwrites and truncates a table under its readers and writers.
void wreck(int control, bool cut)
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
