#include "ovuser/life.h"

#include <pwd.h>
#include <unistd.h>

#include "base/process_ids.h"

namespace ovuser
{

static int64_t login_group(uint32_t uid)
{
    const passwd *user = getpwuid(uid);
    return user != nullptr ? int64_t{user->pw_gid} : -1;
}

Life::Life(const Clocks &clocks, const Identity &who) : who_(who), ids_{who.id, -1, -1}
{
    if (who.kind == OV_PROCESS) {
        const ov::ProcessIds ids = ov::process_ids(static_cast<int32_t>(who.id));
        certain_ = ids.known();
        ids_[of_user] = ids.known() ? int64_t{ids.uid} : -1;
        ids_[of_group] = ids.known() ? int64_t{ids.gid} : -1;
    } else if (who.kind == OV_USER) {
        ids_[of_group] = login_group(who.id);
    }
    for (const ov_clock &clock : clocks) {
        if (const Rank rank = rank_of(clock); rank < rank_) {
            rank_ = rank;
            clock_ = &clock;
        }
    }
    certain_ = clock_ != nullptr || (certain_ && clocks.complete() && sees_all_of_them());
}

// An ordinary caller sees his own clock, that of his group, and those of his processes.
bool Life::sees_all_of_them() const
{
    const int64_t user = who_.kind == OV_USER ? who_.id : ids_[of_user];
    const int64_t group = who_.kind == OV_GROUP ? who_.id : ids_[of_group];
    return getuid() == 0 || ((user < 0 || user == int64_t{getuid()}) && (group < 0 || group == int64_t{getgid()}));
}

Life::Rank Life::rank_of(const ov_clock &clock) const
{
    if (clock.kind == who_.kind && clock.id == who_.id)
        return own;
    if (clock.kind == OV_USER && clock.id == ids_[of_user])
        return of_user;
    return clock.kind == OV_GROUP && clock.id == ids_[of_group] ? of_group : ranks;
}

const char *Life::source() const
{
    static constexpr const char *words[] = {"own", "user", "group", "none"};
    return certain_ ? words[rank_] : "unknown";
}

bool Life::overrules(const ov_clock &clock) const
{
    return rank_ < rank_of(clock) && rank_of(clock) < ranks;
}

bool Life::is_overruled_by(const ov_clock &clock) const
{
    if (clock.kind == OV_PROCESS)
        return (who_.kind == OV_USER && clock.owner == who_.id) ||
               (who_.kind == OV_GROUP && clock.owner_group == who_.id);
    return clock.kind == OV_USER && who_.kind == OV_GROUP && login_group(clock.id) == who_.id;
}

} // namespace ovuser
