// Stress tests of the simulator, each for some seconds: attack SECONDS, under zynov-sim. Prints the number of each, and
// what was lost, torn, duplicated, hung or left open; the status is 0 if nothing was.
#include "tests/attack.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <csetjmp>
#include <thread>

// The simulator must not call these.
extern "C" int flock(int, int)
{
    abort();
}

// Kills processes at any moment, while another of their threads makes children that live on.
static void kill_at_random(int control)
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
            for (;; usleep(300)) {
                const pid_t child = fork();
                if (child == 0)
                    close(children[1]), read(children[0], ready, 1), _exit(0);
            }
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
    printf("%d kills of processes that fork\n", kills);
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
        if (changes % 16 == 0) { // a handler may interrupt here too
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

int main(int argc, char **argv)
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (argc != 2) // how a storm starts it
        return time(nullptr) == 1924419600 ? 0 : 2;
    const auto end = Clock::now() + std::chrono::seconds(atol(argv[1]));
    const int control = open_control();
    const long open_before = count_open();
    if (send(ZYNOV_IOC_ADD_CLOCK, 700000, control) != 0) // it must last
        complain("no clock could be added", errno);
    length = std::max<Clock::duration>((end - Clock::now()) / 7, std::chrono::milliseconds(100));
    kill_at_random(control);
    signal_at_random(control);
    cancel_at_random(control);
    start_programs(control);
    grow_trees(control);
    int torn = 0;
    if (count(700000, control, torn) != 1 || torn != 0)
        complain("lost, twice or torn", torn);
    ask_wrongly(control);
    look_for_a_handler();
    cut_short_a_change(control);
    wreck(control, false);
    wreck(control, true);
    close(control);
    if (count_open() != open_before - 1)
        complain("descriptors left open", count_open() - open_before + 1);
    puts(faults == 0 ? "Nothing was lost, torn, duplicated, hung or left open." : "FAILED");
    return faults != 0;
}
