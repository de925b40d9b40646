// Prepares the start of a program: it gets its clock, or a warning says that it does not.
#pragma once

#include "simulator/process/options.h"
#include "simulator/vdso/program.h"
#include "simulator/vdso/tracer.h"

namespace sim
{

// Exists from before a program is started until that fails or the child is made. Warns once for each file and starting
// program. Async-signal-safe, and safe in a child that shares its parent's memory. Leaves errno alone.
class Start
{
  public:
    // `follows`: a program that no library can be preloaded into is traced with all that it starts.
    explicit Start(bool follows = false) : follows_(follows) {}

    void prepare(const Target &target, Traced what);

    // Call with the errno of making a child, or 0. Returns it.
    int outcome(int error)
    {
        if (error != 0)
            tracer_.give_up();
        return error;
    }

  private:
    // Returns why the program cannot be traced; null if it is.
    const char *trace(Traced what, const char *state, bool inspects, const Choices &choices, char (&status)[4096]);

    bool follows_;
    Tracer tracer_;
};

// Remembers the options of this process, and allocates memory for warnings that its children share. Call once.
void prepare_starts();

} // namespace sim
