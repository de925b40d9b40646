// What the subcommands of ovuser share.
#pragma once

#include <cstdint>

#include "ov_helper.h"

namespace ovuser
{

// Exit status: the class of check_rc, so that this is also the class of a bad request.
enum Exit { done = 0, not_understood = 2, not_carried_out = 5 };

// A subcommand. The argv[0] that it is given is how getopt begins its messages.
struct Subcommand {
    const char *word;
    int (*run)(int argc, char **argv);
    const char *help;
};

int add_command(int argc, char **argv);
int delete_command(int argc, char **argv);
int list_command(int argc, char **argv);
int reset_command(int argc, char **argv);

// Says on standard error what is wrong with the command line, and returns not_understood.
int misunderstood(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The whole of a subcommand that takes identities and no option but --help. Returns the exit status.
int perform_on_identities(ov_operation operation, const char *help, int argc, char **argv);

// Identities as the listing prints them, u:NAME, g:NAME, p:PID, or a bare user. None means the caller. The
// texts stay in argv; of more than the request can hold, only the count gets there.
void read_identities(int argc, char **argv, ov_request &request);

// Hands a request to the engine, shows its message, and returns the exit status.
int perform(const ov_request &request);

// Shows what the engine left of a request, message included, which is freed. Returns the exit status.
int conclude(int32_t result, char *message);

} // namespace ovuser
