#pragma once

#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "base/machine.h"

namespace ov
{

// The low 32 bits of a number, as a signed number.
constexpr int32_t low_32(int64_t value)
{
    return static_cast<int32_t>(value);
}

// Arithmetic that wraps around instead of overflowing.
constexpr int64_t wrapping_add(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

constexpr int64_t wrapping_sub(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

// The quotient rounded down, and the remainder, which is never negative. The divisor is positive.
template <typename Integer> constexpr Integer floor_div(Integer a, std::type_identity_t<Integer> b)
{
    return a / b - (a % b < 0 ? 1 : 0);
}

constexpr int64_t floor_mod(int64_t a, int64_t b)
{
    return a % b + (a % b < 0 ? b : 0);
}

// The number that a text begins with; 0 for a null text.
inline int32_t read_decimal(const char *text)
{
    return text == nullptr ? 0 : low_32(strtol(text, nullptr, 10));
}

} // namespace ov
