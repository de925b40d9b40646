#pragma once

#include <cstdint>

#include "ov_helper.h"

namespace ov
{

// The letter before "id" in messages and before ":" in the listing.
constexpr char identity_letter(int32_t kind)
{
    return kind == OV_USER ? 'u' : kind == OV_GROUP ? 'g' : 'p';
}

constexpr bool is_known_kind(int32_t kind)
{
    return kind >= OV_USER && kind <= OV_PROCESS;
}

} // namespace ov
