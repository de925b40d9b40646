// A terminal for a command that runs as another user. On the caller's own terminal the command could read and type
// input.
#pragma once

#include <termios.h>

#include <csignal>
#include <cstddef>
#include <cstdint>

namespace ovuser
{

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

} // namespace ovuser
