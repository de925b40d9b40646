// One change of one identity's clock, carried out and told. Each returns the exit status. Where the engine's own words
// for an outcome do not name the identity, and it is one of several, they are made to.
#pragma once

#include <ctime>

#include "ov_helper.h"
#include "ovuser/identity.h"
#include "ovuser/options.h"

namespace ovuser
{

class Clocks;

// The clock that an identity is to get.
struct ClockRequest {
    // checked is what the engine's check of When's request came to, present what the identity has when that is to be
    // replaced, else null: what When keeps is taken from there.
    ClockRequest(const ClockOptions &when, int64_t checked, const ov_clock *present);
    ClockRequest(const ClockRequest &) = delete;
    ClockRequest &operator=(const ClockRequest &) = delete;

    // As a clock of the table would show it.
    ov_clock clock_of(const Identity &who) const;

    ov_request request; // without the identity; its value is in virtime, with --offset too

  private:
    char origin_[24];
};

// A clock for people: 2030-12-25T09:00:00+01:00, Frozen, rewinding at midnight.
struct ClockText {
    explicit ClockText(const ov_request &request) : ClockText(request.virtime, request.speed, request.rewind) {}
    explicit ClockText(const ov_clock &clock) : ClockText(clock.value, clock.speed, clock.rewind) {}
    char text[128];

  private:
    ClockText(int64_t value, int32_t speed, int32_t rewind);
};

// Whether each may be given that clock, without doing anything; resolves them. checked becomes what add_clock and the
// others need.
int check_clock(IdentityList &identities, const ClockOptions &when, int64_t &checked);

// Gives an identity a clock, unless it has one, which was_there then tells.
int add_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, bool *was_there = nullptr);

// Gives an identity a clock anew, whatever it has in the table.
int replace_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, const Clocks &table);

int delete_clock(const Identity &who, bool several);

// A clock that was given for as long as a command runs.
struct TemporaryClock {
    ov_clock given;
    time_t since;       // in real time
    bool known = false; // the two, since the table showed it
};

// Gives an identity that has no clock one, and takes it away again, unless somebody has given another one meanwhile.
// Only failures are told; who has a clock already is one, but for a process, which has just been born: the clock is an
// earlier one's.
int give_temporary_clock(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary);
int remove_temporary_clock(const Identity &who, const TemporaryClock &temporary);

} // namespace ovuser
