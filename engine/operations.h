// The operations of the engine, for requests that are valid, permitted and resolved.
#pragma once

#include <cstdint>

#include "base/message.h"
#include "control/control.h"
#include "ov_helper.h"

namespace ov
{

// The identities that a request is about; at least one.
struct Targets {
    int count;
    int32_t kinds[OV_MAX_IDENTITIES];
    int32_t numbers[OV_MAX_IDENTITIES];
};

// What an add sends for each identity.
struct ClockSetting {
    int64_t value;
    int64_t rel_mode;
    int64_t rewind;
    const char *origin; // the text given, or null
    int32_t speed;
    ov_refined *refined = nullptr; // by which each clock is refined
};

// Reads the clock setting of a request. Returns OV_OK, OV_BAD_SPEED, OV_BAD_TIME or OV_BAD_RELATIVE_TIME.
int32_t read_clock_setting(const ov_request &request, ClockSetting &clock, Message &message);

// Each returns the operation's result, and leaves errno as its last failing call set it.
int32_t add_clocks(const ControlFile &control, const Targets &targets, const ClockSetting &clock, Message &message);
int32_t delete_clocks(const ControlFile &control, const Targets &targets, Message &message);
int32_t list_clocks(const ControlFile &control, int32_t caller, Message &message);
int32_t reset_clocks(const ControlFile &control, Message &message);

} // namespace ov
