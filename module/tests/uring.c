/* Waits by io_uring until an instant, as a timeout and as one linked to a read that never ends, for which they are begun
   or to which they are updated. SECONDS of it are given as nanoseconds.
   Usage: uring MILLISECONDS_OF_THE_CLOCK REAL_MILLISECONDS [SECONDS] */
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

static int try(long distance, long least, long odd, int updated)
{
    static const int expected[] = {-ETIME, -ECANCELED, -ETIME, 0, 0};
    struct io_uring_params params = {0};
    struct timespec begin, now;
    int ends[2], wrong = 0;
    char byte;
    const unsigned number = updated ? 5 : 3;
    const int ring = (int)syscall(SYS_io_uring_setup, 8, &params);
    if (pipe(ends) != 0)
        return 2;
    if (ring < 0)
        return errno == ENOSYS ? 0 : 3;
    const size_t size = params.sq_off.array + params.sq_entries * 4 + params.cq_entries * sizeof(struct io_uring_cqe);
    char *const rings = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, ring, IORING_OFF_SQ_RING);
    struct io_uring_sqe *const entries =
        mmap(NULL, 8 * sizeof *entries, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, ring, IORING_OFF_SQES);
    if (rings == MAP_FAILED || (void *)entries == MAP_FAILED || !(params.features & IORING_FEAT_SINGLE_MMAP))
        return 4;

    clock_gettime(CLOCK_MONOTONIC, &begin);
    clock_gettime(CLOCK_REALTIME, &now);
    struct __kernel_timespec until = {now.tv_sec, now.tv_nsec}, first;
    until.tv_nsec += distance % 1000 * 1000000;
    until.tv_sec += distance / 1000 + until.tv_nsec / 1000000000;
    until.tv_nsec = until.tv_nsec % 1000000000 + odd * 1000000000;
    until.tv_sec -= odd;
    first = until;
    first.tv_sec += updated ? 1000000 : 0;
    const struct io_uring_sqe timeout = {.fd = -1, .addr = (unsigned long)&first, .len = 1,
                                         .timeout_flags = IORING_TIMEOUT_ABS | IORING_TIMEOUT_REALTIME};
    const struct io_uring_sqe update = {.opcode = IORING_OP_TIMEOUT_REMOVE, .fd = -1, .off = (unsigned long)&until,
                                        .timeout_flags = IORING_TIMEOUT_ABS | IORING_TIMEOUT_UPDATE};
    for (unsigned i = 0; i < number; ++i) {
        entries[i] = i < 3 ? timeout : update;
        ((unsigned *)(rings + params.sq_off.array))[i] = i;
    }
    entries[0].opcode = IORING_OP_TIMEOUT;
    entries[1] = (struct io_uring_sqe){.opcode = IORING_OP_READ, .fd = ends[0], .addr = (unsigned long)&byte, .len = 1,
                                       .flags = IOSQE_IO_LINK};
    entries[2].opcode = IORING_OP_LINK_TIMEOUT;
    if (updated) {
        entries[4].addr = 2;
        entries[4].timeout_flags |= IORING_LINK_TIMEOUT_UPDATE;
    }
    for (unsigned i = 0; i < number; ++i)
        entries[i].user_data = i;
    __atomic_store_n((unsigned *)(rings + params.sq_off.tail), number, __ATOMIC_RELEASE);

    alarm((unsigned)(least / 1000 + 60));
    for (unsigned seen = 0; seen < number; ++seen) {
        if (syscall(SYS_io_uring_enter, ring, seen ? 0 : number, seen + 1, IORING_ENTER_GETEVENTS, NULL, 0) < 0)
            return perror("io_uring_enter"), 5;
        const struct io_uring_cqe *const end = (struct io_uring_cqe *)(rings + params.cq_off.cqes) + seen;
        if (end->res != expected[end->user_data] || (end->user_data < 3 && passed(&begin) < least)) {
            printf("%s%llu: %s after %ld ms\n", updated ? "updated " : "", end->user_data, strerror(-end->res), passed(&begin));
            wrong = 1;
        }
    }
    return wrong;
}

int main(int argc, char **argv)
{
    if (argc < 3)
        return 2;
    const long odd = argc > 3 ? atol(argv[3]) : 0;
    return try(atol(argv[1]), atol(argv[2]), odd, 0) | try(atol(argv[1]), atol(argv[2]), odd, 1);
}
