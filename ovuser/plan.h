// What --dry-run --json writes: an object with an array for each kind of change.
#pragma once

#include "ov_helper.h"
#include "ovuser/clocks.h"
#include "ovuser/json.h"

namespace ovuser
{

class When;
struct Identity;

class Plan
{
  public:
    enum Change { added, changed, deleted, left, failed, end };

    explicit Plan(bool replace) : json_(stdout), replace_(replace), real_(real_time()) { json_.open('{'); }
    Plan(const Plan &) = delete;
    Plan &operator=(const Plan &) = delete;

    // What is written next are the changes of the next kind. False behind the last, where the object ends.
    bool next();
    // Each writes what it tells if that is of this kind. The line is that of a file, or 0; present may be null.
    void give(const Identity &who, int line, const When &when, int64_t checked, const ov_clock *present);
    void take_away(const ov_clock &clock);

  private:
    void write(const char *identity, int line, const ov_clock *from, const ov_clock *to);
    void write_state(const char *key, const ov_clock *clock);

    Json json_;
    const bool replace_;
    const time_t real_;
    int kind_ = -1;
};

} // namespace ovuser
