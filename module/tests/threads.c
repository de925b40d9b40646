/* Threads that take on the user 1000, who has a clock, or go to the container cafe, where the group 1002 has one, while
   others stay root on the host; and a child that does not run yet. As root. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <linux/sched.h>
#include <linux/userfaultfd.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "contract/zynov.h"

static pthread_barrier_t meeting;
static int wrong;

static void look(int clocked, int line)
{
    for (int bare = 0; bare < 2; ++bare) {
        struct timespec now;
        if (bare)
            syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
        else
            clock_gettime(CLOCK_REALTIME, &now);
        if ((now.tv_sec > 1900000000) != clocked) {
            printf("%d: %s shows %lld\n", line, bare ? "the call" : "the vDSO", (long long)now.tv_sec);
            __atomic_store_n(&wrong, 1, __ATOMIC_RELAXED);
        }
    }
}

static void *change(void *nothing)
{
    look(0, __LINE__);
    pthread_barrier_wait(&meeting);
    for (int i = 0; i < 50; ++i) {
        syscall(SYS_setresuid, -1, 1000, -1);
        look(1, __LINE__);
        syscall(SYS_setresuid, -1, 0, -1);
        look(0, __LINE__);
    }
    syscall(SYS_setresuid, -1, 1000, -1);
    pthread_barrier_wait(&meeting);
    look(1, __LINE__);
    pthread_barrier_wait(&meeting);
    return nothing;
}

static void take_name(const char *name, int by_file)
{
    const int file = by_file ? open("/proc/sys/kernel/hostname", O_WRONLY) : -1;
    if (by_file ? write(file, name, 4) != 4 : sethostname(name, 4) != 0)
        perror(name), wrong = 1;
    close(file);
}

static void *contain(void *nothing)
{
    const int host = open("/proc/thread-self/ns/uts", O_RDONLY);
    unshare(CLONE_NEWUTS);
    syscall(SYS_setresgid, -1, 1002, -1);
    look(0, __LINE__);
    const int guest = open("/proc/thread-self/ns/uts", O_RDONLY);
    for (int i = 0; i < 4; ++i) {
        take_name("cafe", i & 1);
        look(1, __LINE__);
        setns(host, CLONE_NEWUTS);
        look(0, __LINE__);
        setns(guest, CLONE_NEWUTS);
        look(1, __LINE__);
        take_name("beef", i & 2);
        look(0, __LINE__);
    }
    setns(host, CLONE_NEWUTS);
    syscall(SYS_setresgid, -1, 0, -1);
    return nothing;
}

static void *make_child(void *number)
{
    const pid_t child = (pid_t)syscall(SYS_clone, SIGCHLD | CLONE_PARENT_SETTID, 0, number, 0, 0);
    if (child == 0)
        _exit(0);
    return (void *)(intptr_t)waitpid(child, NULL, 0);
}

/* Its parent has yet to be told its number, in memory that somebody watches: nobody gives it a clock before it runs. */
static void try_unborn(void)
{
    struct uffdio_api api = {.api = UFFD_API};
    const int watch = (int)syscall(SYS_userfaultfd, O_CLOEXEC | O_NONBLOCK), file = open(ZYNOV_PATH, O_RDONLY);
    void *const page = mmap(NULL, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    struct uffdio_register watched = {.range = {(uintptr_t)page, 4096}, .mode = UFFDIO_REGISTER_MODE_MISSING};
    struct zynov_iov add = {.version = ZYNOV_IOV_VERSION, .flags = ZYNOV_PROCESS, .vtime = 1924419600, .speed = 1};
    pthread_t parent;
    if (watch < 0) /* a small kernel */
        return;
    if (ioctl(watch, UFFDIO_API, &api) != 0 || ioctl(watch, UFFDIO_REGISTER, &watched) != 0)
        perror("userfaultfd"), wrong = 1;
    pthread_create(&parent, NULL, make_child, page);
    poll(&(struct pollfd){.fd = watch, .events = POLLIN}, 1, -1);
    const int own = getpid();
    for (add.id = own + 1; getpgid((pid_t)add.id) != getpgid(0) || syscall(SYS_tgkill, own, (int)add.id, 0) == 0;)
        ++add.id;
    if (ioctl(file, ZYNOV_IOC_ADD_CLOCK, &add) == 0 || errno != ESRCH)
        printf("a child that does not run yet gets a clock\n"), wrong = 1;
    ioctl(watch, UFFDIO_ZEROPAGE, &(struct uffdio_zeropage){.range = watched.range});
    pthread_join(parent, NULL);
}

int main(void)
{
    pthread_t other;
    pthread_barrier_init(&meeting, NULL, 2);
    look(0, __LINE__);
    contain(NULL);
    pthread_create(&other, NULL, contain, NULL);
    for (int i = 0; i < 1000; ++i)
        look(0, __LINE__);
    pthread_join(other, NULL);
    look(0, __LINE__);
    try_unborn();
    pthread_create(&other, NULL, change, NULL);
    pthread_barrier_wait(&meeting);
    for (int i = 0; i < 1000; ++i)
        look(0, __LINE__);
    pthread_barrier_wait(&meeting);
    look(0, __LINE__);
    pthread_barrier_wait(&meeting);
    pthread_join(other, NULL);
    usleep(200000);
    look(0, __LINE__);
    /* All of them, as the C library does it. */
    if (seteuid(1000) == 0)
        look(1, __LINE__);
    return wrong;
}
