#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ovuser/clocks.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

// The terminal on standard output, and the signals that concern it: while it is open, the terminal shows its other
// screen. All escapes are those that every terminal of the last decades knows. Without a terminal, or with TERM=dumb,
// nothing of this happens.
class Screen
{
  public:
    Screen() = default;
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    void open();
    bool is_there() const { return is_there_; }
    // Whether this process is in the foreground.
    bool is_ours() const;
    int rows() const;

    // Waits until an instant of CLOCK_MONOTONIC, or a signal after which to draw again. A signal that ends or stops the
    // program first restores the terminal.
    void wait(int64_t until);
    void leave();

  private:
    void enter();

    bool is_there_ = false, entered_ = false;
    sigset_t awaited_, before_;
};

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

void Screen::open()
{
    is_there_ = is_capable_terminal();
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

// Switches to the other screen, hides the cursor, and cuts long lines.
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

void Screen::wait(int64_t until)
{
    constexpr int64_t second = 1'000'000000;
    const int64_t left = std::max(until - monotonic_time(), int64_t{0});
    const timespec time = {left / second, left % second};
    const int signal = sigtimedwait(&awaited_, nullptr, &time); // an empty set without a terminal
    if (signal > 0 && signal != SIGWINCH && signal != SIGCONT) {
        leave();
        raise_default(signal); // ends, or stops until continued
    }
    if (is_there_)
        enter();
}

// How a line ends and what highlights a part of it. On a screen, the line end clears the rest of the old line.
struct Style {
    const char *strong, *plain, *line_end;
};
static constexpr Style on_paper = {"", "", "\n"}, on_screen = {"\033[7m", "\033[m", "\033[K\n"};

static void print_line(const Style &style, const ov_clock &clock, time_t real)
{
    const int64_t ahead = seconds_ahead(clock, real);
    const bool usual = clock.speed == 1 || clock.speed == -1;
    print_identity(stdout, clock, 10);
    printf(" %-25s  %-6s %-18s  %s%s%s%s%s", TimeText(clock.value).text, ahead < 0 ? "behind" : "ahead",
           DistanceText(ahead).text, usual ? "" : style.strong, clock_speed_string(clock.speed),
           usual ? "" : style.plain, clock.rewind != 0 ? ", rewinds" : "", style.line_end);
}

static void print_table(const Clocks &clocks, ClockFilter &filter, const Style &style, int lines)
{
    const auto included = [&](const ov_clock &clock) { return filter.matches(clock); };
    const auto count = static_cast<int>(std::count_if(clocks.begin(), clocks.end(), included));
    const time_t real = real_time();
    printf("%-10s %-25s  %-25s  %s%s", "Id", "Time", "Distance", "Clock type", style.line_end);
    printf("%-10s %-25s  %-25s  %s%s", "", TimeText(real).text, "", "Real time", style.line_end);
    lines -= 2;
    const int room = count <= lines ? count : std::max(lines - 1, 0);
    int shown = 0;
    for (const ov_clock &clock : clocks) {
        if (shown == room)
            break;
        if (included(clock)) {
            print_line(style, clock, real);
            ++shown;
        }
    }
    if (shown < count)
        printf("... and %d more%s", count - shown, style.line_end);
}

static void draw(const Screen &screen, const Clocks &clocks, ClockFilter &filter, bool first)
{
    if (!screen.is_there()) {
        fputs(first ? "" : "\n", stdout);
        print_table(clocks, filter, on_paper, INT_MAX);
    } else if (screen.is_ours()) {
        fputs("\033[H", stdout);
        print_table(clocks, filter, on_screen, screen.rows() - 1);
        fputs("\033[J", stdout);
    }
    fflush(stdout);
}

int watch(ClockFilter &filter, int64_t interval)
{
    // Buffers a whole screen, which then appears at once.
    setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
    Screen screen;
    screen.open();
    int64_t next = monotonic_time();
    for (bool first = true;; first = false) {
        Clocks clocks;
        clocks.read();
        if (!clocks.complete()) {
            screen.leave();
            return clocks.report_failure();
        }
        draw(screen, clocks, filter, first);
        if (!output_works())
            return done; // finish_output() reports the error
        for (const int64_t now = monotonic_time(); next <= now;)
            next = std::max(next + interval, now);
        screen.wait(next);
    }
}

} // namespace ovuser
