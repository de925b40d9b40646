#include <algorithm>
#include <cstdio>
#include <ctime>

#include "base/integer.h"
#include "identity/kinds.h"
#include "kernel/control.h"
#include "kernel/visibility.h"
#include "ov_helper.h"
#include "timespec/range.h"

namespace ov
{

static time_t shown_time(const zynov_iov &entry)
{
    if ((entry.flags & ZYNOV_DATE_HELD_MASK) == 0)
        return entry.vtime;
    const int64_t date = wrapping_add(entry.base, entry.origin);
    return adjust_virtime_for_rewind(std::min(date, latest_clock), entry.vtime);
}

static void print_row(const zynov_iov &entry, const char *name)
{
    const time_t instant = shown_time(entry);
    char date[26] = {};
    ctime_r(&instant, date); // which leaves a year of five digits legible there when it fails for want of room
    printf("%c:%-8s %-25s %s\n", identity_letter(static_cast<int32_t>(entry.flags & ZYNOV_KIND_MASK)), name,
           clock_speed_string(low_32(entry.speed)), date);
}

} // namespace ov

// No errno is kept here: that a process ended while its slot was shown (ENOENT) is to keep the slot's own failure
// quiet.
int ovuser_list_user(int fd, int uid)
{
    const uint64_t container = zyn_get_container_ID();
    const int64_t high_mark = zyn_get_usr_high_mark(fd);
    printf("%s", uid != 0 ? "ovuser: report: Listing requested virtual clock:\n"
                          : "ovuser: report: Listing all virtual clocks:\n");
    printf("Id         Clock type                Clock date/time\n");
    int failure = 0;
    for (int64_t slot = 0; slot <= high_mark && failure == 0; ++slot) {
        ov::clear_record();
        ov::theiov.slot = static_cast<uint32_t>(slot);
        failure = ov::send_command(fd, ZYNOV_IOC_GET_SLOT);
        if (const char *name = ov::visible_name(ov::theiov, container, uid))
            ov::print_row(ov::theiov, name);
    }
    printf("- End of list -\n");
    return failure;
}
