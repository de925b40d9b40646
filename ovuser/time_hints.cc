#include "ovuser/time_hints.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "ov_helper.h"
#include "ovuser/hints.h"
#include "ovuser/when.h"

namespace ovuser
{

// A time with two digits wherever it has one, and with dashes for slashes.
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

// Up to five words joined by blanks, which is as many as a time has.
struct Joined {
    char text[64] = "";

    void add(const char *word)
    {
        const size_t length = strlen(text), room = sizeof text - length;
        if (snprintf(text + length, room, "%s%s", length > 0 ? " " : "", word) >= static_cast<int>(room))
            text[length] = '\0'; // no time is that long
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
            if (ov_read_time(joined.text, nullptr) != 0)
                return hint("a time is given by an option: --at '%s'", joined.text), true;
        }
        if (is_date)
            return hint("a date is given by an option: --date %s, or --at '%s'", words[first], date.text), true;
        if (read_span(words[first], span))
            return hint("a distance is given by an option, in quotes where it has several words: --in %s",
                        words[first]),
                   true;
    }
    return false;
}

void hint_on_time(const char *typed, int count, char *const *behind)
{
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

} // namespace ovuser
