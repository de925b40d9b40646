#include "simulator/table/change.h"

#include "simulator/raw/process.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/members.h"

namespace sim
{

bool Caller::has(const Clock &clock)
{
    if (clock.kind() != ZYNOV_PROCESS)
        return clock.kind() != ZYNOV_NO_KIND;
    if (pid_namespace_ == 0)
        pid_namespace_ = pid_namespace();
    return clock.pid_namespace == pid_namespace_;
}

bool Caller::is_stale(const Clock &clock)
{
    const bool is_own = clock.id == process_ && clock.birth == birth_;
    return clock.kind() == ZYNOV_PROCESS && has(clock) && !is_own && has_ended(clock.id, clock.birth) &&
           !(clock.lasts() && descriptor_ >= 0 && has_members(descriptor_, clock.tree));
}

// Finds the slot of (kind, id, container). Asks for the end of a process only if its clock matches.
size_t find_slot(const Table &table, uint64_t kind, const zynov_iov &record, Caller &caller)
{
    size_t index = 0;
    for (const Slot &slot : table.used_slots()) {
        const Clock clock = slot.load();
        if (clock.kind() == kind && clock.id == record.id && clock.container_id == record.container_id &&
            caller.shows(clock))
            return index;
        ++index;
    }
    return no_slot;
}

static int64_t seconds_since_boot()
{
    timespec now = {};
    system_call(SYS_clock_gettime, CLOCK_BOOTTIME, &now);
    return now.tv_sec;
}

// Whether a slot may be taken. A lasting tree's only member may just be executing a program, and be counted again only
// when that has begun, so its slot is kept for a while after it was first seen empty.
static bool is_free(Table &table, size_t place, Caller &caller)
{
    constexpr int64_t while_empty = 10;
    Clock clock = table.slots[place].load();
    if (clock.kind() == ZYNOV_NO_KIND)
        return true;
    const bool stale = caller.is_stale(clock);
    if (!clock.lasts())
        return stale;
    const int64_t now = stale ? seconds_since_boot() : 0;
    if (stale && clock.empty_since != 0)
        return now - clock.empty_since >= while_empty;
    if (clock.empty_since != now) {
        clock.empty_since = now;
        TableWrite(table).put(place, clock);
    }
    return false;
}

static bool is_left_by(const Clock &slot, const Clock &clock)
{
    return slot.kind() == ZYNOV_NO_KIND && slot.former_tree != 0 && slot.id == clock.id && slot.birth == clock.birth &&
           slot.pid_namespace == clock.pid_namespace && slot.container_id == clock.container_id;
}

size_t find_free_slot(Table &table, Clock &clock, Caller &caller)
{
    const size_t used = table.used_slots().size();
    size_t place = 0, found = no_slot;
    for (int to_ask = 16; place < used; ++place) {
        const Clock there = table.slots[place].load();
        if (is_left_by(there, clock)) {
            clock.former_tree = there.former_tree;
            return place;
        }
        const uint64_t kind = there.kind();
        if (found == no_slot &&
            (kind == ZYNOV_NO_KIND || (kind == ZYNOV_PROCESS && --to_ask >= 0 && is_free(table, place, caller))))
            found = place;
    }
    if (found != no_slot)
        return found;
    if (place < Table::capacity)
        return place;
    for (place = 0; place < used; ++place)
        if (is_free(table, place, caller))
            return place;
    return no_slot;
}

} // namespace sim
