#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/errno_guard.h"
#include "base/integer.h"
#include "identity/kinds.h"
#include "kernel/control.h"
#include "ov_helper.h"
#include "timespec/range.h"

namespace ov
{

// What clock_speed_string returns, call after call.
static char speed_text[1024];

static bool concerns(int32_t kind, int32_t id, int uid)
{
    if (kind == OV_USER)
        return id == uid;
    if (kind == OV_GROUP)
        return static_cast<uint32_t>(id) == getgid();
    // The process may have ended since it was first looked at; then nobody but uid 0 owns it.
    const int owner = is_pid_alive(id) != 0 ? get_uid_from_pid(id) : 0;
    return owner == uid;
}

// The name to show a table entry under, or null when it is not shown.
static const char *shown_name(const zynov_iov &entry, uint64_t container, int uid)
{
    const auto kind = static_cast<int32_t>(entry.flags & ZYNOV_KIND_MASK);
    const int32_t id = low_32(entry.id);
    if (entry.container_id != container || entry.id == 0 || !is_known_kind(kind))
        return nullptr;
    if (kind == OV_PROCESS && is_pid_alive(id) == 0)
        return nullptr;
    if (uid != 0 && !concerns(kind, id, uid))
        return nullptr;
    const char *name = get_username(kind, static_cast<uint32_t>(id));
    return strcmp(name, "UNKNOWN") != 0 ? name : nullptr;
}

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
    char buffer[26];
    const char *date = ctime_r(&instant, buffer);
    printf("%c:%-8s %-25s %s\n", identity_letter(static_cast<int32_t>(entry.flags & ZYNOV_KIND_MASK)), name,
           clock_speed_string(low_32(entry.speed)), date != nullptr ? date : "(null)");
}

} // namespace ov

// No errno is kept here: after a slot command the calls that show the slot may change it, meant so.
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
        if (const char *name = ov::shown_name(ov::theiov, container, uid))
            ov::print_row(ov::theiov, name);
    }
    printf("- End of list -\n");
    return failure;
}

const char *clock_speed_string(int speed)
{
    ov::ErrnoGuard keep;
    if (speed == OV_SPEED_FROZEN)
        strcpy(ov::speed_text, "Frozen");
    else if (speed > OV_SPEED_LIMIT)
        strcpy(ov::speed_text, "FROZEN"); // the capitals tell a stopped clock from a frozen one
    else if (speed == 1 || speed == -1)
        strcpy(ov::speed_text, "Running");
    else if (speed > 0)
        snprintf(ov::speed_text, sizeof ov::speed_text, "%d times faster", speed);
    else // in unsigned numbers, since the smallest int has no negation: it is shown as it is
        snprintf(ov::speed_text, sizeof ov::speed_text, "%d times slower",
                 static_cast<int>(0u - static_cast<unsigned>(speed)));
    return ov::speed_text;
}
