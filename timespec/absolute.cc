#include <cstring>
#include <ctime>

#include "base/local_time.h"
#include "base/message.h"
#include "ov_helper.h"
#include "timespec/calendar.h"
#include "timespec/daylight.h"
#include "timespec/range.h"

namespace ov
{

constexpr size_t text_length = 12;
constexpr int year_2000 = 100; // a leap year: the year itself is checked later
constexpr int first_year = 1970, last_year = 9999;

struct CivilTime {
    int month, day, hour, minute, year;
};

static int read_field(const char *text, size_t length)
{
    char field[5] = {};
    memcpy(field, text, length);
    return read_decimal(field);
}

// Reads twelve digits, eight and four at a time: each byte becomes its digit, then each pair its number. False if there
// is anything but digits.
static bool read_digits(const char *text, CivilTime &t)
{
    uint64_t pairs;
    uint32_t year;
    memcpy(&pairs, text, sizeof pairs);
    memcpy(&year, text + sizeof pairs, sizeof year);
    pairs ^= 0x3030303030303030;
    year ^= 0x30303030;
    constexpr uint64_t to_sign = 0x7676767676767676, signs = 0x8080808080808080; // 10 and above set the sign
    if (((pairs | (pairs + to_sign) | year | (year + (to_sign & 0xffffffff))) & signs) != 0)
        return false;
    pairs = 10 * pairs + (pairs >> 8);
    year = 10 * year + (year >> 8);
    const auto pair = [](uint64_t of, int number) { return static_cast<int>(of >> 16 * number & 0xff); };
    t = {pair(pairs, 0), pair(pairs, 1), pair(pairs, 2), pair(pairs, 3), 100 * pair(year, 0) + pair(year, 1)};
    return true;
}

// Reads any twelve characters, each field as strtol does.
[[gnu::cold]] static void read_fields(const char *text, CivilTime &t)
{
    t = {read_field(text, 2), read_field(text + 2, 2), read_field(text + 4, 2), read_field(text + 6, 2),
         read_field(text + 8, 4)};
}

static constexpr bool is_hour(int hour)
{
    return hour >= 0 && hour <= 23;
}

static constexpr bool is_minute(int minute)
{
    return minute >= 0 && minute <= 59;
}

// Reads a text. Returns what is wrong with it, or null.
static const char *flaw_in(const char *text, CivilTime &t)
{
    if (text == nullptr)
        return "invalid input";
    if (strnlen(text, text_length + 1) != text_length)
        return "invalid date format";
    if (!read_digits(text, t))
        read_fields(text, t);
    if (t.month < 1 || t.month > 12)
        return "invalid month";
    if (t.day < 1 || (t.day > 28 && t.day > get_month_days(year_2000, t.month - 1)))
        return "invalid days with regard to month";
    if (!is_hour(t.hour))
        return "invalid hours[0 ~ 23]";
    if (!is_minute(t.minute))
        return "invalid minutes[0 ~ 59]";
    if (t.year < first_year) // four characters end at 9999
        return "invalid year[1970 ~ 9999]";
    if (t.day > 28 && t.month == 2 && !is_leap(t.year - since_1900))
        return "invalid days with regard to year and month of Febrary[1 ~ 28]";
    return nullptr;
}

} // namespace ov

int64_t zyn_parse_time(const char *text, char **slot)
{
    using namespace ov;
    CivilTime t;
    if (const char *flaw = flaw_in(text, t)) [[unlikely]] {
        Message(slot).set(OV_ILLEGAL_CLOCK "%s\n", flaw);
        return 0;
    }
    const int64_t days = day_number(t.year, t.month, t.day);
    tzset();
    const int64_t value = t.hour * 3600 + t.minute * 60 + timezone + days * 86400;
    if (const char *flaw = range_flaw(value)) [[unlikely]] {
        Message(slot).set("%s%s, it is %s\n", flaw, text, time_text(value));
        return 0;
    }
    return correct_daylight_saving(value);
}

int64_t zyn_parse_tm_time(const struct tm *record, const char **message)
{
    using namespace ov;
    const auto refuse = [&](const char *why) {
        if (message != nullptr)
            *message = why; // a constant, not to be freed
        return 0;
    };
    if (record == nullptr)
        return refuse("invalid input");
    const int64_t month_days = get_month_days(year_2000, int64_t{record->tm_mon} - 1);
    if (month_days == -1)
        return refuse("Illegal month");
    if (record->tm_mday < 1 || record->tm_mday > month_days)
        return refuse("Illegal days with regard to month");
    if (!is_hour(record->tm_hour))
        return refuse("Illegal hours[0 ~ 23]");
    if (!is_minute(record->tm_min))
        return refuse("Illegal minutes[0 ~ 59]");
    if (record->tm_year < first_year)
        return refuse("Illegal year[<1970]");
    if (record->tm_year > last_year)
        return refuse("Illegal year[>9999]");
    // Leap years are judged by the full year on purpose, here and in the day count, unlike in zyn_parse_time.
    if (record->tm_mon == 2 && record->tm_mday > 28 && !is_leap(record->tm_year))
        return refuse("Illegal days with regard to year and month[1 ~ 28]");

    // The seconds of whole days wrap around in 32 bits from 2038-01-21 on, on purpose, too.
    const int64_t days = day_number(record->tm_year, record->tm_mon, record->tm_mday, full_year);
    tzset();
    return correct_daylight_saving(record->tm_hour * 3600 + record->tm_min * 60 + timezone + low_32(days * 86400));
}
