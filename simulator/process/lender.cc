#include "simulator/process/trees.h"

#include <atomic>
#include <cerrno>

#include "simulator/process/options.h"
#include "simulator/raw/process.h"
#include "simulator/raw/system_call.h"

namespace sim
{

constexpr uint64_t interval = 10'000'000, id_holds_for = 100'000'000; // nanoseconds

static std::atomic<int64_t> lender_id;
static std::atomic<uint64_t> lender_birth, asked_at;

static uint64_t nanoseconds(const timespec &real)
{
    return static_cast<uint64_t>(real.tv_sec) * ZYNOV_SECOND + static_cast<uint64_t>(real.tv_nsec);
}

Lender watch_lender(const Clock &clock)
{
    if (clock.lasts() || is_filtered() || clock.pid_namespace != pid_namespace())
        return Lender::lasting;
    if (has_ended(clock.id, clock.birth))
        return Lender::ended;
    lender_id.store(clock.id, std::memory_order_relaxed);
    lender_birth.store(clock.birth, std::memory_order_relaxed);
    return Lender::alive;
}

// A step of the real time in either direction counts as a long time.
bool is_lender_due(const timespec &real)
{
    return nanoseconds(real) - asked_at.load(std::memory_order_relaxed) >= interval;
}

bool has_lender_ended(const timespec &real)
{
    const uint64_t now = nanoseconds(real), since = now - asked_at.exchange(now, std::memory_order_relaxed);
    if (filtered.load(std::memory_order_relaxed) == Filtered::yes)
        return false;
    const int64_t pid = lender_id.load(std::memory_order_relaxed);
    return system_call(SYS_kill, pid, 0) == -ESRCH ||
           (since >= id_holds_for && has_ended(pid, lender_birth.load(std::memory_order_relaxed)));
}

} // namespace sim
