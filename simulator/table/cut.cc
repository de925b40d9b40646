#include "simulator/table/cut.h"

#include <atomic>
#include <csignal>

#include "base/errno_guard.h"
#include "simulator/bare/next.h"
#include "simulator/table/mapping.h"

namespace sim
{

static SIM_NEXT(sigaction, int(int, const struct sigaction *, struct sigaction *));

static std::atomic<bool> outliving_cuts;

// What is not about a table ends the program as it would without this handler: a fault happens again once it returns.
static void handle_fault(int number, siginfo_t *fault, void *)
{
    if (fault->si_code == BUS_ADRERR && give_up_table(fault->si_addr))
        return;
    ov::ErrnoGuard keep;
    struct sigaction none = {};
    next_sigaction(number, &none, nullptr);
    if (fault->si_code <= 0) // it was sent
        system_call(SYS_rt_tgsigqueueinfo, system_call(SYS_getpid), system_call(SYS_gettid), number, fault);
}

static bool is_own(sighandler_t handler)
{
    struct sigaction action;
    action.sa_handler = handler; // in the same place
    return action.sa_sigaction == handle_fault;
}

static bool is_none(const struct sigaction &action)
{
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

// Sets the handler where the program has none.
static void handle_faults()
{
    ov::ErrnoGuard keep;
    struct sigaction present;
    if (!outliving_cuts || next_sigaction(SIGBUS, nullptr, &present) != 0 || !is_none(present))
        return;
    struct sigaction own = {};
    own.sa_sigaction = handle_fault;
    own.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    next_sigaction(SIGBUS, &own, nullptr);
}

void outlive_cuts()
{
    outliving_cuts = true;
    handle_faults();
}

SignalMask signal_of_cuts()
{
    struct sigaction present;
    return next_sigaction(SIGBUS, nullptr, &present) == 0 && is_own(present.sa_handler) ? SignalMask{1} << (SIGBUS - 1)
                                                                                        : 0;
}

static int change_action(int number, const struct sigaction *action, struct sigaction *old)
{
    const int result = next_sigaction(number, action, old);
    if (number == SIGBUS && result == 0) {
        if (old != nullptr && is_own(old->sa_handler))
            *old = {};
        handle_faults();
    }
    return result;
}

} // namespace sim

SIM_INTERPOSED int sigaction(int number, const struct sigaction *action, struct sigaction *old) noexcept
{
    return sim::change_action(number, action, old);
}
SIM_INTERPOSED int __sigaction(int, const struct sigaction *, struct sigaction *) noexcept
    __attribute__((alias("sigaction")));

#define SIM_SETS_HANDLER(name)                                                                                         \
    SIM_INTERPOSED sighandler_t name(int number, sighandler_t handler) noexcept                                        \
    {                                                                                                                  \
        static SIM_NEXT(name, sighandler_t(int, sighandler_t));                                                        \
        const sighandler_t old = next_##name(number, handler);                                                         \
        if (number == SIGBUS)                                                                                          \
            sim::handle_faults();                                                                                      \
        return sim::is_own(old) ? SIG_DFL : old;                                                                       \
    }

SIM_SETS_HANDLER(signal)
SIM_SETS_HANDLER(bsd_signal)
SIM_SETS_HANDLER(ssignal)
SIM_SETS_HANDLER(sysv_signal)
SIM_SETS_HANDLER(__sysv_signal)
SIM_SETS_HANDLER(sigset)
