#include "simulator/table/search.h"

namespace sim
{

// Whose clock it is; a higher claim wins. An ancestor's clock is by_tree, and more the nearer the ancestor is.
constexpr uint32_t no_claim = 0, by_group = 1, by_user = 2, by_tree = 3, its_own = by_tree + 0x10000;

// The id alone may be that of an earlier process, or of one in another namespace.
static bool is_own(const Clock &clock, Identity &who, FindBirth *find_birth)
{
    if (clock.id != who.process || clock.container_id != who.container_id)
        return false;
    if (who.birth == 0)
        find_birth(who);
    return clock.birth == who.birth && clock.pid_namespace == who.pid_namespace;
}

static uint32_t claim_by_tree(const Clock &clock, const Trees &trees)
{
    uint32_t strongest = no_claim;
    for (const Tree &tree : trees)
        if (clock.tree != 0 && tree.number == clock.tree)
            strongest = std::max<uint32_t>(strongest, its_own - 1 - tree.generations);
    return strongest;
}

static uint32_t claim(const Clock &clock, Identity &who, FindBirth *find_birth)
{
    const bool is_here = clock.container_id == who.container_id;
    switch (clock.kind()) {
    case ZYNOV_GROUP:
        return is_here && clock.id == who.group ? by_group : no_claim;
    case ZYNOV_USER:
        return is_here && clock.id == who.user ? by_user : no_claim;
    case ZYNOV_PROCESS:
        return is_own(clock, who, find_birth) ? its_own : claim_by_tree(clock, who.trees);
    default:
        return no_claim;
    }
}

Owner search_clock(const Table &table, Identity who, Clock &clock, FindBirth *find_birth)
{
    uint32_t strongest = no_claim;
    for (const Slot &slot : table.used_slots()) {
        const Clock candidate = slot.load();
        const uint32_t its_claim = claim(candidate, who, find_birth);
        if (its_claim > strongest) {
            strongest = its_claim;
            clock = candidate;
        }
    }
    return strongest == no_claim  ? Owner::nobody
           : strongest == its_own ? Owner::itself
           : strongest >= by_tree ? Owner::ancestor
                                  : Owner::user_or_group;
}

uint64_t own_tree(const Table &table, Identity who, FindBirth *find_birth)
{
    for (const Slot &slot : table.used_slots())
        if (const Clock clock = slot.load();
            clock.kind() == ZYNOV_PROCESS && clock.tree != 0 && is_own(clock, who, find_birth))
            return clock.tree;
    return 0;
}

Timeline search_timeline(const Table &table, Identity who, FindBirth *find_birth)
{
    Clock clock = {};
    const bool has_clock = search_clock(table, who, clock, find_birth) != Owner::nobody;
    uint32_t strongest = no_claim;
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
        its_last.tree = candidate.tree;
        const uint32_t its_claim = claim(its_last, who, find_birth);
        if (its_claim > strongest) {
            strongest = its_claim;
            found = candidate;
        }
    }
    return found;
}

} // namespace sim
