#pragma once

#include <csignal>

#include "simulator/raw/system_call.h"

namespace sim
{

using SignalMask = uint64_t; // the kernel's own

// Blocks all signals but some for this thread, also the C library's own, which cancel threads and change their ids.
// Returns the former mask.
inline SignalMask hold_signals(SignalMask but = 0)
{
    const SignalMask held = ~but;
    SignalMask kept = 0;
    system_call(SYS_rt_sigprocmask, SIG_BLOCK, &held, &kept, sizeof kept);
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
    explicit SignalsHeld(SignalMask but = 0) : kept_(hold_signals(but)) {}
    ~SignalsHeld() { let_signals_through(kept_); }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    SignalMask kept_;
};

} // namespace sim
