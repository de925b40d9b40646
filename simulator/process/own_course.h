// The course of this process.
#pragma once

#include <atomic>

#include "simulator/process/course.h"

namespace sim
{

inline constinit CourseKeeper own_course = {};

// Whether intervals go by it; valid once the table is attached.
inline std::atomic<bool> intervals_by_clock = true;

} // namespace sim
