#pragma once

#include <cstdint>

namespace sim
{

// The container that this process runs in, as the engine reads it, but with nothing left open.
uint64_t read_container_id();

} // namespace sim
