#pragma once

#include "simulator/table/mapping.h"

namespace sim
{

// The right to change a table: exclusive among all processes and threads, given up at the end of the scope and by a
// process that is killed, whatever children it has made meanwhile by fork(3). Makes no system call through the C
// library. Signals are to be held off, since a handler of theirs may itself want to change the table, or leave for
// good.
class TableLock
{
  public:
    // Any descriptor of the file serves, a shared or read-only one too. Others are waited for, though not for ever: one
    // of them may be stopped.
    explicit TableLock(int descriptor);
    ~TableLock();
    TableLock(const TableLock &) = delete;
    TableLock &operator=(const TableLock &) = delete;

    // 0, or the errno of why there is no table: EBUSY after two seconds of waiting.
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
