#include "simulator/table/change.h"

#include "simulator/raw/process.h"

namespace sim
{

bool PidNamespace::has(const Clock &clock)
{
    if (clock.kind() != ZYNOV_PROCESS)
        return clock.kind() != ZYNOV_NO_KIND;
    if (pid_namespace_ == 0)
        pid_namespace_ = pid_namespace();
    return clock.pid_namespace == pid_namespace_;
}

bool PidNamespace::is_stale(const Clock &clock)
{
    return clock.kind() == ZYNOV_PROCESS && has(clock) && has_ended(clock.id, clock.birth);
}

// Finds the slot of (kind, id, container). Asks for the end of a process only if its clock matches.
size_t find_slot(const Table &table, uint64_t kind, const zynov_iov &record)
{
    PidNamespace own_namespace;
    size_t index = 0;
    for (const Slot &slot : table.used_slots()) {
        const Clock clock = slot.load();
        if (clock.kind() == kind && clock.id == record.id && clock.container_id == record.container_id &&
            own_namespace.shows(clock))
            return index;
        ++index;
    }
    return no_slot;
}

size_t find_free_slot(const Table &table)
{
    PidNamespace own_namespace;
    size_t index = 0;
    int to_ask = 16;
    for (const Slot &slot : table.used_slots()) {
        const Clock clock = slot.load();
        if (clock.kind() == ZYNOV_NO_KIND ||
            (clock.kind() == ZYNOV_PROCESS && --to_ask >= 0 && own_namespace.is_stale(clock)))
            return index;
        ++index;
    }
    if (index < Table::capacity)
        return index;
    index = 0;
    for (const Slot &slot : table.used_slots()) {
        if (own_namespace.is_stale(slot.load()))
            return index;
        ++index;
    }
    return no_slot;
}

} // namespace sim
