#include "simulator/identity/identity.h"

#include <sys/auxv.h>
#include <sys/prctl.h>

#include <atomic>

#include "base/integer.h"
#include "simulator/bare/filter.h"
#include "simulator/bare/next.h"
#include "simulator/bare/system_call.h"
#include "simulator/identity/container.h"
#include "simulator/identity/process.h"

namespace sim
{

// The ids are the kernel's own: a library that plays root replaces geteuid.
static int64_t ask_user()
{
    return ov::low_32(system_call(SYS_geteuid));
}

static int64_t ask_group()
{
    return ov::low_32(system_call(SYS_getegid));
}

static std::atomic<uint64_t> container_id;
static std::atomic<int64_t> process, user, group;

// The process that they are of, so that a child has not its parent's, comes last.
static std::atomic<uint64_t> own_pid_namespace, birth;
static std::atomic<int64_t> born;

static std::atomic<uint64_t> version, last_version;

// The ids of a thread that changed them alone, until the whole process does: while the version is still the same.
struct OwnIds {
    uint64_t process_version, version;
    int64_t user, group;
};
static thread_local constinit OwnIds alone __attribute__((tls_model("initial-exec"))) = {};

uint64_t identity_version()
{
    const uint64_t process_version = version.load(std::memory_order_acquire);
    return alone.process_version == process_version ? alone.version : process_version;
}

Identity own_identity()
{
    const bool is_alone = alone.process_version == version.load(std::memory_order_acquire);
    const int64_t pid = process.load(std::memory_order_acquire);
    const bool is_born = born.load(std::memory_order_acquire) == pid;
    return {pid,
            is_alone ? alone.user : user.load(std::memory_order_acquire),
            is_alone ? alone.group : group.load(std::memory_order_acquire),
            is_born ? own_pid_namespace.load(std::memory_order_acquire) : 0,
            is_born ? birth.load(std::memory_order_acquire) : 0,
            container_id.load(std::memory_order_acquire)};
}

static uint64_t next_version()
{
    return last_version.fetch_add(1, std::memory_order_relaxed) + 1;
}

// Of two threads that change them at once, the one that comes last to the end asks again.
static void ask_ids()
{
    uint64_t present = version.load(std::memory_order_acquire);
    do {
        user.store(ask_user(), std::memory_order_release);
        group.store(ask_group(), std::memory_order_release);
    } while (!version.compare_exchange_strong(present, next_version(), std::memory_order_acq_rel));
}

static void know_birth()
{
    const int64_t pid = process.load(std::memory_order_acquire);
    uint64_t found = 0;
    if (born.load(std::memory_order_acquire) == pid || read_birth(pid, found) != 0)
        return;
    own_pid_namespace.store(pid_namespace(), std::memory_order_release);
    birth.store(found, std::memory_order_release);
    born.store(pid, std::memory_order_release);
}

void know_oneself()
{
    process.store(system_call(SYS_getpid), std::memory_order_release);
    if (is_filtered()) { // the kernel has told the ids anyway, and when it was born is asked when a clock has its
                         // number
        user.store(ov::low_32(static_cast<long>(getauxval(AT_EUID))), std::memory_order_release);
        group.store(ov::low_32(static_cast<long>(getauxval(AT_EGID))), std::memory_order_release);
        version.store(next_version(), std::memory_order_release);
        return;
    }
    know_birth();
    ask_ids();
}

void begin_as_oneself()
{
    const Identity parent = own_identity(); // and of the thread that forked
    process.store(system_call(SYS_getpid), std::memory_order_release);
    user.store(parent.user, std::memory_order_release);
    group.store(parent.group, std::memory_order_release);
    version.store(next_version(), std::memory_order_release);
}

void find_own_birth(Identity &who)
{
    know_birth();
    const Identity known = own_identity();
    who.birth = known.birth;
    who.pid_namespace = known.pid_namespace;
}

void prepare_for_filter()
{
    if (process.load(std::memory_order_relaxed) != 0) // or there is no table
        know_birth();
    filtered.store(Filtered::yes, std::memory_order_relaxed);
}

// A child that still runs in its parent's memory, on its way to another program, leaves the parent's alone.
static bool is_oneself()
{
    return system_call(SYS_getpid) == process.load(std::memory_order_relaxed);
}

void identity_changed()
{
    if (is_oneself())
        ask_ids();
}

void thread_identity_changed()
{
    if (is_oneself())
        alone = {version.load(std::memory_order_acquire), next_version(), ask_user(), ask_group()};
}

void know_container()
{
    container_id.store(read_container_id(), std::memory_order_release);
}

} // namespace sim

// The calls after which a process may live by another clock.
// NOLINTBEGIN(bugprone-macro-parentheses): a list of parameters has its own
#define SIM_CHANGES_IDENTITY(name, parameters, arguments)                                                              \
    SIM_INTERPOSED int name parameters noexcept                                                                        \
    {                                                                                                                  \
        static SIM_NEXT(name, int parameters);                                                                         \
        const int result = next_##name arguments;                                                                      \
        sim::identity_changed();                                                                                       \
        return result;                                                                                                 \
    }
// NOLINTEND(bugprone-macro-parentheses)

SIM_CHANGES_IDENTITY(setuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(seteuid, (uid_t uid), (uid))
SIM_CHANGES_IDENTITY(setreuid, (uid_t real, uid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresuid, (uid_t real, uid_t effective, uid_t saved), (real, effective, saved))
SIM_CHANGES_IDENTITY(setgid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setegid, (gid_t gid), (gid))
SIM_CHANGES_IDENTITY(setregid, (gid_t real, gid_t effective), (real, effective))
SIM_CHANGES_IDENTITY(setresgid, (gid_t real, gid_t effective, gid_t saved), (real, effective, saved))

// Behind a filter it may be too late to ask.
SIM_INTERPOSED int seen_prctl(int option, long a, long b, long c, long d) __asm__("prctl");

SIM_INTERPOSED int seen_prctl(int option, long a, long b, long c, long d)
{
    static SIM_NEXT(prctl, int(int, long, long, long, long));
    if (option == PR_SET_SECCOMP)
        sim::prepare_for_filter();
    return next_prctl(option, a, b, c, d);
}
