#include "simulator/table/search.h"

namespace sim
{

// Whose clock it is; a later one wins.
enum Claim { none, by_group, by_user, its_own };

static Claim claim(const Clock &clock, Identity &who, FindBirth *find_birth)
{
    if (clock.container_id != who.container_id)
        return none;
    switch (clock.kind()) {
    case ZYNOV_GROUP:
        return clock.id == who.group ? by_group : none;
    case ZYNOV_USER:
        return clock.id == who.user ? by_user : none;
    case ZYNOV_PROCESS: // it may be an earlier process's with the same id, or another namespace's
        if (clock.id != who.process)
            return none;
        if (who.birth == 0)
            find_birth(who);
        return clock.birth == who.birth && clock.pid_namespace == who.pid_namespace ? its_own : none;
    default:
        return none;
    }
}

bool search_clock(const Table &table, Identity who, Clock &clock, FindBirth *find_birth)
{
    Claim strongest = none;
    for (const Slot &slot : table.used_slots()) {
        const Clock candidate = slot.load();
        const Claim its_claim = claim(candidate, who, find_birth);
        if (its_claim > strongest) {
            strongest = its_claim;
            clock = candidate;
        }
    }
    return strongest != none;
}

Timeline search_timeline(const Table &table, Identity who, FindBirth *find_birth)
{
    Clock clock = {};
    const bool has_clock = search_clock(table, who, clock, find_birth);
    Claim strongest = none;
    Timeline found = real_timeline;
    for (const auto &kept : table.used_timelines()) {
        const Timeline candidate = kept.load();
        if (has_clock && candidate.is_of(clock))
            return candidate;
        if (has_clock || candidate.is_live != 0)
            continue;
        Clock its_last = {};
        its_last.id = candidate.id;
        its_last.flags = candidate.flags;
        its_last.container_id = candidate.container_id;
        its_last.pid_namespace = candidate.pid_namespace;
        its_last.birth = candidate.birth;
        const Claim its_claim = claim(its_last, who, find_birth);
        if (its_claim > strongest) {
            strongest = its_claim;
            found = candidate;
        }
    }
    return found;
}

} // namespace sim
