#include "simulator/raw/next.h"

#include <dlfcn.h>

#include "base/errno_guard.h"

// The linker defines these at the ends of the section.
extern "C" __attribute__((visibility("hidden"))) sim::Original __start_sim_originals[], __stop_sim_originals[];

namespace sim
{

void *Original::find()
{
    ov::ErrnoGuard keep;
    void *found = version != nullptr ? dlvsym(RTLD_NEXT, name, version) : dlsym(RTLD_NEXT, name);
    function.store(found, std::memory_order_relaxed);
    return found;
}

__attribute__((constructor)) static void find_originals()
{
    for (Original *original = __start_sim_originals; original != __stop_sim_originals; ++original)
        original->find();
}

} // namespace sim
