#pragma once

#include <cstdint>

#include "engine/operations.h"

namespace ov
{

// Why a request is refused; null when it is permitted.
struct Refusals {
    const char *at_once = nullptr;   // reported before the time is read
    const char *once_open = nullptr; // reported only if the control file can be opened
};

// Decides who may do what. The caller is a real uid.
Refusals permit(int32_t operation, const Targets &targets, int32_t caller);

} // namespace ov
