#include "simulator/table/refine.h"

#include <algorithm>
#include <cerrno>
namespace sim
{

constexpr uint64_t known_bits =
    ZYNOV_REFINE_NANOSECONDS | ZYNOV_REFINE_UTC_OFFSET | ZYNOV_REFINE_DESCENDANTS | ZYNOV_REFINE_LASTING;

static bool can_refine(const Clock &clock, const zynov_iov &record)
{
    const auto sets = [&](uint64_t bit) { return (record.spare & bit) != 0; };
    if ((record.spare & ~known_bits) != 0)
        return false;
    if (sets(ZYNOV_REFINE_NANOSECONDS) && (record.vtime < 0 || record.vtime >= ZYNOV_SECOND))
        return false;
    if (sets(ZYNOV_REFINE_UTC_OFFSET) && (record.origin <= -ZYNOV_DAY || record.origin >= ZYNOV_DAY))
        return false;
    if (sets(ZYNOV_REFINE_DESCENDANTS) && clock.kind() != ZYNOV_PROCESS)
        return false;
    return !sets(ZYNOV_REFINE_LASTING) || ((record.spare | clock.refined) & ZYNOV_REFINE_DESCENDANTS) != 0;
}

static void tell(const Clock &clock, zynov_iov &record)
{
    record.spare = clock.refined;
    record.vtime = clock.nanoseconds;
    record.origin = clock.utc_offset;
    record.base = 0;
}

// Processes may know numbers of another table, so numbers start at the time, in hundredths of a millisecond.
static uint64_t next_tree(Table &table, const timespec &real)
{
    const uint64_t present =
        static_cast<uint64_t>(real.tv_sec) * 100'000 + static_cast<uint64_t>(real.tv_nsec) / 10'000;
    const uint64_t number = std::max<uint64_t>(table.trees + 1, present & Clock::last_tree) & Clock::last_tree;
    table.trees = number;
    return number != 0 ? number : 1;
}

int refine(Table &table, zynov_iov &record, const timespec &real, Caller &caller)
{
    const size_t place = find_slot(table, record.flags & ZYNOV_KIND_MASK, record, caller);
    if (place == no_slot)
        return ENOENT;
    Clock clock = table.slots[place].load();
    if (!can_refine(clock, record))
        return EINVAL;
    if ((record.spare & ZYNOV_REFINE_NANOSECONDS) != 0)
        clock.nanoseconds = record.vtime;
    if ((record.spare & ZYNOV_REFINE_UTC_OFFSET) != 0)
        clock.utc_offset = record.origin;
    clock.refined |= record.spare;
    TableWrite write(table);
    if ((clock.refined & ZYNOV_REFINE_DESCENDANTS) != 0 && clock.tree == 0)
        clock.tree = clock.former_tree != 0 ? clock.former_tree : next_tree(table, real);
    write.put(place, clock);
    tell(clock, record);
    return 0;
}

int tell_refined(const Table &table, zynov_iov &record, Caller &caller)
{
    const size_t place = find_slot(table, record.flags & ZYNOV_KIND_MASK, record, caller);
    if (place == no_slot)
        return ENOENT;
    tell(table.slots[place].load(), record);
    return 0;
}

int tell_passed_on(const Table &table, zynov_iov &record, const Trees &trees, int descriptor)
{
    Caller caller(descriptor);
    const Tree *nearest = nullptr;
    for (const Slot &slot : table.used_slots()) {
        const Clock clock = slot.load();
        for (const Tree &tree : trees)
            if (clock.tree != 0 && tree.number == clock.tree &&
                (nearest == nullptr || tree.generations < nearest->generations) && caller.shows(clock)) {
                nearest = &tree;
                tell(clock, record);
                record.id = clock.id;
                record.base = static_cast<int64_t>(tree.generations);
            }
    }
    return nearest != nullptr ? 0 : ENOENT;
}

} // namespace sim
