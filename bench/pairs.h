// Pairs of operations, measured in turns in one process.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
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

template <auto Operation> double seconds(int calls)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i)
        Operation();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One step is a turn of the operation, two of what it is beside, and one of the operation again. What disturbs a
// step, other processes for example, does not reach the median.
template <auto Operation, auto Beside> void measure(benchmark::State &state)
{
    constexpr double turn = 50e-6;
    seconds<Operation>(1);
    const int calls = std::max(1, static_cast<int>(turn / std::max(seconds<Operation>(1), 20e-9)));
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

// Has a pair measured in the first so many zones; prepare is called before each measurement.
template <auto Operation, auto Beside>
void compare(
    const std::string &operation, const std::string &beside, const Aims &aims, size_t zone_count = zones.size(),
    std::function<void()> prepare = [] {})
{
    for (size_t i = 0; i < zone_count; ++i) {
        const Zone &zone = zones[i];
        const std::string name = operation + '\t' + beside + '\t' + zone.title + '\t' + std::to_string(aims[i]);
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
            zone.name != nullptr ? setenv("TZ", zone.name, 1) : unsetenv("TZ");
            tzset();
            prepare();
            measure<Operation, Beside>(state);
        });
    }
}

// Writes a line for each ratio, from which table.awk makes the table.
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
