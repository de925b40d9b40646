// The trees that this process lives in. A tree is a process and the descendants that have its clock. A forked child has
// its parent's trees in its memory, an executed program has them in its environment. Async-signal-safe except for
// begin_trees.
#pragma once

#include "simulator/process/tree_text.h"

namespace sim
{

Trees own_trees();
bool has_trees();

// The address of the trees, an array of Tree that another process may read.
uintptr_t trees_address();

// Call at the start: reads the trees from the environment, and puts a text there that can be changed in place.
void begin_trees();

// Call for a tree that this process itself begins, or whose first process has ended.
void enter_tree(uint64_t number);
void leave_tree(uint64_t number);

// Call in a forked child, which is one generation further down.
void descend();

// The environment's entry for children. refresh_tree_text changes it in place, for children that the C library makes.
TreeText tree_text(int64_t process);
void refresh_tree_text(int64_t process);

} // namespace sim
