// What is done about a program that is about to be started, so that it lives by its clock, or its user knows that it
// does not.
#pragma once

#include "simulator/process/options.h"
#include "simulator/vdso/program.h"
#include "simulator/vdso/tracer.h"
#include <array>
#include <cstdint>

namespace sim
{

// From before a program is started until that has failed, or its child is made: sees to it that it lives by its clock,
// or says, once for each file and each program that starts it, that it keeps the real time. Async-signal-safe, and
// safe in a child that has its parent's memory. Leaves errno alone.
class Start
{
  public:
    // Before it is started.
    void prepare(const Target &target, Traced what);

    // Of making a child: an errno, or 0. Returns it.
    int outcome(int error)
    {
        if (error != 0)
            tracer_.give_up();
        return error;
    }

  private:
    // Why it cannot be; null when it is under way.
    const char *trace(Traced what, const char *state, bool looks, char (&status)[4096]);

    Tracer tracer_;
};

// Remembers how this process was started, and makes place for what is said, before there are children. Called once.
void prepare_starts();

} // namespace sim
