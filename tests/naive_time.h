// The time parsers as plainly as can be: what the fast ones are held against.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include "tests/scripted_libc.h"
#include "timespec/calendar.h"

using Parsed = std::pair<int64_t, std::string>;

// What a parser makes of a slot; a value that depends on there being one is shown as a message that nobody expects.
template <typename Parse> inline Parsed with_message(Parse parse)
{
    char *message = nullptr;
    const int64_t value = parse(&message);
    const Parsed parsed(value, message != nullptr ? message : "");
    free(message);
    return parse(nullptr) == value ? parsed : Parsed(value, "another value without a slot");
}

inline void set_zone(const char *zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

inline std::string text_of(int month, int day, int hour, int minute, long long year)
{
    char text[64];
    snprintf(text, sizeof text, "%02d%02d%02d%02d%04lld", month, day, hour, minute, year);
    return text;
}

static const std::string illegal = "ovuser: error: Illegal virtual clock, ";

// A value, unless it is outside the range of clocks.
inline Parsed naive_range(time_t value, const std::string &specified)
{
    const char *date = ctime(&value);
    const auto outside = [&](const char *bound) {
        return Parsed(0, illegal + "must not be " + bound + "\nyou specified " + specified + ", it is " +
                             (date != nullptr ? date : "(null)") + "\n");
    };
    return value < 32400          ? outside("before Thu Jan 1 01:00:00 1970")
           : value > 253402329599 ? outside("after Fri Dec 31 23:59:59 9999")
                                  : Parsed(value, "");
}

// zyn_parse_time.
inline Parsed naive_parse(const std::string &text)
{
    if (text.size() != 12)
        return {0, illegal + "invalid date format\n"};
    const auto field = [&](size_t at, size_t length) {
        return static_cast<int>(strtol(text.substr(at, length).c_str(), nullptr, 10));
    };
    const int month = field(0, 2), day = field(2, 2), hour = field(4, 2), minute = field(6, 2), year = field(8, 4);
    static const int lengths[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const auto leap = [](int y) { return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0); };
    const bool some_month = month >= 1 && month <= 12;
    const std::pair<bool, const char *> checks[] = {
        {some_month, "month\n"},
        {some_month && day >= 1 && day <= lengths[month - 1], "days with regard to month\n"},
        {hour >= 0 && hour <= 23, "hours[0 ~ 23]\n"},
        {minute >= 0 && minute <= 59, "minutes[0 ~ 59]\n"},
        {year >= 1970 && year <= 9999, "year[1970 ~ 9999]\n"},
        {leap(year) || month != 2 || day <= 28, "days with regard to year and month of Febrary[1 ~ 28]\n"},
    };
    for (const auto &[good, why] : checks)
        if (!good)
            return {0, illegal + "invalid " + why};
    int64_t days = day - 1;
    for (int y = 1970; y < year; ++y)
        days += leap(y) ? 366 : 365;
    for (int m = 1; m < month; ++m)
        days += m == 2 && !leap(year) ? 28 : lengths[m - 1];
    const Parsed standard = naive_range(days * 86400 + hour * 3600 + minute * 60 + timezone, text);
    const time_t value = standard.first;
    return {value != 0 && localtime(&value)->tm_isdst != 0 ? value - 3600 : value, standard.second};
}

// parse_reltime at two readings of the clock: its main form is walked step by step.
inline Parsed naive_relative(time_t first, time_t second, int years, int days, int hours, int minutes,
                             const char *origin, int mode)
{
    tm today, now, t;
    localtime_r(&first, &today);
    localtime_r(&second, &now);
    const auto length = [](int64_t year) { return ov::is_leap(year) ? 366 : 365; };
    int64_t moved = days;
    const bool march = today.tm_mon >= 2;
    for (int y = 0; y < years; ++y)
        moved += y == 0 ? (march ? 365 : length(today.tm_year)) : length(today.tm_year + y);
    for (int y = 0; y > years; --y)
        moved -= y == 0 ? (march ? length(today.tm_year) : 365) : length(today.tm_year + y);
    moved += years > 0 && march && ov::is_leap(today.tm_year + years) ? 1 : 0;
    moved -= years < 0 && !march && ov::is_leap(today.tm_year + years) ? 1 : 0;
    const int64_t plain = int64_t{static_cast<int32_t>(moved)} * 86400 + int64_t{hours} * 3600 + int64_t{minutes} * 60;
    const auto judged = [=](int64_t value) {
        char text[32];
        snprintf(text, sizeof text, "0x%llx", static_cast<long long>(value));
        return mode != 0 ? Parsed(value, "") : naive_range(value, text);
    };
    if (origin != nullptr) {
        const int start = static_cast<int>(strtol(origin, nullptr, 10));
        return start <= first ? judged(start + plain)
                              : Parsed(0, "ovuser: error: Illegal time value for -o option, must not be greater than "
                                          "the current time.\nYou specified " +
                                              std::to_string(start) + "\n");
    }
    if (mode != 0)
        return judged(first + plain + today.tm_sec);
    const time_t target = second + int64_t{static_cast<int32_t>(moved)} * 86400;
    localtime_r(&target, &t);
    t.tm_min = now.tm_min;
    const auto step = [&](bool forward) {
        if (forward && ++t.tm_hour == 24)
            t.tm_hour = 0, ov::add_one_day_to_tm(&t);
        else if (!forward && --t.tm_hour == -1)
            t.tm_hour = 23, ov::subtract_one_day_from_tm(&t);
    };
    const int wanted = now.tm_hour, arrived = t.tm_hour;
    const bool forward = arrived < wanted || (wanted == 0 && arrived > 21);
    const int until = wanted == 0 && forward ? 24 : wanted;
    bool more = arrived != wanted;
    for (int steps = 1; more; ++steps) { // with a bound that moves
        step(forward);
        more = steps < (forward ? until - t.tm_hour : t.tm_hour - until);
    }
    for (; minutes != 0; minutes += minutes > 0 ? -1 : 1) {
        t.tm_min += minutes > 0 ? 1 : -1;
        if (t.tm_min == 60 || t.tm_min == -1)
            t.tm_min = minutes > 0 ? 0 : 59, step(minutes > 0);
    }
    for (; hours != 0; hours += hours > 0 ? -1 : 1)
        step(hours > 0);
    const Parsed parsed = naive_parse(text_of(t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_year + 1900LL));
    return parsed.first != 0 ? judged(parsed.first + today.tm_sec) : parsed;
}

struct TimeTexts {
    std::string absolute, date, speed;
    std::string parts[5]; // years, days, hours, minutes, and an origin when it is not empty
    int mode = 0;
};

// Which of the texts is not read as the naive parsers read it, at the script's time; empty when all are.
inline std::string read_otherwise(Script &script, const TimeTexts &t)
{
    const auto parsed = [&](auto parse) {
        return with_message([&](char **slot) {
            script.clock_readings = 0;
            return parse(slot);
        });
    };
    if (parsed([&](char **slot) { return zyn_parse_time(t.absolute.c_str(), slot); }) != naive_parse(t.absolute))
        return "time " + t.absolute;

    tm now;
    localtime_r(&script.now, &now);
    Parsed expected = t.date.size() != 8
                          ? Parsed(0, illegal + "invalid X date format\n")
                          : naive_parse(t.date.substr(0, 4) + text_of(0, 0, now.tm_hour, now.tm_min, 0).substr(4, 4) +
                                        t.date.substr(4));
    expected.first += expected.first != 0 ? now.tm_sec : 0;
    int code = 0, speed = 0, n[5];
    if (parsed([&](char **slot) { return parse_Xtime(t.date.c_str(), slot, &code); }) != expected ||
        code != (t.date.size() == 8 ? 0 : OV_BAD_TIME))
        return "date " + t.date;

    char *end;
    const int number = static_cast<int>(strtol(t.speed.c_str(), &end, 10));
    const int refused = *end != '\0' || number < -1000 || number > 1000 ? -1 : 0;
    if (parse_speed(t.speed.c_str(), &speed) != refused || speed != number)
        return "speed " + t.speed;

    for (size_t i = 0; i < 5; ++i)
        n[i] = static_cast<int>(strtol(t.parts[i].c_str(), nullptr, 10));
    const char *origin = t.parts[4].empty() ? nullptr : t.parts[4].c_str();
    const Parsed moved = parsed([&](char **slot) {
        return parse_reltime(t.parts[0].c_str(), t.parts[1].c_str(), t.parts[2].c_str(), t.parts[3].c_str(), origin,
                             slot, t.mode);
    });
    const bool walkable = std::abs(n[0]) < 9000 && std::abs(n[2]) < 99999 && std::abs(n[3]) < 99999;
    const bool same =
        !walkable || moved == naive_relative(script.now, script.later, n[0], n[1], n[2], n[3], origin, t.mode);
    return same ? "" : "distance " + t.parts[0] + "y " + t.parts[1] + "d " + t.parts[2] + "h " + t.parts[3] + "m";
}
