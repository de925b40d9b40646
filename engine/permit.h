#pragma once

#include <cstdint>

#include "engine/operations.h"

namespace ov
{

// What a caller is told who may not do what he asks for; null where he may.
struct Refusals {
    const char *at_once = nullptr;   // before the time is read
    const char *once_open = nullptr; // when the control file is open: where there is none, that is what he is told
};

// Who may do what: the one rule. caller is a real uid.
Refusals permit(int32_t operation, const Identities &who, int32_t caller);

} // namespace ov
