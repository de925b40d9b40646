// Reads the texts that people and programs write for an instant, without zones.
#pragma once

#include <cstdint>

#include "timespec/calendar.h"

namespace ov
{

struct Timestamp {
    enum Kind {
        unknown,
        date_alone,
        civil,  // in local time
        zoned,  // with its offset from UTC
        counted // seconds since the epoch
    };

    Kind kind = unknown;
    bool to_the_minute = false;
    int64_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    int64_t weekday = -1; // 0 is Sunday, -1 none
    int64_t offset = 0;   // seconds east of UTC
    bool offset_is_one = true;

    // Since the epoch; civil time counts as if it were UTC.
    constexpr int64_t seconds() const
    {
        return kind == counted ? second : days() * 86400 + hour * 3600 + minute * 60 + second - offset;
    }

    // What is wrong with the fields, or null.
    constexpr const char *flaw() const
    {
        if (kind == counted)
            return nullptr;
        if (month < 1 || month > 12)
            return "invalid month";
        if (day < 1 || day > get_month_days(year - since_1900, month - 1))
            return "invalid days with regard to month";
        if (hour > 23)
            return "invalid hours[0 ~ 23]";
        if (minute > 59)
            return "invalid minutes[0 ~ 59]";
        if (second > 59)
            return "invalid seconds[0 ~ 59]";
        if (!offset_is_one)
            return "invalid offset from UTC";
        return weekday < 0 || weekday == floor_mod(days() + 4, 7) ? nullptr : "another day of the week";
    }

  private:
    constexpr int64_t days() const { return day_number(year, static_cast<int>(month), static_cast<int>(day)); }
};

// Reads a number of so many digits and moves on. False if there is none.
constexpr bool take_digits(const char *&text, int least, int most, int64_t &number)
{
    int count = 0;
    for (number = 0; count < most && *text >= '0' && *text <= '9'; ++count)
        number = 10 * number + (*text++ - '0');
    return count >= least;
}

// Reads one of a list of names of three letters, counted from 0, and moves on. False if there is none.
constexpr bool take_name(const char *&text, const char *names, int64_t &number)
{
    for (number = 0; *names != '\0'; names += 3, ++number) {
        if (text[0] == names[0] && text[1] == names[1] && text[2] == names[2]) {
            text += 3;
            return true;
        }
    }
    return false;
}

constexpr bool take_offset(const char *&text, Timestamp &t)
{
    const char sign = *text++;
    if (sign == 'Z' || sign == 'z')
        return true;
    int64_t hours = 0, minutes = 0;
    if ((sign != '+' && sign != '-') || !take_digits(text, 2, 2, hours) || *text++ != ':' ||
        !take_digits(text, 2, 2, minutes))
        return false;
    t.offset_is_one = hours <= 23 && minutes <= 59;
    t.offset = (sign == '-' ? -60 : 60) * (60 * hours + minutes);
    return true;
}

// Reads a field by its letter in strptime, but T is a T or a blank, z is Z or +hh:mm, and s has a sign. Skips a
// fraction of a second.
constexpr bool take_field(char letter, const char *&text, Timestamp &t)
{
    switch (letter) {
    case 'Y': // a year of five digits may have a sign
        text += *text == '+' ? 1 : 0;
        return take_digits(text, 4, 5, t.year);
    case 'm':
        return take_digits(text, 2, 2, t.month);
    case 'd':
        return take_digits(text, 2, 2, t.day);
    case 'e':
        return take_digits(text, 1, 2, t.day);
    case 'H':
        return take_digits(text, 2, 2, t.hour);
    case 'M':
        return take_digits(text, 2, 2, t.minute);
    case 'S': {
        if (!take_digits(text, 2, 2, t.second))
            return false;
        if (*text != '.')
            return true;
        int64_t fraction = 0;
        return take_digits(++text, 1, 18, fraction);
    }
    case 'T':
        if (*text != 'T' && *text != 't' && *text != ' ')
            return false;
        ++text;
        return true;
    case 'z':
        return take_offset(text, t);
    case 'a':
        return take_name(text, "SunMonTueWedThuFriSat", t.weekday);
    case 'b':
        if (!take_name(text, "JanFebMarAprMayJunJulAugSepOctNovDec", t.month))
            return false;
        ++t.month;
        return true;
    default: { // s
        const bool negative = *text == '-';
        text += negative ? 1 : 0;
        const bool good = take_digits(text, 1, 18, t.second);
        t.second *= negative ? -1 : 1;
        return good;
    }
    }
}

constexpr bool has_form(const char *text, const char *form, Timestamp &t)
{
    for (; *form != '\0'; ++form) {
        if (*form == '%') {
            if (!take_field(*++form, text, t))
                return false;
            continue;
        }
        if (*text++ != *form)
            return false;
        while (*form == ' ' && *text == ' ')
            ++text;
    }
    return *text == '\0';
}

constexpr Timestamp read_timestamp(const char *text)
{
    constexpr struct {
        const char *form;
        Timestamp::Kind kind;
        bool to_the_minute;
    } forms[] = {
        {"%Y-%m-%d", Timestamp::date_alone, false},
        {"%Y-%m-%d%T%H:%M", Timestamp::civil, true},
        {"%Y-%m-%d%T%H:%M:%S", Timestamp::civil, false},
        {"%a %b %e %H:%M:%S %Y", Timestamp::civil, false},
        {"%Y-%m-%d%T%H:%M%z", Timestamp::zoned, true},
        {"%Y-%m-%d%T%H:%M:%S%z", Timestamp::zoned, false},
        {"@%s", Timestamp::counted, false},
    };
    for (const auto &known : forms) {
        Timestamp t;
        if (!has_form(text, known.form, t))
            continue;
        t.kind = known.kind;
        t.to_the_minute = known.to_the_minute;
        return t;
    }
    return {};
}

static_assert(read_timestamp("2030-12-25T10:00:00.5+01:00").seconds() == 1924419600);
static_assert(read_timestamp("Wed Dec 25 09:00:00 2030").seconds() == 1924419600);
static_assert(read_timestamp("Thu Jan  1 00:00:00 1970").flaw() == nullptr && read_timestamp("@-5").seconds() == -5);

} // namespace ov
