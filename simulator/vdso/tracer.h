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
    descendants // this thread is about to exec; its descendants are to be traced, too
};

// Traces from before an exec until that fails or the program runs. Async-signal-safe, and safe in a child that shares
// its parent's memory.
class Tracer
{
  public:
    Tracer() = default;
    // Waits for the tracer to end: this thread's exec failed, or the child was made. Until then no handler runs in this
    // thread.
    ~Tracer();
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    // Starts the tracer. Call with all signals blocked. `state` is the file of the clock table. With `inspects`, the
    // tracer judges the program's file once it runs. Returns 0, or an errno, and then the program keeps real time.
    // EACCES: this process has given up rights, and others share its memory.
    int start(Traced what, const char *state, bool inspects, bool intervals);

    // Call if making the child failed.
    void give_up();

  private:
    int prepare(const char *state, bool inspects, bool intervals);
    int attach();
    void reap();

    Traced what_ = Traced::own_exec;
    struct Shared *shared_ = nullptr;
    long process_ = 0;
    int error_ = 0;
};

} // namespace sim
