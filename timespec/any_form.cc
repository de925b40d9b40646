#include <sys/time.h>

#include <cstring>
#include <ctime>

#include "base/local_time.h"
#include "base/message.h"
#include "ov_helper.h"
#include "timespec/digits.h"
#include "timespec/range.h"
#include "timespec/timestamp.h"

namespace ov
{

// Finds the instant of a local time, which is given in seconds as if it were UTC. A time that occurs twice is taken as
// standard time; one that the change to daylight saving time skips is not found.
static bool find_local(int64_t civil, int64_t &value)
{
    bool found = false;
    tzset();
    for (const int64_t day : {-86400, 86400}) { // the offsets before and after a change
        const int64_t candidate = civil - local_time(civil + day).tm_gmtoff;
        const tm local = local_time(candidate);
        if (local.tm_gmtoff == civil - candidate && (!found || local.tm_isdst == 0)) {
            value = candidate;
            found = true;
        }
    }
    return found;
}

// Reads the date and time as zyn_parse_time does.
static int64_t read_to_the_minute(const Timestamp &t, char **slot)
{
    char text[13];
    char *end = text;
    for (const int64_t pair : {t.month, t.day, t.hour, t.minute, t.year / 100, t.year % 100})
        end = write_pair(end, static_cast<int>(pair));
    *end = '\0';
    return zyn_parse_time(text, slot);
}

} // namespace ov

int64_t ov_read_time(const char *text, char **slot)
{
    using namespace ov;
    Message message(slot);
    if (text != nullptr && strcmp(text, "now") == 0) {
        timeval now = {};
        gettimeofday(&now, nullptr);
        return now.tv_sec;
    }
    const Timestamp t = text != nullptr ? read_timestamp(text) : Timestamp();
    if (t.kind == Timestamp::unknown)
        return zyn_parse_time(text, slot);
    if (t.kind == Timestamp::civil && t.to_the_minute && t.year <= 9999)
        return read_to_the_minute(t, slot);

    const char *flaw = t.kind == Timestamp::date_alone ? "a date without a time of day" : t.flaw();
    int64_t value = flaw == nullptr ? t.seconds() : 0;
    if (flaw == nullptr && t.kind == Timestamp::civil && !find_local(value, value))
        flaw = "no such local time, the clocks are put forward past it";
    if (flaw != nullptr) {
        message.set(OV_ILLEGAL_CLOCK "%s\n", flaw);
        return 0;
    }
    if (const char *range = range_flaw(value)) {
        message.set("%s%s, it is %s\n", range, text, time_text(value));
        return 0;
    }
    return value;
}
