#include <sys/time.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/local_time.h"
#include "base/message.h"
#include "ov_helper.h"
#include "timespec/calendar.h"
#include "timespec/daylight.h"
#include "timespec/digits.h"
#include "timespec/range.h"

namespace ov
{

// The move that a relative specification asks for, besides its years.
struct Distance {
    int32_t days, hours, minutes;

    int64_t seconds() const { return int64_t{days} * 86400 + int64_t{hours} * 3600 + int64_t{minutes} * 60; }
};

static timeval real_time()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    return now;
}

// The days that a number of years spans from today on. A year that starts before March is as long as it is
// itself; one that starts later is as long as the next.
static int64_t days_in_years(int64_t count, const tm &today)
{
    const int64_t year = int64_t{today.tm_year} + 1900;
    const bool from_march = today.tm_mon >= 2;
    const auto leap_day = [](bool counts, int64_t of_year) { return counts && is_leap(of_year - since_1900) ? 1 : 0; };
    if (count > 0)
        return 365 * count + leap_day(!from_march, year) + leap_years_until(year + count - 1) - leap_years_until(year) +
               leap_day(from_march, year + count);
    if (count < 0)
        return 365 * count - leap_day(from_march, year) - leap_years_until(year - 1) + leap_years_until(year + count) -
               leap_day(!from_march, year + count);
    return 0;
}

static void move_days(tm &t, int64_t days)
{
    if (days == 0)
        return;
    // Only a time that could not be broken down has no day; going back, it counts as the first.
    const int day = days < 0 && t.tm_mday < 1 ? 1 : t.tm_mday;
    const Date moved = date_of(day_number(int64_t{t.tm_year} + 1900, t.tm_mon + 1, day) + days);
    t.tm_year = low_32(moved.year - 1900);
    t.tm_mon = moved.month - 1;
    t.tm_mday = moved.day;
}

static void move_hours(tm &t, int64_t hours)
{
    const int64_t hour = t.tm_hour + hours;
    t.tm_hour = static_cast<int>(floor_mod(hour, 24));
    move_days(t, floor_div(hour, 24));
}

// Minutes, then hours, on the wall clock: no zone and no daylight saving time has a part in it.
static void move_time(tm &t, int32_t hours, int32_t minutes)
{
    const int64_t minute = int64_t{t.tm_min} + minutes;
    t.tm_min = static_cast<int>(floor_mod(minute, 60));
    move_hours(t, floor_div(minute, 60));
    move_hours(t, hours);
}

// MMDDhhmmYYYY. A year of another length makes a text that the absolute parser refuses.
static void write_text(const tm &t, char (&text)[64])
{
    const int64_t year = t.tm_year + int64_t{1900};
    char *end = write_pair(write_pair(write_pair(write_pair(text, t.tm_mon + 1), t.tm_mday), t.tm_hour), t.tm_min);
    if (year >= 0 && year <= 9999)
        *write_pair(write_pair(end, static_cast<int>(year / 100)), static_cast<int>(year % 100)) = '\0';
    else
        snprintf(end, 32, "%04" PRId64, year);
}

// A move on the wall clock from the present moment; 0 when the date it leads to is no clock value. It reads the clock
// anew, for the moment of the move, and leaves the seconds to the caller, who has them for every form from one reading.
static int64_t move_on_wall_clock(const Distance &distance, char **slot)
{
    const time_t now = real_time().tv_sec;
    const tm local = local_time(now);
    tm t = local_time(wrapping_add(now, int64_t{distance.days} * 86400));
    t.tm_min = local.tm_min;
    align_hour(t, local.tm_hour);
    move_time(t, distance.hours, distance.minutes);

    char text[64];
    write_text(t, text);
    char *copy = strdup(text);
    const int64_t value = copy != nullptr ? zyn_parse_time(copy, slot) : 0;
    free(copy);
    Message message(slot);
    if (value == 0 && !message.pending())
        message.set("ovuser: error: Illegal time value for relative time.\n");
    return value;
}

} // namespace ov

int64_t parse_reltime(const char *years, const char *days, const char *hours, const char *minutes, const char *origin,
                      char **slot, int mode)
{
    using namespace ov;
    Message message(slot);
    const timeval now = real_time();
    const tm today = local_time(now.tv_sec);
    const int64_t year_days = days_in_years(read_decimal(years), today);
    const Distance distance{low_32(read_decimal(days) + year_days), read_decimal(hours), read_decimal(minutes)};

    int64_t value;
    if (origin != nullptr) {
        const int64_t start = read_decimal(origin);
        if (start > now.tv_sec) {
            message.set("ovuser: error: Illegal time value for -o option, must not be greater than the current "
                        "time.\nYou specified %lld\n",
                        static_cast<long long>(start));
            return 0;
        }
        value = start + distance.seconds();
    } else if (mode != 0) {
        // The seconds of the minute come on top of now's own, a second time: what is in use depends on these values.
        value = wrapping_add(now.tv_sec, distance.seconds() + today.tm_sec);
    } else {
        value = move_on_wall_clock(distance, slot);
        if (value == 0)
            return 0;
        value += today.tm_sec;
    }

    if (const char *flaw = mode == 0 ? range_flaw(value) : nullptr) {
        message.set("%s0x%lx, it is %s\n", flaw, static_cast<unsigned long>(value), time_text(value));
        return 0;
    }
    return value;
}
