#pragma once

#include <dlfcn.h>

#include <atomic>

namespace sim
{

// The C library's own function behind one that the preloaded library stands in for. Found at its first call,
// which may come before any constructor has run.
template <typename Function> class Next
{
  public:
    explicit constexpr Next(const char *name) : name_(name) {}

    // Null when the C library has no such function.
    Function *get()
    {
        Function *function = function_.load(std::memory_order_relaxed);
        if (function == nullptr) {
            function = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name_));
            function_.store(function, std::memory_order_relaxed);
        }
        return function;
    }

    template <typename... Arguments> auto operator()(Arguments... arguments) { return get()(arguments...); }

  private:
    const char *name_;
    std::atomic<Function *> function_ = nullptr;
};

} // namespace sim

// What the preloaded library puts in front of the C library.
#define SIM_INTERPOSED extern "C" __attribute__((visibility("default")))
