// Finds the clock of a process in a table.
#pragma once

#include "simulator/table/table.h"

namespace sim
{

// A tree that a process lives in, and how many generations above it the tree's first process is. Number 0 is no tree.
struct Tree {
    uint64_t number : 48, generations : 16;

    static Tree of(uint64_t number, uint64_t generations)
    {
        constexpr uint64_t most = 0xffff;
        return {number & Clock::last_tree, static_cast<uint16_t>(std::min(generations, most))};
    }
    bool operator==(const Tree &) const = default;
};
using Trees = std::array<Tree, 8>; // in any order

// A process as the clocks see it. User and group are the effective ones.
struct Identity {
    int64_t process, user, group;
    uint64_t pid_namespace, birth; // 0 when they are not known
    uint64_t container_id;
    Trees trees;
};

// Reads the birth and the pid namespace of a process, if possible.
using FindBirth = void(Identity &who);

// The owner of the clock that a process has.
enum class Owner { nobody, itself, ancestor, user_or_group };

// Finds the clock of a process, else the one that its nearest ancestor passes on, else that of its user, else of its
// group. Calls only find_birth, if a clock has the process's id, and uses only its stack.
Owner search_clock(const Table &table, Identity who, Clock &clock, FindBirth *find_birth);

// The number of the tree that this process's own clock is passed on to; 0 for none.
uint64_t own_tree(const Table &table, Identity who, FindBirth *find_birth);

// The timeline by which its intervals pass: that of its clock, else the one that its last clock left, else the real
// one.
Timeline search_timeline(const Table &table, Identity who, FindBirth *find_birth);

} // namespace sim
