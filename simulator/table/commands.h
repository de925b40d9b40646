// The module's commands: its rules over the 80-byte record.
#pragma once

#include "simulator/table/search.h"

namespace sim
{

// What adding a clock needs beyond its record. Finding it may take descriptors, locks and memory, so it comes before
// the table is locked.
struct AddContext {
    int64_t utc_offset;
    uint64_t pid_namespace, birth; // of a process
    int error;                     // of finding them
    int descriptor = -1;           // of the table's file: tells which trees have members
    Timeline timeline = {};        // of the caller, who mostly is the process or its child
    Identity caller = {};          // as far as it is known
};
AddContext find_add_context(unsigned long command, const zynov_iov &record, const Identity &caller = {});

// Deletes the clocks of all processes after a reboot. Call with the lock held.
void begin_boot(Table &table, uint64_t boot);

// Run one command at a real instant: change_table with the lock held, query_table without. Both return 0, or the
// module's errno.
bool changes_table(unsigned long command, const zynov_iov &record);
int change_table(Table &table, unsigned long command, zynov_iov &record, const timespec &real,
                 const AddContext &context);
int query_table(const Table &table, unsigned long command, zynov_iov &record, const timespec &real, int descriptor = -1,
                const Identity &caller = {});

} // namespace sim
