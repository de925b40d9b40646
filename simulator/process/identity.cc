#include "simulator/process/identity.h"

#include <sys/auxv.h>
#include <sys/prctl.h>

#include <atomic>

#include "base/integer.h"
#include "simulator/process/options.h"
#include "simulator/process/trees.h"
#include "simulator/raw/next.h"
#include "simulator/raw/process.h"
#include "simulator/raw/system_call.h"

namespace sim
{

// Asks the kernel: a library that fakes root, as fakeroot does, replaces geteuid.
static int64_t ask_user()
{
    return ov::low_32(system_call(SYS_geteuid));
}

static int64_t ask_group()
{
    return ov::low_32(system_call(SYS_getegid));
}

static std::atomic<uint64_t> own_container, container_sent;
static std::atomic<int64_t> own_process, own_user, own_group;

// Valid for the process birth_known_of, which is written last: a child must not use its parent's.
static std::atomic<uint64_t> own_pid_namespace, own_birth;
static std::atomic<int64_t> birth_known_of;

static std::atomic<uint64_t> ids_version, last_version;

// The ids of a thread that changed only its own. Valid while process_version is the same: a change by the whole process
// ends it.
struct OwnIds {
    uint64_t process_version, version;
    int64_t user, group;
};
static thread_local constinit OwnIds alone __attribute__((tls_model("initial-exec"))) = {};

uint64_t identity_version()
{
    const uint64_t process_version = ids_version.load(std::memory_order_acquire);
    return alone.process_version == process_version ? alone.version : process_version;
}

Identity own_identity()
{
    const bool is_alone = alone.process_version == ids_version.load(std::memory_order_acquire);
    const int64_t pid = own_process.load(std::memory_order_acquire);
    const bool is_born = birth_known_of.load(std::memory_order_acquire) == pid;
    return {pid,
            is_alone ? alone.user : own_user.load(std::memory_order_acquire),
            is_alone ? alone.group : own_group.load(std::memory_order_acquire),
            is_born ? own_pid_namespace.load(std::memory_order_acquire) : 0,
            is_born ? own_birth.load(std::memory_order_acquire) : 0,
            own_container.load(std::memory_order_acquire),
            own_trees()};
}

Identity certain_identity()
{
    const Identity known = own_identity();
    return known.birth != 0 && known.process == system_call(SYS_getpid) ? known : Identity();
}

static uint64_t next_version()
{
    return last_version.fetch_add(1, std::memory_order_relaxed) + 1;
}

// When two threads change the ids at once, the one that finishes last asks again.
static void ask_ids()
{
    uint64_t present = ids_version.load(std::memory_order_acquire);
    do {
        own_user.store(ask_user(), std::memory_order_release);
        own_group.store(ask_group(), std::memory_order_release);
    } while (!ids_version.compare_exchange_strong(present, next_version(), std::memory_order_acq_rel));
}

static void refresh_birth()
{
    const int64_t pid = own_process.load(std::memory_order_acquire);
    uint64_t found = 0;
    if (birth_known_of.load(std::memory_order_acquire) == pid || read_birth(pid, found) != 0)
        return;
    own_pid_namespace.store(pid_namespace(), std::memory_order_release);
    own_birth.store(found, std::memory_order_release);
    birth_known_of.store(pid, std::memory_order_release);
}

void refresh_identity()
{
    own_process.store(system_call(SYS_getpid), std::memory_order_release);
    // A filter may forbid the calls. The kernel told the ids at the start; the birth is read when a clock has this id.
    if (is_filtered()) {
        own_user.store(ov::low_32(static_cast<long>(getauxval(AT_EUID))), std::memory_order_release);
        own_group.store(ov::low_32(static_cast<long>(getauxval(AT_EGID))), std::memory_order_release);
        ids_version.store(next_version(), std::memory_order_release);
        return;
    }
    refresh_birth();
    ask_ids();
}

void inherit_identity()
{
    const Identity parent = own_identity();             // of the thread that forked
    birth_known_of.store(0, std::memory_order_release); // in a pid namespace of its own, a child may have the same id
    own_process.store(system_call(SYS_getpid), std::memory_order_release);
    own_user.store(parent.user, std::memory_order_release);
    own_group.store(parent.group, std::memory_order_release);
    ids_version.store(next_version(), std::memory_order_release);
}

void find_own_birth(Identity &who)
{
    refresh_birth();
    const Identity known = own_identity();
    who.birth = known.birth;
    who.pid_namespace = known.pid_namespace;
}

void prepare_for_filter()
{
    if (own_process.load(std::memory_order_relaxed) != 0) // 0 if there is no table
        refresh_birth();
    filtered.store(Filtered::yes, std::memory_order_relaxed);
}

// False in a vforked child, which must leave its parent's ids alone.
static bool is_own_memory()
{
    return system_call(SYS_getpid) == own_process.load(std::memory_order_relaxed);
}

void identity_changed()
{
    if (is_own_memory())
        ask_ids();
}

void thread_identity_changed()
{
    if (is_own_memory())
        alone = {ids_version.load(std::memory_order_acquire), next_version(), ask_user(), ask_group()};
}

void refresh_container()
{
    const Container own = read_container();
    own_container.store(own.id, std::memory_order_release);
    container_sent.store(own.sent, std::memory_order_release);
}

uint64_t unnumbered_container()
{
    return container_sent.load(std::memory_order_acquire) == 0 ? own_container.load(std::memory_order_acquire) : 0;
}

} // namespace sim
