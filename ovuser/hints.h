// Hints at what a mistyped word may have meant.
#pragma once

#include <getopt.h>

namespace ovuser
{

// Finds the candidate that is closest to a mistyped word.
class Nearest
{
  public:
    explicit Nearest(const char *word);
    void consider(const char *candidate);
    // Null when none is close.
    const char *found() const { return found_; }

  private:
    const char *word_, *found_ = nullptr;
    int distance_;
};

// For a caller who asks delete, or list, for all clocks.
void hint_on_all(bool deletes);

// For a word that is not a subcommand.
void hint_on_subcommand(const char *typed, const Nearest &nearest);

// Prints what is wrong with the option for which getopt has returned '?', and which one may have been meant. Returns
// bad_usage.
int report_bad_option(char *const *argv, const option *known);

// Reads the options of a subcommand that has only --help. Returns true when the subcommand is done, with this status.
bool handle_help(int argc, char **argv, const char *help, int &status);

} // namespace ovuser
