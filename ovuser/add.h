// The words and the dry run that add, set and a file of clocks share.
#pragma once

#include <cstdint>

#include "ovuser/clocks.h"
#include "ovuser/identity.h"
#include "ovuser/options.h"
#include "ovuser/text.h"

namespace ovuser
{

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
