// What stands in for the calls that make a child of their own, where fork tells of it by itself.
#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "simulator/process/identity.h"
#include "simulator/process/own_clock.h"
#include "simulator/raw/next.h"

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
    reset_after_fork();
    const auto &own = *static_cast<const Beginning *>(beginning);
    return own.function(own.argument);
}

} // namespace sim

SIM_INTERPOSED pid_t _Fork() noexcept
{
    const pid_t child = sim::next__Fork();
    if (child == 0)
        sim::reset_after_fork();
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

// The calls after which a process may live by another clock.
// NOLINTBEGIN(bugprone-macro-parentheses): a list of parameters has its own
#define SIM_CHANGES_IDENTITY(name, parameters, arguments)                                                              \
    SIM_INTERPOSED int name parameters noexcept                                                                        \
    {                                                                                                                  \
        static SIM_NEXT(name, int parameters);                                                                         \
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

// Behind a filter it may be too late to ask.
SIM_INTERPOSED int seen_prctl(int option, long a, long b, long c, long d) __asm__("prctl");

SIM_INTERPOSED int seen_prctl(int option, long a, long b, long c, long d)
{
    static SIM_NEXT(prctl, int(int, long, long, long, long));
    if (option == PR_SET_SECCOMP)
        sim::prepare_for_filter();
    return next_prctl(option, a, b, c, d);
}
