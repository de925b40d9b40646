// Signals that have to wait.
#pragma once

#include <csignal>

namespace ovuser
{

// Holds all signals off while it lives, or until it is released: what they do, they do then.
class HeldSignals
{
  public:
    HeldSignals()
    {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_BLOCK, &all, &before_);
    }
    ~HeldSignals() { release(); }
    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;

    void release() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

} // namespace ovuser
