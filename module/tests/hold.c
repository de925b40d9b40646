/* Takes a clock that stands still, refines it, and leaves in /tmp/held what it shows. Usage: hold VALUE SPEED BITS NANOSECONDS */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

int main(int argc, char **argv)
{
    const int file = open(ZYNOV_PATH, O_RDONLY);
    struct zynov_iov record = {.version = ZYNOV_IOV_VERSION, .id = getpid(), .flags = ZYNOV_PROCESS};
    struct timespec now;
    if (argc < 5)
        return 2;
    record.vtime = atoll(argv[1]);
    if (ioctl(file, ZYNOV_IOC_ADD_CLOCK, &record) != 0)
        return 1;
    record.spare = strtoull(argv[3], NULL, 0);
    record.vtime = atoll(argv[4]);
    if (ioctl(file, ZYNOV_IOC_REFINE_CLOCK, &record) != 0)
        return 1;
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    FILE *const held = fopen("/tmp/held", "w");
    fprintf(held, "%lld.%09ld\n", (long long)now.tv_sec, now.tv_nsec);
    fclose(held);
    pause();
    return 0;
}
