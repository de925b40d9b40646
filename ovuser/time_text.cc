#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ov_helper.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number)
{
    char *end;
    errno = 0;
    number = strtoll(typed, &end, 10);
    return end != typed && *end == '\0' && errno == 0 && number >= least && number <= most;
}

bool read_span(const char *typed, Span &span)
{
    static constexpr char units[] = "ydhmws";
    enum { days = 1, weeks = 4, seconds = 5 };
    int64_t numbers[6] = {};
    bool seen[6] = {}, any = false;
    for (const char *text = typed; *(text += strspn(text, " ")) != '\0'; any = true) {
        char *end;
        errno = 0;
        const long number = strtol(text, &end, 10);
        const char *unit = *end != '\0' ? strchr(units, *end) : nullptr;
        if (end == text || errno != 0 || number < INT32_MIN || number > INT32_MAX || unit == nullptr ||
            seen[unit - units])
            return false;
        numbers[unit - units] = number;
        seen[unit - units] = true;
        text = end + 1;
    }
    numbers[days] += 7 * numbers[weeks];
    seen[days] |= seen[weeks];
    if (numbers[days] < INT32_MIN || numbers[days] > INT32_MAX)
        return false;
    for (int i = 0; i < weeks; ++i) {
        snprintf(span.texts[i], sizeof span.texts[i], "%" PRId64, numbers[i]);
        span.parts[i] = seen[i] ? span.texts[i] : nullptr;
    }
    span.seconds = numbers[seconds];
    return any;
}

// Pads single digits to two, and turns slashes into dashes.
static void complete_digits(const char *typed, char *text, size_t room)
{
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    for (const char *next = typed; *next != '\0' && room > 2; ++next) {
        if (is_digit(*next) && !is_digit(next[1]) && (next == typed || !is_digit(next[-1]))) {
            *text++ = '0';
            --room;
        }
        *text++ = *next == '/' ? '-' : *next;
        --room;
    }
    *text = '\0';
}

// Joins up to five words by blanks; no time has more.
struct Joined {
    char text[64] = "";

    void add(const char *word)
    {
        const size_t length = strlen(text), room = sizeof text - length;
        if (snprintf(text + length, room, "%s%s", length > 0 ? " " : "", word) >= static_cast<int>(room))
            text[length] = '\0'; // no time is as long
    }
};

bool hint_on_stray_time(int count, char *const *words)
{
    Span span;
    for (int first = 0; first < count; ++first) {
        Joined joined, date;
        date.add(words[first]);
        date.add("00:00");
        const bool is_date = ov_read_time(date.text, nullptr) != 0;
        for (int next = first; next < count && next < first + 5; ++next) {
            joined.add(words[next]);
            if (ov_read_time(joined.text, nullptr) != 0) {
                hint("a time is given by an option: --at '%s'", joined.text);
                return true;
            }
        }
        if (is_date) {
            hint("a date is given by an option: --date %s, or --at '%s'", words[first], date.text);
            return true;
        }
        if (read_span(words[first], span)) {
            hint("a distance is given by an option, in quotes where it has several words: --in %s", words[first]);
            return true;
        }
    }
    return false;
}

void hint_on_time(const char *typed, int count, char *const *behind)
{
    Span span;
    if (read_span(typed, span))
        return hint("a distance from now is given by an option: --in %s", Quoted(typed).text);
    if (strcmp(typed, "tomorrow") == 0)
        return hint("a distance from now is given by an option: --in 1d");
    Joined joined, date, time;
    joined.add(typed);
    for (int i = 0; i < count && i < 4; ++i) {
        joined.add(behind[i]);
        if (ov_read_time(joined.text, nullptr) != 0)
            return hint("a time of several words is quoted: --at '%s'", joined.text);
    }
    char whole[64], today[16];
    complete_digits(typed, whole, sizeof whole);
    if (ov_read_time(whole, nullptr) != 0)
        return hint("each number has all its digits: --at '%s'", whole);
    date.add(whole);
    date.add("00:00");
    if (ov_read_time(date.text, nullptr) != 0)
        return hint("write --at '%s', or --date %s for the present time of day", date.text, whole);
    const time_t now = ::time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    strftime(today, sizeof today, "%F", &local);
    time.add(today);
    time.add(whole);
    if (ov_read_time(time.text, nullptr) != 0)
        return hint("a time of day needs a date: --at '%s'", time.text);
    hint("--at takes 'YYYY-MM-DD hh:mm', with :ss and with Z or +hh:mm behind, MMDDhhmmYYYY, @SECONDS, now, and times "
         "as 'ovuser list' prints them");
}

// Any call that reads the time may show the caller's virtual clock, but the kernel stamps messages on a socket with the
// real time.
time_t real_time()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) != 0)
        return time(nullptr);
    constexpr int on = 1;
    alignas(cmsghdr) char room[CMSG_SPACE(sizeof(timeval))];
    msghdr message = {};
    message.msg_control = room;
    message.msg_controllen = sizeof room;
    const bool stamped = setsockopt(ends[0], SOL_SOCKET, SO_TIMESTAMP, &on, sizeof on) == 0 &&
                         send(ends[1], "", 0, 0) == 0 && recvmsg(ends[0], &message, 0) == 0 &&
                         CMSG_FIRSTHDR(&message) != nullptr;
    close(ends[0]);
    close(ends[1]);
    timeval stamp;
    if (!stamped)
        return time(nullptr);
    memcpy(&stamp, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof stamp);
    return stamp.tv_sec;
}

int64_t monotonic_time()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000000 + now.tv_nsec;
}

} // namespace ovuser
