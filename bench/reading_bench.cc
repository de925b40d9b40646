// What a reading of the time costs under the simulator, against the C library's own calls, in one run. To be run
// under zynov-sim; it gives itself a clock, and takes it away again, between measurements.
#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>

#include "kernel/zynov.h"

static void *libc;

template <typename Function> static Function *bare(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(libc, name));
}

static void give_clock(int64_t speed, uint64_t rewind)
{
    const int control = open(ZYNOV_PATH, O_RDONLY);
    constexpr uint64_t process = 3;
    zynov_iov clock = {171, 0, 0, getpid(), process, 0, 0, 0, 0, 0, 0};
    ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &clock);
    if (speed != 0) {
        clock.vtime = 1924419600;
        clock.flags = process | rewind << ZYNOV_REWIND_SHIFT;
        clock.speed = speed;
        if (ioctl(control, ZYNOV_IOC_ADD_CLOCK, &clock) != 0)
            abort();
    }
    close(control);
}

// Reports each reading as a multiple of its bare call. The median of several interleaved repetitions counts.
class Ratios : public benchmark::ConsoleReporter
{
  public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            if (run.aggregate_name == "median")
                medians_[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }

    void print() const
    {
        std::printf("\n%-36s ratio of medians\n", "reading / bare call");
        for (const auto &[name, median] : medians_) {
            const std::string call = name.substr(name.find('/') + 1);
            const std::string base = call == "time" ? "bare/clock_gettime" : "bare/" + call;
            if (name.compare(0, 5, "bare/") != 0)
                std::printf("%-36s %.2f\n", name.c_str(), median / medians_.at(base));
        }
    }

  private:
    std::map<std::string, double> medians_;
};

template <typename Read> static void add(const std::string &name, int64_t speed, uint64_t rewind, Read read)
{
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        give_clock(speed, rewind);
        for (auto _ : state)
            read();
    });
}

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    libc = dlopen("libc.so.6", RTLD_NOW);
    if (getenv("ZYNOV_SIM_STATE") == nullptr) {
        std::fprintf(stderr, "run this under zynov-sim\n");
        return 1;
    }
    static timespec instant;
    static timeval moment;
    const auto bare_clock_gettime = bare<int(clockid_t, timespec *)>("clock_gettime");
    const auto bare_gettimeofday = bare<int(timeval *, void *)>("gettimeofday");
    add("bare/clock_gettime", 0, 0, [=] { bare_clock_gettime(CLOCK_REALTIME, &instant); });
    add("bare/gettimeofday", 0, 0, [=] { bare_gettimeofday(&moment, nullptr); });
    const struct {
        const char *name;
        int64_t speed;
        uint64_t rewind;
    } clocks[] = {{"none", 0, 0},
                  {"running", 1, 0},
                  {"60-times-faster", 60, 0},
                  {"60-times-slower", -60, 0},
                  {"rewinding", 1, 1}};
    for (const auto &clock : clocks) {
        const std::string name = clock.name;
        add(name + "/clock_gettime", clock.speed, clock.rewind, [] { clock_gettime(CLOCK_REALTIME, &instant); });
        add(name + "/gettimeofday", clock.speed, clock.rewind, [] { gettimeofday(&moment, nullptr); });
        add(name + "/time", clock.speed, clock.rewind, [] { benchmark::DoNotOptimize(time(nullptr)); });
    }
    Ratios ratios;
    benchmark::RunSpecifiedBenchmarks(&ratios);
    ratios.print();
}
