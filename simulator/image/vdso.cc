// The functions that a program takes for the kernel's: what they are called, and what each of them calls.
#include "simulator/image/reading.h"

#define SIM_VDSO extern "C" __attribute__((visibility("default")))

using sim::image_data;

SIM_VDSO int __vdso_clock_gettime(clockid_t source, timespec *time)
{
    const bool shows_time = source == CLOCK_REALTIME || source == CLOCK_REALTIME_COARSE ||
                            source == CLOCK_REALTIME_ALARM || source == CLOCK_TAI;
    return shows_time ? sim::read_image_clock(source, *time) : image_data.config.clock_gettime(source, time);
}

SIM_VDSO int __vdso_gettimeofday(timeval *time, void *zone)
{
    timespec now;
    if (time != nullptr) {
        if (const int error = sim::read_image_clock(CLOCK_REALTIME, now))
            return error;
        *time = {now.tv_sec, now.tv_nsec / 1000};
    }
    return zone != nullptr ? image_data.config.gettimeofday(nullptr, zone) : 0;
}

SIM_VDSO time_t __vdso_time(time_t *time)
{
    timespec now;
    sim::read_image_clock(CLOCK_REALTIME_COARSE, now);
    if (time != nullptr)
        *time = now.tv_sec;
    return now.tv_sec;
}

SIM_VDSO int __vdso_clock_getres(clockid_t source, timespec *resolution)
{
    return image_data.config.clock_getres(source, resolution);
}

SIM_VDSO long __vdso_getcpu(unsigned *cpu, unsigned *node, void *unused)
{
    return image_data.config.getcpu(cpu, node, unused);
}

// The names without a prefix are the kernel's, too.
SIM_VDSO int clock_gettime(clockid_t, timespec *) noexcept __attribute__((alias("__vdso_clock_gettime")));
SIM_VDSO int image_gettimeofday(timeval *, void *) __asm__("gettimeofday")
    __attribute__((alias("__vdso_gettimeofday")));
SIM_VDSO time_t time(time_t *) noexcept __attribute__((alias("__vdso_time")));
SIM_VDSO int clock_getres(clockid_t, timespec *) noexcept __attribute__((alias("__vdso_clock_getres")));
SIM_VDSO long image_getcpu(unsigned *, unsigned *, void *) __asm__("getcpu") __attribute__((alias("__vdso_getcpu")));
