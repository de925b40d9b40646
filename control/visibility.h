#pragma once

#include <unistd.h>

#include <cstdint>

#include "base/integer.h"
#include "contract/zynov.h"
#include "identity/kinds.h"

namespace ov
{

enum class Answer { no, yes, unknown };

constexpr Answer answer(bool yes)
{
    return yes ? Answer::yes : Answer::no;
}

constexpr int32_t kind_of(const zynov_iov &entry)
{
    return static_cast<int32_t>(entry.flags & ZYNOV_KIND_MASK);
}

// Decides which clocks a user sees. uid 0 sees all clocks of its container. Others see their own, that of their real
// group, and those of their processes. Nobody sees the clock of a process that has ended. processes answers
// is_alive(pid), which is asked first, and belongs_to(pid, uid).
template <typename Processes>
Answer is_visible(const zynov_iov &entry, uint64_t container, int uid, Processes &&processes)
{
    const int32_t kind = kind_of(entry), id = low_32(entry.id);
    if (entry.container_id != container || entry.id == 0 || !is_known_kind(kind))
        return Answer::no;
    if (kind == OV_PROCESS && processes.is_alive(id) == Answer::no)
        return Answer::no;
    if (uid == 0)
        return Answer::yes;
    return kind == OV_USER    ? answer(id == uid)
           : kind == OV_GROUP ? answer(static_cast<uint32_t>(id) == getgid())
                              : processes.belongs_to(id, uid);
}

} // namespace ov
