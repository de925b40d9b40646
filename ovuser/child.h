// A command that stands ready while its clock is set, and this process in the command's place while it runs.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdint>

namespace ovuser
{

// Those of env and its like; all others are the command's.
enum Start { own_failure = 125, cannot_execute = 126, not_found = 127 };

// Signals are kept waiting from the start on: none of them comes between a clock and its removal.
class Child
{
  public:
    // Forks. The child lives as a user (OV_USER), as a group (OV_GROUP), or as the caller does (any other kind), and
    // executes the command when it is let go.
    Child(char **command, int32_t kind, uint32_t number);

    // False when there is no child, or none that could take its place; why has been said.
    bool is_ready() const { return ready_; }
    pid_t pid() const { return pid_; }

    void let_go() const;
    // Hands on the signals that are for the command and stops when it stops, until it has ended. It is a zombie then,
    // so that no other process has its number.
    void stand_in() const;
    // Lets it go in peace: without having been let go, it does not execute the command. Returns its exit status, or
    // dies of the signal that it died of.
    int bury() const;

  private:
    [[noreturn]] void execute(char **command, int32_t kind, uint32_t number) const;
    void stop_alike(int signal) const;

    sigset_t all_, inherited_mask_;
    struct sigaction inherited_action_; // of SIGCHLD
    int ends_[2];                       // of one line: this process's and the child's
    pid_t pid_;
    bool ready_;
};

} // namespace ovuser
