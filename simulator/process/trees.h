// The trees that this process lives in: each is of those who have one clock that is passed on. A process knows them by
// the memory that it was forked with, and by its environment after an exec. Async-signal-safe, but for begin_trees.
#pragma once

#include "simulator/process/tree_text.h"

namespace sim
{

Trees own_trees();
bool has_trees();

// Where they are, as an array of Tree: another process reads them there.
uintptr_t trees_address();

// At the start: takes them from the environment, and keeps a text there that can be changed in place.
void begin_trees();

// Of a tree that this process itself begins, or whose first process has ended.
void enter_tree(uint64_t number);
void leave_tree(uint64_t number);

// In a forked child: one generation further.
void descend();

// The environment's entry for children, in place for those that the C library makes by itself.
TreeText tree_text(int64_t process);
void refresh_tree_text(int64_t process);

} // namespace sim
