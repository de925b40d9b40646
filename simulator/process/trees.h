// The trees that this process lives in. A tree is a process and the descendants that have its clock. A forked child has
// its parent's trees in its memory, an executed program has them in its environment. Async-signal-safe except for
// begin_trees.
#pragma once

#include <ctime>

#include "simulator/process/tree_text.h"
#include "simulator/table/table.h"

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

// Count this process as a member of the trees that last until their last member has ended. Call begin_membership with a
// descriptor of the file description by which the table was mapped.
void begin_membership(const Table &table, int descriptor);
// Call when the trees have changed: maps the table again unless all are counted.
void refresh_membership(const Table &table);

// Reads which trees another process lives in from its memory: from its copy of this library, or from its vDSO. Returns
// false if it has neither, or the kernel does not let the caller look.
bool read_trees_of(int64_t pid, Trees &trees);

// The ancestor whose clock this process has: its state when the clock was found. Its end, perhaps by SIGKILL, does not
// change the table, so it is checked now and then.
enum class Lender {
    lasting, // not watched: the clock ends with the tree, or the ancestor cannot be checked from here
    alive,   // watched from now on
    ended
};
Lender watch_lender(const Clock &clock);

// Whether it is time to check the watched ancestor again, at a real instant.
bool is_lender_due(const timespec &real);
bool has_lender_ended(const timespec &real);

} // namespace sim
