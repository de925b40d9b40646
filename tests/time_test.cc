// The fast time arithmetic against naive walks, and the parsers' answers to the letter.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <random>
#include <sstream>

#include "ov_helper.h"
#include "tests/naive_time.h"
#include "tests/scripted_libc.h"
#include "timespec/calendar.h"

static Parsed parse(const char *text)
{
    return with_message([=](char **message) { return zyn_parse_time(text, message); });
}

TEST(Time, CountsDaysAsAWalkDoes)
{
    tm date = {};
    date.tm_mday = 1;
    date.tm_year = -1950; // 51 years before the first, so that centuries and cycles are crossed
    int64_t day = ov::day_number(-50, 1, 1);
    for (; date.tm_year < 700; ++day) {
        const tm before = date;
        ASSERT_EQ(ov::date_of(day), (ov::Date{date.tm_year + 1900, date.tm_mon + 1, date.tm_mday}));
        ASSERT_EQ(ov::day_number(date.tm_year + 1900, date.tm_mon + 1, date.tm_mday), day);
        ov::add_one_day_to_tm(&date);
        tm back = date;
        ov::subtract_one_day_from_tm(&back);
        ASSERT_EQ(memcmp(&back, &before, sizeof back), 0);
    }
    const int odd[][9] = {// year from 1900, month 0 to 11, day: as they are, a day later, a day earlier
                          {101, 3, 31, 101, 4, 1, 101, 3, 30},
                          {101, 12, 5, 102, 0, 1, 101, 12, 4},
                          {101, -1, 5, 101, 0, 1, 101, -1, 4},
                          {101, 4, 0, 101, 4, 1, 101, 3, 30},
                          {101, 13, 1, 102, 0, 1, 101, 12, -1},
                          {INT_MAX, 11, 31, INT_MIN, 0, 1, INT_MAX, 11, 30},
                          {INT_MIN, 0, 1, INT_MIN, 0, 2, INT_MAX, 11, 31}};
    for (const auto &o : odd) {
        tm forward = {}, back = {};
        forward.tm_year = back.tm_year = o[0], forward.tm_mon = back.tm_mon = o[1],
        forward.tm_mday = back.tm_mday = o[2];
        ov::add_one_day_to_tm(&forward);
        ov::subtract_one_day_from_tm(&back);
        EXPECT_TRUE(forward.tm_year == o[3] && forward.tm_mon == o[4] && forward.tm_mday == o[5]) << o[1];
        EXPECT_TRUE(back.tm_year == o[6] && back.tm_mon == o[7] && back.tm_mday == o[8]) << o[1];
    }
    EXPECT_TRUE(is_leap_year(2000) == 0 && is_leap_year(2100) == 1 && is_leap_year(INT_MAX) == 0);

    // Both parsers, on the first and last days of all months.
    set_zone("UTC");
    static const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int64_t first = 0, full_year_first = 0;
    for (int year = 1970; year <= 9999; ++year) {
        const int leap = is_leap_year(year - 1900), full_year_leap = is_leap_year(year);
        for (int month = 1, passed = 0; month <= 12; passed += lengths[month++ - 1]) {
            for (const int mday : {1, 20, lengths[month - 1]}) {
                const int64_t in_year = passed + mday - 1;
                ASSERT_EQ(zyn_parse_time(text_of(month, mday, 23, 59, year).c_str(), nullptr),
                          (first + in_year + (month > 2 ? leap : 0)) * 86400 + 86340);
                tm record = {};
                record.tm_mday = mday, record.tm_mon = month, record.tm_year = year, record.tm_hour = 23,
                record.tm_min = 59;
                const int64_t full_year_day = full_year_first + in_year + (month > 2 ? full_year_leap : 0);
                // The whole days in 32 bits, the rest of the sum in 64.
                const int64_t whole_days = static_cast<int32_t>(full_year_day * 86400);
                ASSERT_EQ(zyn_parse_tm_time(&record, nullptr), whole_days + 86340);
            }
        }
        first += 365 + leap;
        full_year_first += 365 + full_year_leap;
    }
}

static const char *const zones[] = {"UTC", "America/New_York", "Europe/Berlin", "Australia/Lord_Howe", "UTC10", "PST8"};

TEST(Time, ReadsTwelveCharactersAsStrtolDoes)
{
    std::mt19937 random(1);
    for (const char *zone : zones) {
        set_zone(zone);
        for (int round = 0; round < 20000; ++round) {
            const auto any = [&](unsigned range) { return static_cast<int>(random() % range); };
            std::string text =
                text_of(any(14), any(33), any(25), any(61), any(20) != 0 ? 1968 + any(80) : 9990 + any(11));
            for (int odd = any(4) - 1; odd > 0; --odd)
                text[random() % text.size()] = "0123456789 +-x\xff"[random() % 15];
            ASSERT_EQ(parse(text.c_str()), naive_parse(text)) << text << " in " << zone;
        }
    }
    set_zone("UTC");
    EXPECT_EQ(parse(nullptr), Parsed(0, "ovuser: error: Illegal virtual clock, invalid input\n"));
    for (const char *text :
         {"", "01010000200", "0101000020000", "010109001970", "010108591970", "123123599999", " 10100002000"})
        EXPECT_EQ(parse(text), naive_parse(text));
    set_zone("XXX8:01"); // one second too late
    EXPECT_EQ(parse("123123599999"), naive_parse("123123599999"));

    const char *why = nullptr;
    const struct {
        int month, day, hour, minute, year;
        const char *why;
    } refusals[] = {
        {INT_MIN, 1, 0, 0, 2000, "Illegal month"},
        {2, 0, -1, 60, 1969, "Illegal days with regard to month"},
        {2, 30, 0, 0, 2100, "Illegal days with regard to month"},
        {2, 28, -1, 60, 1969, "Illegal hours[0 ~ 23]"},
        {2, 28, 0, 60, 1969, "Illegal minutes[0 ~ 59]"},
        {2, 28, 0, 0, 1969, "Illegal year[<1970]"},
        {2, 28, 0, 0, 10000, "Illegal year[>9999]"},
        {2, 29, 0, 0, 2000, "Illegal days with regard to year and month[1 ~ 28]"},
    };
    for (const auto &r : refusals) {
        tm record = {};
        record.tm_mon = r.month, record.tm_mday = r.day, record.tm_hour = r.hour, record.tm_min = r.minute;
        record.tm_year = r.year;
        EXPECT_EQ(zyn_parse_tm_time(&record, &why) + zyn_parse_tm_time(&record, nullptr), 0);
        EXPECT_STREQ(why, r.why);
    }
    setenv("TZ", "Europe/Berlin", 1); // in summer; the zone is not known before
    const tm summer = {.tm_min = 7, .tm_hour = 14, .tm_mday = 1, .tm_mon = 7, .tm_year = 2030};
    EXPECT_EQ(zyn_parse_tm_time(&summer, nullptr), 1909138020 - 86400);
    set_zone("UTC");
    const tm leap_day = {.tm_mday = 29, .tm_mon = 2, .tm_year = 2100},
             next = {.tm_mday = 1, .tm_mon = 3, .tm_year = 2100};
    EXPECT_EQ(zyn_parse_tm_time(&leap_day, nullptr) + 86400, zyn_parse_tm_time(&next, nullptr));
    EXPECT_EQ(zyn_parse_tm_time(nullptr, &why), 0);
    EXPECT_STREQ(why, "invalid input");
}

TEST(Time, MovesRelativelyAsAWalkDoes)
{
    Script script;
    std::mt19937_64 random(1);
    const auto any = [&](int64_t range) {
        return static_cast<int64_t>(random() % static_cast<uint64_t>(2 * range + 1)) - range;
    };
    std::vector<std::string> places(std::begin(zones), std::end(zones));
    for (int shift = -23; shift <= 23; ++shift) // every gap between the hour that was left and the one that is met
        places.push_back("AAA0BBB" + std::to_string(-shift) + ",M3.5.0/0,M10.5.0/0");
    for (const std::string &place : places) {
        set_zone(place.c_str());
        for (int round = 0; round < 1500; ++round) {
            // Around midnights, changes of daylight saving time, and 29 February.
            static const time_t around[] = {1711843200, 1729987200, 1709164800, 1743292800, 1583020800, 4107542400};
            script.now = around[random() % 6] + any(26) * 3600 + any(2) * 30;
            script.later = script.now + any(1);
            script.clock_readings = 0;
            const int years = round % 4 == 0 ? static_cast<int>(any(30)) : 0;
            const int days = static_cast<int>(any(round % 2 == 0 ? 2 : 250));
            const int hours = static_cast<int>(any(round % 3 == 0 ? 50 : 1)), minutes = static_cast<int>(any(2000));
            char *message = nullptr;
            const auto text = [](int number) { return std::to_string(number); };
            const int64_t value = parse_reltime(text(years).c_str(), text(days).c_str(), text(hours).c_str(),
                                                text(minutes).c_str(), nullptr, &message, 0);
            const Parsed parsed(value, message != nullptr ? message : "");
            free(message);
            ASSERT_EQ(parsed, naive_relative(script.now, script.later, years, days, hours, minutes))
                << place << " " << script.now << ": " << years << "y " << days << "d " << hours << "h " << minutes
                << "m";
        }
    }
}

TEST(Time, AnswersRelativeSpecifications)
{
    const std::string early =
        "ovuser: error: Illegal virtual clock, must not be before Thu Jan 1 01:00:00 1970\nyou specified ";
    const std::string late =
        "ovuser: error: Illegal virtual clock, must not be after Fri Dec 31 23:59:59 9999\nyou specified ";
    const std::string illegal = "ovuser: error: Illegal virtual clock, invalid ";
    const std::string future = "ovuser: error: Illegal time value for -o option, must not be greater than "
                               "the current time.\nYou specified ";
    constexpr int64_t leap_day = 1709202030; // 2024-02-29 10:20:30 UTC
    const struct {
        std::string request; // years, days, hours, minutes, origin, mode; - is none
        int64_t value;
        std::string message;
        int64_t now = leap_day;
        const char *zone = "UTC";
    } cases[] = {
        {"- - - -1 - 0", 1709164740, "", 1709164800}, // from midnight to the day before
        // No such local time: it counts as day 0, from which each of the two moves leads to December 1899.
        {"- - 876000 -1440 - 0", 944524800, "", INT64_MAX},
        // Into summer and out of it: the same hour the day after; to and from the hours at midnight: noon.
        {"- 1 - - - 0", 1711790430 + 82800, "", 1711790430, "Europe/Berlin"},
        {"- 1 - - - 0", 1729930830 + 90000, "", 1729930830, "Europe/Berlin"},
        {"- 1 - - - 0", 1711967430, "", 1711837830, "Europe/Berlin"},
        {"- 1 - - - 0", 1730115030, "", 1729981830, "Europe/Berlin"},
        {"- - - - - 0", leap_day, ""},
        {"1 - - - - 0", leap_day + 366 * 86400, ""},
        {"-1 - abc 5x - 0", leap_day - 365 * 86400 + 300, ""},
        {"- 1 -10 -21 - 0", leap_day + 86400 - 10 * 3600 - 21 * 60, ""},
        {"- - - - 1709202030 0", leap_day, ""},
        {"- - - - 1709202031 0", 0, future + "1709202031\n"},
        {"- - - - 4294967295 1", -1, ""},
        {"- - - - 9 0", 0, early + "0x9, it is Thu Jan  1 00:00:09 1970\n\n"},
        {"- 2147483647 - - 9 0", 0, late + "0xa8bffffeae89, it is Fri Jul 11 00:00:09 5881580\n\n"},
        {"- 2147483647 - - - 1", leap_day + 2147483647LL * 86400 + 30, ""},
        {"- - - - 32400 0", 32400, ""},
        {"- 2932896 - - 115199 0", 253402329599, ""},
        {"-2147483648 -2147483648 -2147483648 -2147483648 - 7", -52852158373620, ""},
        {"- - - 2147483647 - 0", leap_day + 2147483647LL * 60, ""},
        {"- - - -2147483648 - 0", 0, illegal + "date format\n"},
        {"- - 2147483647 - - 0", 0, illegal + "date format\n"},
        {"- 2147483647 - - - 0", 0, illegal + "date format\n"},
        {"- -2147483648 - - - 0", 0, illegal + "date format\n"},
        {"-2020 - - - - 0", 0, illegal + "year[1970 ~ 9999]\n"},
        {"2147483647 2147483647 2147483647 2147483647 - 0", 0, illegal + "date format\n"},
    };
    Script script;
    for (const auto &c : cases) {
        set_zone(c.zone);
        script.now = c.now;
        std::istringstream words(c.request);
        std::array<std::string, 6> w;
        for (std::string &word : w)
            words >> word;
        const auto text = [&](size_t i) { return w[i] != "-" ? w[i].c_str() : nullptr; };
        const Parsed parsed = with_message([&](char **message) {
            return parse_reltime(text(0), text(1), text(2), text(3), text(4), message, std::stoi(w[5]));
        });
        EXPECT_EQ(parsed, Parsed(c.value, c.message)) << c.request;
    }
    script.no_messages = true;
    EXPECT_EQ(
        with_message([](char **message) { return parse_reltime("0", nullptr, nullptr, nullptr, nullptr, message, 0); }),
        Parsed(0, ""));
}

TEST(Time, ReadsDatesSpeedsAndRewinds)
{
    Script script;
    set_zone("Europe/Berlin");
    script.now = 1709212053; // 14:07:33
    int code = -1;
    const auto date = [&](const char *text) {
        return with_message([&](char **message) { return parse_Xtime(text, message, &code); });
    };
    EXPECT_EQ(date("12252030"), Parsed(1924434453, ""));
    EXPECT_EQ(date("07012030"), Parsed(1909138053, "")); // in summer
    EXPECT_EQ(date("02292001").second, naive_parse("022914072001").second);
    EXPECT_EQ(date("123119699").first + code, 809);
    code = -1;
    set_zone("UTC");
    script.now = 5 * 3600 + 30 * 60 + 12;
    EXPECT_EQ(date("01011970").second, naive_parse("010105301970").second);
    EXPECT_EQ(code, -1);
    EXPECT_EQ(date(nullptr), Parsed(0, "ovuser: error: Illegal virtual clock, invalid X input\n"));
    EXPECT_EQ(date("1225203"), Parsed(0, "ovuser: error: Illegal virtual clock, invalid X date format\n"));
    EXPECT_EQ(code, 809);

    const struct {
        const char *text;
        int result, speed;
    } speeds[] = {{"1000", 0, 1000}, {"-1000", 0, -1000},  {"1001", -1, 1001}, {"-1001", -1, -1001},
                  {" 5", 0, 5},      {"5 ", -1, 5},        {"+7", 0, 7},       {"", 0, 0},
                  {"0x10", -1, 0},   {"4294967297", 0, 1}, {nullptr, -1, 99}};
    for (const auto &s : speeds) {
        int speed = 99;
        EXPECT_EQ(parse_speed(s.text, &speed), s.result) << s.text;
        EXPECT_EQ(speed, s.speed) << s.text;
    }

    EXPECT_EQ(adjust_virtime_for_rewind(1898640000, 0), 0);
    EXPECT_EQ(adjust_virtime_for_rewind(1898553600 + 50000, 1898726400 + 29742), 1898553600 + 29742);
    set_zone("Europe/Berlin"); // the date in winter, the hour in summer: an hour less
    EXPECT_EQ(adjust_virtime_for_rewind(1893492000, 1909130400), 1893492000 - 3600 + 7200 - 3600);
    EXPECT_EQ(adjust_virtime_for_rewind(INT64_MIN, INT64_MAX), adjust_virtime_for_rewind(INT64_MAX, INT64_MIN));
}
