#pragma once

#include "simulator/process/tree_text.h"

namespace sim
{

// The environment that a caller passes to a program, with the program's trees added.
class Environment
{
  public:
    // The pointer may be invalid.
    explicit Environment(char *const *given);

    // The number of pointers that a copy needs; 0 if the given one needs no change.
    size_t room() const { return room_; }
    char *const *copy(char **room);

  private:
    char *const *given_;
    size_t room_ = 0;
    TreeText text_;
};

} // namespace sim

// Declares NAME, for a program that is to get GIVEN. Memory of a child that shares its parent's is never freed, so a
// copy takes stack.
#define SIM_ENVIRONMENT(name, given)                                                                                   \
    sim::Environment name##_passed(given);                                                                             \
    char *const *const name =                                                                                          \
        name##_passed.room() == 0                                                                                      \
            ? (given)                                                                                                  \
            : name##_passed.copy(static_cast<char **>(__builtin_alloca(name##_passed.room() * sizeof(char *))))
