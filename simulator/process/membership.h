// How this process is counted as a member of trees that last until their last member has ended.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// Call with a descriptor of the file description by which the table was mapped.
void begin_membership(const Table &table, int descriptor);

// Call when the trees have changed: maps the table again unless all are counted.
void refresh_membership(const Table &table);

} // namespace sim
