#include "simulator/process/sigbus.h"

#include <atomic>

#include "base/errno_guard.h"
#include "simulator/table/mapping.h"

namespace sim
{

SIM_NEXT(sigaction, int(int, const struct sigaction *, struct sigaction *));

static std::atomic<bool> is_handling_sigbus;

// Any other SIGBUS ends the program as it would without this handler: a fault repeats once the handler returns.
static void handle_fault(int number, siginfo_t *fault, void *)
{
    if (fault->si_code == BUS_ADRERR && give_up_table(fault->si_addr))
        return;
    ov::ErrnoGuard keep;
    struct sigaction none = {};
    next_sigaction(number, &none, nullptr);
    if (fault->si_code <= 0) // sent by a process
        system_call(SYS_rt_tgsigqueueinfo, system_call(SYS_getpid), system_call(SYS_gettid), number, fault);
}

bool is_sigbus_handler(sighandler_t handler)
{
    struct sigaction action;
    action.sa_handler = handler; // shares storage with sa_sigaction
    return action.sa_sigaction == handle_fault;
}

static bool is_none(const struct sigaction &action)
{
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

void restore_sigbus_handler()
{
    ov::ErrnoGuard keep;
    struct sigaction present;
    if (!is_handling_sigbus || next_sigaction(SIGBUS, nullptr, &present) != 0 || !is_none(present))
        return;
    struct sigaction own = {};
    own.sa_sigaction = handle_fault;
    own.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    next_sigaction(SIGBUS, &own, nullptr);
}

void handle_sigbus()
{
    is_handling_sigbus = true;
    restore_sigbus_handler();
}

SignalMask sigbus_mask()
{
    struct sigaction present;
    return next_sigaction(SIGBUS, nullptr, &present) == 0 && is_sigbus_handler(present.sa_handler)
               ? SignalMask{1} << (SIGBUS - 1)
               : 0;
}

} // namespace sim
