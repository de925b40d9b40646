// The messages for a kernel module that does not answer, shared by the engine and the utility.
#pragma once

namespace ov
{

inline constexpr char not_opened[] = "ovuser: error: Open of /proc/zynov failed; error = %d\n"; // errno
inline constexpr char no_answer[] =
    "ovuser: error: Orvane kernel module not installed properly or version mismatch(%s).\n"; // strerror
inline constexpr char not_executed[] =
    "ovuser: error: an error occurred while executing this request, error = %d\n"; // errno

} // namespace ov
