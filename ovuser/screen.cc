#include "ovuser/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ovuser/times.h"

namespace ovuser
{

static bool is_ignored(int signal)
{
    struct sigaction action;
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

static bool is_capable_terminal()
{
    const char *kind = getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && kind != nullptr && *kind != '\0' && strcmp(kind, "dumb") != 0;
}

Screen::Screen() : is_there_(is_capable_terminal())
{
    sigemptyset(&awaited_);
    if (!is_there_)
        return;
    sigaddset(&awaited_, SIGWINCH);
    sigaddset(&awaited_, SIGCONT);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP})
        if (!is_ignored(signal))
            sigaddset(&awaited_, signal);
    sigprocmask(SIG_BLOCK, &awaited_, &before_);
    enter();
}

Screen::~Screen()
{
    if (!is_there_)
        return;
    leave();
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool Screen::is_ours() const
{
    return tcgetpgrp(STDOUT_FILENO) == getpgrp();
}

int Screen::rows() const
{
    winsize size;
    constexpr int usual = 24;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : usual;
}

// The other screen, without a cursor, and with long lines cut at the edge.
void Screen::enter()
{
    if (entered_ || !is_ours())
        return;
    fputs("\033[?1049h\033[?25l\033[?7l", stdout);
    fflush(stdout);
    entered_ = true;
}

void Screen::leave()
{
    if (!entered_)
        return;
    fputs("\033[?7h\033[?25h\033[?1049l", stdout);
    fflush(stdout);
    entered_ = false;
}

// What the signal does without us, so that whoever started this program sees why it stopped or ended.
void Screen::obey(int signal)
{
    leave();
    sigset_t alone;
    sigemptyset(&alone);
    sigaddset(&alone, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &alone, nullptr); // here it ends, or stops until it is continued
    sigprocmask(SIG_BLOCK, &alone, nullptr);
}

void Screen::wait(int64_t until)
{
    constexpr int64_t second = 1'000'000'000;
    const int64_t left = std::max(until - monotonic_time(), int64_t{0});
    const timespec time = {left / second, left % second};
    const int signal = sigtimedwait(&awaited_, nullptr, &time); // of no signals, where there is no terminal
    if (signal > 0 && signal != SIGWINCH && signal != SIGCONT)
        obey(signal);
    if (is_there_)
        enter();
}

} // namespace ovuser
