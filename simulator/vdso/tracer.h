// Gives the vDSO to programs that no library can be preloaded into: a child of the caller traces it during an exec.
#pragma once

#include <atomic>

#include "simulator/vdso/traced.h"

namespace sim
{

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
    // tracer judges the program's file once it runs. With `stays`, it follows the program and all that this starts.
    // Returns 0, or an errno, and then the program keeps real time. EACCES: this process has given up rights, and
    // others share its memory.
    int start(Traced what, const char *state, bool inspects, bool intervals, bool stays);

    // Call if making the child failed.
    void give_up();

  private:
    int prepare(const char *state, bool inspects, bool intervals);
    int attach();
    bool reap();
    void wait_for_release();

    Traced what_ = Traced::own_exec;
    struct Shared *shared_ = nullptr;
    long process_ = 0;
    int error_ = 0;
    bool stays_ = false;
    std::atomic<int> released_ = 0; // by a tracer that stays with the child
};

} // namespace sim
