// A command that stands ready while its clock is set, and this process in the command's place while it runs.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdint>

namespace ovuser
{

class Terminal;

// How a command is to live.
struct Launch {
    char **command;
    int32_t kind; // as a user (OV_USER), as a group (OV_GROUP), or as the caller does (any other)
    uint32_t number;
    bool own_session; // in a session of its own, and without the caller's descriptors
    bool keeps_descriptors;
    const char *preserved_variables; // of a user's, as set_environment() has them
};

class Child
{
  public:
    Child(const Launch &launch, Terminal &terminal) : launch_(launch), terminal_(terminal) {}

    // Forks a child that is ready to execute the command. A terminal that is there becomes its own. Anything but done
    // is the exit status, with the reason told.
    int start();
    pid_t pid() const { return pid_; }

    // From here on signals wait: none of them comes between a clock and its removal. Until then they end both.
    void hold_signals();
    void execute_command() const;
    // Hands on the signals that are for the command and stops when it stops, until it has ended. It is a zombie then,
    // so that no other process has its number.
    void forward_signals();
    // Lets it go in peace: without having been let go, it does not execute the command. Returns its exit status, or
    // dies of the signal that it died of, unless it is to live.
    int reap(bool live = false) const;

  private:
    [[noreturn]] void execute();
    void supervise();
    void stop_with_command(int signal);

    const Launch launch_;
    Terminal &terminal_;
    sigset_t all_, inherited_mask_;
    struct sigaction inherited_action_; // of SIGCHLD
    int ends_[2] = {-1, -1};            // of one line: this process's and the child's
    pid_t pid_ = -1;
    bool leads_ = false; // the command's session, between it and the utility
};

} // namespace ovuser
