// Which clock somebody lives by, and why.
#pragma once

#include "ovuser/clocks.h"
#include "ovuser/identities.h"

namespace ovuser
{

// Whose clocks somebody may live by, the first of which wins: his own, his user's, his group's. A user's group is his
// login group, where his programs start.
class Life
{
  public:
    Life(const Clocks &clocks, const Identity &who);

    // Null when there is none.
    const ov_clock *clock() const { return clock_; }
    // own, user or group; none, or unknown where it may be a clock that the caller may not see.
    const char *source() const;

    // Whether a clock would stand for him, were it not for the one that he lives by.
    bool overrules(const ov_clock &clock) const;
    // Whether a clock is of one of his, who lives by that and not by his.
    bool is_overruled_by(const ov_clock &clock) const;

  private:
    enum Rank { own, of_user, of_group, ranks };

    Rank rank_of(const ov_clock &clock) const;
    bool sees_all_of_them() const;

    Identity who_;
    int64_t ids_[ranks]; // -1 where there is none
    bool certain_ = true;
    const ov_clock *clock_ = nullptr;
    Rank rank_ = ranks;
};

} // namespace ovuser
