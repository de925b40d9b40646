// Measures pairs of operations in turns, in one process.
#pragma once

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace bench
{

struct Zone {
    const char *title, *name; // a null name stands for TZ unset
};

constexpr std::array<Zone, 4> zones = {{{"UTC", "UTC"},
                                        {"New York", "America/New_York"},
                                        {"CET rule", "CET-1CEST,M3.5.0,M10.5.0/3"},
                                        {"TZ unset", nullptr}}};

using Aims = std::array<double, zones.size()>; // the highest ratio aimed at in each zone, 0 for none

constexpr Aims everywhere(double aim)
{
    return {aim, aim, aim, aim};
}

// The CPU time of this process and of its children that have ended.
inline double processor_seconds()
{
    timespec own;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
    rusage children;
    getrusage(RUSAGE_CHILDREN, &children);
    return static_cast<double>(own.tv_sec + children.ru_utime.tv_sec + children.ru_stime.tv_sec) +
           1e-9 * static_cast<double>(own.tv_nsec) +
           1e-6 * static_cast<double>(children.ru_utime.tv_usec + children.ru_stime.tv_usec);
}

template <auto Operation> double seconds(int calls)
{
    const double start = processor_seconds();
    for (int i = 0; i < calls; ++i)
        Operation();
    return processor_seconds() - start;
}

// One step runs the operation once, its peer twice, and the operation once more. The median drops disturbed steps.
template <auto Operation, auto Beside> void measure(benchmark::State &state)
{
    constexpr double turn = 100e-6;
    Operation();
    int calls = 1;
    while (seconds<Operation>(calls) < turn)
        calls *= 2;
    std::vector<double> ratios;
    for (auto _ : state) {
        const double first = seconds<Operation>(calls);
        const double beside = seconds<Beside>(calls) + seconds<Beside>(calls);
        ratios.push_back((first + seconds<Operation>(calls)) / beside);
    }
    const auto middle = ratios.begin() + static_cast<std::ptrdiff_t>(ratios.size() / 2);
    std::nth_element(ratios.begin(), middle, ratios.end());
    state.counters["ratio"] = *middle;
}

// Registers a pair for the first so many zones; prepare runs before each measurement.
template <auto Operation, auto Beside>
void compare(const std::string &operation, const std::string &beside, const Aims &aims,
             size_t zone_count = zones.size(), const std::function<void()> &prepare = nullptr)
{
    for (size_t i = 0; i < zone_count; ++i) {
        const Zone &zone = zones[i];
        const std::string name = operation + '\t' + beside + '\t' + zone.title + '\t' + std::to_string(aims[i]);
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
            zone.name != nullptr ? setenv("TZ", zone.name, 1) : unsetenv("TZ");
            tzset();
            if (prepare)
                prepare();
            measure<Operation, Beside>(state);
        });
    }
}

// Writes a line for each ratio, for table.awk.
class Lines : public benchmark::BenchmarkReporter
{
  public:
    explicit Lines(FILE *output) : output_(output) {}

    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration)
                fprintf(output_, "%s\t%f\n", run.run_name.function_name.c_str(), run.counters.at("ratio").value);
        fflush(output_);
    }

  private:
    FILE *output_;
};

} // namespace bench
