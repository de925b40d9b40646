// A wait for another thread or process that finishes within microseconds if it runs.
#pragma once

#include <ctime>

#include "simulator/raw/system_call.h"

namespace sim
{

class Wait
{
  public:
    // Makes no system calls if a filter may forbid them.
    explicit Wait(bool may_call) : may_call_(may_call) {}

    // Returns false after about a fifth of a second.
    bool rest()
    {
        constexpr int short_ones = 100, all = 2000;
        const timespec length = {0, 100'000};
        for (int pauses = 0; !may_call_ && pauses < all; ++pauses)
            pause();
        if (may_call_ && rests_ < short_ones)
            system_call(SYS_sched_yield);
        else if (may_call_)
            system_call(SYS_nanosleep, &length, nullptr);
        return ++rests_ < all;
    }

  private:
    static void pause()
    {
#if defined(__x86_64__)
        __asm__ volatile("pause" ::: "memory");
#else
        __asm__ volatile("yield" ::: "memory");
#endif
    }

    bool may_call_;
    int rests_ = 0;
};

} // namespace sim
