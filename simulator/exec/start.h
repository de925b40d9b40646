// What is done about a program that is about to be started, so that it lives by its clock, or its user knows that it
// does not.
#pragma once

#include <optional>

#include "simulator/bare/filter.h"
#include "simulator/exec/program.h"
#include "simulator/exec/warning.h"
#include "simulator/trace/tracer.h"

namespace sim
{

struct Choices {
    bool quiet;       // nothing is said on standard error
    bool no_static;   // programs that nothing can be preloaded into are left alone
    bool descendants; // all are followed from the start, so that nobody else has to
    bool file_times;  // files are shown with times by the clock of who looks
    ErrorFile error_file;
};
constexpr char error_word[] = "stderr:"; // before the numbers of that file's device and inode, with a colon between
Choices read_choices(const char *words);

// From before a program is started until that has failed, or its child is made: sees to it that it lives by its clock,
// or says, once for each file and each program that starts it, that it keeps the real time. Async-signal-safe, and
// safe in a child that has its parent's memory. Leaves errno alone.
class Start
{
  public:
    Start(const Target &target, Traced what);

    // Of making a child: an errno, or 0. Returns it.
    int outcome(int error)
    {
        if (error != 0 && tracer_)
            tracer_->give_up();
        return error;
    }

  private:
    // Why it cannot be; null when it is under way.
    const char *trace(Traced what, const char *state, bool looks, char (&status)[4096]);

    std::optional<Tracer> tracer_;
};

// Remembers how this process was started, and makes place for what is said, before there are children. Called once.
void prepare_starts();

} // namespace sim
