// The words of add and set, which are those of a line of a file of clocks too.
#pragma once

#include <cstdint>

#include "ovuser/identities.h"
#include "ovuser/when.h"

namespace ovuser
{

class Clocks;

class AddWords
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
    int rehearse(bool replace, const Clocks &table);

    const When &when() const { return when_; }
    Identities &identities() { return identities_; }
    // What the check came to.
    int64_t checked() const { return checked_; }

  private:
    void rehearse_as_json(bool replace, const Clocks &table) const;

    When when_;
    Identities identities_;
    int64_t checked_ = 0;
    bool help_ = false, dry_run_ = false, json_ = false, replace_ = false;
};

// The whole of a subcommand that gives clocks.
int give_clocks(const char *subcommand, const char *usage, bool replace, int argc, char **argv);

} // namespace ovuser
