#pragma once

#include "simulator/table/mapping.h"

namespace sim
{

// An exclusive lock on a table, among all processes and threads. It ends with its scope, or with a process that is
// killed, even if children that it made by fork(3) live on. Block signals before: a handler might change the table too,
// or never return. Makes no system calls through the C library.
class TableLock
{
  public:
    // Any descriptor of the file will do, also a shared or read-only one. Waits for other holders, but not for ever:
    // one of them may be stopped.
    explicit TableLock(int descriptor);
    ~TableLock();
    TableLock(const TableLock &) = delete;
    TableLock &operator=(const TableLock &) = delete;

    // 0, or an errno: EBUSY after two seconds of waiting.
    int error() const { return error_; }
    Table *table() const { return mapping_.table(); }
    const Mapping &mapping() const { return mapping_; }

  private:
    int begin(int descriptor);

    bool inside_ = false;
    int lock_ = -1;
    Mapping mapping_;
    int error_;
};

} // namespace sim
