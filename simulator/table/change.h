// How the module's commands find clocks in a table, and change them.
#pragma once

#include <linux/futex.h>

#include <climits>
#include <cstddef>

#include "simulator/raw/system_call.h"
#include "simulator/table/search.h"

namespace sim
{

// The sender of a command, who neither sees nor changes clocks of processes in other pid namespaces.
class Caller
{
  public:
    // The descriptor is the table's; with -1, trees seem to have no members. What is known of the caller need not be
    // asked.
    explicit Caller(int descriptor, const Identity &who = {})
        : descriptor_(descriptor), process_(who.process), birth_(who.birth), pid_namespace_(who.pid_namespace)
    {
    }

    bool has(const Clock &clock);

    // Whether the process of a clock, and all for whom it lasts, have ended. Asks the kernel.
    bool is_stale(const Clock &clock);

    // Whether a clock is visible to the caller.
    bool shows(const Clock &clock) { return has(clock) && !is_stale(clock); }

  private:
    int descriptor_;
    int64_t process_;
    uint64_t birth_, pid_namespace_;
};

// A write in progress: the table's generation is odd meanwhile, and readers cache nothing.
class TableWrite
{
  public:
    explicit TableWrite(Table &table) : table_(table), under_way_(table.generation.load(std::memory_order_relaxed) | 1)
    {
        // A barrier, and no fence, which the thread sanitizer does not know: a reader of an older generation has read
        // no later instant.
        table.generation.exchange(under_way_, std::memory_order_seq_cst);
        now_ = read_instants();
        for (size_t i = 0; i < now_.size(); ++i)
            table.changed_at[i].store(now_[i], std::memory_order_relaxed);
    }
    ~TableWrite()
    {
        table_.generation.store(under_way_ + 1, std::memory_order_release);
        system_call(SYS_futex, &table_.generation, FUTEX_WAKE, INT_MAX); // for waits under way
    }
    TableWrite(const TableWrite &) = delete;
    TableWrite &operator=(const TableWrite &) = delete;

    // The timeline of a new clock continues from another one that is ahead of real time.
    void put(size_t slot, const Clock &clock, const Timeline &last = real_timeline)
    {
        store(slot, clock, last);
        if (slot >= table_.used)
            table_.used = slot + 1;
    }
    // Leaves whose tree it was, until another clock takes the slot.
    void drop(size_t slot)
    {
        const Clock clock = table_.slots[slot].load();
        const uint64_t tree = clock.tree != 0 ? clock.tree : clock.former_tree;
        if (tree == 0)
            return clear(slot);
        Clock left = {};
        left.id = clock.id;
        left.container_id = clock.container_id;
        left.pid_namespace = clock.pid_namespace;
        left.birth = clock.birth;
        left.former_tree = tree;
        store(slot, left, real_timeline);
    }
    void clear(size_t slot)
    {
        store(slot, {}, real_timeline);
        if (slot + 1 == table_.used)
            table_.used = slot;
    }

    void restart_timelines() { sim::restart_timelines(table_, now_); }

  private:
    void store(size_t slot, const Clock &clock, const Timeline &last)
    {
        change_timelines(table_, table_.slots[slot].load(), clock, last, now_);
        table_.slots[slot].store(clock);
    }

    Table &table_;
    uint64_t under_way_;
    Instants now_;
};

constexpr size_t no_slot = Table::capacity;

// Finds the slot of (kind, id, container). Only a matching clock's process is checked for its end.
size_t find_slot(const Table &table, uint64_t kind, const zynov_iov &record, Caller &caller);

// Returns the slot that this process's last clock left, with its former_tree; else a free slot, or a dead process's;
// probes at most 16 processes first.
size_t find_free_slot(Table &table, Clock &clock, Caller &caller);

} // namespace sim
