// Times and spans as they are typed, and the clocks of the system that no virtual clock moves.
#pragma once

#include <cstdint>
#include <ctime>

namespace ovuser
{

// Whole numbers of years, days (and weeks), hours and minutes as the engine takes them, null where there is none, and
// seconds, which it does not know.
struct Span {
    const char *parts[4] = {};
    int64_t seconds = 0;
    char texts[4][12] = {};
};

// "2d 3h", "-90m", "1w": each number with a sign of its own and one of the units y, w, d, h, m and s, each unit at most
// once. False when it is anything else.
bool read_span(const char *typed, Span &span);

// A whole number and nothing else, within bounds.
bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number);

// The clock values that are taken.
inline constexpr int64_t earliest_value = 32400, latest_value = 253402329599;
constexpr bool is_in_range(int64_t value)
{
    return value >= earliest_value && value <= latest_value;
}

// For a time that was refused, and the words behind it: those belong to it, digits are missing, it is a date or a time
// of day alone, or anything else.
void hint_on_time(const char *typed, int count, char *const *behind);

// Hints at the option that is missing where some of the words, joined by blanks, are a time or a span; else false.
bool hint_on_stray_time(int count, char *const *words);

// The time that everybody without a clock sees, also when the caller has one.
time_t real_time();

// Nanoseconds from some instant on, whatever happens to the time of day.
int64_t monotonic_time();

} // namespace ovuser
