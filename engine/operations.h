// The operations of the engine, once a request is valid, permitted and resolved.
#pragma once

#include <cstdint>

#include "base/message.h"
#include "control/control.h"
#include "ov_helper.h"

namespace ov
{

// Whom a request is about: count is at least 1.
struct Identities {
    int count;
    int32_t kinds[OV_MAX_IDENTITIES];
    int32_t numbers[OV_MAX_IDENTITIES];
};

// What the add operation sends, the same for every identity.
struct ClockSetting {
    int64_t value;
    int64_t rel_mode;
    int64_t rewind;
    const char *origin; // as typed, or null
    int32_t speed;
};

// Works the clock setting out of a request. Returns OV_OK, OV_BAD_SPEED, OV_BAD_TIME or OV_BAD_RELATIVE_TIME.
int32_t read_clock_setting(const ov_request &request, ClockSetting &clock, Message &message);

// Each returns the operation's result, with errno as its last failing call left it.
int32_t add_clocks(const ControlFile &control, const Identities &who, const ClockSetting &clock, Message &message);
int32_t delete_clocks(const ControlFile &control, const Identities &who, Message &message);
int32_t list_clocks(const ControlFile &control, int32_t caller, Message &message);
int32_t reset_clocks(const ControlFile &control, Message &message);

} // namespace ov
