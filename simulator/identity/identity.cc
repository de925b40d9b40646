#include "simulator/identity/identity.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "simulator/bare/next.h"
#include "simulator/bare/small_file.h"
#include "simulator/identity/process.h"

namespace sim
{

Self self;
std::atomic<uint64_t> identity_version;

static void identity_changed()
{
    identity_version.fetch_add(1, std::memory_order_release);
}

void know_oneself()
{
    self.pid = getpid();
    self.birth = process_birth("/proc/self/stat");
    identity_changed();
}

// As the engine reads it, but with nothing left open.
static uint64_t read_container_id()
{
    struct stat marker;
    char line[256];
    if (stat("/.dockerenv", &marker) != 0 || !read_small_file("/etc/hostname", line))
        return 0;
    line[strcspn(line, "\n")] = '\0';
    return strtoull(line, nullptr, 16);
}

void know_container()
{
    self.container_id = read_container_id();
}

} // namespace sim

// The calls after which a process may live by another clock.
#define SIM_CHANGES_IDENTITY(name, parameters, arguments)                                                              \
    SIM_INTERPOSED int name parameters noexcept                                                                        \
    {                                                                                                                  \
        static constinit sim::Next<int parameters> next(#name);                                                        \
        const int result = next arguments;                                                                             \
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
