// Starts of a program that nothing can be preloaded into, at bad moments and in bad places.
#include "tests/attack.h"

#include <linux/capability.h>
#include <pthread.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <atomic>
#include <climits>
#include <csetjmp>
#include <cstring>
#include <filesystem>
#include <string>

constexpr int nobody = 65534, with_clock = 0, in_real_time = 1, with_child = 2;
static char program[PATH_MAX];
static char *const arguments[] = {program, nullptr};

// Of each file it is said but once why it keeps the real time: from now on a copy is started.
static int copies;
static void copy_program()
{
    std::string name = program;
    name.resize(name.rfind("started") + strlen("started"));
    const std::string copy = name + '.' + std::to_string(++copies);
    std::filesystem::copy_file(name, copy, std::filesystem::copy_options::overwrite_existing);
    strcpy(program, copy.c_str());
}

static void execute()
{
    execv(program, arguments);
    _exit(127);
}

// The status of a child that does something, 128 and more for a signal.
static int outcome(const std::function<void()> &work)
{
    int status = 0;
    waitpid(start(work), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

static void expect(const char *what, int expected, const std::function<void()> &work)
{
    if (const int seen = outcome(work); seen != expected)
        complain(what, seen);
}

static void become_nobody()
{
    syscall(SYS_setgid, nobody);
    syscall(SYS_setuid, nobody);
}

// Root's memory, as long as a child of nobody's has it too.
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
        for (long loot = 0;; loot = 0) // the numbers of the children and their tracers are not far
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

// Handlers that leave an exec, which fails, by a jump.
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

// Tracers that are killed at any moment.
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

// What is said of a program that keeps the real time: neither a full pipe nor a broken one holds anything up, and it is
// not said into a file of the program's own.
static void warn_into_pipes()
{
    int broken[2], full[2];
    char much[65536] = {};
    if (pipe(broken) != 0 || pipe2(full, O_NONBLOCK) != 0)
        abort();
    close(broken[0]);
    while (write(full[1], much, sizeof much) > 0)
        ;
    fcntl(full[1], F_SETFL, 0);
    const int own = open("/tmp", O_TMPFILE | O_WRONLY, 0600);
    for (const int errors : {broken[1], full[1], own}) {
        copy_program();
        expect("a warning", in_real_time, [=] {
            struct stat file = {};
            fstat(errors, &file);
            const std::string begun_with = std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
            setenv("ZYNOV_SIM_CHOICES", ("no-static,stderr:" + (errors == own ? "1:1" : begun_with)).c_str(), 1);
            dup2(errors, STDERR_FILENO);
            alarm(5);
            execute();
        });
    }
    if (lseek(own, 0, SEEK_END) != 0)
        complain("a warning in a file", lseek(own, 0, SEEK_END));
    for (const int descriptor : {broken[1], full[0], full[1], own})
        close(descriptor);
}

// What a program is told of why another keeps the real time, after it has done something.
static void expect_reason(const char *reason, const std::function<void()> &work)
{
    int errors[2];
    char said[2048] = {};
    if (pipe(errors) != 0)
        abort();
    copy_program();
    expect(reason, *reason != '\0' ? in_real_time : with_clock, [&] {
        struct stat file = {};
        fstat(errors[1], &file);
        setenv("ZYNOV_SIM_CHOICES",
               ("stderr:" + std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino)).c_str(), 1);
        dup2(errors[1], STDERR_FILENO);
        close(errors[0]), close(errors[1]);
        work();
        execute();
    });
    close(errors[1]);
    for (size_t length = 0; const ssize_t more = read(errors[0], said + length, sizeof said - 1 - length);
         length += static_cast<size_t>(more))
        if (more < 0)
            abort();
    close(errors[0]);
    if (strstr(said, reason) == nullptr || (*reason == '\0' && *said != '\0'))
        printf("said: %s\n", said), complain(reason, 1);
}

static void drop_capabilities(uint32_t kept)
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {{kept, kept, 0}, {0, 0, 0}};
    syscall(SYS_capset, &header, data);
}

static void name_reasons()
{
    expect_reason("children are in another pid namespace", [] { unshare(CLONE_NEWPID); });
    expect_reason("capabilities that its parent has not", [] { drop_capabilities(1); });
    expect_reason("", [] { drop_capabilities(1 << CAP_SYS_PTRACE); });
    expect_reason("may make no memory executable", [] { prctl(65 /* PR_SET_MDWE */, 1, 0, 0, 0); });
    expect_reason("other effective ids", [] { syscall(SYS_setresgid, -1, nobody - 1, -1); });
    expect_reason("no descriptor is left", [] {
        const rlimit three = {3, 3};
        setrlimit(RLIMIT_NOFILE, &three);
        syscall(SYS_close_range, 3, ~0u, 0);
    });
    expect_reason("clock table cannot be read", [] {
        unshare(CLONE_NEWNS);
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
        mount("/dev/null", getenv("ZYNOV_SIM_STATE"), nullptr, MS_BIND, nullptr);
    });
    expect_reason("there is no /proc", [] {
        unshare(CLONE_NEWNS);
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
        mount("none", "/proc", "tmpfs", 0, nullptr);
    });
    expect_reason("", [] { clearenv(); });
    expect_reason("", [] {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addchdir_np(&actions, std::string(program, strrchr(program, '/')).c_str());
        pid_t child;
        int status = 0;
        posix_spawn(&child, std::string(".").append(strrchr(program, '/')).c_str(), &actions, nullptr, arguments,
                    environ);
        waitpid(child, &status, 0);
        _exit(WEXITSTATUS(status));
    });
}

void start_programs(int control)
{
    const ssize_t size = readlink("/proc/self/exe", program, sizeof program - 1);
    memcpy(strrchr(program, '/'), "/started", size > 0 ? sizeof "/started" : 0);
    if (access(program, X_OK) != 0 || getuid() != 0)
        return; // nothing is there to start, or nobody to become
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
