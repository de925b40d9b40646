// The engine beside the C library, its peers, and itself.
#include <cctz/time_zone.h>
#include <sys/mman.h>

#include "bench/operations.h"
#include "bench/pairs.h"

using namespace bench;

static cctz::time_zone peer_zone;

static void parse_time_by_cctz()
{
    std::chrono::system_clock::time_point when;
    use(cctz::parse("%m%d%H%M%Y", instant_text, peer_zone, &when));
    use(when);
}

static void minutes(const char *count)
{
    parse_relative(nullptr, nullptr, count);
}

static void years(const char *count)
{
    parse_relative(count, nullptr, nullptr);
}

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    // The listing goes to a file in memory, the rows to standard output.
    FILE *output = fdopen(dup(STDOUT_FILENO), "w");
    if (output == nullptr || dup2(memfd_create("listing", 0), STDOUT_FILENO) < 0)
        return 1;

    compare<parse_time, parse_time_floor>("zyn_parse_time", "floor: tzset, localtime", everywhere(1.25));
    compare<parse_time, parse_time_by_libc>("zyn_parse_time", "strptime, mktime", {0.65, 1, 1, 0});
    const auto load_zone = [] { cctz::load_time_zone(getenv("TZ"), &peer_zone); };
    compare<parse_time, parse_time_by_cctz>("zyn_parse_time", "cctz::parse", {0.75, 0.75, 0, 0}, 2, load_zone);
    compare<parse_time_floor, parse_time_by_cctz>("floor: tzset, localtime", "cctz::parse", {}, 2, load_zone);

    // Aims are for UTC only: far from now, the C library's own cost differs from zone to zone.
    constexpr Aims in_utc = {1.2, 0, 0, 0};
    constexpr int64_t far_seconds = 2147483647LL * 60, year_days = 365, far_year_days = 2556698;
    compare<[] { minutes("2147483647"); }, [] { minutes("1"); }>("parse_reltime, 2147483647 minutes",
                                                                 "parse_reltime, 1 minute", in_utc);
    compare<[] { minutes("2147483647"); }, [] { parse_relative_floor(0, far_seconds); }>(
        "parse_reltime, 2147483647 minutes", "floor, at its instants", {});
    compare<[] { parse_relative_floor(0, far_seconds); }, [] { parse_relative_floor(0, 60); }>(
        "floor, at 2147483647 minutes", "floor, at 1 minute", {});
    compare<[] { years("7000"); }, [] { years("1"); }>("parse_reltime, years 7000", "parse_reltime, years 1", in_utc);
    compare<[] { years("7000"); }, [] { parse_relative_floor(far_year_days, 0); }>("parse_reltime, years 7000",
                                                                                   "floor, at its instants", {});
    compare<[] { parse_relative_floor(far_year_days, 0); }, [] { parse_relative_floor(year_days, 0); }>(
        "floor, at years 7000", "floor, at years 1", {});
    compare<[] { parse_relative(nullptr, "30", nullptr); }, [] { parse_relative_floor(30, 0); }>(
        "parse_reltime, days 30", "floor, at its instants", everywhere(1.35));
    compare<rewind_clock, rewind_clock_floor>("adjust_virtime_for_rewind", "floor: 2 localtime_r, mktime",
                                              everywhere(1.05));
    compare<add_clock, add_clock_floor>("one add of one uid", "floor: its C library calls", everywhere(1.05));
    compare<delete_clock, delete_clock_floor>("one delete", "floor: its C library calls", everywhere(1.05));
    compare<[] { list_clocks(1000); }, [] { list_clocks_floor(1000); }>(
        "listing of 1,000 slots", "floor: ioctl, getpwuid, ctime_r, printf", everywhere(1.10));
    compare<[] { list_clocks(10000); },
            [] {
                for (int i = 0; i < 100; ++i)
                    list_clocks(100);
            }>("listing of 10,000 slots, per row", "listing of 100 slots, per row", everywhere(1.10));
    compare<[] { step_through_processes(1000); }, [] { step_through_processes_floor(1000); }>(
        "steps through 1,000 process clocks", "floor: ioctl, open, read, close", everywhere(1.20));

    Lines lines(output);
    benchmark::RunSpecifiedBenchmarks(&lines);
}
