// A storm of processes that pass their clock on, while they fork, lose it and are killed.
#include "tests/attack.h"

#include <poll.h>

#include <ctime>

static constexpr time_t shown = 1924419600;

static int send_for(unsigned long command, pid_t process, uint64_t bits, int control)
{
    const bool deletes = command == ZYNOV_IOC_DELETE_CLOCK;
    zynov_iov record = {ZYNOV_IOV_VERSION, 0, 0, process, deletes ? 3 : shown, 3, 0, 0, 0, bits, 0};
    if (command == ZYNOV_IOC_REFINE_CLOCK)
        record.vtime = 0;
    return ioctl(control, command, &record) == 0 ? 0 : errno;
}

// Lives in the tree until that ends.
static void live()
{
    if (random() % 2 == 0)
        setsid();
    if (fork() == 0 && fork() == 0 && random() % 4 == 0)
        fork();
    while (time(nullptr) == shown)
        pause_at_random(1000);
    _exit(0);
}

static void begin_tree(uint64_t bits, int control, int ready)
{
    if (send_for(ZYNOV_IOC_ADD_CLOCK, getpid(), 0, control) != 0 ||
        send_for(ZYNOV_IOC_REFINE_CLOCK, getpid(), bits, control) != 0)
        complain("a clock that could not be passed on", errno);
    for (int child = 0; child < 5; ++child) {
        if (fork() == 0)
            live();
        write(ready, "", 1);
    }
    pause();
}

void grow_trees(int control)
{
    int trees = 0;
    for (const auto begun = Clock::now(); Clock::now() - begun < length; ++trees) {
        const uint64_t bits =
            trees % 3 == 0 ? ZYNOV_REFINE_DESCENDANTS | ZYNOV_REFINE_LASTING : ZYNOV_REFINE_DESCENDANTS;
        int living[2];
        char child;
        if (pipe(living) != 0)
            abort();
        const pid_t first = start([&] { begin_tree(bits, control, living[1]); });
        close(living[1]);
        read(living[0], &child, 1);
        pause_at_random(3000);
        if (trees % 2 == 0)
            kill(first, SIGKILL), waitpid(first, nullptr, 0);
        const int error = send_for(ZYNOV_IOC_DELETE_CLOCK, first, 0, control);
        if (error != 0 && (trees % 2 != 0 || error != EL2HLT))
            complain("a clock that could not be deleted", error);
        kill(first, SIGKILL);
        waitpid(first, nullptr, 0);
        pollfd end = {living[0], POLLIN, 0};
        while (poll(&end, 1, 60000) == 1 && read(living[0], &child, 1) == 1)
            ;
        if ((end.revents & POLLHUP) == 0)
            complain("processes that a clock outlived", trees);
        close(living[0]);
    }
    zynov_iov mark = {ZYNOV_IOV_VERSION};
    if (ioctl(control, ZYNOV_IOC_HIGH_MARK, &mark) != 0 || mark.speed != 0)
        complain("slots that trees left behind", mark.speed);
    printf("%d trees\n", trees);
}
