#pragma once

#include <csignal>

#include "simulator/bare/system_call.h"

namespace sim
{

using SignalMask = uint64_t; // the kernel's own

// Holds off all signals from this thread, those too by which the C library cancels threads and changes their ids, and
// returns what was held off before.
inline SignalMask hold_signals()
{
    constexpr SignalMask all = ~SignalMask();
    SignalMask kept = 0;
    system_call(SYS_rt_sigprocmask, SIG_SETMASK, &all, &kept, sizeof kept);
    return kept;
}

inline void let_signals_through(SignalMask kept)
{
    system_call(SYS_rt_sigprocmask, SIG_SETMASK, &kept, nullptr, sizeof kept);
}

// For the length of a scope.
class SignalsHeld
{
  public:
    SignalsHeld() : kept_(hold_signals()) {}
    ~SignalsHeld() { let_signals_through(kept_); }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    SignalMask kept_;
};

} // namespace sim
