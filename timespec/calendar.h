// Civil calendar arithmetic, without zones. Years have the caller's type: 64 bits where 32 might overflow.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>

#include "base/integer.h"

namespace ov
{

// The year that a count of years starts from. full_year keeps the leap rule for years since 1900, so that its leap
// centuries are 2100, 2500, ...: one parser depends on that.
enum YearBase : int { since_1900 = 1900, full_year = 0 };

// Whether a year counted from 1900 is a leap year; of a multiple of 4, 25 stands for 100 and 16 for 400. Only the last
// test adds the 1900, so a full year gets other leap centuries.
constexpr bool is_leap(int64_t year)
{
    return year % 4 == 0 && (year % 25 != 0 || (year + 1900) % 16 == 0);
}

// The leap years up to and including a calendar year, plus a constant.
template <typename Year> constexpr Year leap_years_until(Year year, YearBase base = since_1900)
{
    const Year counted = year - base, centuries = floor_div(counted, 100);
    return floor_div(counted, 4) - centuries + floor_div(centuries + 19, 4);
}

// Days in a month (0 to 11) of a year counted from 1900; -1 for any other month.
constexpr int get_month_days(int64_t year, int64_t month)
{
    constexpr unsigned months_of_31 = 0xad5, months_of_30 = 0x528;
    if (month < 0 || month > 11)
        return -1;
    if ((months_of_31 >> month & 1) != 0)
        return 31;
    if ((months_of_30 >> month & 1) != 0)
        return 30;
    return is_leap(year) ? 29 : 28;
}

// Days before each month of a common year.
inline constexpr auto days_before = []() {
    constexpr int64_t common_year = 2001 - since_1900;
    std::array<int16_t, 12> days = {};
    for (size_t month = 1; month < days.size(); ++month)
        days[month] = static_cast<int16_t>(days[month - 1] + get_month_days(common_year, static_cast<int>(month) - 1));
    return days;
}();

// Days from 1970-01-01 to a day of a calendar year and month (1 to 12).
template <typename Year> constexpr Year day_number(Year year, int month, int day, YearBase base = since_1900)
{
    return 365 * (year - 1970) + leap_years_until(year - 1, base) - leap_years_until(1969, base) +
           days_before[static_cast<size_t>(month) - 1] + (month > 2 && is_leap(year - base) ? 1 : 0) + day - 1;
}

struct Date {
    int64_t year; // calendar year
    int month;    // 1 to 12
    int day;      // 1 to 31

    constexpr bool operator==(const Date &) const = default; // GCOVR_EXCL_BR_LINE: for the checks below
};

// The date of a day number. Its years begin in March, so that the leap day comes last.
constexpr Date date_of(int64_t day_number)
{
    constexpr int64_t days_per_cycle = 146097, march_of_year_0 = 719468;
    const int64_t cycle = floor_div(day_number + march_of_year_0, days_per_cycle);
    const int64_t day = floor_mod(day_number + march_of_year_0, days_per_cycle);
    const int64_t year = (day - day / 1460 + day / 36524 - day / 146096) / 365;
    const int64_t day_of_year = day - (365 * year + year / 4 - year / 100);
    const int64_t month = (5 * day_of_year + 2) / 153;
    return {400 * cycle + year + (month >= 10 ? 1 : 0), static_cast<int>(month < 10 ? month + 3 : month - 9),
            static_cast<int>(day_of_year - (153 * month + 2) / 5 + 1)};
}

static_assert(day_number(1970, 1, 1) == 0 && day_number(2000, 3, 1) == 11017 && day_number(0, 3, 1) == -719468);
static_assert(day_number(2000, 3, 1, full_year) == 11016 && day_number(2101, 1, 1, full_year) == 47847);
static_assert(date_of(-719469) == Date{0, 2, 29} && date_of(11016) == Date{2000, 2, 29});

// Move a date by one day. They change day, month and year only, and normalise nothing.
void add_one_day_to_tm(tm *date);
void subtract_one_day_from_tm(tm *date);

} // namespace ov
