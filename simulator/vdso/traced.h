// What a tracer is made for.
#pragma once

namespace sim
{

#if defined(__x86_64__)
constexpr bool can_trace = true;
#else
constexpr bool can_trace = false;
#endif

// Of a tracer that stays, as /proc shows it.
constexpr char tracer_name[] = "zynov-tracer";

enum class Traced {
    own_exec,   // this thread is about to exec
    child,      // this thread is about to make a child that will exec
    descendants // this thread is about to exec; its descendants are to be traced, too
};

} // namespace sim
