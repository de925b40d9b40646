#include "simulator/process/options.h"

#include <cstdlib>
#include <cstring>

#include "simulator/raw/small_file.h"

namespace sim
{

unsigned long count_filters()
{
    char status[4096];
    const char *filters =
        read_small_file("/proc/thread-self/status", status) ? strstr(status, "\nSeccomp_filters:\t") : nullptr;
    return filters != nullptr ? strtoul(strchr(filters, '\t'), nullptr, 10) : 0;
}

bool is_filtered()
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

// Reads error_word and two numbers with a colon between.
static ErrorFile read_error_file(const char *words)
{
    const char *at = words != nullptr ? strstr(words, error_word) : nullptr;
    ErrorFile file = {};
    for (uint64_t *number : {&file.device, &file.inode})
        for (at = at != nullptr ? strchr(at, ':') : nullptr; at != nullptr && at[1] >= '0' && at[1] <= '9'; ++at)
            *number = *number * 10 + static_cast<uint64_t>(at[1] - '0');
    return file;
}

Choices read_choices(const char *words)
{
    const auto has = [words](const char *word) { return words != nullptr && strstr(words, word) != nullptr; };
    return {has("quiet"),      has("no-static"), has("descendants") && !has("no-static"),
            has("file-times"), has("intervals"), read_error_file(words)};
}

} // namespace sim
