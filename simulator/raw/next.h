// Stand-ins for functions of the C library, and the originals behind them.
#pragma once

#include <atomic>

#include "simulator/raw/system_call.h"

namespace sim
{

// Whether the loader has relocated this library. Before that, no function of another library can be called, but
// other libraries' resolvers (STT_GNU_IFUNC) may already ask for the time.
inline bool is_relocated()
{
    static constinit const volatile void *const volatile own_address = &own_address;
    return own_address == &own_address;
}

// Before that, the system call of the same name. It leaves errno alone.
template <long number, typename Function> struct Early;
template <long number, typename Result, typename... Arguments> struct Early<number, Result(Arguments...)> {
    static Result call(Arguments... arguments)
    {
        const long result = system_call(number, arguments...);
        return static_cast<Result>(result < 0 ? -1 : result);
    }
};

// One of the C library's functions. Those declared with SIM_NEXT are looked up when the library is loaded, since a
// later lookup may wait for a lock of the loader, or at their first call, which a constructor of another library may
// make even earlier.
struct alignas(32) Original { // an array of them, as the linker lays them out, has no gaps
    const char *name, *version;
    std::atomic<void *> function = nullptr;

    // Returns null if the C library has no such function.
    void *find();
};

template <typename Function, long early_number = 0> struct Next : Original {
    // cppcheck-suppress uninitDerivedMemberVar // the aggregate initialises them
    explicit constexpr Next(const char *its_name, const char *its_version = nullptr) : Original{its_name, its_version}
    {
    }

    Function *get()
    {
        void *found = function.load(std::memory_order_relaxed);
        if (found != nullptr) [[likely]]
            return reinterpret_cast<Function *>(found);
        if constexpr (early_number != 0)
            if (!is_relocated())
                return Early<early_number, Function>::call;
        return reinterpret_cast<Function *>(find());
    }

    template <typename... Arguments> auto operator()(Arguments... arguments) { return get()(arguments...); }
};

} // namespace sim

// Declare next_NAME, which calls the C library's function of that name; a type may have commas. SIM_NEXT_EARLY also
// names the system call to make before the loader is done, SIM_NEXT_VERSION one of several versions. Without "used"
// clang would split the objects, and the section would be no array.
#define SIM_NEXT(name, ...)                                                                                            \
    __attribute__((used, section("sim_originals"))) constinit ::sim::Next<__VA_ARGS__> next_##name(#name)
#define SIM_NEXT_EARLY(name, number, ...)                                                                              \
    __attribute__((used, section("sim_originals"))) constinit ::sim::Next<__VA_ARGS__, number> next_##name(#name)
#define SIM_NEXT_VERSION(variable, name, version, ...)                                                                 \
    __attribute__((used, section("sim_originals"))) constinit ::sim::Next<__VA_ARGS__> variable(name, version)

// Begin the definition of a function that programs see as NAME, and this library as sim_NAME. The C library's prototype
// promises more than callers keep, such as a pointer that is never null. SIM_STAND_IN also declares next_NAME, the C
// library's own function.
// NOLINTBEGIN(bugprone-macro-parentheses): a list of parameters has its own
#define SIM_STAND_IN(result, name, parameters)                                                                         \
    static SIM_NEXT(name, result parameters);                                                                          \
    SIM_REPLACE(result, name, parameters)
#define SIM_REPLACE(result, name, parameters)                                                                          \
    extern "C" __attribute__((visibility("default"))) result sim_##name parameters __asm__(#name);                     \
    result sim_##name parameters
// NOLINTEND(bugprone-macro-parentheses)

// Another name of a stand-in.
#define SIM_ALIAS(other, name)                                                                                         \
    extern "C" __attribute__((visibility("default"))) decltype(sim_##name) sim_##other __asm__(#other)                 \
        __attribute__((alias(#name)));

// Some functions exist in several versions, and older ones may take other arguments. A stand-in without a version would
// replace them all.
#define SIM_INTERPOSED extern "C" __attribute__((visibility("default")))

// Exports a function as NAME@VERSION, or as NAME@@VERSION, to which programs are linked today. cmake/simulator.map
// lists all versions.
#define SIM_VERSION(function, versioned) __asm__(".symver " #function ", " versioned ", remove");

// The version that introduced today's form of a function.
#if defined(__x86_64__)
#define SIM_SINCE(x86_version) x86_version
#else
#define SIM_SINCE(x86_version) "GLIBC_2.17"
#endif
