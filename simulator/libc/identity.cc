// Stand-ins for the calls that change a process's identity, or make a child without fork's handlers.
#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "simulator/process/identity.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/next.h"

namespace sim
{

struct Beginning {
    int (*function)(void *);
    void *argument;
};

static int begin_child(void *beginning)
{
    reset_after_fork();
    const auto &own = *static_cast<const Beginning *>(beginning);
    return own.function(own.argument);
}

} // namespace sim

SIM_STAND_IN(pid_t, _Fork, ())
{
    sim::before_child();
    const pid_t child = next__Fork();
    if (child == 0)
        sim::reset_after_fork();
    return child;
}

// Reads all the arguments that clone can have; the kernel ignores those that were not passed.
SIM_STAND_IN(int, clone,
             (int (*function)(void *), void *stack, int flags, void *argument, pid_t *parent, void *storage,
              pid_t *child))
{
    sim::before_child();
    sim::Beginning beginning = {function, argument}; // the child has a copy of this stack
    return function == nullptr || (flags & CLONE_VM) != 0
               ? next_clone(function, stack, flags, argument, parent, storage, child)
               : next_clone(sim::begin_child, stack, flags, &beginning, parent, storage, child);
}

SIM_ALIAS(__clone, clone)

// These calls may give the process another clock.
// NOLINTBEGIN(bugprone-macro-parentheses): a list of parameters has its own
#define SIM_CHANGES_IDENTITY(name, parameters, arguments)                                                              \
    SIM_STAND_IN(int, name, parameters)                                                                                \
    {                                                                                                                  \
        const int result = next_##name arguments;                                                                      \
        sim::identity_changed();                                                                                       \
        return result;                                                                                                 \
    }
// NOLINTEND(bugprone-macro-parentheses)

SIM_CHANGES_IDENTITY(setuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(seteuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(setreuid, (uid_t real, uid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresuid, (uid_t real, uid_t effective, uid_t saved), (real, effective, saved))
SIM_CHANGES_IDENTITY(setgid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setegid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setregid, (gid_t real, gid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresgid, (gid_t real, gid_t effective, gid_t saved), (real, effective, saved))

// A filter may forbid calls that the simulator needs, so it makes them first.
SIM_STAND_IN(int, prctl, (int option, long a, long b, long c, long d))
{
    if (option == PR_SET_SECCOMP)
        sim::prepare_for_filter();
    return next_prctl(option, a, b, c, d);
}
