// Starts programs that no library can be preloaded into, at bad moments and in bad states.
#include "tests/attack_starts.h"

#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <atomic>
#include <csetjmp>

static void become_nobody()
{
    syscall(SYS_setgid, nobody);
    syscall(SYS_setuid, nobody);
}

// Attacks root's memory while a child of the user nobody shares it.
static int start_as_nobody(void *)
{
    become_nobody();
    execute();
    return 0;
}

static void steal()
{
    static volatile long secret = 42;
    static std::atomic<long> *const stolen = static_cast<std::atomic<long> *>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const pid_t thief = start([=] {
        become_nobody();
        for (long loot = 0;; loot = 0) // the children and their tracers have ids close by
            for (pid_t victim = getpid(); victim < getpid() + 200; ++victim) {
                const iovec here = {&loot, sizeof loot}, there = {const_cast<long *>(&secret), sizeof loot};
                *stolen += victim > getpid() && process_vm_readv(victim, &here, 1, &there, 1, 0) > 0 && loot == 42;
            }
    });
    alignas(16) static char stack[65536];
    for (int i = 0; i < 40; ++i) {
        const bool waits = i % 2 == 0;
        const pid_t child =
            clone(start_as_nobody, stack + sizeof stack, CLONE_VM | (waits ? CLONE_VFORK : 0) | SIGCHLD, nullptr);
        int status = 0;
        waitpid(child, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) > in_real_time)
            complain("a child in root's memory ended wrongly", status);
    }
    kill(thief, SIGKILL);
    waitpid(thief, nullptr, 0);
    if (*stolen != 0)
        complain("readings of root's memory by nobody", *stolen);
}

static sigjmp_buf way_out;

static long count_mappings()
{
    FILE *maps = fopen("/proc/self/maps", "r");
    long lines = 0;
    for (int c; (c = getc(maps)) != EOF;)
        lines += c == '\n';
    fclose(maps);
    return lines;
}

// Handlers jump out of a failing exec.
static void jump_out()
{
    const long open_before = count_open(), mapped_before = count_mappings();
    static std::string much(1 << 20, 'x'); // too long for an argument
    char *const too_much[] = {program, much.data(), nullptr};
    signal(SIGALRM, [](int) { siglongjmp(way_out, 1); });
    volatile long jumps = 0;
    for (int i = 0; i < 300; ++i) {
        if (sigsetjmp(way_out, 1) == 0) {
            ualarm(1 + static_cast<useconds_t>(i), 0);
            for (;;)
                execv(program, too_much);
        }
        jumps = jumps + 1;
    }
    char status[4096] = {};
    FILE *file = fopen("/proc/self/status", "r");
    fread(status, 1, sizeof status - 1, file);
    fclose(file);
    if (strstr(status, "\nTracerPid:\t0\n") == nullptr)
        complain("a jump out of an exec left a tracer", 1);
    if (waitpid(-1, nullptr, WNOHANG | __WALL) != -1)
        complain("a jump out of an exec left a child", 1);
    if (count_open() != open_before)
        complain("a jump out of an exec left descriptors", count_open() - open_before);
    if (count_mappings() > mapped_before + 1)
        complain("a jump out of an exec left mappings", count_mappings() - mapped_before);
    _exit(faults != 0);
}

// Kills tracers at any moment.
static void kill_tracers()
{
    int outcomes[256] = {};
    long kills = 0;
    for (const auto begun = Clock::now(); Clock::now() - begun < length; ++kills) {
        const pid_t child = start(execute);
        pause_at_random(1500);
        FILE *children =
            fopen(("/proc/" + std::to_string(child) + "/task/" + std::to_string(child) + "/children").c_str(), "r");
        int tracer = 0, status = 0;
        if (children != nullptr && fscanf(children, "%d", &tracer) == 1)
            kill(tracer, SIGKILL);
        if (children != nullptr)
            fclose(children);
        waitpid(child, &status, 0);
        ++outcomes[WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)];
    }
    const int good = outcomes[with_clock] + outcomes[in_real_time] + outcomes[with_child] + outcomes[128 + SIGKILL];
    if (good != kills)
        complain("programs that were ended otherwise", kills - good);
    printf("%ld tracers hunted, %d programs killed with them\n", kills, outcomes[128 + SIGKILL]);
}

static void start_on_small_stacks()
{
    expect("on a signal's stack", with_clock, [] {
        static char stack[8192];
        const stack_t small = {stack, 0, sizeof stack};
        sigaltstack(&small, nullptr);
        struct sigaction action = {};
        action.sa_handler = [](int) { execvp(program, arguments); };
        action.sa_flags = SA_ONSTACK;
        sigaction(SIGUSR1, &action, nullptr);
        raise(SIGUSR1);
    });
    for (const bool spawns : {false, true})
        expect("from a small thread", with_clock, [=] {
            pthread_attr_t attributes;
            pthread_attr_init(&attributes);
            pthread_attr_setstacksize(&attributes, PTHREAD_STACK_MIN);
            pthread_t thread;
            const auto execute_in_thread = [](void *) -> void * { return execute(), nullptr; };
            const auto spawn_in_thread = [](void *) -> void * {
                pid_t child;
                int status;
                if (posix_spawn(&child, program, nullptr, nullptr, arguments, environ) != 0)
                    _exit(126);
                waitpid(child, &status, 0);
                _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128);
            };
            pthread_create(&thread, &attributes, spawns ? +spawn_in_thread : +execute_in_thread, nullptr);
            pause();
        });
}

static void start_as_eight()
{
    for (int i = 0; i < 20; ++i)
        expect("eight threads at once", with_clock, [] {
            static pthread_barrier_t barrier;
            pthread_barrier_init(&barrier, nullptr, 8);
            const auto work = [](void *) -> void * { return pthread_barrier_wait(&barrier), execute(), nullptr; };
            for (int threads = 0; threads < 8; ++threads) {
                pthread_t thread;
                pthread_create(&thread, nullptr, work, nullptr);
            }
            pause();
        });
}

void start_programs(int control)
{
    const ssize_t size = readlink("/proc/self/exe", program, sizeof program - 1);
    memcpy(strrchr(program, '/'), "/started", size > 0 ? sizeof "/started" : 0);
    if (access(program, X_OK) != 0 || getuid() != 0)
        return; // no program to start, or not root
    const pid_t starter = start([=] {
        zynov_iov record = {ZYNOV_IOV_VERSION, 0, 0, nobody, 1924419600, 2, 0};
        if (ioctl(control, ZYNOV_IOC_ADD_CLOCK, &record) != 0 || setgid(nobody) != 0)
            complain("no clock for a group", errno);
        start_on_small_stacks();
        start_as_eight();
        kill_tracers();
        expect("a jump", 0, jump_out);
        warn_into_pipes();
        name_reasons();
        live_in_filter();
        setenv("ZYNOV_SIM_CHOICES", "quiet", 1);
        steal();
        for (; copies > 0; --copies)
            unlink((std::string(program, strrchr(program, '.')) + '.' + std::to_string(copies)).c_str());
    });
    int status = 0;
    if (waitpid(starter, &status, 0) != starter || status != 0)
        complain("starts", status);
    zynov_iov record = {ZYNOV_IOV_VERSION, 0, 0, nobody, 2};
    ioctl(control, ZYNOV_IOC_DELETE_CLOCK, &record);
}
