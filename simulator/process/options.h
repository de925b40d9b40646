// The simulator's options for this process, and whether a filter of system calls limits it.
#pragma once

#include <atomic>
#include <cstdint>

namespace sim
{

// Environment variable of every process under the simulator: options, separated by commas.
constexpr char choices_variable[] = "ZYNOV_SIM_CHOICES";
constexpr char filters_word[] = "filters:"; // the number of filters when the simulator started follows

// Counts the filters of system calls on this process.
unsigned long count_filters();

enum class Filtered { unknown, no, yes };
inline std::atomic<Filtered> filtered = Filtered::unknown;

// Whether there are more filters than when the simulator started: then a system call that the program does not usually
// make may end it. Read once, by calls that the loader makes too; set when the program adds a filter.
bool is_filtered();

// The file that was standard error when the simulator started; both 0 for none.
struct ErrorFile {
    uint64_t device, inode;
};

struct Choices {
    bool quiet;       // no warnings
    bool no_static;   // leave programs alone that no library can be preloaded into
    bool descendants; // one tracer for all descendants, so no other is needed
    bool file_times;  // show file times by the clock of this process
    bool intervals;   // let intervals pass at the speed of the clock
    ErrorFile error_file;
};
constexpr char error_word[] = "stderr:"; // the file's device and inode follow, with a colon between
Choices read_choices(const char *words);

} // namespace sim
