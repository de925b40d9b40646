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

// The number of the character at a place if it cannot be seen: a control character, one that turns the direction of
// what follows, or one without a width that is no part of the letter before; -1 for any other.
int unseen_character(const char *text);

// Writes a text that somebody else chose. What could steer a terminal or look like something else is made visible:
// bytes that are not UTF-8 and ASCII's control characters as \033, other characters that cannot be seen as \u202e.
// Fills up with blanks to a number of columns.
void print_visible(FILE *stream, const char *text, int columns = 0);

// A text as one word of a shell and of a file of clocks: in single quotes where it has to be.
struct Quoted {
    explicit Quoted(const char *plain);
    ~Quoted();
    Quoted(const Quoted &) = delete;
    Quoted &operator=(const Quoted &) = delete;

    const char *text; // the plain one itself where there is no memory

  private:
    char *own_ = nullptr;
};

// An instant as RFC 3339 has it, in local time: 2030-12-25T09:00:00+01:00. In UTC where the zone is not whole minutes
// off. Beyond the years 1000 to 9999 it has no such form, and is written as @ and seconds since the epoch.
struct TimeText {
    explicit TimeText(time_t instant);
    char text[32];
    bool has_date = false;
};

// A distance for people, without its sign: 3d 2h 5m, 59m 10s. From an hour on it is rounded to minutes: both ends are
// known to the second only, and 2d would show as 1d 23h 59m 59s every other time.
struct DistanceText {
    explicit DistanceText(int64_t seconds);
    char text[64];
};

} // namespace ovuser
