// Which clock the program lives by. Nobody tells the image of a change of ids, so that they are asked for again, though
// not at each reading.
#include "simulator/image/reading.h"

#include "simulator/bare/system_call.h"
#include "simulator/readings/search.h"

namespace sim
{

constexpr uint64_t ids_hold_for = 1'000'000; // nanoseconds

// Since the epoch; a real time that nobody believes wraps around.
static uint64_t nanoseconds(const timespec &real)
{
    return static_cast<uint64_t>(real.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(real.tv_nsec);
}

static uint64_t ask_ids(const timespec &real)
{
    ImageMemory &memory = image_data.memory;
    const uint64_t ids =
        static_cast<uint64_t>(system_call(SYS_geteuid)) << 32 | static_cast<uint64_t>(system_call(SYS_getegid));
    memory.ids.store(ids, std::memory_order_relaxed);
    memory.asked_at.store(nanoseconds(real), std::memory_order_release);
    return ids;
}

// A child that the program forked has no birth that could be read in here, and so no clock of its own.
__attribute__((noinline)) static Cache::Found look_up(uint64_t ids, Pace &pace)
{
    const ImageConfig &config = image_data.config;
    const Table &table = image_data.table;
    const int64_t process = system_call(SYS_getpid);
    const Identity who = {process,
                          static_cast<int32_t>(ids >> 32),
                          static_cast<int32_t>(ids),
                          config.pid_namespace,
                          process == config.process ? config.birth : 0,
                          config.container_id};
    Clock clock = {};
    Generation generation;
    Cache::Found found;
    do {
        generation = {table.generation.load(std::memory_order_acquire), ids};
        found = search_clock(table, who, clock) ? Cache::clock : Cache::no_clock;
    } while (generation.table != table.generation.load(std::memory_order_acquire));
    pace = Pace(clock);
    if (generation.table % 2 == 0)
        image_data.memory.cache.store(generation, found, pace);
    return found;
}

static uint64_t present_generation()
{
    return image_data.table.generation.load(std::memory_order_acquire);
}

__attribute__((noinline)) static Cache::Found find_anew(const timespec &real, Pace &pace)
{
    const uint64_t ids = ask_ids(real);
    const Cache::Found found = image_data.memory.cache.load({present_generation(), ids}, pace);
    return found != Cache::nothing ? found : look_up(ids, pace);
}

// All that can be is looked at before the kernel's function, which waits for what comes before it anyway.
int read_image_clock(clockid_t source, timespec &time)
{
    const ImageMemory &memory = image_data.memory;
    Pace pace;
    const uint64_t asked_at = memory.asked_at.load(std::memory_order_acquire);
    const uint64_t ids = memory.ids.load(std::memory_order_relaxed);
    Cache::Found found = memory.cache.load({present_generation(), ids}, pace);
    const int error = image_data.config.clock_gettime(source, &time);
    if (error != 0 || image_data.config.state[0] == '\0')
        return error;
    if (nanoseconds(time) - asked_at >= ids_hold_for || found == Cache::nothing) [[unlikely]]
        found = find_anew(time, pace);
    if (found == Cache::no_clock)
        return 0;
    if (source != CLOCK_REALTIME) // a clock has no coarse one, which would lag by more the faster it runs
        image_data.config.clock_gettime(CLOCK_REALTIME, &time);
    time = pace.at(time);
    return 0;
}

} // namespace sim
