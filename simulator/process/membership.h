// How this process is counted as a member of trees that last until their last member has ended.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// By the description by which the table was mapped.
void begin_membership(const Table &table, int descriptor);

// When the trees have changed: maps the table anew if they are not all counted yet.
void refresh_membership(const Table &table);

} // namespace sim
