// What somebody might have meant by a time that is none, or is where none is taken.
#pragma once

namespace ovuser
{

// For a time that was refused, and the words behind it: those belong to it, digits are missing, it is a date or a time
// of day alone, or anything else.
void hint_on_time(const char *typed, int count, char *const *behind);

// Hints at the option that is missing where some of the words, joined by blanks, are a time or a span; else false.
bool hint_on_stray_time(int count, char *const *words);

} // namespace ovuser
