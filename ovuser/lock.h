// What keeps a change of several steps whole: a lock against others, and signals that wait.
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

    // Waits for the others, ten seconds at most. Anything but done is the exit status, with the reason told.
    int take();
    void release();

  private:
    int descriptor_ = -1;
};

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
