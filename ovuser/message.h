// Messages, standard output, and exit statuses. A function of this program that returns an exit status has printed the
// reason for any other than done.
#pragma once

#include <cstdint>

#include "ov_helper.h"

namespace ovuser
{

// The exit statuses, which continue those of check_rc.
enum ExitStatus {
    done = 0,
    bad_usage = 2,
    failure = 5,
    own_failure = 125, // run's own, as in env(1)
    cannot_execute = 126,
    not_found = 127
};

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

} // namespace ovuser
