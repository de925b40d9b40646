// The fast time arithmetic against naive walks, and the exact answers of the parsers.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <random>

#include "ov_helper.h"
#include "tests/naive_time.h"
#include "tests/scripted_libc.h"
#include "timespec/calendar.h"

using Day = std::array<int, 3>; // year from 1900, month 0 to 11, day

static Day moved(const Day &day, void (*move)(tm *))
{
    tm t = {.tm_mday = day[2], .tm_mon = day[1], .tm_year = day[0]};
    move(&t);
    return {t.tm_year, t.tm_mon, t.tm_mday};
}

TEST(Time, CountsDaysAsAWalkDoes)
{
    set_zone("UTC");
    Day day = {-1950, 0, 1}; // early enough to cross centuries and cycles
    for (int64_t number = ov::day_number(-50, 1, 1); day[0] < 8100; ++number) {
        const int year = day[0] + 1900, month = day[1] + 1, mday = day[2];
        ASSERT_EQ(ov::date_of(number), (ov::Date{year, month, mday}));
        ASSERT_EQ(ov::day_number(year, month, mday), number);
        const Day next = moved(day, ov::add_one_day_to_tm);
        ASSERT_EQ(moved(next, ov::subtract_one_day_from_tm), day);
        if (year >= 1970 && (mday % 19 == 1 || next[2] == 1)) {
            ASSERT_EQ(zyn_parse_time(text_of(month, mday, 23, 59, year).c_str(), nullptr), number * 86400 + 86340);
        }
        day = next;
    }
    const Day odd[][3] = {{{101, 12, 5}, {102, 0, 1}, {101, 12, 4}},
                          {{101, -1, 1}, {101, 0, 1}, {100, 11, 31}},
                          {{101, 4, 0}, {101, 4, 1}, {101, 3, 30}},
                          {{101, 3, 31}, {101, 4, 1}, {101, 3, 30}},
                          {{101, 13, 1}, {102, 0, 1}, {101, 12, -1}},
                          {{INT_MAX, 11, 31}, {INT_MIN, 0, 1}, {INT_MAX, 11, 30}},
                          {{INT_MIN, 0, 1}, {INT_MIN, 0, 2}, {INT_MAX, 11, 31}}};
    for (const auto &[from, next, previous] : odd) {
        EXPECT_EQ(moved(from, ov::add_one_day_to_tm), next);
        EXPECT_EQ(moved(from, ov::subtract_one_day_from_tm), previous);
    }
    EXPECT_EQ(is_leap_year(2000), 0);
    EXPECT_EQ(is_leap_year(2100), 1);
    EXPECT_EQ(is_leap_year(INT_MAX), 0);
}

TEST(Time, ReadsTextsAsTheNaiveParsersDo)
{
    std::mt19937_64 random(1);
    const auto below = [&](unsigned range) { return static_cast<int>(random() % range); };
    const auto any = [&](int range) { return below(2 * static_cast<unsigned>(range) + 1) - range; };
    const auto spoilt = [&](std::string text) {
        for (int odd = below(4) - 1; odd > 0; --odd)
            text[random() % text.size()] = "0123456789 +-x\xff"[below(15)];
        return text;
    };
    std::vector<std::string> zones = {"UTC",  "America/New_York", "Europe/Berlin", "Australia/Lord_Howe", "UTC10",
                                      "PST8", "XXX8:01"};
    for (int shift = -23; shift <= 23; ++shift) // every gap between two hours
        zones.push_back("AAA0BBB" + std::to_string(-shift) + ",M3.5.0/0,M10.5.0/0");
    for (const std::string &zone : zones) {
        set_zone(zone.c_str());
        for (int round = 0; round < 2000; ++round) {
            // Around midnights, changes of daylight saving time, and 29 February.
            static const time_t around[] = {1711843200, 1729987200, 1709164800, 1679788800, 1583020800, 4107542400};
            static const std::string edges[] = {"010109001970", "010108591970", "123123599999", "0101000020000", ""};
            static const char *const extremes[] = {"1999999999", "-1999999999", "2147483648", "2932896", "abc"};
            Script script;
            script.now = around[below(6)] + any(26) * 3600 + any(2) * 30;
            script.later = script.now + any(1);
            script.summer = round % 7 == 0;
            const int month = below(14), day = below(33), hour = any(12) + 12, minute = below(61);
            const int year = below(2) != 0 ? 1968 + below(80) : below(2) != 0 ? 9990 + below(20) : 1968 + below(8000);
            const std::string text = text_of(month, day, hour, minute, year);
            TimeTexts t = {
                {.tm_min = minute - any(1), .tm_hour = hour - any(1), .tm_mday = day, .tm_mon = month, .tm_year = year},
                round < 5 ? edges[round] : spoilt(text),
                spoilt(text.substr(0, 4) + text.substr(8)),
                spoilt(std::to_string(any(1100) + (round % 4 == 0 ? 1LL << 32 : 0)))};
            const int years = round % 4 == 0 ? any(30) : 0, days = any(round % 2 == 0 ? 2 : 250);
            for (const int part : {years, days, any(round % 3 == 0 ? 50 : 1), any(2000)})
                t.parts[t.mode++] = std::to_string(part);
            if (round % 8 == 0)
                t.parts[4] = std::to_string((round % 16 == 0 ? script.now : round % 24 == 0 ? 115199 : 32400) + any(2));
            if (round % 32 < 9)
                t.parts[below(4)] = extremes[below(5)];
            t.mode = round % 8 < 2 ? any(1) : 0;
            ASSERT_EQ(read_otherwise(script, t), "") << "in " << zone << " at " << script.now;
        }
    }
}

TEST(Time, ReadsWhatIsPrintedInEveryForm)
{
    Script script;
    std::mt19937_64 random(1);
    const auto below = [&](unsigned range) { return static_cast<int64_t>(random() % range); };
    for (const std::string zone : {"UTC", "America/New_York", "Europe/Berlin", "Australia/Lord_Howe", "Asia/Kathmandu",
                                   "Pacific/Apia", "PST8", "AAA0BBB-22,M3.5.0/0,M10.5.0/0"}) {
        set_zone(zone.c_str());
        for (int round = 0; round < 4000; ++round) {
            static const char *const forms[] = {"%F %T", "%a %b %e %T %Y", "@%s", "%F %H:%M", "%F %TZ", "%F %T"};
            const time_t around[] = {1711843200, 1729987200, 1709164800, 32400, 253402100000, below(1U << 31) * 117};
            time_t value = around[round % 6] + below(200000) - 100000;
            char text[64];
            strftime(text, sizeof text, forms[below(6)], localtime(&value));
            std::string typed = text;
            if (typed.size() == 19 && below(2) == 0)
                typed += below(2) == 0 ? "+05:30" : "-11:59";
            if (below(4) == 0)
                typed[below(static_cast<unsigned>(typed.size()))] = "0123456789 :-TZ"[below(15)];
            const Parsed read = with_message([&](char **slot) { return ov_read_time(typed.c_str(), slot); });
            ASSERT_EQ(read.first, naive_any_form(typed)) << typed << " in " << zone << ": " << read.second;
            ASSERT_EQ(read.second.rfind(illegal, 0) == 0, read.first == 0) << typed;
        }
    }
    set_zone("UTC");
    script.now = 1924419600;
    EXPECT_EQ(ov_read_time("now", nullptr), 1924419600);
    EXPECT_EQ(ov_read_time("2030-12-25t09:00z", nullptr), 1924419600);
    EXPECT_EQ(ov_read_time("2030-12-25 09:00:00X05:30", nullptr), 0);
    const std::pair<const char *, std::string> refused[] = {
        {nullptr, "invalid input\n"},
        {"2030-12-25", "a date without a time of day\n"},
        {"2030-03-31 02:30:00", "no such local time, the clocks are put forward past it\n"},
        {"10000-01-01 18:00", "must not be after Fri Dec 31 23:59:59 9999\nyou specified 10000-01-01 18:00, it is "
                              "Sat Jan  1 18:00:00 10000\n\n"}};
    set_zone("Europe/Berlin");
    for (const auto &[text, why] : refused)
        EXPECT_EQ(with_message([text = text](char **slot) { return ov_read_time(text, slot); }).second, illegal + why);
    set_zone("UTC");
    EXPECT_EQ(ov_read_time("Sat Jan  1 07:59:59 10000", nullptr), 253402329599);
    EXPECT_EQ(ov_read_time("+10000-01-01t08:59:59.99+01:00", nullptr), 253402329599);
}

TEST(Time, AnswersRelativeSpecifications)
{
    Script script;
    set_zone("Europe/Berlin");
    const auto in_a_day = [&](int64_t now) {
        script.now = now;
        return parse_reltime(nullptr, "1", nullptr, nullptr, nullptr, nullptr, 0);
    };
    EXPECT_EQ(parse_reltime(nullptr, nullptr, nullptr, nullptr, "32400", nullptr, 0), 32400);
    EXPECT_EQ(parse_reltime(nullptr, "2932896", nullptr, nullptr, "115199", nullptr, 0), 253402329599);
    // Into summer: the same hour the day after; to and from the hours at midnight: noon.
    EXPECT_EQ(in_a_day(1711790430), 1711790430 + 82800);
    EXPECT_EQ(in_a_day(1711837830), 1711967430);
    EXPECT_EQ(in_a_day(1729981830), 1730115030);
    script.no_messages = true;
    EXPECT_EQ(in_a_day(1711790430), 0);
    // No such local time: it counts as day 0, and each of the two moves leads from there to December 1899.
    script.no_messages = false;
    script.now = INT64_MAX;
    EXPECT_EQ(parse_reltime(nullptr, nullptr, "876000", "-1440", nullptr, nullptr, 0), 944524800 - 3600);
}

TEST(Time, AnswersWhereThereIsNoText)
{
    Script script;
    int number = -1;
    const char *why;
    EXPECT_EQ(parse_speed(nullptr, &number) + number, -2);
    EXPECT_EQ(zyn_parse_tm_time(nullptr, &why) + zyn_parse_tm_time(nullptr, nullptr), 0);
    EXPECT_STREQ(why, "invalid input");
    EXPECT_EQ(with_message([](char **slot) { return zyn_parse_time(nullptr, slot); }).second,
              illegal + "invalid input\n");
    EXPECT_EQ(with_message([&](char **slot) { return parse_Xtime(nullptr, slot, &number); }).second,
              illegal + "invalid X input\n");
    EXPECT_EQ(number, 809);
    set_zone("UTC");
    setenv("TZ", "Europe/Berlin", 1); // in summer; the zone is not known before
    const tm summer = {.tm_min = 7, .tm_hour = 14, .tm_mday = 1, .tm_mon = 8, .tm_year = 2030};
    EXPECT_EQ(zyn_parse_tm_time(&summer, nullptr), 1911816420 - 86400);
}

TEST(Time, RewindsToADate)
{
    set_zone("UTC");
    EXPECT_EQ(adjust_virtime_for_rewind(1898640000, 0), 0);
    EXPECT_EQ(adjust_virtime_for_rewind(1898553600 + 50000, 1898726400 + 29742), 1898553600 + 29742);
    EXPECT_EQ(adjust_virtime_for_rewind(INT64_MIN, INT64_MAX), adjust_virtime_for_rewind(INT64_MAX, INT64_MIN));
    set_zone("Europe/Berlin"); // the date in winter, the hour in summer: an hour less
    EXPECT_EQ(adjust_virtime_for_rewind(1893492000, 1909130400), 1893492000 - 3600 + 7200 - 3600);
}
