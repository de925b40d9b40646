// Keeps a change of several steps whole: a lock between callers, and blocked signals.
#pragma once

#include <csignal>

namespace ovuser
{

class Lock
{
  public:
    Lock() = default;
    ~Lock() { release(); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    // Waits at most ten seconds for other callers. The refusal after that says what has not been done.
    int take(const char *refusal = "nothing has been changed");
    void release();

  private:
    int descriptor_ = -1;
};

// Blocks all signals while it exists or until it is released.
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
