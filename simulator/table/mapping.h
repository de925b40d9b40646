// Memory maps of tables. Touching a map beyond the end of a truncated file raises SIGBUS.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// Maps the table of a checked file, for all later readings by this process; null on failure. Call once.
const Table *attach_state(int descriptor);

// Maps it again, at the same address, by another description of the same file. Returns false if it is another.
bool attach_again(int descriptor);

// The table of a checked file during one command of this thread. Commands of one thread do not nest.
class Mapping
{
  public:
    enum Use { reading, writing }; // writing is for one thread at a time

    Mapping() = default;
    ~Mapping();
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;

    // 0, or an errno.
    int map(int descriptor, Use use);
    Table *table() const { return table_; }

    // Whether the file was truncated, so that what was read and written is void.
    bool was_cut() const;

  private:
    friend bool give_up_table(const void *address);

    Table *table_ = nullptr;
    Use use_ = reading;
    bool was_cut_ = false, kept_ = false;
};

// Replaces the table around an address that raised SIGBUS by an empty one: that of this process, or of this thread's
// command. Returns false if there is none.
bool give_up_table(const void *address);

} // namespace sim
