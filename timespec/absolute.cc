#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/local_time.h"
#include "base/message.h"
#include "ov_helper.h"
#include "timespec/calendar.h"
#include "timespec/range.h"

namespace ov
{

constexpr size_t text_length = 12;
constexpr int year_2000 = 100; // a leap year, so that February has its 29th before the year is known
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

// MMDDhhmmYYYY. All digits, as good as always, need no strtol; anything else is read as strtol reads it.
static CivilTime read_fields(const char *text)
{
    int digits[text_length];
    bool all_digits = true;
    for (size_t i = 0; i < text_length; ++i) {
        digits[i] = text[i] - '0';
        all_digits &= digits[i] >= 0 && digits[i] <= 9;
    }
    const auto pair = [&](size_t i) { return 10 * digits[i] + digits[i + 1]; };
    if (all_digits)
        return {pair(0), pair(2), pair(4), pair(6), 100 * pair(8) + pair(10)};
    return {read_field(text, 2), read_field(text + 2, 2), read_field(text + 4, 2), read_field(text + 6, 2),
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

// A clock value counted in standard time, as it is when daylight saving time is in effect at it: always one
// hour less, whatever the zone's own shift.
static int64_t correct_daylight_saving(int64_t value)
{
    return local_time(value).tm_isdst != 0 ? wrapping_add(value, -3600) : value;
}

} // namespace ov

int64_t zyn_parse_time(const char *text, char **slot)
{
    using namespace ov;
    Message message(slot);
    const auto refuse = [&](const char *why) {
        message.set(OV_ILLEGAL_CLOCK "%s\n", why);
        return 0;
    };
    if (text == nullptr)
        return refuse("invalid input");
    if (strnlen(text, text_length + 1) != text_length)
        return refuse("invalid date format");
    const CivilTime t = read_fields(text);
    const int month_days = get_month_days(year_2000, t.month - 1);
    if (month_days == -1)
        return refuse("invalid month");
    if (t.day < 1 || t.day > month_days)
        return refuse("invalid days with regard to month");
    if (!is_hour(t.hour))
        return refuse("invalid hours[0 ~ 23]");
    if (!is_minute(t.minute))
        return refuse("invalid minutes[0 ~ 59]");
    if (t.year < first_year || t.year > last_year) { // GCOVR_EXCL_BR_LINE: four digits end at 9999
        message.set(OV_ILLEGAL_CLOCK "invalid year[1970 ~ %d]\n", last_year);
        return 0;
    }
    if (!is_leap(t.year - since_1900) && t.month == 2 && t.day > 28)
        return refuse("invalid days with regard to year and month of Febrary[1 ~ 28]");

    tzset();
    const int64_t value = day_number(t.year, t.month, t.day) * 86400 + t.hour * 3600 + t.minute * 60 + timezone;
    if (value < earliest_clock || value > latest_clock) {
        if (value < earliest_clock)
            message.set(OV_CLOCK_TOO_EARLY "%s, it is %s\n", text, time_text(value));
        else
            message.set(OV_CLOCK_TOO_LATE "%s, it is %s\n", text, time_text(value));
        return 0;
    }
    return correct_daylight_saving(value);
}

int64_t zyn_parse_tm_time(const struct tm *record, const char **message)
{
    using namespace ov;
    const auto refuse = [&](const char *why) {
        if (message != nullptr)
            *message = why; // a constant, which the caller must not free
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
    // Leap years by the full year, unlike zyn_parse_time, here and in the day count: meant so.
    if (!is_leap(record->tm_year) && record->tm_mon == 2 && record->tm_mday > 28)
        return refuse("Illegal days with regard to year and month[1 ~ 28]");

    tzset();
    // The seconds of whole days wrap around in 32 bits from 2038-01-21 on: meant so.
    const int64_t days = day_number(record->tm_year, record->tm_mon, record->tm_mday, full_year);
    return correct_daylight_saving(int64_t{low_32(days * 86400)} + record->tm_hour * 3600 + record->tm_min * 60 +
                                   timezone);
}
