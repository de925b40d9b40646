// Messages, hints, the log, standard output, and exit statuses. A function of this program that returns an exit status
// has printed the reason for any other than done.
#pragma once

#include <getopt.h>

#include <cstdint>

#include "ov_helper.h"

namespace ovuser
{

// The exit statuses, which continue those of check_rc. run adds those of base/exit_status.h.
enum ExitStatus { done = 0, bad_usage = 2, failure = 5 };

// While it exists, errors and warnings name this line of a file.
class SourcePosition
{
  public:
    SourcePosition(const char *file, int line);
    ~SourcePosition();
    SourcePosition(const SourcePosition &) = delete;
    SourcePosition &operator=(const SourcePosition &) = delete;

    // Prints FILE:LINE: before a message.
    void print() const;

  private:
    const char *file_;
    int line_;
};

// Each prints one line and makes invisible characters visible. report() goes to standard output, the others to standard
// error. usage_error() and failed() return an exit status.
void report(const char *format, ...) __attribute__((format(printf, 1, 2)));
void warn(const char *format, ...) __attribute__((format(printf, 1, 2)));
int usage_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
int failed(const char *format, ...) __attribute__((format(printf, 1, 2)));

void hint(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Prints what can be done about an errno of the control file, once.
void hint_on_errno(int error);

// Prints the engine's message, frees it, and prints a hint for the errno. Adds the label to a message that does not
// name the identity. Returns the exit status.
int print_result(int32_t result, char *message, const char *label = nullptr, int error = 0);

// Opens something harmless in place of closed standard streams, so that no file takes their place and gets messages.
// Reading and writing them still fails, and commands find them closed.
void reserve_closed_streams();

// False after a write error. To be called right after a write, while errno has the reason.
bool output_works();

// Flushes standard output before a line on standard error, to keep the order where both go to one place.
void flush_output();

// Flushes and closes standard output. Returns the status, or a failure after a write error.
int finish_output(int status);

// Raises a signal with its default action, so that the parent sees why this program stops or ends.
void raise_default(int signal);

// Logs a request in the system's log, for one identity or none, with the clock value in virtime, or 0, and the engine's
// result and message, which may be null. Without the number of its identity, it is looked up. A request without an
// operation passes on a clock that is there. If the log is missing or blocks for a second, nothing is logged. Keeps
// errno.
void audit(const ov_request &request, int32_t result, const char *message, const uint32_t *number = nullptr,
           bool passed_on = false);

// Hints at what a mistyped word may have meant: finds the closest candidate.
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
