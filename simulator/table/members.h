// The members of a tree, counted by the kernel: each maps the table by a file description that holds a shared lock on a
// byte far behind its end, at the tree's number. Mappings and their locks pass to forked children, end with the last
// process that has them, however that ends, and take no descriptor. Async-signal-safe.
#pragma once

#include <fcntl.h>

#include <cstdint>

#include "simulator/raw/system_call.h"
#include "simulator/table/search.h"

namespace sim
{

inline bool ask_for_lock(int descriptor, int command, short type, uint64_t tree, struct flock &lock)
{
    lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(tree);
    lock.l_len = 1;
    return system_call(SYS_fcntl, descriptor, command, &lock) == 0;
}

// Counts all that share this open file description, until the last of them has closed and unmapped it.
inline bool become_member(int descriptor, uint64_t tree)
{
    struct flock lock;
    return ask_for_lock(descriptor, F_OFD_SETLK, F_RDLCK, tree, lock);
}

// Asks by a file description that is none of theirs.
inline bool has_members(int descriptor, uint64_t tree)
{
    struct flock lock;
    return ask_for_lock(descriptor, F_OFD_GETLK, F_WRLCK, tree, lock) && lock.l_type != F_UNLCK;
}

// Calls a function for each of a process's trees that lasts until its last member has ended.
template <typename Function> void for_lasting_trees(const Table &table, const Trees &trees, const Function &function)
{
    for (const Slot &slot : table.used_slots()) {
        const Clock clock = slot.load();
        for (const Tree &tree : trees)
            if (clock.tree != 0 && tree.number == clock.tree && clock.lasts())
                function(clock.tree);
    }
}

} // namespace sim
