// The memory in which tables are used. Where a file is cut short under it, the kernel refuses to let it be touched.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// Maps the table of a good file for what this process reads of it from now on; null when that cannot be. Once.
const Table *attach_state(int descriptor);

// The table of a good file for the length of one of this thread's commands, of which no other begins meanwhile.
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

    // Whether the file was cut short, so that what was read and written counts for nothing.
    bool was_cut() const;

  private:
    friend bool give_up_table(const void *address);

    Table *table_ = nullptr;
    Use use_ = reading;
    bool was_cut_ = false, kept_ = false;
};

// Puts an empty table, without a file, in the place of the one around an address that cannot be touched: this
// process's, or that of this thread's command. False when there is none.
bool give_up_table(const void *address);

} // namespace sim
