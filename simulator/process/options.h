// Options of this process: from the environment, and from the kernel.
#pragma once

#include <atomic>
#include <cstdint>

namespace sim
{

// Environment variable of every process under the simulator: options, separated by commas.
constexpr char choices_variable[] = "ZYNOV_SIM_CHOICES";
constexpr char filters_word[] = "filters:"; // before how many filters there were when the simulator began

// Counts the filters of system calls on this process.
unsigned long count_filters();

enum class Filtered { unknown, no, yes };
inline std::atomic<Filtered> filtered = Filtered::unknown;

// Whether there are more than when the simulator started: then a system call that the program does not usually make may
// end it. Read once, by calls that the loader makes too; a new filter sets it.
bool is_filtered();

// The file that was standard error when the simulator started; both 0 for none.
struct ErrorFile {
    uint64_t device, inode;
};

struct Choices {
    bool quiet;       // nothing is said on standard error
    bool no_static;   // programs that nothing can be preloaded into are left alone
    bool descendants; // all are followed from the start, so that nobody else has to
    bool file_times;  // files are shown with times by the clock of who looks
    ErrorFile error_file;
};
constexpr char error_word[] = "stderr:"; // before the numbers of that file's device and inode, with a colon between
Choices read_choices(const char *words);

} // namespace sim
