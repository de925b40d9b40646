// Helpers that the storms of attack.cc share.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

#include "contract/zynov.h"
#include "simulator/table/table.h"

using Clock = std::chrono::steady_clock;

inline Clock::duration length; // of a storm
inline int faults;

inline void complain(const char *what, long count)
{
    printf("%s: %ld\n", what, count);
    ++faults;
}

// Adds a clock of user ID, whose fields all follow from the ID.
inline int send(unsigned long command, int64_t id, int control)
{
    zynov_iov record = {
        ZYNOV_IOV_VERSION, 0, 0, id, command == ZYNOV_IOC_DELETE_CLOCK ? 1 : 1000000000 + id, 1, 0, 0, id, 0, 0};
    return ioctl(control, command, &record) == 0 ? 0 : errno;
}

inline int open_control()
{
    const int control = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    if (control < 0)
        perror(ZYNOV_PATH), exit(2);
    return control;
}

inline bool adds_and_deletes(int64_t id, int control)
{
    return send(ZYNOV_IOC_ADD_CLOCK, id, control) == 0 && send(ZYNOV_IOC_DELETE_CLOCK, id, control) == 0;
}

// Returns how often clock ID is in the table; counts clocks with mixed fields.
inline int count(int64_t id, int control, int &torn)
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

inline long count_open()
{
    long found = 0;
    DIR *folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr)
        ++found;
    closedir(folder);
    return found;
}

// Makes a child that lives until it is killed, at most as long as this process.
inline pid_t start(const std::function<void()> &work)
{
    const pid_t child = fork();
    if (child < 0) // kill(-1) would hit every process
        perror("fork"), exit(2);
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        _exit(faults != 0);
    }
    return child;
}

inline void pause_at_random(int longest_microseconds)
{
    static std::mt19937 random(static_cast<unsigned>(getpid()));
    usleep(random() % static_cast<unsigned>(longest_microseconds));
}

// Makes a change from another process, which fails if a lock was left behind.
inline void expect_change(int control)
{
    const auto begun = Clock::now();
    if (!adds_and_deletes(900000, control) || Clock::now() - begun > std::chrono::seconds(1))
        complain("a change that hung or failed", errno);
}

// Wrong calls, and damage to the table by others. None may do harm.
void ask_wrongly(int control);
void look_for_a_handler();
void cut_short_a_change(int control);
void wreck(int control, bool cut);

void start_programs(int control);
void grow_trees(int control);
