// Gives the vDSO to programs that no library can be preloaded into: a child of the caller traces it during an exec.
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

// Traces from before an exec until it has failed, or the child runs. Async-signal-safe, and safe in a child that has
// its parent's memory.
class Tracer
{
  public:
    Tracer() = default;
    // Waits for the tracer to end, if one was started: the own exec failed, or the child was made. Until then no
    // handler runs in this thread.
    ~Tracer();
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    // Starts the tracer, with all signals blocked. `state` is the file of the clock table. With `looks`, only what
    // turns out to be a program that no library can be preloaded into gets the vDSO. Returns 0, or an errno: then the
    // program lives by real time. EACCES: this process has given up rights, and others share its memory.
    int start(Traced what, const char *state, bool looks);

    // There will be no child.
    void give_up();

  private:
    int prepare(const char *state, bool looks);
    int attach();
    void reap();

    Traced what_ = Traced::own_exec;
    struct Shared *shared_ = nullptr;
    long process_ = 0;
    int error_ = 0;
};

} // namespace sim
