#include "kernel/visibility.h"

#include <unistd.h>

#include <cstring>

#include "base/integer.h"
#include "identity/kinds.h"
#include "ov_helper.h"

namespace ov
{

// Whether an entry concerns a user who is not the superuser: it is his own, his group's or one of his processes'.
static bool concerns(int32_t kind, int32_t id, int uid)
{
    if (kind == OV_USER)
        return id == uid;
    if (kind == OV_GROUP)
        return static_cast<uint32_t>(id) == getgid();
    // The process may have ended since it was first looked at; then nobody but uid 0 owns it.
    const int owner = is_pid_alive(id) != 0 ? get_uid_from_pid(id) : 0;
    return owner == uid;
}

const char *visible_name(const zynov_iov &entry, uint64_t container, int uid)
{
    const auto kind = static_cast<int32_t>(entry.flags & ZYNOV_KIND_MASK);
    const int32_t id = low_32(entry.id);
    if (entry.container_id != container || entry.id == 0 || !is_known_kind(kind))
        return nullptr;
    if (kind == OV_PROCESS && is_pid_alive(id) == 0)
        return nullptr;
    if (uid != 0 && !concerns(kind, id, uid))
        return nullptr;
    // The name says whether the database knows the id, for one look-up instead of two. A user who is called so is left
    // out like those whom nobody knows: in a row nobody could tell him from them.
    const char *name = get_username(kind, static_cast<uint32_t>(id));
    return strcmp(name, "UNKNOWN") != 0 ? name : nullptr;
}

} // namespace ov
