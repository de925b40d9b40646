// The cost of reading the time in a static program, beside the kernel's own function. Runs under zynov-sim; the
// argument names its clock. Google Benchmark does not link statically, so this prints the line for table.awk itself.
#include <sys/auxv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "simulator/process/vvar.h"

static const sim::Vvar *image;
static timespec instant;

template <auto Operation> static double seconds()
{
    timespec start, end;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
    for (int i = 0; i < 10000; ++i)
        Operation();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    return static_cast<double>(end.tv_sec - start.tv_sec) + 1e-9 * static_cast<double>(end.tv_nsec - start.tv_nsec);
}

static void image_reading()
{
    clock_gettime(CLOCK_REALTIME, &instant);
}

// Called as the C library does.
__attribute__((noinline)) static int bare_clock_gettime(clockid_t source, timespec *time)
{
    const int error = image->clock_gettime(source, time);
    if (error != 0)
        errno = -error;
    return error == 0 ? 0 : -1;
}

static void bare_reading()
{
    bare_clock_gettime(CLOCK_REALTIME, &instant);
}

int main(int argc, char **argv)
{
    image = sim::find_vvar(getauxval(AT_SYSINFO_EHDR));
    if (image == nullptr || argc != 2) {
        fprintf(stderr, "usage: zynov-sim ... static_bench CLOCK\n");
        return 1;
    }
    std::array<double, 99> ratios;
    for (double &ratio : ratios) {
        const double first = seconds<image_reading>();
        const double beside = seconds<bare_reading>() + seconds<bare_reading>();
        ratio = (first + seconds<image_reading>()) / beside;
    }
    std::sort(ratios.begin(), ratios.end());
    constexpr double aim = 1.6;
    printf("static clock_gettime, %s\tbare clock_gettime\tUTC\t%f\t%f\n", argv[1], aim, ratios[ratios.size() / 2]);
}
