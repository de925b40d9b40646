// System calls without the C library: no stand-in or other library's replacement is called, none is a cancellation
// point, and errno stays.
#pragma once

#include <sys/syscall.h>

#include <type_traits>

namespace sim
{

#if defined(__x86_64__)
inline long raw_call(long number, long a, long b, long c, long d, long e, long f)
{
    long result;
    register long r10 __asm__("r10") = d;
    register long r8 __asm__("r8") = e;
    register long r9 __asm__("r9") = f;
    __asm__ volatile("syscall"
                     : "=a"(result)
                     : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
                     : "rcx", "r11", "memory");
    return result;
}
#elif defined(__aarch64__)
inline long raw_call(long number, long a, long b, long c, long d, long e, long f)
{
    register long x8 __asm__("x8") = number;
    register long x0 __asm__("x0") = a;
    register long x1 __asm__("x1") = b;
    register long x2 __asm__("x2") = c;
    register long x3 __asm__("x3") = d;
    register long x4 __asm__("x4") = e;
    register long x5 __asm__("x5") = f;
    __asm__ volatile("svc 0" : "+r"(x0) : "r"(x8), "r"(x1), "r"(x2), "r"(x3), "r"(x4), "r"(x5) : "memory");
    return x0;
}
#else
#error "The simulator knows the system calls of x86-64 and arm64 alone."
#endif

template <typename Argument> long call_argument(Argument argument)
{
    if constexpr (std::is_pointer_v<Argument>)
        return reinterpret_cast<long>(argument);
    else if constexpr (std::is_null_pointer_v<Argument>)
        return 0;
    else
        return static_cast<long>(argument);
}

// Returns the kernel's answer: a result, or a negative errno from -4095 to -1. Async-signal-safe.
template <typename... Arguments> long system_call(long number, Arguments... arguments)
{
    static_assert(sizeof...(arguments) <= 6);
    const long words[6] = {call_argument(arguments)...};
    return raw_call(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

} // namespace sim
