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
            sim::restore_sigbus_handler();                                                                             \
        return sim::is_sigbus_handler(old) ? SIG_DFL : old;                                                            \
    }

SIM_SETS_HANDLER(signal)
SIM_SETS_HANDLER(bsd_signal)
SIM_SETS_HANDLER(ssignal)
SIM_SETS_HANDLER(sysv_signal)
SIM_SETS_HANDLER(__sysv_signal)
SIM_SETS_HANDLER(sigset)
