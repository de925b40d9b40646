#include <cstdio>
#include <cstring>
#include <ctime>

#include "base/integer.h"
#include "base/local_time.h"
#include "control/control.h"
#include "control/shown_time.h"
#include "control/visibility.h"
#include "identity/kinds.h"
#include "ov_helper.h"

namespace ov
{

// Asks a shell who owns a process, as long as the process is alive.
struct ProcessCommands {
    static Answer is_alive(int32_t pid) { return answer(is_pid_alive(pid) != 0); }
    static Answer belongs_to(int32_t pid, int uid)
    {
        // A process that has just ended belongs to uid 0.
        const int owner = is_pid_alive(pid) != 0 ? get_uid_from_pid(pid) : 0;
        return answer(owner == uid);
    }
};

// The name to show a table entry under, or null when it is not shown.
static const char *listed_name(const zynov_iov &entry, uint64_t container, int uid)
{
    if (is_visible(entry, container, uid, ProcessCommands()) != Answer::yes)
        return nullptr;
    const char *name = get_username(kind_of(entry), static_cast<uint32_t>(entry.id));
    // get_username returns this for a number without a name, so a user of this name is left out, too.
    return strcmp(name, "UNKNOWN") != 0 ? name : nullptr;
}

static void print_row(const zynov_iov &entry, const char *name)
{
    const time_t instant = shown_time(entry);
    char date[26] = {};
    if (has_text(instant))       // GCOVR_EXCL_BR_LINE: glibc writes all
        ctime_r(&instant, date); // fails for a year of five digits, but leaves a legible text
    printf("%c:%-8s %-25s %s\n", identity_letter(kind_of(entry)), name, clock_speed_string(low_32(entry.speed)), date);
}

} // namespace ov

// errno is not kept here on purpose: the ENOENT of a process that ended silences the failure of its slot.
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
        if (const char *name = ov::listed_name(ov::theiov, container, uid))
            ov::print_row(ov::theiov, name);
    }
    printf("- End of list -\n");
    return failure;
}
