#include "ovuser/watch.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>

#include "ovuser/clocks.h"
#include "ovuser/message.h"
#include "ovuser/screen.h"
#include "ovuser/text.h"
#include "ovuser/times.h"

namespace ovuser
{

// How a line ends, and what makes a part of it stand out: on a screen, what was there before is cleared.
struct Style {
    const char *strong, *plain, *line_end;
};
static constexpr Style on_paper = {"", "", "\n"}, on_screen = {"\033[7m", "\033[m", "\033[K\n"};

static void print_line(const Style &style, const ov_clock &clock, time_t real)
{
    const int64_t ahead = seconds_ahead(clock, real);
    const bool usual = clock.speed == 1 || clock.speed == -1;
    print_identity(stdout, clock, 10);
    printf(" %-25s  %-6s %-18s  %s%s%s%s%s", Timestamp(clock.value).text, ahead < 0 ? "behind" : "ahead",
           Distance(ahead).text, usual ? "" : style.strong, clock_speed_string(clock.speed), usual ? "" : style.plain,
           clock.rewind != 0 ? ", rewinds" : "", style.line_end);
}

static void print_table(const Clocks &clocks, Identities &identities, const Style &style, int lines)
{
    const auto included = [&](const ov_clock &clock) { return identities.include(clock); };
    const auto count = static_cast<int>(std::count_if(clocks.begin(), clocks.end(), included));
    const time_t real = real_time();
    printf("%-10s %-25s  %-25s  %s%s", "Id", "Time", "Distance", "Clock type", style.line_end);
    printf("%-10s %-25s  %-25s  %s%s", "", Timestamp(real).text, "", "Real time", style.line_end);
    lines -= 2;
    int shown = count <= lines ? count : std::max(lines - 1, 0), left = shown;
    for (const ov_clock &clock : clocks)
        if (left > 0 && included(clock) && left-- > 0)
            print_line(style, clock, real);
    if (shown < count)
        printf("... and %d more%s", count - shown, style.line_end);
}

static void draw(const Screen &screen, const Clocks &clocks, Identities &identities, bool first)
{
    if (!screen.is_there()) {
        fputs(first ? "" : "\n", stdout);
        print_table(clocks, identities, on_paper, INT_MAX);
    } else if (screen.is_ours()) {
        fputs("\033[H", stdout);
        print_table(clocks, identities, on_screen, screen.rows() - 1);
        fputs("\033[J", stdout);
    }
    fflush(stdout);
}

int watch(Identities &identities, int64_t interval)
{
    // Room for all that fits on a screen, which then appears at once.
    setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
    Screen screen;
    int64_t next = monotonic_time();
    for (bool first = true;; first = false) {
        const Clocks clocks;
        if (!clocks.complete()) {
            screen.leave();
            return clocks.conclude();
        }
        draw(screen, clocks, identities, first);
        if (!output_works())
            return done; // who finishes the output knows better
        for (const int64_t now = monotonic_time(); next <= now;)
            next = std::max(next + interval, now);
        screen.wait(next);
    }
}

} // namespace ovuser
