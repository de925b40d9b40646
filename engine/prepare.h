#pragma once

#include <cstdint>

#include "base/message.h"
#include "engine/operations.h"
#include "engine/permit.h"

namespace ov
{

// What a request comes to before anything is opened or sent.
struct Plan {
    Identities who;
    ClockSetting clock; // of an add
    Refusals refusals;  // at_once has been told when prepare() returns; once_open is for whoever opens
};

// Checks a request, resolves its identities, looks at the caller's right and, for an add, reads the time. caller is
// a real uid. Returns OV_OK, or what ov_process_request is to return, with its message; errno is of no account.
int32_t prepare(const ov_request &request, int32_t caller, Plan &plan, Message &message);

// Tells a caller that he may not, and returns OV_NOT_PERMITTED; OV_OK where there is no refusal.
int32_t refuse(const char *refusal, Message &message);

} // namespace ov
