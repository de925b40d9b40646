// A child process that waits while its clock is set, executes the command, and has its signals forwarded.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdint>

namespace ovuser
{

class Terminal;

// How a command is executed.
struct Launch {
    char **command;
    int32_t kind; // OV_USER or OV_GROUP to run as one; any other runs as the caller
    uint32_t number;
    bool own_session; // a new session, without the caller's descriptors
    bool keeps_descriptors;
    const char *preserved_variables; // for OV_USER: names or "" for all; null for none
};

class Child
{
  public:
    Child(const Launch &launch, Terminal &terminal) : launch_(launch), terminal_(terminal) {}

    // Forks a child that is ready to execute the command. The terminal, if open, becomes the child's.
    int start();
    pid_t pid() const { return pid_; }

    // Blocks all signals, so that none comes between a clock and its removal. Before that, a signal ends both
    // processes.
    void hold_signals();
    void execute_command() const;
    // Forwards signals to the command, and stops when it stops, until it has ended. The command stays a zombie, so that
    // no other process gets its number.
    void forward_signals();
    // Waits for the child, which exits if it has not been told to execute the command. Returns its exit status; dies of
    // the signal that killed it, unless live is set.
    int reap(bool live = false) const;

  private:
    [[noreturn]] void execute();
    void supervise();
    void stop_with_command(int signal);

    const Launch launch_;
    Terminal &terminal_;
    sigset_t all_, inherited_mask_;
    struct sigaction inherited_action_; // of SIGCHLD
    int ends_[2] = {-1, -1};            // of a socket pair: the parent's and the child's
    pid_t pid_ = -1;
    bool leads_ = false; // is the session leader between the utility and the command
};

} // namespace ovuser
