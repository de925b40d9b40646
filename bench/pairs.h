// Pairs of operations, measured in turns in one process, and the table of their ratios.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
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

struct Row {
    std::string operation, beside;
    Aims aims;
    std::array<std::vector<double>, zones.size()> ratios;
};

inline std::deque<Row> rows; // which are referred to

inline double quantile(std::vector<double> &values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * static_cast<double>(values.size() - 1) + 0.5)];
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
    state.counters["ratio"] = quantile(ratios, 0.5);
}

// A row of the table, measured in the first so many zones; prepare is called before each measurement.
template <auto Operation, auto Beside>
void compare(
    const std::string &operation, const std::string &beside, const Aims &aims, size_t zone_count = zones.size(),
    std::function<void()> prepare = [] {})
{
    rows.push_back({operation, beside, aims, {}});
    for (size_t zone = 0; zone < zone_count; ++zone) {
        const std::string name = std::to_string(rows.size() - 1) + "/" + std::to_string(zone);
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
            zones[zone].name != nullptr ? setenv("TZ", zones[zone].name, 1) : unsetenv("TZ");
            tzset();
            prepare();
            measure<Operation, Beside>(state);
        });
    }
}

class Table : public benchmark::BenchmarkReporter
{
  public:
    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            const std::string &name = run.run_name.function_name;
            const size_t slash = name.find('/');
            rows[std::stoul(name)].ratios[std::stoul(name.substr(slash + 1))].push_back(run.counters.at("ratio"));
        }
    }

    static void print_header(FILE *output)
    {
        fprintf(output, "| %-37s | %-38s", "operation", "beside");
        for (const Zone &zone : zones)
            fprintf(output, " | %-16s", zone.title);
        fprintf(output, " | %-19s | met |\n|---|---|---|---|---|---|---|---|\n", "aim");
    }

    // The medians of the repetitions, and the quartiles behind them.
    static void print_rows(FILE *output)
    {
        for (Row &row : rows) {
            fprintf(output, "| %-37s | %-38s", row.operation.c_str(), row.beside.c_str());
            bool met = true;
            std::vector<double> aims;
            for (size_t zone = 0; zone < zones.size(); ++zone) {
                char text[64] = "";
                if (std::vector<double> &ratios = row.ratios[zone]; !ratios.empty()) {
                    const double median = quantile(ratios, 0.5);
                    met = met && (row.aims[zone] == 0 || median <= row.aims[zone]);
                    aims.push_back(row.aims[zone]);
                    snprintf(text, sizeof text, "%.2f (%.2f-%.2f)", median, quantile(ratios, 0.25),
                             quantile(ratios, 0.75));
                }
                fprintf(output, " | %-16s", text);
            }
            if (std::equal(aims.begin() + 1, aims.end(), aims.begin()))
                aims.resize(1);
            std::string text;
            for (const double aim : aims)
                text.append(" ").append(aim == 0 ? "-" : std::to_string(aim), 0, 4);
            fprintf(output, " |%-20s | %-3s |\n", text.c_str(), text == " -" ? "" : met ? "yes" : "NO");
        }
    }
};

} // namespace bench
