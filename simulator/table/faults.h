// Scripted answers of the simulated module, to test how programs handle a failing kernel.
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
    // Reads one or more CALL:RETURN:ERRNO[:FIELD=VALUE], separated by commas. Several for the same call edit one
    // record. Returns false for any other text; null means no faults.
    bool read(const char *script);

    // Answers the n-th command (from 1); returns false if nothing is scripted for it. An error of 0 leaves errno alone.
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
