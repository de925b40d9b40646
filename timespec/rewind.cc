#include "base/local_time.h"
#include "ov_helper.h"

int64_t adjust_virtime_for_rewind(int64_t date, int64_t time_of_day)
{
    if (time_of_day == 0)
        return 0;
    const tm kept = ov::local_time(date);
    // tm_isdst stays that of the time of day, so a date across a change moves by the shift.
    tm combined = ov::local_time(time_of_day);
    combined.tm_year = kept.tm_year;
    combined.tm_mon = kept.tm_mon;
    combined.tm_mday = kept.tm_mday;
    return mktime(&combined);
}
