#include "simulator/table/mapping.h"

#include <sys/mman.h>

#include <bit>
#include <cstdint>

#include "simulator/bare/system_call.h"

namespace sim
{

static thread_local constinit Mapping *own_mapping __attribute__((tls_model("initial-exec"))) = nullptr;

static long map_whole(const Table *where, int protection, int flags, int descriptor)
{
    return system_call(SYS_mmap, where, sizeof(Table), protection, flags, descriptor, 0);
}

static bool failed(long answer)
{
    return answer < 0 && answer >= -4095;
}

const Table *map_state(int descriptor)
{
    const long address = map_whole(nullptr, PROT_READ, MAP_SHARED, descriptor);
    return failed(address) ? nullptr : std::bit_cast<const Table *>(address);
}

int Mapping::map(int descriptor, int protection)
{
    const long address = map_whole(nullptr, protection, MAP_SHARED, descriptor);
    if (failed(address))
        return static_cast<int>(-address);
    table_ = std::bit_cast<Table *>(address);
    protection_ = protection;
    own_mapping = this;
    return 0;
}

Mapping::~Mapping()
{
    if (table_ == nullptr)
        return;
    own_mapping = nullptr;
    system_call(SYS_munmap, table_, sizeof(Table));
}

Mapping *Mapping::in_use()
{
    return own_mapping;
}

bool Mapping::give_up(const void *address)
{
    cut_ = sim::give_up(table_, protection_, address);
    return cut_;
}

bool give_up(const Table *table, int protection, const void *address)
{
    const auto begin = std::bit_cast<uintptr_t>(table), place = std::bit_cast<uintptr_t>(address);
    return table != nullptr && place - begin < sizeof(Table) &&
           !failed(map_whole(table, protection, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1));
}

} // namespace sim
