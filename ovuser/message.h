// Messages to the user, standard output, and the exit status that goes with them.
#pragma once

#include <cstdint>

#include "ov_helper.h"

namespace ovuser
{

// Exit status: the class of check_rc, so that this is also the class of a bad request.
enum ExitStatus {
    done = 0,
    bad_usage = 2,
    failure = 5,
    own_failure = 125, // these three are run's, and mean the same as env's
    cannot_execute = 126,
    not_found = 127
};

// While one of these lives, errors and warnings are about a line of a file, and name it.
class SourcePosition
{
  public:
    SourcePosition(const char *file, int line);
    ~SourcePosition();
    SourcePosition(const SourcePosition &) = delete;
    SourcePosition &operator=(const SourcePosition &) = delete;

    // FILE:LINE: in front of a message.
    void print() const;

  private:
    const char *file_;
    int line_;
};

// Each writes a line of its own, with what others chose made visible: on standard output "ovuser: report: ", on
// standard error "ovuser: warning: ", "ovuser: hint: " or, with that exit status as the result, "ovuser: error: ".
void report(const char *format, ...) __attribute__((format(printf, 1, 2)));
void warn(const char *format, ...) __attribute__((format(printf, 1, 2)));
int usage_error(const char *format, ...) __attribute__((format(printf, 1, 2)));
int failed(const char *format, ...) __attribute__((format(printf, 1, 2)));

void hint(const char *format, ...) __attribute__((format(printf, 1, 2)));

// For an errno of the control file's: says what can be done about it, once.
void hint_on_errno(int error);

// Prints what the engine left of a request, message included, which is freed, and a hint where the errno of the control
// file has one. A message that does not name the identity is made to where its label is given. Returns the exit status.
int print_result(int32_t result, char *message, const char *label = nullptr, int error = 0);

// To be called before anything is opened: what is opened in the place of a closed standard stream gets to see what is
// written there. Reading and writing fail as ever, and what is executed finds it closed.
void reserve_closed_streams();

// False once anything could not be written: who writes a lot may stop. To be asked right behind what writes, while
// errno tells why.
bool output_works();

// To be called before a line on standard error, so that where both go to one place, each line stands behind the one
// that was written before.
void flush_output();

// Writes out what is left, and closes it. Returns the exit status, which is a failure where anything could not be
// written.
int finish_output(int status);

} // namespace ovuser
