// The simulated module: any bytes as its table, any commands, any clock at any time.
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "fuzz/fuzz.h"
#include "simulator/table/commands.h"
#include "simulator/table/lock.h"
#include "simulator/table/state.h"

using namespace sim;

static void send_commands(FuzzedDataProvider &input, Table &table, bool fresh)
{
    const auto any = [&] { return input.ConsumeIntegral<int64_t>(); };
    static const unsigned long commands[] = {ZYNOV_IOC_ADD_CLOCK, ZYNOV_IOC_DELETE_CLOCK, ZYNOV_IOC_RESET_ALL,
                                             ZYNOV_IOC_GET_SLOT,  ZYNOV_IOC_HIGH_MARK,    ZYNOV_IOC_REFINE_CLOCK};
    static const int second_answers[] = {EEXIST, EL2HLT, ENOENT, 0, 0, 0};
    const auto send = [&](unsigned long command, zynov_iov &r) {
        const timespec now = {any(), input.ConsumeIntegralInRange(0, 999999999)};
        return changes_table(command, r) ? change_table(table, command, r, now, find_add_context(command, r))
                                         : query_table(table, command, r, now);
    };
    while (input.ConsumeBool()) { // identities that do not change
        const auto which = input.ConsumeIntegralInRange<size_t>(0, 5);
        const unsigned long command = commands[which];
        const int again = second_answers[which];
        zynov_iov r = {171, input.PickValueInArray({0u, 1u, 2u, 1023u, 1024u, UINT32_MAX}), 0, any() % 2 | 1,
                       any() % 4};
        r.version -= any() % 16 == 1;
        r.flags = any() & ~8, r.speed = any(), r.origin = any(), r.container_id = any() & 1;
        if (command == ZYNOV_IOC_ADD_CLOCK) // for a delete it is the kind
            r.vtime = input.PickValueInArray<int64_t>({32399, 32400, 253402329599, 253402329600, any()});
        if (command == ZYNOV_IOC_REFINE_CLOCK)
            r.spare = any();
        const int error = send(command, r);
        const bool no_kind = command == ZYNOV_IOC_ADD_CLOCK && ((r.flags & 15) == 0 || (r.flags & 15) > 3);
        const bool refused = error == EILSEQ || error == EINVAL || error == EOVERFLOW || error == ENOSPC ||
                             (error == ENOENT && command == ZYNOV_IOC_REFINE_CLOCK) ||
                             (error == ESRCH && (r.flags & 15) == 3) || (error == EDOM && no_kind);
        assert((error == EILSEQ) == (r.version != 171) && (error == 0 || error == again || refused));
        assert(command != ZYNOV_IOC_GET_SLOT || refused == (r.version != 171 || r.slot > 1023));
        assert(!fresh || error != 0 || send(command, r) == again);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const int file = memfd_create("table", 0);
    const Header good;
    const bool fresh = input.ConsumeBool();
    const off_t length = fresh ? sizeof(Table) : input.ConsumeIntegralInRange<off_t>(sizeof good, sizeof(Table) + 9);
    assert(ftruncate(file, length) == 0 && pwrite(file, &good, sizeof good, 0) == sizeof good);
    for (std::string bytes; !fresh && !(bytes = input.ConsumeRandomLengthString(200)).empty();)
        assert(pwrite(file, bytes.data(), bytes.size(), input.ConsumeIntegralInRange<off_t>(0, length)) > 0);
    if (flaw_in_state(file) == nullptr)
        send_commands(input, *TableLock(file).table(), fresh);
    close(file);

    Clock clock = {};
    input.ConsumeData(&clock, sizeof clock);
    const timespec read =
        ClockRate(clock).at({input.ConsumeIntegral<time_t>(), input.ConsumeIntegralInRange(0, 999999999)});
    const timespec start = ClockRate(clock).at({clock.real_seconds, clock.real_nanoseconds});
    const auto is_wild = [](int64_t nanoseconds) { return nanoseconds < 0 || nanoseconds > 999999999; };
    const bool wild = is_wild(clock.real_nanoseconds) || is_wild(clock.nanoseconds);
    assert(read.tv_nsec >= 0 && read.tv_nsec < 1000000000);
    assert(wild || (start.tv_sec == clock.start && start.tv_nsec == clock.nanoseconds));
    return 0;
}
