// What people write for a time or a span, and what the engine reads.
#pragma once

#include <cstdint>

#include "ov_helper.h"

namespace ovuser
{

// The texts that a request points into.
struct WhenTexts {
    char absolute[13];
    char date[9];
    char parts[4][12];
};

// "YYYY-MM-DD hh:mm" (or a T for the blank) as MMDDhhmmYYYY, "YYYY-MM-DD" as MMDDYYYY. Anything else is
// handed on as it is: the engine judges it.
const char *engine_time(const char *typed, WhenTexts &texts);
const char *engine_date(const char *typed, WhenTexts &texts);

// "2d 3h", "-90m", "1y": whole numbers, each with a sign of its own and one of the units y, d, h and m, each
// unit at most once. False when it is anything else.
bool read_span(const char *typed, ov_request &request, WhenTexts &texts);

// A whole number and nothing else, within bounds.
bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number);

} // namespace ovuser
