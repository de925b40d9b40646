// What somebody might have meant, or can do about it: a line behind the error.
#pragma once

#include <getopt.h>

namespace ovuser
{

// Finds the candidate that is likest to a mistyped word.
class Nearest
{
  public:
    explicit Nearest(const char *word);
    void consider(const char *candidate);
    // Null when none is like it.
    const char *found() const { return found_; }

  private:
    const char *word_, *found_ = nullptr;
    int distance_;
};

// For a word in a subcommand's place, and the subcommand that is likest to it.
void hint_on_subcommand(const char *typed, const Nearest &nearest);

// For getopt's '?', with opterr at 0: says what is wrong with the option, which one may have been meant, and returns
// bad_usage.
int report_bad_option(char *const *argv, const option *known);

// Reads the options of a subcommand that has none but --help. True when that is all that it is to do: then the status
// is what it ends with.
bool handle_help(int argc, char **argv, const char *help, int &status);

} // namespace ovuser
