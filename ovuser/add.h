// What add, set and a line of a file of clocks share.
#pragma once

#include <cstdint>

#include "ovuser/clocks.h"
#include "ovuser/identity.h"
#include "ovuser/json.h"
#include "ovuser/options.h"

namespace ovuser
{

// What --dry-run --json writes: an object with an array for each kind of change.
class Plan
{
  public:
    enum Change { added, changed, deleted, left, failed, end };

    explicit Plan(bool replace) : json_(stdout), replace_(replace), real_(real_time()) { json_.open('{'); }
    Plan(const Plan &) = delete;
    Plan &operator=(const Plan &) = delete;

    // What is written next are the changes of the next kind. False behind the last, where the object ends.
    bool next();
    // Each writes what it tells if that is of this kind. The line is that of a file, or 0; present may be null.
    void give(const Identity &who, int line, const ClockOptions &when, int64_t checked, const ov_clock *present);
    void remove(const ov_clock &clock);

  private:
    void write(const char *identity, int line, const ov_clock *from, const ov_clock *to);
    void write_state(const char *key, const ov_clock *clock);

    Json json_;
    const bool replace_;
    const time_t real_;
    int kind_ = -1;
};

// The words of add and set, and of a line of a file of clocks.
class AddOptions
{
  public:
    // The words of a subcommand by this name, behind one that is not looked at. Anything but done is the exit status,
    // with the reason told.
    int read(const char *subcommand, int argc, char **argv);

    // Whether --help was there: then nothing else was looked at.
    bool help() const { return help_; }
    bool dry_run() const { return dry_run_; }
    bool json() const { return json_; }
    bool replace() const { return replace_; }

    // Resolves the identities, and asks the engine what it would refuse. Anything but done is the exit status, with the
    // reason told: then nothing should be carried out.
    int check();

    // For each identity. Returns the exit status, the worst one's.
    int carry_out(bool replace);
    // Says what would be done to the table, for programs where --json was there. Returns the exit status.
    int report_plan(bool replace, const Clocks &table);

    const ClockOptions &when() const { return when_; }
    IdentityList &identities() { return identities_; }
    // What the check came to.
    int64_t checked() const { return checked_; }

  private:
    void write_plan(bool replace, const Clocks &table) const;

    ClockOptions when_;
    IdentityList identities_;
    int64_t checked_ = 0;
    bool help_ = false, dry_run_ = false, json_ = false, replace_ = false;
};

} // namespace ovuser
