// Text for people and for programs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace ovuser
{

// The length of the UTF-8 character at text in bytes; 0 at the end and for a malformed one.
size_t character_length(const char *text);

// The code point of the character at text if it is invisible: a control character, one that changes the direction of
// text, or a zero-width one that does not belong to the character before; otherwise -1.
int unseen_character(const char *text);

// Prints untrusted text. Control characters and bytes that are not UTF-8 become \033, other invisible characters
// \u202e. Pads to a number of columns.
void print_visible(FILE *stream, const char *text, int columns = 0);

// A text as one word for a shell or a file of clocks, quoted if necessary.
struct Quoted {
    explicit Quoted(const char *plain);
    ~Quoted();
    Quoted(const Quoted &) = delete;
    Quoted &operator=(const Quoted &) = delete;

    const char *text; // the plain text when nothing needs quotes or memory is out

  private:
    char *own_ = nullptr;
};

// An instant as in RFC 3339, in local time: 2030-12-25T09:00:00+01:00. In UTC when the offset of the zone is not in
// whole minutes. Outside the years 1000 to 9999, @ and the seconds since the epoch.
struct TimeText {
    explicit TimeText(time_t instant);
    char text[32];
    bool has_date = false;
};

// A distance without its sign: 3d 2h 5m, 59m 10s. From an hour on it is rounded to minutes, since both ends are known
// to the second only.
struct DistanceText {
    explicit DistanceText(int64_t seconds);
    char text[64];
};

} // namespace ovuser
