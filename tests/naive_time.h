// The time parsers again, slowly and by the C library, to check the fast ones.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include "tests/scripted_libc.h"

using Parsed = std::pair<int64_t, std::string>;

// The result of a parser. A value that depends on the slot becomes an unexpected message.
template <typename Parse> inline Parsed with_message(Parse parse)
{
    char *message = nullptr;
    Script::in_force->clock_readings = 0;
    const int64_t value = parse(&message);
    const Parsed parsed(value, message != nullptr ? message : "");
    free(message);
    Script::in_force->clock_readings = 0;
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

// What is wrong with a date, in the words of one parser or the other; null if nothing.
inline const char *flaw_in(const tm &t, bool text)
{
    tm in_2000 = {.tm_mday = t.tm_mday, .tm_mon = t.tm_mon - 1, .tm_year = 100};
    timegm(&in_2000);
    const bool leap = t.tm_year % 4 == 0 && (t.tm_year % 100 != 0 || t.tm_year % 400 == (text ? 0 : 100));
    const std::pair<bool, const char *> checks[] = {
        {t.tm_mon >= 1 && t.tm_mon <= 12, "month"},
        {in_2000.tm_mday == t.tm_mday, "days with regard to month"},
        {t.tm_hour >= 0 && t.tm_hour <= 23, "hours[0 ~ 23]"},
        {t.tm_min >= 0 && t.tm_min <= 59, "minutes[0 ~ 59]"},
        {t.tm_year >= 1970, text ? "year[1970 ~ 9999]" : "year[<1970]"},
        {t.tm_year <= 9999, "year[>9999]"},
        {leap || t.tm_mon != 2 || t.tm_mday < 29,
         text ? "days with regard to year and month of Febrary[1 ~ 28]" : "days with regard to year and month[1 ~ 28]"},
    };
    for (const auto &[good, why] : checks)
        if (!good)
            return why;
    return nullptr;
}

inline int64_t whole_days(const tm &t)
{
    tm day = {.tm_mday = t.tm_mday, .tm_mon = t.tm_mon - 1, .tm_year = t.tm_year - 1900};
    return timegm(&day);
}

inline int64_t summer_time(time_t value)
{
    return value != 0 && localtime(&value)->tm_isdst != 0 ? value - 3600 : value;
}

// zyn_parse_time.
inline Parsed naive_parse(const std::string &text)
{
    if (text.size() != 12)
        return {0, illegal + "invalid date format\n"};
    const auto field = [&](size_t at, size_t length = 2) { return atoi(text.substr(at, length).c_str()); };
    const tm t = {0, field(6), field(4), field(2), field(0), field(8, 4)};
    if (const char *flaw = flaw_in(t, true))
        return {0, illegal + "invalid " + flaw + "\n"};
    const Parsed standard = naive_range(whole_days(t) + t.tm_hour * 3600 + t.tm_min * 60 + timezone, text);
    return {summer_time(standard.first), standard.second};
}

// zyn_parse_tm_time: its leap centuries are 2100, 2500, ..., and the seconds of whole days have 32 bits.
inline Parsed naive_broken_down(const tm &t)
{
    if (const char *flaw = flaw_in(t, false))
        return {0, std::string("Illegal ") + flaw};
    int64_t days = whole_days(t);
    for (int century = 2000; century < t.tm_year + (t.tm_mon > 2 ? 1 : 0); century += 100)
        days += century % 400 == 100 ? 86400 : century % 400 == 0 ? -86400 : 0;
    return {summer_time(int64_t{static_cast<int32_t>(days)} + t.tm_hour * 3600 + t.tm_min * 60 + timezone), ""};
}

// parse_reltime at two readings of the clock.
inline Parsed naive_relative(time_t first, time_t second, int years, int days, int64_t hours, int64_t minutes,
                             const char *origin, int mode)
{
    tm today, now, t;
    localtime_r(&first, &today);
    localtime_r(&second, &now);
    const auto day_of_year = [&](int year) { // where whole years count from
        tm start = {.tm_mday = 1, .tm_mon = today.tm_mon < 2 ? 0 : 2, .tm_year = year};
        return timegm(&start) / 86400;
    };
    const auto moved = static_cast<int32_t>(days + day_of_year(today.tm_year + years) - day_of_year(today.tm_year));
    const int64_t time = hours * 3600 + minutes * 60, plain = moved * 86400LL + time;
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
    const time_t target = second + moved * 86400LL;
    localtime_r(&target, &t);
    t.tm_min = now.tm_min;
    const bool forward = t.tm_hour < now.tm_hour || (now.tm_hour == 0 && t.tm_hour > 21);
    const int until = now.tm_hour == 0 && forward ? 24 : now.tm_hour;
    bool more = t.tm_hour != now.tm_hour;
    time_t wall = timegm(&t);
    for (int steps = 1; more; ++steps) { // with a bound that moves
        wall += forward ? 3600 : -3600;
        gmtime_r(&wall, &t);
        more = steps < (forward ? until - t.tm_hour : t.tm_hour - until);
    }
    wall += time;
    gmtime_r(&wall, &t);
    const Parsed parsed = naive_parse(text_of(t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_year + 1900LL));
    return parsed.first != 0 ? judged(parsed.first + today.tm_sec) : parsed;
}

// ov_read_time for nearly valid texts, without the words of refusals.
inline int64_t naive_any_form(std::string text)
{
    if (text[0] == '@' && text.find_first_not_of("0123456789", text[1] == '-' ? 2 : 1) == text.npos)
        return naive_range(atoll(text.c_str() + 1), "").first;
    const std::string typed = text;
    const bool iso = text.size() >= 16 && text[4] == '-';
    size_t zone = iso && text.back() == 'Z' ? text.size() - 1 : text.size() == 25 ? 19 : text.npos;
    zone = iso ? zone : text.npos;
    if (iso && text[10] == 'T')
        text[10] = ' ';
    int hours = 0, minutes = 0, length = 0;
    if (zone != text.npos && zone + 1 != text.size() &&
        (sscanf(text.c_str() + zone, "%3d:%2d%n", &hours, &minutes, &length) != 2 || length != 6 ||
         (text[zone] != '+' && text[zone] != '-') || text.find_first_not_of("0123456789:", zone + 1) != text.npos ||
         abs(hours) > 23 || minutes > 59))
        return 0;
    const int offset = (hours * 60 + (zone != text.npos && text[zone] == '-' ? -minutes : minutes)) * 60;
    text.resize(std::min(zone, text.size()));

    const char *const form = !iso ? "%a %b %e %H:%M:%S %Y" : text.size() == 16 ? "%Y-%m-%d %H:%M" : "%Y-%m-%d %H:%M:%S";
    tm read = {};
    char again[64];
    const auto squeezed = [&](std::string line) {
        const auto both_blank = [](char a, char b) { return a == ' ' && b == ' '; };
        line.erase(std::unique(line.begin(), line.end(), both_blank), line.end());
        return line;
    };
    const char *end = strptime(text.c_str(), form, &read);
    if (end == nullptr || *end != '\0' || strftime(again, sizeof again, form, &read) == 0 ||
        squeezed(again) != squeezed(text))
        return naive_parse(typed).first;
    if (iso && typed.size() == 16)
        return naive_parse(text_of(read.tm_mon + 1, read.tm_mday, read.tm_hour, read.tm_min, read.tm_year + 1900))
            .first;
    for (const int summer : {0, 1}) {
        tm t = read;
        t.tm_isdst = summer;
        const time_t value = zone != text.npos ? timegm(&t) - offset : mktime(&t);
        if (t.tm_sec == read.tm_sec && t.tm_min == read.tm_min && t.tm_hour == read.tm_hour &&
            t.tm_mday == read.tm_mday && t.tm_wday == read.tm_wday)
            return naive_range(value, "").first;
    }
    return 0;
}

struct TimeTexts {
    tm record;
    std::string absolute, date, speed;
    std::string parts[5]; // years, days, hours, minutes, and an origin when it is not empty
    int mode = 0;
};

// The first text that the naive parsers read differently at the script's time; empty if there is none.
inline std::string read_otherwise(Script &script, const TimeTexts &t)
{
    if (with_message([&](char **slot) { return zyn_parse_time(t.absolute.c_str(), slot); }) != naive_parse(t.absolute))
        return "time " + t.absolute;
    const char *why = "";
    const int64_t value = zyn_parse_tm_time(&t.record, &why);
    if (Parsed(value, why) != naive_broken_down(t.record) || zyn_parse_tm_time(&t.record, nullptr) != value)
        return "time in numbers, " +
               text_of(t.record.tm_mon, t.record.tm_mday, t.record.tm_hour, t.record.tm_min, t.record.tm_year);

    tm now;
    localtime_r(&script.now, &now);
    Parsed expected = t.date.size() != 8
                          ? Parsed(0, illegal + "invalid X date format\n")
                          : naive_parse(t.date.substr(0, 4) + text_of(0, 0, now.tm_hour, now.tm_min, 0).substr(4, 4) +
                                        t.date.substr(4));
    expected.first += expected.first != 0 ? now.tm_sec : 0;
    int code = 0, speed = 0, n[5];
    if (with_message([&](char **slot) { return parse_Xtime(t.date.c_str(), slot, &code); }) != expected ||
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
    const Parsed moved = with_message([&](char **slot) {
        return parse_reltime(t.parts[0].c_str(), t.parts[1].c_str(), t.parts[2].c_str(), t.parts[3].c_str(), origin,
                             slot, t.mode);
    });
    const bool countable = n[0] > -2000000000 && n[0] < 2000000000;
    const bool same =
        !countable || moved == naive_relative(script.now, script.later, n[0], n[1], n[2], n[3], origin, t.mode);
    return same ? "" : "distance " + t.parts[0] + "y " + t.parts[1] + "d " + t.parts[2] + "h " + t.parts[3] + "m";
}
