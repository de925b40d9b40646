#include <fcntl.h>
#include <sys/vfs.h>

#include <atomic>
#include <cstdlib>

#include "simulator/process/options.h"
#include "simulator/process/trees.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/mapping.h"
#include "simulator/table/members.h"
#include "simulator/table/state.h"

namespace sim
{

// All trees that this process is counted in, as one number. A forked child is counted in them, too.
static std::atomic<uint64_t> counted;

// An overlay file system maps a different file than the one that was opened and locked.
static bool is_overlaid(int descriptor)
{
    constexpr auto overlay = 0x794c7630;
    struct statfs system = {};
    return system_call(SYS_fstatfs, descriptor, &system) == 0 && system.f_type == overlay;
}

void begin_membership(const Table &table, int descriptor)
{
    uint64_t all = 0;
    for_lasting_trees(table, own_trees(), [&](uint64_t tree) {
        if (become_member(descriptor, tree))
            all ^= tree;
    });
    counted.store(all, std::memory_order_relaxed);
    if (all != 0 && is_overlaid(descriptor)) // keeps a descriptor open, with a number that few programs use
        system_call(SYS_fcntl, descriptor, F_DUPFD_CLOEXEC, 900);
}

void refresh_membership(const Table &table)
{
    uint64_t all = 0;
    for_lasting_trees(table, own_trees(), [&](uint64_t tree) { all ^= tree; });
    const char *state =
        all != counted.load(std::memory_order_relaxed) && !is_filtered() ? getenv(state_variable) : nullptr;
    const int descriptor = state != nullptr ? open_state(state, O_CLOEXEC) : -1;
    if (descriptor < 0)
        return;
    if (attach_again(descriptor))
        begin_membership(table, descriptor);
    system_call(SYS_close, descriptor);
}

} // namespace sim
