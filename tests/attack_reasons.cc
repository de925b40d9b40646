// Programs that keep the real time: the warnings give the reason and harm nobody.
#include "tests/attack_starts.h"

#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <vector>

// Warnings that go to a full or broken pipe block nothing, and files that the program opened do not receive them.
void warn_into_pipes()
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

// Checks the reason in the warning, after the program has done something.
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

void name_reasons()
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

// A filter that kills the caller of any call that such programs do not make.
static void forbid_calls()
{
    std::vector<sock_filter> rules = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const long call :
         {SYS_kill, SYS_pidfd_open, SYS_fstatfs, SYS_getuid, SYS_geteuid, SYS_getgid, SYS_getegid, SYS_fgetxattr,
          SYS_faccessat, SYS_ptrace, SYS_unshare, SYS_getsockopt, SYS_socketpair, SYS_pwritev2, SYS_rt_sigpending}) {
        rules.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1));
        rules.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    }
    rules.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter = {static_cast<unsigned short>(rules.size()), rules.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        _exit(126);
}

void live_in_filter()
{
    expect("a static program in a filter", in_real_time, [] { forbid_calls(), execute(); });
    expect("a child in a filter", with_clock, [] {
        forbid_calls();
        const pid_t child = fork();
        int status = 0;
        if (child == 0)
            _exit(time(nullptr) == 1924419600 ? with_clock : in_real_time);
        waitpid(child, &status, 0);
        _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 126);
    });
    expect("a program in a filter", with_clock, [] {
        forbid_calls();
        execl("/proc/self/exe", "attack", nullptr);
    });
}
