#include "simulator/table/table.h"

#include <cerrno>

#include "base/integer.h"
#include "base/local_time.h"
#include "simulator/identity/process.h"
#include "timespec/range.h"

namespace sim
{

// The module's own words for "no such clock": the engine looks for them.
constexpr int no_clock_to_delete = EL2HLT, no_clock_to_reset = ENOENT;

// Whether a slot can take another clock: it has none, or that of a process that has ended.
static bool is_free(const Clock &clock)
{
    return clock.kind() == no_kind || (clock.kind() == process_kind && clock.birth != process_birth(clock.id));
}

bool changes_table(unsigned long command)
{
    return command == ZYNOV_IOC_ADD_CLOCK || command == ZYNOV_IOC_DELETE_CLOCK || command == ZYNOV_IOC_RESET_ALL;
}

static void replace(Table &table, uint32_t slot, const Clock &clock)
{
    const uint64_t under_way = table.generation.load(std::memory_order_relaxed) | 1;
    table.generation.store(under_way, std::memory_order_relaxed);
    table.slots[slot].store(clock);
    table.generation.store(under_way + 1, std::memory_order_release);
}

struct Places {
    uint32_t found, first_free; // Table::capacity when there is none
};

// Looks for the clock of (kind, id, container).
static Places find(const Table &table, uint64_t kind, int64_t id, uint64_t container_id)
{
    Places places = {Table::capacity, Table::capacity};
    for (uint32_t i = 0; i < Table::capacity && places.found == Table::capacity; ++i) {
        const Clock clock = table.slots[i].load();
        if (is_free(clock)) {
            if (places.first_free == Table::capacity)
                places.first_free = i;
        } else if (clock.kind() == kind && clock.id == id && clock.container_id == container_id) {
            places.found = i;
        }
    }
    return places;
}

static int add(Table &table, const zynov_iov &record, const timespec &real)
{
    const uint64_t kind = record.flags & ZYNOV_KIND_MASK;
    if (kind == no_kind || kind > process_kind)
        return EINVAL;
    const Places places = find(table, kind, record.id, record.container_id);
    if (places.found != Table::capacity)
        return EEXIST;
    if (record.vtime < ov::earliest_clock)
        return EINVAL;
    if (record.vtime > ov::latest_clock)
        return EOVERFLOW;
    if (places.first_free == Table::capacity)
        return ENOSPC;
    replace(table, places.first_free,
            {.id = record.id,
             .flags = record.flags,
             .container_id = record.container_id,
             .speed = record.speed,
             .origin = record.origin,
             .start = record.vtime,
             .real_seconds = real.tv_sec,
             .real_nanoseconds = real.tv_nsec,
             .utc_offset = ov::local_time(record.vtime).tm_gmtoff,
             .birth = kind == process_kind ? process_birth(record.id) : 0});
    return 0;
}

static int remove(Table &table, const zynov_iov &record)
{
    // The kind comes in the place of the clock value.
    const auto kind = static_cast<uint64_t>(record.vtime);
    const Places places = find(table, kind, record.id, record.container_id);
    if (places.found == Table::capacity)
        return no_clock_to_delete;
    replace(table, places.found, {});
    return 0;
}

static int reset(Table &table, uint64_t container_id)
{
    bool any = false;
    for (uint32_t i = 0; i < Table::capacity; ++i) {
        const Clock clock = table.slots[i].load();
        if (clock.kind() == no_kind || clock.container_id != container_id)
            continue;
        any |= !is_free(clock);
        replace(table, i, {});
    }
    return any ? 0 : no_clock_to_reset;
}

static int get_slot(const Table &table, zynov_iov &record, const timespec &real)
{
    if (record.slot >= Table::capacity)
        return EINVAL;
    const Clock clock = table.slots[record.slot].load();
    if (is_free(clock)) {
        record.id = 0;
        return 0;
    }
    record.id = clock.id;
    record.vtime = Pace(clock).at(real).tv_sec;
    record.flags = clock.flags;
    record.speed = clock.speed;
    record.origin = clock.origin;
    record.base = ov::wrapping_sub(record.vtime, clock.origin); // where a rewinding clock never leaves its date
    record.container_id = clock.container_id;
    return 0;
}

static int64_t high_mark(const Table &table)
{
    for (int64_t slot = Table::capacity - 1; slot >= 0; --slot) {
        if (!is_free(table.slots[static_cast<size_t>(slot)].load()))
            return slot;
    }
    return -1;
}

int change_table(Table &table, unsigned long command, const zynov_iov &record, const timespec &real)
{
    if (record.version != ZYNOV_IOV_VERSION)
        return EILSEQ;
    switch (command) {
    case ZYNOV_IOC_ADD_CLOCK:
        return add(table, record, real); // vtime already holds the value set
    case ZYNOV_IOC_DELETE_CLOCK:
        return remove(table, record);
    case ZYNOV_IOC_RESET_ALL:
        return reset(table, record.container_id);
    default:
        return ENOTTY;
    }
}

int query_table(const Table &table, unsigned long command, zynov_iov &record, const timespec &real)
{
    if (record.version != ZYNOV_IOV_VERSION)
        return EILSEQ;
    switch (command) {
    case ZYNOV_IOC_GET_SLOT:
        return get_slot(table, record, real);
    case ZYNOV_IOC_HIGH_MARK:
        record.speed = high_mark(table);
        return 0;
    default:
        return ENOTTY;
    }
}

} // namespace sim
