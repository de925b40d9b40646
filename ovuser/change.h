// Changes clocks, one identity at a time, and prints the results. The functions return exit statuses. With several, the
// engine's messages get the identity's label.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "ov_helper.h"
#include "ovuser/clocks.h"
#include "ovuser/identity.h"
#include "ovuser/options.h"
#include "ovuser/text.h"

namespace ovuser
{

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

ov_request deletion();

// A request to the engine about one identity, and what came of it.
class EngineCall
{
  public:
    // An add can set more of the clock: ov_refinement bits, by which it is passed on.
    EngineCall(const Identity &who, const ov_request &request, uint32_t passed_on = 0)
        : who_(who), request_(request), passed_on_(passed_on)
    {
    }
    ~EngineCall() { free(message_); }
    EngineCall(const EngineCall &) = delete;
    EngineCall &operator=(const EngineCall &) = delete;

    // Sends the request, once, and logs changes. Returns the engine's result.
    int32_t send();

    // Whether the clock was there already. An add then changes nothing and succeeds.
    bool was_there() const { return result_ == OV_OK && request_.operation == OV_ADD && error_ == EEXIST; }
    // The errno for which a clock that is there now is not passed on to the descendants of its process; 0 if it is.
    int pass_on_error() const { return pass_on_error_; }

    // Prints the result, once. former is the clock that was replaced.
    int print(bool several, const ov_clock *former = nullptr);

  private:
    void refine();
    void print_success(const ov_clock *former) const;

    const Identity &who_;
    ov_request request_;
    const uint32_t passed_on_;
    int32_t result_ = OV_OK;
    int error_ = 0, pass_on_error_ = 0;
    char *message_ = nullptr;
};

// Prints that a clock is not passed on, for this errno.
int report_not_passed_on(const Identity &who, int error);

// A clock that is there only while a command runs.
struct TemporaryClock {
    ov_clock given;
    time_t since;         // real time
    bool known = false;   // whether given and since are set
    bool lasting = false; // whether it ends with the last descendant of its process, by itself
};

// Add a clock to an identity without one, and delete it again unless it has been replaced meanwhile. Both print
// failures only. A new process that has a clock already has its predecessor's: that one is deleted.
int give_temporary_clock(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary);
int remove_temporary_clock(const Identity &who, const TemporaryClock &temporary);

// Writes the object of --dry-run --json: one array for each kind of change.
class Plan
{
  public:
    enum Change { added, changed, deleted, left, failed, end };

    explicit Plan(bool replace) : json_(stdout), replace_(replace), real_(real_time()) { json_.open('{'); }
    Plan(const Plan &) = delete;
    Plan &operator=(const Plan &) = delete;

    // Moves on to the next kind of change. Returns false after the last one.
    bool next();
    // Each writes a clock if its change is of the present kind. The line is 0 outside a file; present may be null.
    void give(const Identity &who, int line, const ClockOptions &when, int64_t checked, const ov_clock *present);
    void remove(const ov_clock &clock);

  private:
    void write(const char *identity, int line, const ov_clock *from, const ov_clock *to, bool to_descendants);
    void write_state(const char *key, const ov_clock *clock, bool descendants);

    Json json_;
    const bool replace_;
    const time_t real_;
    int kind_ = -1;
};

// The words of add and set, or of a line of a file of clocks.
class AddOptions
{
  public:
    // Reads the words of a subcommand; the first word is its name and is skipped.
    int read(const char *subcommand, int argc, char **argv);

    // Whether --help is there; the other words are not read then.
    bool help() const { return help_; }
    bool dry_run() const { return dry_run_; }
    bool json() const { return json_; }
    bool replace() const { return replace_; }

    // Resolves the identities, and checks the request without changing anything.
    int check(bool dry_run);

    // Gives each identity its clock. Returns the worst exit status.
    int carry_out(bool replace);
    // Prints what would change, as JSON where --json is there.
    int report_plan(bool replace, const Clocks &table);

    const ClockOptions &when() const { return when_; }
    IdentityList &identities() { return identities_; }
    // The clock value that check() has found.
    int64_t checked() const { return checked_; }

  private:
    void write_plan(bool replace, const Clocks &table) const;

    ClockOptions when_;
    IdentityList identities_;
    int64_t checked_ = 0;
    bool help_ = false, dry_run_ = false, json_ = false, replace_ = false;
};

} // namespace ovuser
