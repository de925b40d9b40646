#pragma once

#include <cstdint>

#include "base/message.h"
#include "engine/operations.h"
#include "engine/permit.h"

namespace ov
{

// A request, checked and resolved, before anything is opened or sent.
struct PreparedRequest {
    Targets targets;
    ClockSetting clock; // for an add
    Refusals refusals;  // prepare() has reported at_once; once_open is left to the caller
};

// Checks a request, resolves its identities, checks the caller's rights and, for an add, reads the time. The caller is
// a real uid. With numbers, one for each identity, no text is looked up. Returns OV_OK or the result of
// ov_process_request, with its message. errno does not count.
int32_t prepare(const ov_request &request, const uint32_t *numbers, int32_t caller, PreparedRequest &prepared,
                Message &message);

// Sets the message and returns OV_NOT_PERMITTED if there is a refusal; else returns OV_OK.
int32_t refuse(const char *refusal, Message &message);

} // namespace ov
