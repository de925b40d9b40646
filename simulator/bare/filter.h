// Filters of system calls, which may end who makes one that programs of its kind never make.
#pragma once

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "simulator/bare/small_file.h"

namespace sim
{

// In the environment of every process under the simulator: words for what was chosen, with commas between.
constexpr char choices_variable[] = "ZYNOV_SIM_CHOICES";
constexpr char filters_word[] = "filters:"; // before how many filters there were when the simulator began

// How many filters this process is under.
inline unsigned long count_filters()
{
    char status[4096];
    const char *filters =
        read_small_file("/proc/thread-self/status", status) ? strstr(status, "\nSeccomp_filters:\t") : nullptr;
    return filters != nullptr ? strtoul(strchr(filters, '\t'), nullptr, 10) : 0;
}

enum class Filtered { unknown, no, yes };
inline std::atomic<Filtered> filtered = Filtered::unknown;

// Whether there are more than the simulator stood at its beginning. Found out once, by calls that the loader makes,
// too; whoever gets another filter later says so.
inline bool is_filtered()
{
    Filtered known = filtered.load(std::memory_order_relaxed);
    if (known == Filtered::unknown) {
        const char *choices = getenv(choices_variable);
        const char *word = choices != nullptr ? strstr(choices, filters_word) : nullptr;
        const unsigned long at_first = word != nullptr ? strtoul(word + strlen(filters_word), nullptr, 10) : 0;
        known = count_filters() > at_first ? Filtered::yes : Filtered::no;
        filtered.store(known, std::memory_order_relaxed);
    }
    return known == Filtered::yes;
}

} // namespace sim
