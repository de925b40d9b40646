// The terminal on standard output, and the signals that concern it.
#pragma once

#include <csignal>
#include <cstdint>

namespace ovuser
{

// From beginning to end of its life, a screen of its own, which no shell's output is lost for. All escapes are those
// that every terminal of the last decades knows; where TERM says dumb, or there is no terminal, nothing of this
// happens.
class Screen
{
  public:
    Screen();
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    bool is_there() const { return is_there_; }
    // In the foreground; otherwise the terminal is somebody else's at the moment.
    bool is_ours() const;
    int rows() const;

    // Until an instant of the monotonic clock, or a signal after which to draw again. A signal that ends or stops the
    // program does so, with the terminal as it was.
    void wait(int64_t until);
    void leave();

  private:
    void enter();
    void obey(int signal);

    bool is_there_, entered_ = false;
    sigset_t awaited_, before_;
};

} // namespace ovuser
