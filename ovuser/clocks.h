// The clock table, as this caller may see it.
#pragma once

#include <ctime>

#include "ov_helper.h"
#include "ovuser/array.h"
#include "ovuser/identity.h"
#include "ovuser/json.h"
#include "ovuser/times.h"

namespace ovuser
{

// All of it, read at once. What fails is kept for report_failure().
class Clocks
{
  public:
    void read();
    bool opened() const { return failed_ != Step::open; }
    // Whether everything was seen, up to the last.
    bool complete() const { return failed_ == Step::none && undecided_ == 0; }
    const ov_clock *begin() const { return clocks_.begin(); }
    const ov_clock *end() const { return clocks_.end(); }
    // Null when there is none.
    const ov_clock *find(int32_t kind, uint32_t id) const;
    // One of these clocks as it is by now. False when it is not where it was.
    bool reread(const ov_clock &clock, ov_clock &now) const;

    // The errno of what failed, where it was not opened or not read to its end.
    int error() const { return error_; }
    // Tells on standard error what could not be seen, and why. Returns the exit status.
    int report_failure() const;

  private:
    enum class Step { none, open, begin, slot };

    Array<ov_clock> clocks_;
    int undecided_ = 0;
    Step failed_ = Step::none;
    int error_ = 0;
};

// Whether a clock is one of the identities', which is then met. Where there are no identities, every clock is.
bool is_among(const ov_clock &clock, IdentityList &identities);
bool all_met(const IdentityList &identities);
// Names on standard error the identities that were not met. Returns the exit status.
int report_unmet(const IdentityList &identities);

// How far a clock is ahead of real time, in seconds; negative behind it.
int64_t seconds_ahead(const ov_clock &clock, time_t real);

bool is_frozen(const ov_clock &clock);

// Whose a clock is, as the command line takes it: u:alice, u:'o d'. Made visible, and filled up to a number of columns.
void print_identity(FILE *stream, const ov_clock &clock, int columns = 0);

// As members of a JSON object: whose a clock is, all of it, and all but whose it is.
void write_owner(Json &json, const ov_clock &clock);
void write_clock(Json &json, const ov_clock &clock, time_t real);
void write_clock_state(Json &json, const ov_clock &clock, time_t real);

} // namespace ovuser
