// The clock of this process.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include "simulator/process/cache.h"
#include "simulator/raw/next.h"
#include "simulator/table/table.h"

namespace sim
{

// Gets the rate of this process's clock; returns false if the process has real time. Makes no system call and takes no
// lock, and searches the table only after a change. Async-signal-safe.
bool own_clock(ClockRate &rate);

// The generation of the table, which changes whenever this process's clock may change, but at the end of a process
// whose clock ends unannounced; null if there is no table.
const std::atomic<uint64_t> *table_generation();

// Whether this process lives by such a clock.
bool may_end_unannounced();

// Read the virtual time; return false if the process has real time. Async-signal-safe. The coarse time costs half and
// lags a little, as the kernel's does; time() returns its seconds.
bool read_clock(timespec &time);
bool read_coarse_clock(timespec &time);

// The C library's own function.
extern Next<int(clockid_t, timespec *), SYS_clock_gettime> next_clock_gettime;

// The real value of a system clock.
timespec real_time(clockid_t source = CLOCK_REALTIME);

// The table, null for none, and what a lookup in it depends on.
const Table *find_table();
Generation present_generation(const Table &clocks);

// Call before making a child or executing a program: finds out whether this process passes its clock on.
void before_child();

// Call in a new child that has its own memory.
void reset_after_fork();

} // namespace sim
