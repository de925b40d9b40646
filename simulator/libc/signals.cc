// Stand-ins for the calls that set signal handlers: they hide the handler of SIGBUS.
#include "simulator/process/sigbus.h"

namespace sim
{

static int change_action(int number, const struct sigaction *action, struct sigaction *old)
{
    const int result = next_sigaction(number, action, old);
    if (number == SIGBUS && result == 0) {
        if (old != nullptr && is_sigbus_handler(old->sa_handler))
            *old = {};
        restore_sigbus_handler();
    }
    return result;
}

} // namespace sim

SIM_REPLACE(int, sigaction, (int number, const struct sigaction *action, struct sigaction *old))
{
    return sim::change_action(number, action, old);
}
SIM_ALIAS(__sigaction, sigaction)

#define SIM_SETS_HANDLER(name)                                                                                         \
    SIM_STAND_IN(sighandler_t, name, (int number, sighandler_t handler))                                               \
    {                                                                                                                  \
        const sighandler_t old = next_##name(number, handler);                                                         \
        if (number == SIGBUS)                                                                                          \
            sim::restore_sigbus_handler();                                                                             \
        return sim::is_sigbus_handler(old) ? SIG_DFL : old;                                                            \
    }

SIM_SETS_HANDLER(signal)
SIM_SETS_HANDLER(bsd_signal)
SIM_SETS_HANDLER(ssignal)
SIM_SETS_HANDLER(sysv_signal)
SIM_SETS_HANDLER(__sysv_signal)
SIM_SETS_HANDLER(sigset)
