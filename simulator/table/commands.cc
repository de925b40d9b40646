#include "simulator/table/commands.h"

#include <cerrno>

#include "base/integer.h"
#include "base/local_time.h"
#include "simulator/raw/process.h"
#include "simulator/table/change.h"
#include "simulator/table/refine.h"

namespace sim
{

// By these errnos the engine recognises that there is no such clock.
constexpr int no_clock_to_delete = EL2HLT, no_clock_to_reset = ENOENT;

bool changes_table(unsigned long command, const zynov_iov &record)
{
    return command == ZYNOV_IOC_ADD_CLOCK || command == ZYNOV_IOC_DELETE_CLOCK || command == ZYNOV_IOC_RESET_ALL ||
           (command == ZYNOV_IOC_REFINE_CLOCK && record.spare != 0);
}

AddContext find_add_context(unsigned long command, const zynov_iov &record, const Identity &caller)
{
    AddContext found = {};
    found.caller = caller;
    if (command != ZYNOV_IOC_ADD_CLOCK)
        return found;
    if (record.flags >> ZYNOV_REWIND_SHIFT != 0)
        found.utc_offset = ov::local_time(record.vtime).tm_gmtoff; // only where needed: the C library may take a lock
    if ((record.flags & ZYNOV_KIND_MASK) == ZYNOV_PROCESS) {
        found.pid_namespace = caller.pid_namespace != 0 ? caller.pid_namespace : pid_namespace();
        if (record.id == caller.process && caller.birth != 0)
            found.birth = caller.birth;
        else
            found.error = found.pid_namespace == 0 ? EACCES : read_birth(record.id, found.birth);
    }
    return found;
}

static int add(Table &table, const zynov_iov &record, const timespec &real, const AddContext &context, Caller &caller)
{
    const uint64_t kind = record.flags & ZYNOV_KIND_MASK;
    if (kind == ZYNOV_NO_KIND || kind > ZYNOV_PROCESS || record.id == 0)
        return EDOM;
    if (context.error != 0)
        return context.error;
    if (find_slot(table, kind, record, caller) != no_slot)
        return EEXIST;
    if (record.vtime < ZYNOV_EARLIEST_CLOCK)
        return EINVAL;
    if (record.vtime > ZYNOV_LATEST_CLOCK)
        return EOVERFLOW;
    Clock clock = {.id = record.id,
                   .flags = record.flags,
                   .container_id = record.container_id,
                   .speed = record.speed,
                   .origin = record.origin,
                   .start = record.vtime,
                   .real_seconds = real.tv_sec,
                   .real_nanoseconds = real.tv_nsec,
                   .utc_offset = context.utc_offset,
                   .pid_namespace = context.pid_namespace,
                   .birth = context.birth,
                   .nanoseconds = 0,
                   .refined = 0,
                   .tree = 0,
                   .former_tree = 0,
                   .empty_since = 0};
    const size_t slot = find_free_slot(table, clock, caller);
    if (slot == no_slot)
        return ENOSPC;
    TableWrite(table).put(slot, clock, kind == ZYNOV_PROCESS ? context.timeline : real_timeline);
    return 0;
}

static int remove(Table &table, const zynov_iov &record, Caller &caller)
{
    // A delete passes the kind in vtime.
    const size_t index = find_slot(table, static_cast<uint64_t>(record.vtime), record, caller);
    if (index == no_slot)
        return no_clock_to_delete;
    TableWrite(table).drop(index);
    return 0;
}

static int reset(Table &table, uint64_t container_id, Caller &caller)
{
    TableWrite table_write(table);
    bool any = false;
    for (size_t index = table.used_slots().size(); index-- > 0;) {
        const Clock clock = table.slots[index].load();
        if (clock.container_id != container_id || !caller.has(clock))
            continue;
        any = any || !caller.is_stale(clock);
        table_write.drop(index);
    }
    return any ? 0 : no_clock_to_reset;
}

void begin_boot(Table &table, uint64_t boot)
{
    TableWrite table_write(table);
    for (size_t index = table.used_slots().size(); index-- > 0;)
        if (const uint64_t kind = table.slots[index].load().kind(); kind == ZYNOV_PROCESS || kind == ZYNOV_NO_KIND)
            table_write.clear(index);
    table_write.restart_timelines();
    table.boot = boot;
}

static int get_slot(const Table &table, zynov_iov &record, const timespec &real, Caller &caller)
{
    if (record.slot >= Table::capacity)
        return EINVAL;
    const Clock clock = table.slots[record.slot].load();
    if (!caller.shows(clock)) {
        record.id = 0;
        return 0;
    }
    record.id = clock.id;
    record.vtime = ClockRate(clock).at(real).tv_sec;
    record.flags = clock.flags;
    record.speed = clock.speed;
    record.origin = clock.origin;
    record.base = ov::wrapping_sub(record.vtime, clock.origin); // where a rewinding clock never leaves its date
    record.container_id = clock.container_id;
    return 0;
}

static int64_t high_mark(const Table &table, Caller &caller)
{
    for (size_t index = table.used_slots().size(); index-- > 0;)
        if (caller.shows(table.slots[index].load()))
            return static_cast<int64_t>(index);
    return -1;
}

int change_table(Table &table, unsigned long command, zynov_iov &record, const timespec &real,
                 const AddContext &context)
{
    if (record.version != ZYNOV_IOV_VERSION)
        return EILSEQ;
    Caller caller(context.descriptor, context.caller);
    switch (command) {
    case ZYNOV_IOC_ADD_CLOCK:
        return add(table, record, real, context, caller); // vtime already holds the value set
    case ZYNOV_IOC_DELETE_CLOCK:
        return remove(table, record, caller);
    case ZYNOV_IOC_RESET_ALL:
        return reset(table, record.container_id, caller);
    case ZYNOV_IOC_REFINE_CLOCK:
        return refine(table, record, real, caller);
    default:
        return ENOTTY;
    }
}

int query_table(const Table &table, unsigned long command, zynov_iov &record, const timespec &real, int descriptor,
                const Identity &who)
{
    if (record.version != ZYNOV_IOV_VERSION)
        return EILSEQ;
    Caller caller(descriptor, who);
    switch (command) {
    case ZYNOV_IOC_GET_SLOT:
        return get_slot(table, record, real, caller);
    case ZYNOV_IOC_HIGH_MARK:
        record.speed = high_mark(table, caller);
        return 0;
    case ZYNOV_IOC_REFINE_CLOCK:
        return tell_refined(table, record, caller);
    default:
        return ENOTTY;
    }
}

} // namespace sim
