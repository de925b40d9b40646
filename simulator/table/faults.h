// Answers that the simulated module is made to give in place of its own, to try what a front end makes of a
// kernel in trouble.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "contract/zynov.h"

namespace sim
{

class Faults
{
  public:
    // Reads "CALL:RETURN:ERRNO[:FIELD=VALUE]", or several of them with commas between. Those of the same call
    // edit one record. False when a text is anything else; null is no fault at all.
    bool read(const char *script);

    // Plays the n-th command (from 1), unless nothing is scripted for it: then false. An error of 0 stands
    // for an errno that is left alone.
    bool play(uint64_t call, zynov_iov &record, int &result, int &error) const;

  private:
    struct Fault {
        uint64_t call;
        int result, error;
        size_t offset, size;
        int64_t value;
    };

    std::array<Fault, 32> faults_;
    size_t count_ = 0;
};

} // namespace sim
