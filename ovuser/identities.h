// The identities of a command line, each of them resolved.
#pragma once

#include <cstdint>

#include "ov_helper.h"

namespace ovuser
{

struct Identity {
    const char *text; // as typed
    int32_t kind;
    uint32_t id;
    bool met; // in the clock table
};

class Identities
{
  public:
    Identities() = default;
    ~Identities();
    Identities(const Identities &) = delete;
    Identities &operator=(const Identities &) = delete;

    // Resolves any number of them, and asks the engine whether the caller may have each listed. Anything but done is
    // the exit status, with the reason told.
    int read(int count, char **texts);

    bool none() const { return count_ == 0; }
    Identity *begin() const { return list_; }
    Identity *end() const { return list_ + count_; }

    // Whether a clock is one of these's; everybody's is where there are none.
    bool include(const ov_clock &clock);
    bool all_met() const;
    // Names on standard error those that were not met. Returns the exit status.
    int conclude() const;

  private:
    Identity *list_ = nullptr;
    int count_ = 0;
};

} // namespace ovuser
