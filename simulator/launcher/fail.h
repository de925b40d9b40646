#pragma once

namespace sim
{

// As env and nohup do: the simulator's own failures, and those of starting the command.
enum Exit { own_failure = 125, cannot_execute = 126, not_found = 127 };

// Ends the program, with a line on standard error.
[[noreturn]] void fail(const char *format, ...) __attribute__((format(printf, 1, 2)));

// A formatted text from malloc.
char *text(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace sim
