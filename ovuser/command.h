// What the subcommands of ovuser share.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "ov_helper.h"

namespace ovuser
{

struct Identity;

// Exit status: the class of check_rc, so that this is also the class of a bad request.
enum Exit { done = 0, not_understood = 2, not_carried_out = 5 };

struct Subcommand {
    const char *word;
    int (*run)(int argc, char **argv);
    const char *help;
    bool changes; // clocks
};

int add_command(int argc, char **argv);
int apply_command(int argc, char **argv);
int delete_command(int argc, char **argv);
int list_command(int argc, char **argv);
int reset_command(int argc, char **argv);
int run_command(int argc, char **argv);
int save_command(int argc, char **argv);
int set_command(int argc, char **argv);
int show_command(int argc, char **argv);

// While one of these lives, errors and warnings are about a line of a file, and name it.
class Place
{
  public:
    Place(const char *file, int line);
    ~Place();
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;

    // FILE:LINE: in front of a message.
    void print() const;

  private:
    const char *file_;
    int line_;
};

// Each writes a line of its own, with what others chose made visible: on standard output "ovuser: report: ", on
// standard error "ovuser: warning: " or, with that exit status as the result, "ovuser: error: ".
void report(const char *format, ...) __attribute__((format(printf, 1, 2)));
void warn(const char *format, ...) __attribute__((format(printf, 1, 2)));
int misunderstood(const char *format, ...) __attribute__((format(printf, 1, 2)));
int failed(const char *format, ...) __attribute__((format(printf, 1, 2)));
void print_line(FILE *stream, const char *beginning, const char *format, va_list arguments);

// Shows what the engine left of a request, message included, which is freed, and what to do about it where the errno of
// the control file tells. A message that does not name the identity is made to where one is given. Returns the exit
// status.
int conclude(int32_t result, char *message, const Identity *who = nullptr, int error = 0);

} // namespace ovuser
