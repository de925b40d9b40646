// The operations that are measured, and their floors: the C library calls that an operation needs, with the same
// arguments, and nothing else.
#pragma once

#include <fcntl.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "bench/kernel.h"
#include "ov_helper.h"

namespace bench
{

// Keeps the compiler from dropping an unused result.
template <typename Result> inline void use(const Result &result)
{
    asm volatile("" : : "m"(result) : "memory");
}

inline void break_down(time_t when)
{
    tm local;
    localtime_r(&when, &local);
    use(local);
}

inline void parse_time()
{
    use(zyn_parse_time(instant_text, nullptr));
}

inline void daylight_floor(time_t when)
{
    tzset();
    use(*localtime(&when));
}

inline void parse_time_floor()
{
    daylight_floor(instant + timezone);
}

inline void parse_time_by_libc()
{
    tm local = {};
    local.tm_isdst = -1;
    strptime(instant_text, "%m%d%H%M%Y", &local);
    use(mktime(&local));
}

inline void parse_tm_time()
{
    const tm record = {0, 30, 9, 25, 12, 2030, 0, 0, 0, 0, nullptr};
    use(zyn_parse_tm_time(&record, nullptr));
}

inline void parse_date()
{
    int code;
    use(parse_Xtime("12252030", nullptr, &code));
}

inline void parse_a_speed()
{
    int speed;
    use(parse_speed("-1000", &speed));
    use(speed);
}

inline void parse_relative(const char *years, const char *days, const char *minutes)
{
    char *message = nullptr;
    use(parse_reltime(years, days, nullptr, minutes, nullptr, &message, 0));
}

// A shift first moves by days, then by seconds.
inline void parse_relative_floor(int64_t days, int64_t seconds)
{
    timeval now;
    gettimeofday(&now, nullptr);
    break_down(now.tv_sec);
    gettimeofday(&now, nullptr);
    break_down(now.tv_sec);
    break_down(now.tv_sec + days * 86400);
    char *text = strdup(instant_text);
    daylight_floor(now.tv_sec + days * 86400 + seconds);
    free(text);
}

constexpr time_t rewind_date = instant, rewind_time = instant + 17 * 86400;

inline void rewind_clock()
{
    use(adjust_virtime_for_rewind(rewind_date, rewind_time));
}

inline void rewind_clock_floor()
{
    tm date, time_of_day;
    localtime_r(&rewind_date, &date);
    localtime_r(&rewind_time, &time_of_day);
    time_of_day.tm_year = date.tm_year;
    time_of_day.tm_mon = date.tm_mon;
    time_of_day.tm_mday = date.tm_mday;
    use(mktime(&time_of_day));
}

inline void request(ov_operation operation)
{
    ov_request request = {};
    request.operation = operation;
    request.speed = clock_speed;
    request.time_form = OV_ABSOLUTE_FORM;
    request.abs_time = instant_text;
    request.id_count = 1;
    request.id_kind[0] = OV_USER;
    request.id_text[0] = user_text.c_str();
    char *message = nullptr;
    if (ov_process_request(&request, &message) != OV_OK)
        abort();
    free(message);
}

// The calls of every request for one user, except for its message.
template <typename MessageText> inline void request_floor(unsigned long command, MessageText message_text)
{
    use(getuid());
    use(getpwnam(user_text.c_str()));
    char *end;
    const auto uid = static_cast<uid_t>(strtol(user_text.c_str(), &end, 10));
    const passwd *entry = getpwuid(uid);
    if (command == ZYNOV_IOC_ADD_CLOCK)
        parse_time_floor();
    zynov_iov record = {};
    const int control = open(ZYNOV_PATH, O_RDONLY);
    struct stat marker;
    use(stat("/.dockerenv", &marker));
    ioctl(control, command, &record);
    char text[1024];
    message_text(text, entry->pw_uid);
    char *message = strdup(text);
    close(control);
    use(message);
    free(message);
}

inline void add_clock()
{
    request(OV_ADD);
}

inline void add_clock_floor()
{
    request_floor(ZYNOV_IOC_ADD_CLOCK, [](char(&text)[1024], uid_t uid) {
        snprintf(text, sizeof text, "ovuser: %cid %d has been added with a %s virtual clock: %s%s", 'u',
                 static_cast<int>(uid), speed_text, ctime(&instant), "");
    });
}

inline void delete_clock()
{
    request(OV_DELETE);
}

inline void delete_clock_floor()
{
    request_floor(ZYNOV_IOC_DELETE_CLOCK, [](char(&text)[1024], uid_t uid) {
        snprintf(text, sizeof text, "ovuser: report: Virtual clock for %cid %d has been deleted\n", 'u',
                 static_cast<int>(uid));
    });
}

// Standard output must be a file. It is rewritten from the beginning each time, to stay small.
inline void list_clocks(int slots)
{
    table_size = slots;
    lseek(STDOUT_FILENO, 0, SEEK_SET);
    use(ovuser_list_user(control_file, 0));
}

inline void list_clocks_floor(int slots)
{
    lseek(STDOUT_FILENO, 0, SEEK_SET);
    zynov_iov record = {};
    for (int slot = 0; slot < slots; ++slot) {
        ioctl(control_file, ZYNOV_IOC_GET_SLOT, &record);
        const passwd *entry = getpwuid(static_cast<uid_t>(record.id));
        char date[26];
        printf("%c:%-8s %-25s %s\n", 'u', entry->pw_name, speed_text, ctime_r(&record.vtime, date));
    }
}

inline void step_through_processes(int slots)
{
    table_size = slots;
    of_processes = true;
    ov_clock clock = {};
    while (ov_next_clock(control_file, static_cast<int>(getuid()), &clock) > 0)
        use(clock.value);
    of_processes = false;
}

inline void step_through_processes_floor(int slots)
{
    of_processes = true;
    zynov_iov record = {};
    for (int slot = 0; slot < slots; ++slot) {
        ioctl(control_file, ZYNOV_IOC_GET_SLOT, &record);
        char path[32], text[512];
        snprintf(path, sizeof path, "/proc/%d/status", static_cast<int>(record.id));
        const int status = open(path, O_RDONLY | O_CLOEXEC);
        use(read(status, text, sizeof text));
        close(status);
    }
    of_processes = false;
}

} // namespace bench
