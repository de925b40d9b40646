#include "simulator/identity/identity.h"

#include "base/integer.h"
#include "simulator/bare/next.h"
#include "simulator/bare/system_call.h"
#include "simulator/identity/container.h"
#include "simulator/identity/process.h"

namespace sim
{

static std::atomic<uint64_t> container_id, own_pid_namespace, birth;
static std::atomic<int64_t> process, user, group;
std::atomic<uint64_t> identity_version;

Identity own_identity()
{
    return {process.load(std::memory_order_acquire), user.load(std::memory_order_acquire),
            group.load(std::memory_order_acquire),   own_pid_namespace.load(std::memory_order_acquire),
            birth.load(std::memory_order_acquire),   container_id.load(std::memory_order_acquire)};
}

// The ids are the kernel's own: a library that plays root replaces geteuid. Of two threads that change them at once
// the one that comes last to the end asks again.
static void ask_ids()
{
    uint64_t version = identity_version.load(std::memory_order_acquire);
    do {
        user.store(ov::low_32(system_call(SYS_geteuid)), std::memory_order_release);
        group.store(ov::low_32(system_call(SYS_getegid)), std::memory_order_release);
    } while (!identity_version.compare_exchange_strong(version, version + 1, std::memory_order_acq_rel));
}

void know_oneself()
{
    const int64_t pid = system_call(SYS_getpid);
    uint64_t found = 0;
    read_birth(pid, found);
    process.store(pid, std::memory_order_release);
    own_pid_namespace.store(pid_namespace(), std::memory_order_release);
    birth.store(found, std::memory_order_release);
    ask_ids();
}

void identity_changed()
{
    // A child that still runs in its parent's memory, on its way to another program, leaves the parent's alone.
    if (system_call(SYS_getpid) == process.load(std::memory_order_relaxed))
        ask_ids();
}

void know_container()
{
    container_id.store(read_container_id(), std::memory_order_release);
}

} // namespace sim

// The calls after which a process may live by another clock.
#define SIM_CHANGES_IDENTITY(name, parameters, arguments)                                                              \
    SIM_INTERPOSED int name parameters noexcept                                                                        \
    {                                                                                                                  \
        static SIM_NEXT(name, int parameters);                                                                         \
        const int result = next_##name arguments;                                                                      \
        sim::identity_changed();                                                                                       \
        return result;                                                                                                 \
    }

SIM_CHANGES_IDENTITY(setuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(seteuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(setreuid, (uid_t real, uid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresuid, (uid_t real, uid_t effective, uid_t saved), (real, effective, saved))
SIM_CHANGES_IDENTITY(setgid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setegid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setregid, (gid_t real, gid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresgid, (gid_t real, gid_t effective, gid_t saved), (real, effective, saved))
