#include "ovuser/child.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include "ovuser/message.h"

namespace ovuser
{

// Opens the terminal again: O_NONBLOCK then affects no other program.
static int open_again(int stream)
{
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", stream);
    const int again = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    return again >= 0 ? again : fcntl(stream, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// With a pipe on standard output, a pager reads the terminal.
static bool is_pipe(int stream)
{
    struct stat file;
    return fstat(stream, &file) == 0 && S_ISFIFO(file.st_mode);
}

int Terminal::open(uint32_t owner)
{
    int stream = STDIN_FILENO;
    while (stream <= STDERR_FILENO && isatty(stream) == 0)
        ++stream;
    if (stream > STDERR_FILENO)
        return done;
    outer_ = open_again(stream);
    reads_ = stream == STDIN_FILENO && !is_pipe(STDOUT_FILENO);
    winsize size = {};
    tcgetattr(outer_, &saved_modes_);
    ioctl(outer_, TIOCGWINSZ, &size);
    termios modes = saved_modes_;
    if (!reads_) { // the caller's terminal does both already
        modes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    }
    if (openpty(&inner_, &slave_, nullptr, &modes, &size) != 0 || fchown(slave_, owner, static_cast<gid_t>(-1)) != 0)
        return failed("no terminal for the command: %s; --no-pty does without one", strerror(errno));
    for (const int end : {inner_, slave_})
        fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(inner_, F_SETFL, O_NONBLOCK);
    return done;
}

void Terminal::attach() const
{
    if (!is_there())
        return;
    ioctl(slave_, TIOCSCTTY, 0);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (isatty(stream) != 0)
            dup2(slave_, stream);
}

void Terminal::take_foreground() const
{
    if (is_there())
        tcsetpgrp(slave_, getpgrp());
}

void Terminal::begin()
{
    if (!is_there())
        return;
    close(slave_);
    slave_ = -1;
    enter_raw_mode();
}

void Terminal::resize() const
{
    winsize size;
    if (is_there() && ioctl(outer_, TIOCGWINSZ, &size) == 0)
        ioctl(inner_, TIOCSWINSZ, &size);
}

void Terminal::enter_raw_mode()
{
    if (!is_there())
        return;
    const pid_t foreground = tcgetpgrp(outer_); // -1 if it is another session's terminal
    if (foreground > 0 && foreground != getpgrp())
        return;
    resize();
    if (!reads_ || raw_ || tcgetattr(outer_, &saved_modes_) != 0)
        return;
    termios raw = saved_modes_;
    cfmakeraw(&raw);
    raw_ = tcsetattr(outer_, TCSANOW, &raw) == 0;
}

void Terminal::leave_raw_mode()
{
    if (raw_)
        tcsetattr(outer_, TCSANOW, &saved_modes_);
    raw_ = false;
}

bool Terminal::Buffer::read_from(int descriptor)
{
    const ssize_t count = read(descriptor, bytes, sizeof bytes);
    length = count > 0 ? static_cast<size_t>(count) : 0;
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

bool Terminal::Buffer::write_to(int descriptor)
{
    const ssize_t count = write(descriptor, bytes, length);
    if (count < 0)
        return errno == EAGAIN || errno == EINTR;
    length -= static_cast<size_t>(count);
    memmove(bytes, bytes + count, length);
    return true;
}

void Terminal::forward(short outer, short inner)
{
    constexpr short readable = POLLIN | POLLHUP | POLLERR;
    if ((inner & POLLOUT) != 0)
        inner_lives_ = typed_.write_to(inner_) && inner_lives_;
    if (shown_.length == 0 && (inner & readable) != 0)
        inner_lives_ = shown_.read_from(inner_) && inner_lives_;
    if (shown_.length > 0 && (outer & (POLLOUT | POLLHUP | POLLERR)) != 0)
        outer_lives_ = shown_.write_to(outer_) && outer_lives_;
    if (raw_ && typed_.length == 0 && (outer & readable) != 0)
        outer_lives_ = typed_.read_from(outer_) && outer_lives_;
    if (!outer_lives_) // drops the output, so that the command goes on
        shown_.length = 0;
}

void Terminal::wait(const sigset_t &signals, siginfo_t &signal)
{
    constexpr int fifth_of_a_second = 200; // in the background, checks for the foreground again
    constexpr timespec at_once = {};
    if (signals_ < 0)
        signals_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    while (sigtimedwait(&signals, &signal, &at_once) < 0) {
        pollfd ends[] = {{signals_, POLLIN, 0}, {outer_lives_ ? outer_ : -1, 0, 0}, {inner_lives_ ? inner_ : -1, 0, 0}};
        ends[1].events =
            static_cast<short>((shown_.length > 0 ? POLLOUT : 0) | (raw_ && typed_.length == 0 ? POLLIN : 0));
        ends[2].events = static_cast<short>((typed_.length > 0 ? POLLOUT : 0) | (shown_.length == 0 ? POLLIN : 0));
        if (ends[1].events == 0)
            ends[1].fd = -1;
        if (ends[2].events == 0)
            ends[2].fd = -1;
        poll(ends, 3, reads_ && !raw_ ? fifth_of_a_second : -1);
        forward(ends[1].revents, ends[2].revents);
        if (!raw_)
            enter_raw_mode();
    }
}

void Terminal::finish()
{
    constexpr int second = 1000; // gives up on a blocked terminal
    pollfd outer = {outer_, POLLOUT, 0};
    while (is_there() && outer_lives_ && (shown_.length > 0 || (shown_.read_from(inner_) && shown_.length > 0)))
        if (poll(&outer, 1, second) != 1 || !shown_.write_to(outer_))
            break;
    leave_raw_mode();
    if (is_there())
        close(inner_);
    inner_ = -1;
}

} // namespace ovuser
