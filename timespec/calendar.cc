#include "timespec/calendar.h"

#include "ov_helper.h"

namespace ov
{

void add_one_day_to_tm(tm *date)
{
    if (get_month_days(date->tm_year, date->tm_mon) > date->tm_mday) {
        ++date->tm_mday;
        return;
    }
    date->tm_mday = 1;
    if (date->tm_mon >= 11) {
        date->tm_mon = 0;
        date->tm_year = low_32(int64_t{date->tm_year} + 1);
    } else {
        ++date->tm_mon;
    }
}

void subtract_one_day_from_tm(tm *date)
{
    if (date->tm_mday > 1) {
        --date->tm_mday;
    } else if (date->tm_mon <= 0) {
        date->tm_mday = 31;
        date->tm_mon = 11;
        date->tm_year = low_32(int64_t{date->tm_year} - 1);
    } else {
        date->tm_mday = get_month_days(date->tm_year, --date->tm_mon);
    }
}

} // namespace ov

int is_leap_year(int year)
{
    return ov::is_leap(year) ? 1 : 0;
}
