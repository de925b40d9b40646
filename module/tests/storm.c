/* Random commands, right and wrong, of root and of others, while programs fork, execute others, take other ids and
   namespaces, read clocks, wait, and move or remove what the vDSO reads. As root; the module may come and go: who lives
   on without it has to read the real time. Prints where that is not so. Usage: storm COMMANDS SEED */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <mqueue.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <sys/timex.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/clock.h"
#include "contract/zynov.h"

static uint64_t state;

static uint64_t any(uint64_t below)
{
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state % below;
}

static int64_t any_of(const int64_t *values, size_t count)
{
    return any(8) ? values[any(count)] : (int64_t)(any(2) ? any(1 << 16) : any(~0ULL));
}
#define ANY_OF(...) any_of((int64_t[]){__VA_ARGS__}, sizeof((int64_t[]){__VA_ARGS__}) / sizeof(int64_t))

static void command(int file, pid_t process)
{
    static const unsigned long numbers[] = {ZYNOV_IOC_ADD_CLOCK,  ZYNOV_IOC_ADD_CLOCK, ZYNOV_IOC_DELETE_CLOCK,
                                            ZYNOV_IOC_GET_SLOT,   ZYNOV_IOC_RESET_ALL, ZYNOV_IOC_HIGH_MARK,
                                            ZYNOV_IOC_REFINE_CLOCK};
    const uint64_t kind = any(16) ? 1 + any(3) : any(~0ULL);
    const int64_t id = kind == ZYNOV_PROCESS ? process : ANY_OF(1000, 1001, 1002, 65534, -1, 0);
    struct zynov_iov record = {.version = any(32) ? ZYNOV_IOV_VERSION : any(~0ULL),
                               .slot = (uint32_t)any_of((int64_t[]){0, 1, 1023, 1024}, 4),
                               .id = id,
                               .flags = kind | (any(4) ? 0 : any(1 << 12)),
                               .speed = ANY_OF(1, -1, 0, 60, 1000, 1001, -60, INT32_MIN),
                               .origin = ANY_OF(0, 3600, -ZYNOV_DAY, INT64_MIN),
                               .spare = any(16),
                               .container_id = any(4) ? 0 : any(4)};
    unsigned long number = numbers[any(7)];
    if (number == ZYNOV_IOC_RESET_ALL && any(64))
        number = any(2) ? ZYNOV_IOC_REFINE_CLOCK : any(~0ULL);
    record.vtime = number == ZYNOV_IOC_DELETE_CLOCK ? (int64_t)kind
                                                    : ANY_OF(ZYNOV_EARLIEST_CLOCK, 1924419600, time(NULL),
                                                             ZYNOV_LATEST_CLOCK, ZYNOV_LATEST_CLOCK + 1, -1);
    ioctl(file, number, any(32) ? &record : (void *)any(~0ULL));
}

static void take_other_ids(void)
{
    const int namespaces[] = {CLONE_NEWUTS, CLONE_NEWUSER, 0x80, CLONE_NEWPID, CLONE_NEWUSER | CLONE_NEWUTS};
    if (any(4) == 0 && unshare(namespaces[any(5)]) == 0 && any(2))
        sethostname("cafe", any(5));
    if (any(3) == 0)
        syscall(SYS_setresgid, -1, 1000 + any(3), -1);
    if (any(3) == 0)
        syscall(SYS_setresuid, any(2) ? -1 : (long)(1000 + any(3)), 1000 + any(3), -1);
}

/* What a 32-bit program does; where there is a result to store, to no address. */
static void call_32(long number, long first)
{
#ifdef __x86_64__
    __asm__ volatile("int $0x80" : "+a"(number) : "b"(first), "c"(0L) : "memory", "r8", "r9", "r10", "r11");
#else
    (void)(number + first);
#endif
}

static void *read_clocks(void *nothing)
{
    struct timespec now;
    struct timeval day;
    struct timex adjustment = {0};
    for (int i = 0; i < 200; ++i) {
        clock_gettime((clockid_t)any(12), &now);
        syscall(SYS_clock_gettime, (clockid_t)any(12), &now);
        gettimeofday(&day, NULL);
        syscall(SYS_gettimeofday, &day, NULL);
        time(NULL);
#ifdef SYS_time
        syscall(SYS_time, NULL);
#endif
        call_32(13, 0); /* time, gettimeofday, clock_gettime */
        call_32(78, 4096);
        call_32(265, (long)any(12));
        adjtimex(&adjustment);
    }
    return nothing;
}

static void *read_as_another(void *nothing)
{
    take_other_ids();
    return read_clocks(nothing);
}

/* As whoever it is, in whatever namespace. */
static void *give_commands(void *nothing)
{
    const int file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
    for (int i = 0; i < 20; ++i)
        command(file, any(2) ? getpid() : getpid() - (pid_t)any(64));
    close(file);
    return nothing;
}

static void *wait_a_little(void *nothing)
{
    const clockid_t sources[] = {CLOCK_REALTIME, CLOCK_TAI, CLOCK_REALTIME_ALARM};
    const mqd_t queue = mq_open("/storm", O_RDWR | O_CREAT, 0666, NULL);
    struct itimerspec soon = {.it_interval.tv_nsec = 1000000};
    const clockid_t source = sources[any(3)];
    int word = getppid();
    struct futex_waitv both = {.val = (uint64_t)word, .uaddr = (uintptr_t)&word, .flags = FUTEX_32};
    char text[8192];
    timer_t timer;
    clock_gettime(source, &soon.it_value);
    soon.it_value.tv_nsec = (long)any(1000000000);
    const int descriptor = timerfd_create(source, TFD_NONBLOCK);
    timerfd_settime(descriptor, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &soon, NULL);
    if (timer_create(source, &(struct sigevent){.sigev_notify = any(2) ? SIGEV_SIGNAL : SIGEV_NONE,
                                                .sigev_signo = SIGWINCH}, &timer) == 0)
        timer_settime(timer, TIMER_ABSTIME, &soon, NULL);
    syscall(SYS_futex, &soon.it_interval, 9 | 256, 0, &soon.it_value, NULL, -1); /* FUTEX_WAIT_BITSET of real time */
    syscall(SYS_futex_waitv, &both, 1, 0, &soon.it_value, CLOCK_REALTIME);
    syscall(SYS_futex, &word, FUTEX_LOCK_PI, 0, &soon.it_value, NULL, 0);
    clock_nanosleep(source, TIMER_ABSTIME, &soon.it_value, NULL);
    mq_timedreceive(queue, text, sizeof text, NULL, &soon.it_value);
    mq_close(queue);
    ssize_t got = read(descriptor, &soon, 8);
    (void)got;
    return nothing;
}

/* Until a reading faults, or no longer finds the vDSO. The kernel refuses most of it for less than the whole. */
static void *move_pages(void *nothing)
{
    const int advice[] = {MADV_KEEPONFORK, MADV_WIPEONFORK, MADV_DONTFORK, (int)any(25)};
    char line[256], *page = NULL;
    unsigned long begin, end;
    size_t size = 0;
    FILE *const maps = fopen("/proc/self/maps", "r");
    while (fgets(line, sizeof line, maps) != NULL)
        if (strstr(line, "[vvar]") && sscanf(line, "%lx-%lx", &begin, &end) == 2) {
            page = (char *)begin + (any(4) ? 0 : any((end - begin) >> 12) * 4096);
            size = any(4) ? end - begin : 4096;
        }
    fclose(maps);
    char *const other = mmap(NULL, 4 * 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    switch (page ? any(8) : 8) {
    case 0:
        munmap(page, size);
        break;
    case 1:
        mprotect(page, size, (int)any(8));
        break;
    case 2:
        mremap(page, size, any(4) ? size : 8192, MREMAP_MAYMOVE | MREMAP_FIXED, other);
        break;
    case 3:
        mremap(page, size, 2 * size, MREMAP_MAYMOVE);
        break;
    case 4:
        munmap(page, size);
#ifdef SYS_arch_prctl
        syscall(SYS_arch_prctl, 0x2003, other); /* ARCH_MAP_VDSO_64 */
#endif
        break;
    default:
        madvise(page, size, advice[any(4)]);
    }
    return read_clocks(nothing);
}

/* The module is gone before its folder is, and comes after it. */
static bool is_unloaded(void)
{
    return access("/sys/module/zynov", F_OK) < 0 && errno == ENOENT;
}

static const char *boot; /* the real instant at which the monotonic clock began */

static void compare(const char *how, int64_t seen, int64_t monotonic)
{
    const int64_t ahead = seen - monotonic - atoll(boot);
    if ((ahead < -1000 || ahead > 1000) && is_unloaded())
        dprintf(1, "Without the module, %s is %lld s ahead in process %d.\n", how, (long long)ahead, getpid());
}

static void expect_real_time(void)
{
    struct timespec fine, coarse, raw, monotonic;
    if (!is_unloaded())
        return;
    clock_gettime(CLOCK_REALTIME, &fine);
    clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &raw);
    const time_t second = time(NULL);
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &monotonic);
    compare("the clock", fine.tv_sec, monotonic.tv_sec);
    compare("the coarse clock", coarse.tv_sec, monotonic.tv_sec);
    compare("the system call's", raw.tv_sec, monotonic.tv_sec);
    compare("time", second, monotonic.tv_sec);
}

static void live(char **argv, int depth)
{
    void *(*const ways[])(void *) = {read_clocks, read_as_another, wait_a_little, move_pages, move_pages, give_commands};
    pthread_t thread;
    volatile int threads = 0;
    signal(SIGWINCH, SIG_IGN);
    alarm(3);
    take_other_ids();
    if (any(4) == 0)
        threads = pthread_create(&thread, NULL, ways[any(6)], NULL) == 0;
    ways[any(6)](NULL);
    ways[any(6)](NULL);
    if (depth < 2 && any(2)) {
        const pid_t child = any(3) ? fork() : vfork();
        if (child == 0 && any(2))
            read_as_another(NULL);
        if (child == 0 && any(2))
            execl("/proc/self/exe", argv[0], "0", "1", boot, NULL);
        if (child == 0) {
            expect_real_time();
            _exit(0);
        }
        if (child > 0 && any(3))
            waitpid(child, NULL, 0);
    }
    if (threads && any(2))
        pthread_join(thread, NULL);
    expect_real_time();
    _exit(0);
}

static void keep_living(char **argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) {
        const uint64_t seed = any(~0ULL) | 1;
        const pid_t child = fork();
        if (child == 0) {
            state = seed;
            live(argv, 0);
        }
        if (any(3))
            waitpid(child, NULL, 0);
        while (waitpid(-1, NULL, WNOHANG) > 0)
            ;
    }
}

static volatile sig_atomic_t left;

static void end(int signal)
{
    (void)signal;
    left = 1;
}

int main(int argc, char **argv)
{
    static const uint64_t containers[] = {0, 1, 2, 3, 0xc, 0xca, 0xcaf, 0xcafe};
    struct zynov_iov record = {.version = ZYNOV_IOV_VERSION};
    pid_t lives[3], first = getpid();
    int file = -1;
    struct timespec monotonic;
    char text[32];
    if (argc < 3)
        return 2;
    clock_gettime(CLOCK_MONOTONIC, &monotonic);
    snprintf(text, sizeof text, "%lld", (long long)(time(NULL) - monotonic.tv_sec));
    boot = argc > 3 ? argv[3] : text;
    state = (strtoull(argv[2], NULL, 0) + (uint64_t)getpid()) * 0x9e3779b97f4a7c15 | 1;
    left = atoi(argv[1]);
    if (left == 0)
        live(argv, 2);
    signal(SIGTERM, end);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    for (int i = 0; i < 3; ++i) {
        any(1);
        lives[i] = fork();
        if (lives[i] == 0)
            keep_living(argv);
    }
    for (; left > 0; --left) {
        if (left % 256 == 0 || file < 0) { /* there are new processes, and a new module perhaps */
            const pid_t child = fork();
            if (child == 0)
                _exit(0);
            waitpid(child, NULL, 0);
            first = child - 32;
            close(file);
            file = open(ZYNOV_PATH, O_RDONLY | O_CLOEXEC);
        }
        command(file, first + (pid_t)any(64));
    }
    for (int i = 0; i < 3; ++i)
        kill(lives[i], SIGKILL);
    while (wait(NULL) > 0 || errno == EINTR) /* for whom they have left behind, too */
        ;
    for (int i = 0; i < 8; ++i) {
        record.container_id = containers[i];
        ioctl(file, ZYNOV_IOC_RESET_ALL, &record);
    }
    return 0;
}
