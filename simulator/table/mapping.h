// The memory in which a table is used. Where its file is cut short under it, the kernel refuses to let it be touched.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// The table of a good file for reading, until munmap; null when it cannot be mapped.
const Table *map_state(int descriptor);

// The table of a good file for the length of one of this thread's commands, of which no other begins meanwhile.
class Mapping
{
  public:
    Mapping() = default;
    ~Mapping();
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;

    // 0, or an errno. The protection is as for mmap(2).
    int map(int descriptor, int protection);
    Table *table() const { return table_; }

    // Whether its file was cut short, so that what was read and written counts for nothing.
    bool was_cut() const { return cut_; }

    // What this thread's command uses, or null.
    static Mapping *in_use();

    // Puts an empty table in its place, without a file, if it is around an address; false otherwise.
    bool give_up(const void *address);

  private:
    Table *table_ = nullptr;
    int protection_ = 0;
    bool cut_ = false;
};

// The same for a table that is mapped for reading.
bool give_up(const Table *table, int protection, const void *address);

} // namespace sim
