// Calls one operation once, for callgrind to count: instructions OPERATION. An earlier call has read the zone and
// opened the user database.
#include "bench/operations.h"

using namespace bench;

static constexpr struct {
    const char *name;
    void (*call)();
} operations[] = {
    {"zyn_parse_time", parse_time},
    {"zyn_parse_tm_time", parse_tm_time},
    {"parse_Xtime", parse_date},
    {"parse_reltime", [] { parse_relative(nullptr, "30", nullptr); }},
    {"parse_speed", parse_a_speed},
    {"adjust_virtime_for_rewind", rewind_clock},
    {"add", add_clock},
    {"add_floor", add_clock_floor},
    {"delete", delete_clock},
    {"delete_floor", delete_clock_floor},
};

// callgrind knows this name.
extern "C" __attribute__((noinline)) void counted(void (*call)())
{
    call();
}

int main(int argc, char **argv)
{
    for (const auto &operation : operations) {
        if (argc == 2 && strcmp(argv[1], operation.name) == 0) {
            operation.call();
            operation.call();
            counted(operation.call);
            return 0;
        }
    }
    return 1;
}
