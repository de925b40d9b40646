// A child process that waits while its clock is set, executes the command, and has its signals forwarded.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace ovuser
{

// A terminal for a command that runs as another user. On the caller's own terminal the command could read and type
// input.
class Terminal
{
  public:
    Terminal() = default;
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    // Opens a terminal if a standard stream is one.
    int open(uint32_t owner);
    bool is_there() const { return inner_ >= 0; }

    // For the session leader: makes it the controlling terminal and the standard streams that are terminals.
    void attach() const;
    // For a process of the session: puts its group into the foreground.
    void take_foreground() const;

    // For the utility. Between begin() and finish() the caller's terminal passes all keys on while the utility is in
    // the foreground. leave_raw_mode() and enter_raw_mode() enclose a stop.
    void begin();
    void finish();
    void enter_raw_mode();
    void leave_raw_mode();
    void resize() const;
    bool is_raw() const { return raw_; }
    // Copies input and output until a signal arrives.
    void wait(const sigset_t &signals, siginfo_t &signal);

  private:
    struct Buffer {
        char bytes[8192] = {};
        size_t length = 0;

        // Both return false when that end is gone.
        bool read_from(int descriptor);
        bool write_to(int descriptor);
    };

    void forward(short outer, short inner);

    int outer_ = -1, inner_ = -1, slave_ = -1, signals_ = -1;
    bool reads_ = false, raw_ = false, outer_lives_ = true, inner_lives_ = true;
    Buffer typed_, shown_;
    termios saved_modes_ = {};
};

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
