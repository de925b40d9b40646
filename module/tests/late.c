/* A fork that a watcher of its memory holds up until the module is gone, or for some seconds, and whose parent has told
   the kernel that the child is to have the vDSO's data: it has to read the real time. As root. Usage: late REAL */
#define _GNU_SOURCE
#include <fcntl.h>
#include <linux/userfaultfd.h>
#include <poll.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static void *watch(void *descriptor)
{
    struct uffd_msg message;
    struct pollfd forks = {.fd = *(int *)descriptor, .events = POLLIN};
    poll(&forks, 1, -1);
    if (write(1, "forks\n", 6) < 0) /* a fork under way has the locks of the C library */
        return descriptor;
    for (int i = 0; i < 50 && access("/sys/module/zynov", F_OK) == 0; ++i)
        usleep(100000);
    return (void *)read(*(int *)descriptor, &message, sizeof message);
}

int main(int argc, char **argv)
{
    struct uffdio_api api = {.api = UFFD_API, .features = UFFD_FEATURE_EVENT_FORK};
    int descriptor = (int)syscall(SYS_userfaultfd, O_CLOEXEC | O_NONBLOCK);
    char *const page = mmap(NULL, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0), line[256];
    struct uffdio_register watched = {.range = {(uintptr_t)page, 4096}, .mode = UFFDIO_REGISTER_MODE_MISSING};
    unsigned long begin, end;
    pthread_t watcher;
    if (argc < 2)
        return 2;
    if (descriptor < 0) /* a small kernel */
        return puts("forks") < 0;
    if (ioctl(descriptor, UFFDIO_API, &api) != 0 || ioctl(descriptor, UFFDIO_REGISTER, &watched) != 0)
        return perror("userfaultfd"), 1;
    FILE *const maps = fopen("/proc/self/maps", "r");
    while (fgets(line, sizeof line, maps) != NULL)
        if (strstr(line, "[vvar]") && sscanf(line, "%lx-%lx", &begin, &end) == 2 &&
            madvise((void *)begin, end - begin, MADV_KEEPONFORK) != 0)
            return perror("madvise"), 1;
    time(NULL);
    pthread_create(&watcher, NULL, watch, &descriptor);
    if (fork() == 0) {
        const long long seen = time(NULL), real = atoll(argv[1]);
        if (seen < real || seen > real + 10000)
            printf("the child shows %lld\n", seen);
        return 0;
    }
    pthread_join(watcher, NULL);
    return wait(NULL) < 0;
}
