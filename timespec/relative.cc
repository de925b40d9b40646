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

// How far a relative time moves a clock.
struct Shift {
    int32_t days, hours, minutes;

    int64_t seconds() const { return int64_t{days} * 86400 + int64_t{hours} * 3600 + int64_t{minutes} * 60; }
};

static timeval present()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    return now;
}

// The days from today to the same day some years later. From March on, the next year's leap day counts.
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
    // The day is 0 only if localtime_r failed.
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

// Moves the minutes, then the hours, without regard to the zone.
static void move_time(tm &t, int32_t hours, int32_t minutes)
{
    const int64_t minute = int64_t{t.tm_min} + minutes;
    t.tm_min = static_cast<int>(floor_mod(minute, 60));
    move_hours(t, floor_div(minute, 60));
    move_hours(t, hours);
}

// Writes MMDDhhmmYYYY. The absolute parser refuses a year of another length.
static void write_text(const tm &t, char (&text)[64])
{
    const int64_t year = t.tm_year + int64_t{1900};
    char *end = write_pair(write_pair(write_pair(write_pair(text, t.tm_mon + 1), t.tm_mday), t.tm_hour), t.tm_min);
    if (year >= 0 && year <= 9999)
        *write_pair(write_pair(end, static_cast<int>(year / 100)), static_cast<int>(year % 100)) = '\0';
    else
        snprintf(end, 32, "%04" PRId64, year);
}

// Moves the wall clock from the present; 0 if the result is no clock value. Reads the clock again on purpose: the
// caller adds the seconds of its own reading.
static int64_t move_on_wall_clock(const Shift &shift, char **slot)
{
    const time_t now = present().tv_sec;
    const tm local = local_time(now);
    tm t = local_time(wrapping_add(now, int64_t{shift.days} * 86400));
    t.tm_min = local.tm_min;
    align_hour(t, local.tm_hour);
    move_time(t, shift.hours, shift.minutes);

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
    const timeval now = present();
    const tm today = local_time(now.tv_sec);
    const int64_t year_days = days_in_years(read_decimal(years), today);
    const Shift shift{low_32(read_decimal(days) + year_days), read_decimal(hours), read_decimal(minutes)};

    int64_t value;
    if (origin != nullptr) {
        const int64_t start = read_decimal(origin);
        if (start > now.tv_sec) {
            message.set("ovuser: error: Illegal time value for -o option, must not be greater than the current "
                        "time.\nYou specified %lld\n",
                        static_cast<long long>(start));
            return 0;
        }
        value = start + shift.seconds();
    } else if (mode != 0) {
        // The seconds of the minute are added twice on purpose: clocks have always been set so.
        value = wrapping_add(now.tv_sec, shift.seconds() + today.tm_sec);
    } else {
        value = move_on_wall_clock(shift, slot);
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
