// A terminal of its own for a command that is run as another user: on the caller's own it could type for him, and read
// what he types.
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

    // Makes one where a standard stream is a terminal. Anything but done is the exit status, with the reason told.
    int open(uint32_t owner);
    bool is_there() const { return inner_ >= 0; }

    // For the leader of a new session: its terminal, also as those of its standard streams that are one.
    void attach() const;
    // For a process of that session: its group is in the foreground.
    void take_foreground() const;

    // For who has the other end. From begin() to finish() the caller's terminal hands all keys on, as long as he is in
    // the foreground; leave() and enter() are for where he stops in between.
    void begin();
    void finish();
    void enter();
    void leave();
    void resize() const;
    bool is_raw() const { return entered_; }
    // Carries what is typed and shown, until there is a signal.
    void wait(const sigset_t &signals, siginfo_t &signal);

  private:
    struct Buffer {
        char bytes[8192] = {};
        size_t length = 0;

        // Both return false where that end is gone.
        bool read_from(int descriptor);
        bool write_to(int descriptor);
    };

    void forward(short outer, short inner);

    int outer_ = -1, inner_ = -1, slave_ = -1, signals_ = -1;
    bool reads_ = false, entered_ = false, outer_lives_ = true, inner_lives_ = true;
    Buffer typed_, shown_;
    termios kept_ = {};
};

} // namespace ovuser
