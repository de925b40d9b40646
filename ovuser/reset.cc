#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/command.h"
#include "ovuser/hints.h"

namespace ovuser
{

static constexpr char reset_help[] = "usage: ovuser reset\n"
                                     "\n"
                                     "Takes all virtual clocks away; for the superuser only.\n";

// How many clocks there are; -1, with errno, when that cannot be told.
static int count_clocks()
{
    const int descriptor = open("/proc/zynov", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return -1;
    ov_clock clock = {};
    int count = 0, outcome;
    while ((outcome = ov_next_clock(descriptor, 0, &clock)) > 0)
        ++count;
    const int error = errno;
    close(descriptor);
    errno = error;
    return outcome == 0 ? count : -1;
}

// The engine takes any refusal of the module's for an empty table, so its word is not enough.
static int reset()
{
    ov_request request = {};
    request.operation = OV_RESET;
    char *message = nullptr;
    const int32_t result = ov_process_request(&request, &message);
    const int error = errno;
    const int left = result == OV_OK ? count_clocks() : 0;
    if (left == 0)
        return conclude(result, message, nullptr, error);
    const int reason = left < 0 ? errno : error;
    free(message);
    if (left < 0)
        failed("the reset may have left clocks: %s", strerror(reason));
    else
        failed("clocks that the reset has left: %d", left);
    hint_on_errno(reason);
    return not_carried_out;
}

int reset_command(int argc, char **argv)
{
    static constexpr option options[] = {{"help", no_argument, nullptr, 'h'}, {}};
    const int choice = getopt_long(argc, argv, "h", options, nullptr);
    if (choice == 'h') {
        fputs(reset_help, stdout);
        return done;
    }
    if (choice != -1)
        return hint_on_option(argv, options);
    if (optind != argc) // whoever names somebody does not mean everybody
        return misunderstood("reset takes no identities");
    return reset();
}

} // namespace ovuser
