// What stands in for the calls that make a child of their own, where fork tells of it by itself.
#include <sched.h>
#include <unistd.h>

#include "simulator/bare/next.h"
#include "simulator/readings/own_clock.h"

namespace sim
{

static SIM_NEXT(_Fork, pid_t());
static SIM_NEXT(clone, int(int (*)(void *), void *, int, void *, pid_t *, void *, pid_t *));

struct Beginning {
    int (*function)(void *);
    void *argument;
};

static int begin_child(void *beginning)
{
    begin_as_child();
    const auto &own = *static_cast<const Beginning *>(beginning);
    return own.function(own.argument);
}

} // namespace sim

SIM_INTERPOSED pid_t _Fork() noexcept
{
    const pid_t child = sim::next__Fork();
    if (child == 0)
        sim::begin_as_child();
    return child;
}

// Under a name of its own, and with all the arguments that it can have: those that are not there are not looked at.
SIM_INTERPOSED int seen_clone(int (*function)(void *), void *stack, int flags, void *argument, pid_t *parent,
                              void *storage, pid_t *child) __asm__("clone");

SIM_INTERPOSED int seen_clone(int (*function)(void *), void *stack, int flags, void *argument, pid_t *parent,
                              void *storage, pid_t *child)
{
    sim::Beginning beginning = {function, argument}; // of which a child has a copy, on its parent's stack
    return function == nullptr || (flags & CLONE_VM) != 0
               ? sim::next_clone(function, stack, flags, argument, parent, storage, child)
               : sim::next_clone(sim::begin_child, stack, flags, &beginning, parent, storage, child);
}

SIM_INTERPOSED int seen_old_clone(int (*)(void *), void *, int, void *, pid_t *, void *, pid_t *) __asm__("__clone")
    __attribute__((alias("clone")));
