// Puts the vDSO into programs that nothing can be preloaded into, by a child that traces for as long as an exec takes.
#pragma once

namespace sim
{

#if defined(__x86_64__)
constexpr bool can_trace = true;
#else
constexpr bool can_trace = false;
#endif

enum class Traced {
    own_exec,   // this thread is about to exec
    child,      // this thread is about to make a child that will exec
    descendants // this thread is about to exec, and all that it and its children ever start is to be followed
};

// From before an exec until it has failed, or the child runs. Async-signal-safe, and safe in a child that has its
// parent's memory. Where tracing is impossible, nothing happens: the program lives by real time.
class Tracer
{
  public:
    // With the file of the clock table, and all signals held off.
    // Where it looks, only what turns out to be a program that nothing can be preloaded into gets the vDSO.
    Tracer(Traced what, const char *state, bool looks);
    // Only reached when an own exec failed, or the child was made: waits for the tracer to be gone. Until then no
    // handler runs in this thread.
    ~Tracer();
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    // There will be no child.
    void give_up();

    // The errno that tracing failed with, 0 when it is under way. EACCES: this process has given up rights, and others
    // have the same memory.
    int error() const { return error_; }

  private:
    int attach();
    void reap();

    Traced what_;
    struct Shared *shared_ = nullptr;
    long process_ = 0;
    int error_ = 0;
};

} // namespace sim
