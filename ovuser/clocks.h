// The clock table, as this caller may see it.
#pragma once

#include <ctime>

#include "ov_helper.h"
#include "ovuser/json.h"

namespace ovuser
{

class Clocks
{
  public:
    Clocks();
    ~Clocks();
    Clocks(const Clocks &) = delete;
    Clocks &operator=(const Clocks &) = delete;

    bool are_open() const { return descriptor_ >= 0; }
    // Steps to the next clock; null behind the last, and where the kernel did not answer.
    const ov_clock *next();
    // Whether everything was seen, up to the last.
    bool complete() const { return are_open() && outcome_ == 0 && clock_.undecided == 0; }
    // Tells on standard error what could not be seen, and why. Returns the exit status.
    int conclude() const;

  private:
    int descriptor_, error_;
    int outcome_ = 0;
    ov_clock clock_ = {};
};

// The time that everybody without a clock sees, also when the caller has one.
time_t real_time();

// u, g or p, as identities are written.
char letter_of(const ov_clock &clock);

bool is_frozen(const ov_clock &clock);

// A clock as the members of a JSON object.
void write_clock(Json &json, const ov_clock &clock, time_t real);

} // namespace ovuser
