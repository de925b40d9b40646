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

// Which rows of the clock table a caller sees: the one rule. uid 0 sees all of his container; others their own clock,
// that of the calling process's real group, and those of their processes. Nobody sees that of a process that has
// ended. How to learn of a process is the callers' own: processes has is_alive(pid), asked first, and
// belongs_to(pid, uid).
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
