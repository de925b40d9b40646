// The clock table, as this caller may see it.
#pragma once

#include <ctime>

#include "ov_helper.h"
#include "ovuser/array.h"
#include "ovuser/identity.h"
#include "ovuser/text.h"

namespace ovuser
{

// The whole table, read at once. report_failure() prints what has failed.
class Clocks
{
  public:
    void read();
    bool opened() const { return failed_ != Step::open; }
    bool failed() const { return failed_ != Step::none; }
    // Whether no clock was missed.
    bool complete() const { return failed_ == Step::none && undecided_ == 0; }
    const ov_clock *begin() const { return clocks_.begin(); }
    const ov_clock *end() const { return clocks_.end(); }
    // Null when there is none.
    const ov_clock *find(int32_t kind, uint32_t id) const;
    // Reads one of these clocks again. Returns false when it has moved or is gone.
    bool reread(const ov_clock &clock, ov_clock &now) const;

    // The simulator's table; null if they are the kernel module's.
    const char *simulated_in() const { return *simulated_in_ != '\0' ? simulated_in_ : nullptr; }

    // The errno of the failure, if any.
    int error() const { return error_; }
    // Prints what could not be read, and why. Returns the exit status.
    int report_failure() const;

  private:
    enum class Step { none, open, begin, slot };

    Array<ov_clock> clocks_;
    int undecided_ = 0;
    Step failed_ = Step::none;
    int error_ = 0;
    char simulated_in_[1024] = "";
};

// Which clocks a list is about.
struct ClockFilter {
    IdentityList identities; // none: all
    int32_t kind = 0;        // OV_USER, OV_GROUP, OV_PROCESS, or 0 for all

    // Whether a clock is one of them. Marks its identity as met.
    bool matches(const ov_clock &clock);
};

bool all_met(const IdentityList &identities);
// Warns of the identities that have not been met. Returns the exit status.
int report_unmet(const IdentityList &identities);

// How many seconds a clock is ahead of real time; negative when it is behind.
int64_t seconds_ahead(const ov_clock &clock, time_t real);

bool is_frozen(const ov_clock &clock);

// Which of OV_REFINE_DESCENDANTS and OV_REFINE_LASTING are set of a clock.
uint32_t passed_on_by(const ov_clock &clock);

// A clock as people read it: 2030-12-25T09:00:00+01:00, Frozen, rewinding at midnight, passed on to its descendants.
struct ClockText {
    explicit ClockText(const ov_request &request, uint32_t passed_on)
        : ClockText(request.virtime, request.speed, request.rewind, passed_on)
    {
    }
    explicit ClockText(const ov_clock &clock, uint32_t passed_on = 0)
        : ClockText(clock.value, clock.speed, clock.rewind, passed_on)
    {
    }
    char text[160];

  private:
    ClockText(int64_t value, int32_t speed, int32_t rewind, uint32_t passed_on);
};

// Prints whose clock it is, as the command line takes it: u:alice, u:'o d'. Pads to a number of columns.
void print_identity(FILE *stream, const ov_clock &clock, int columns = 0);

// Write members of a JSON object: whose clock it is; all of it; all but whose it is.
void write_owner(Json &json, const ov_clock &clock);
void write_clock(Json &json, const ov_clock &clock, time_t real);
void write_clock_state(Json &json, const ov_clock &clock, time_t real, bool descendants);

// Prints the table every so many nanoseconds: in place on a terminal, otherwise one table after the other. Returns
// only on failure.
int watch(ClockFilter &filter, int64_t interval);

// Reads the table every so many nanoseconds and prints each change as a line of JSON. Returns on failure, or when
// standard output is closed.
int report_changes(ClockFilter &filter, int64_t interval);

} // namespace ovuser
