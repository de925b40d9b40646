// What a process is told by the environment, and by the kernel, of how it is to run.
#pragma once

#include <atomic>
#include <cstdint>

namespace sim
{

// In the environment of every process under the simulator: words for what was chosen, with commas between.
constexpr char choices_variable[] = "ZYNOV_SIM_CHOICES";
constexpr char filters_word[] = "filters:"; // before how many filters there were when the simulator began

// How many filters this process is under.
unsigned long count_filters();

enum class Filtered { unknown, no, yes };
inline std::atomic<Filtered> filtered = Filtered::unknown;

// Whether there are more than the simulator stood at its beginning. Found out once, by calls that the loader makes,
// too; whoever gets another filter later says so.
bool is_filtered();

// The file that was standard error when the simulator began; both 0 for none.
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
