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

} // namespace sim
