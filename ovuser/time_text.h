// Times and spans as people type them, and the two system clocks that no virtual clock changes.
#pragma once

#include <cstdint>
#include <ctime>

namespace ovuser
{

// Years, days (with weeks), hours and minutes as texts for the engine, null where not given, and seconds, which the
// engine does not know.
struct Span {
    const char *parts[4] = {};
    int64_t seconds = 0;
    char texts[4][12] = {};
};

// Reads a span such as "2d 3h", "-90m" or "1w": whole numbers, each with its own sign and a unit, each unit at most
// once.
bool read_span(const char *typed, Span &span);

// Reads a whole number within bounds.
bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number);

// The allowed clock values: those of contract/clock.h, which the utility does not include.
inline constexpr int64_t earliest_value = 32400, latest_value = 253402329599;
constexpr bool is_in_range(int64_t value)
{
    return value >= earliest_value && value <= latest_value;
}

// For a time that was refused, and the words after it.
void hint_on_time(const char *typed, int count, char *const *behind);

// Prints a hint if some of the words are a time or a span without its option. Returns whether it has.
bool hint_on_stray_time(int count, char *const *words);

// The real time, also when the caller has a virtual clock.
time_t real_time();

// CLOCK_MONOTONIC in nanoseconds.
int64_t monotonic_time();

} // namespace ovuser
