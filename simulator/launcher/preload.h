#pragma once

namespace sim
{

// Has the simulator's library preloaded into what is executed from now on.
void preload_library();

} // namespace sim
