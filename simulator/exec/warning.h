// What a user is told of programs that keep the real time.
#pragma once

#include <array>
#include <cstdint>

namespace sim
{

// The file that was standard error when the simulator began; both 0 for none.
struct ErrorFile {
    uint64_t device, inode;
};

using Reason = std::array<const char *, 3>; // parts of a sentence; null for none

// Makes place for what was said, before there are children. Called once.
void prepare_warnings();

// Says it on standard error, once for each file and each program that starts it; never into another file, and not where
// that would wait or end the program. With all signals held off. The line is place to write in.
void warn(const char *path, const Reason &reason, const ErrorFile &from_start, char (&line)[1024]);

} // namespace sim
