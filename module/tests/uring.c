/* Waits by io_uring until an instant, as a timeout and as one linked to a read that never ends.
   Usage: uring MILLISECONDS_OF_THE_CLOCK REAL_MILLISECONDS */
#include <errno.h>
#include <linux/io_uring.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static long passed(const struct timespec *begin)
{
    struct timespec end;
    clock_gettime(CLOCK_MONOTONIC, &end);
    return (end.tv_sec - begin->tv_sec) * 1000 + (end.tv_nsec - begin->tv_nsec) / 1000000;
}

int main(int argc, char **argv)
{
    struct io_uring_params params = {0};
    struct timespec begin, now;
    int ends[2], wrong = 0;
    char byte;
    const int ring = (int)syscall(SYS_io_uring_setup, 4, &params);
    if (argc < 3 || pipe(ends) != 0)
        return 2;
    if (ring < 0)
        return errno == ENOSYS ? 0 : 3;
    const size_t size = params.sq_off.array + params.sq_entries * 4 + params.cq_entries * sizeof(struct io_uring_cqe);
    char *const rings = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, ring, IORING_OFF_SQ_RING);
    struct io_uring_sqe *const entries =
        mmap(NULL, 4 * sizeof *entries, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, ring, IORING_OFF_SQES);
    if (rings == MAP_FAILED || (void *)entries == MAP_FAILED || !(params.features & IORING_FEAT_SINGLE_MMAP))
        return 4;

    clock_gettime(CLOCK_MONOTONIC, &begin);
    clock_gettime(CLOCK_REALTIME, &now);
    struct __kernel_timespec until = {now.tv_sec, now.tv_nsec};
    const long distance = atol(argv[1]), least = atol(argv[2]);
    until.tv_nsec += distance % 1000 * 1000000;
    until.tv_sec += distance / 1000 + until.tv_nsec / 1000000000;
    until.tv_nsec %= 1000000000;
    const struct io_uring_sqe timeout = {.fd = -1, .addr = (unsigned long)&until, .len = 1,
                                         .timeout_flags = IORING_TIMEOUT_ABS | IORING_TIMEOUT_REALTIME};
    for (int i = 0; i < 3; ++i) {
        entries[i] = timeout;
        entries[i].opcode = i == 0 ? IORING_OP_TIMEOUT : i == 1 ? IORING_OP_READ : IORING_OP_LINK_TIMEOUT;
        entries[i].user_data = (unsigned)i;
        ((unsigned *)(rings + params.sq_off.array))[i] = (unsigned)i;
    }
    entries[1] = (struct io_uring_sqe){.opcode = IORING_OP_READ, .fd = ends[0], .addr = (unsigned long)&byte, .len = 1,
                                       .flags = IOSQE_IO_LINK, .user_data = 1};
    __atomic_store_n((unsigned *)(rings + params.sq_off.tail), 3, __ATOMIC_RELEASE);

    alarm((unsigned)(least / 1000 + 60));
    for (unsigned seen = 0; seen < 3; ++seen) {
        if (syscall(SYS_io_uring_enter, ring, seen ? 0 : 3, seen + 1, IORING_ENTER_GETEVENTS, NULL, 0) < 0)
            return perror("io_uring_enter"), 5;
        const struct io_uring_cqe *const end = (struct io_uring_cqe *)(rings + params.cq_off.cqes) + seen;
        const int expected = end->user_data == 1 ? -ECANCELED : -ETIME;
        if (end->res != expected || passed(&begin) < least) {
            printf("%llu: %s after %ld ms\n", end->user_data, strerror(-end->res), passed(&begin));
            wrong = 1;
        }
    }
    return wrong;
}
