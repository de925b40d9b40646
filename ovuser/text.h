// What the utility writes for people and for programs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace ovuser
{

// How many bytes the UTF-8 character at a place takes; 0 at the end, and where there is no well-formed one.
size_t character_length(const char *text);

// The number of the control character at a place, U+0000 to U+001F and U+007F to U+009F; -1 for any other.
int control_character(const char *text);

// Writes a text that somebody else chose, with what could steer a terminal (control characters, and bytes that are not
// UTF-8) in octal: \033. Fills up with blanks to a width. Returns how many bytes that took.
int print_visible(FILE *stream, const char *text, int width = 0);

// An instant as RFC 3339 has it, in local time: 2030-12-25T09:00:00+01:00. In UTC where the zone is not whole minutes
// off. Beyond the years 1000 to 9999 it has no such form, and is written as @ and seconds since the epoch.
struct Timestamp {
    explicit Timestamp(time_t instant);
    char text[32];
    bool has_date = false;
};

// A distance for people, without its sign: 3d 2h 5m, 59m 10s. From an hour on it is rounded to minutes: both ends are
// known to the second only, and 2d would show as 1d 23h 59m 59s every other time.
struct Distance {
    explicit Distance(int64_t seconds);
    char text[64];
};

} // namespace ovuser
