// Changes one identity's clock and prints the result. The functions return exit statuses. With several, the engine's
// messages get the identity's label.
#pragma once

#include "ov_helper.h"
#include "ovuser/identity.h"
#include "ovuser/options.h"

namespace ovuser
{

class Clocks;

// The request for a clock.
struct ClockRequest {
    // checked is the clock value that the engine has found. present is the clock to be replaced, or null; what the
    // options do not change is taken from it.
    ClockRequest(const ClockOptions &when, int64_t checked, const ov_clock *present);
    ClockRequest(const ClockRequest &) = delete;
    ClockRequest &operator=(const ClockRequest &) = delete;

    // The clock as the table would list it.
    ov_clock clock_of(const Identity &who) const;

    ov_request request; // without the identity; virtime has the value even with --offset

  private:
    char origin_[24];
};

// Resolves the identities and checks that each may get the clock, without changing anything. Stores the clock value in
// checked. Logs the refusal of a clock that the caller may not give.
int check_clock(IdentityList &identities, const ClockOptions &when, int64_t &checked, bool log = true);

// Adds a clock. A clock that is already there stays as it is.
int add_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, bool *was_there = nullptr);

// Replaces the clock that the identity has, if any.
int replace_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, const Clocks &table);

int delete_clock(const Identity &who, bool several);

} // namespace ovuser
