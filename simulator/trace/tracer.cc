#include "simulator/trace/tracer.h"

#include <linux/futex.h>
#include <linux/sched.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include <bit>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "simulator/exec/program.h"
#include "simulator/identity/container.h"
#include "simulator/identity/process.h"
#include "simulator/trace/injection.h"

namespace sim
{

// What the tracer says to the process that it was made by, in memory that both see.
struct Word {
    static constexpr int nothing = 0, attached = -1; // anything else is an errno

    std::atomic<int> said;
};

static bool is_group_stop(int status)
{
    const int signal = WSTOPSIG(status);
    return status >> 16 == PTRACE_EVENT_STOP &&
           (signal == SIGSTOP || signal == SIGTSTP || signal == SIGTTIN || signal == SIGTTOU);
}

// Lets a tracee go on from a stop that is none of the tracer's business.
static void pass_on(const Tracee &tracee, int status)
{
    if (is_group_stop(status))
        tracee.go_on(PTRACE_LISTEN);
    else
        tracee.go_on(PTRACE_CONT, status >> 16 != 0 || is_call_stop(status) ? 0 : WSTOPSIG(status));
}

// Whether what a process has just exec'ed is to have the image, as far as its file tells. Of one that was to be traced
// that is known beforehand, and /proc may tell of another namespace's; where a shell has been tried in its place, as
// for a script that does not name one, the image does no harm.
static bool wants_image(int pid)
{
    char path[32];
    snprintf(path, sizeof path, "/proc/%d/exe", pid);
    return reach_of(path) == Reach::image;
}

// Follows what is traced, until one has exec'ed, or to the end of all.
static void follow(ImageConfig &config, Traced what, int maker)
{
    const bool descendants = what == Traced::descendants;
    for (;;) {
        int status = 0;
        const int thread = next_stop(-1, descendants, status);
        if (thread == 0)
            return;
        if (!WIFSTOPPED(status)) {
            if (what == Traced::child && thread != maker)
                return; // it never came to its exec
            continue;
        }
        Tracee tracee(thread);
        if (status >> 16 != PTRACE_EVENT_EXEC) {
            pass_on(tracee, status);
            continue;
        }
        if (!descendants || wants_image(thread)) {
            config.process = thread;
            config.pid_namespace = descendants ? pid_namespace(thread) : pid_namespace();
            if (read_birth(thread, config.birth) != 0)
                config.pid_namespace = config.birth = 0;
            inject_image(tracee, config);
        }
        tracee.let_go(descendants ? PTRACE_CONT : PTRACE_DETACH);
        if (!descendants)
            return;
    }
}

[[noreturn]] static void trace(Traced what, int thread, ImageConfig &config, Word &word)
{
    const SignalMask all = ~SignalMask(0);
    const uint64_t default_action[4] = {};
    system_call(SYS_rt_sigprocmask, SIG_SETMASK, &all, nullptr, sizeof all);
    system_call(SYS_rt_sigaction, SIGCHLD, default_action, nullptr, sizeof all); // an ignored one would tell nothing
    system_call(SYS_setsid);
    system_call(SYS_close_range, 0, ~0u, 0);
    long options = PTRACE_O_TRACEEXEC | PTRACE_O_TRACESYSGOOD;
    if (what != Traced::own_exec)
        options |= PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE;
    const long seized = system_call(SYS_ptrace, PTRACE_SEIZE, thread, 0, options);
    word.said.store(seized == 0 ? Word::attached : static_cast<int>(-seized), std::memory_order_release);
    system_call(SYS_futex, &word, FUTEX_WAKE, INT_MAX);
    if (seized == 0)
        follow(config, what, thread);
    system_call(SYS_exit_group, 0);
    __builtin_unreachable();
}

static int wait_for_word(const Word &word, long tracer)
{
    const timespec slice = {0, 5'000'000};
    for (int slices = 0; slices < patience_seconds * 200; ++slices) {
        const int said = word.said.load(std::memory_order_acquire);
        if (said != Word::nothing)
            return said;
        system_call(SYS_futex, &word, FUTEX_WAIT, Word::nothing, &slice);
        if (system_call(SYS_wait4, tracer, nullptr, __WALL | WNOHANG, nullptr) == tracer)
            return ECHILD;
        // It may have been stopped with this process's group, which it then left, missing what continues that.
        system_call(SYS_kill, tracer, SIGCONT);
    }
    return ETIMEDOUT;
}

Tracer::Tracer(Traced what, const char *state) : what_(what)
{
    if (strlen(state) >= sizeof ImageConfig::state) {
        error_ = ENAMETOOLONG;
        return;
    }
    const long page =
        system_call(SYS_mmap, nullptr, page_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page < 0 && page > -4096) {
        error_ = static_cast<int>(-page);
        return;
    }
    Word &word = *std::bit_cast<Word *>(page);
    const auto thread = static_cast<int>(system_call(SYS_gettid));
    // A process that has given up rights may not be traced by its equals. Its memory may be its parent's, too, so that
    // this is over when the tracer is attached, and not by the exec.
    const bool dumpable = system_call(SYS_prctl, PR_GET_DUMPABLE, 0, 0, 0, 0) == 1;
    if (!dumpable)
        system_call(SYS_prctl, PR_SET_DUMPABLE, 1, 0, 0, 0);
    // A fork whose end no signal tells of, and no plain wait.
    process_ = system_call(SYS_clone, 0, nullptr, nullptr, nullptr, nullptr);
    if (process_ == 0) {
        ImageConfig config = {};
        memcpy(config.state, state, strlen(state));
        config.container_id = read_container_id();
        if (what == Traced::own_exec)
            config.tracer = system_call(SYS_getpid);
        trace(what, thread, config, word);
    }
    if (process_ < 0) {
        error_ = static_cast<int>(-process_);
    } else {
        system_call(SYS_prctl, PR_SET_PTRACER, process_, 0, 0, 0);
        const int said = wait_for_word(word, process_);
        error_ = said == Word::attached ? 0 : said;
    }
    if (!dumpable)
        system_call(SYS_prctl, PR_SET_DUMPABLE, 0, 0, 0, 0);
    system_call(SYS_munmap, page, page_size);
}

void Tracer::give_up()
{
    if (process_ > 0)
        system_call(SYS_kill, process_, SIGKILL);
}

Tracer::~Tracer()
{
    if (what_ != Traced::child || error_ != 0)
        give_up();
    while (process_ > 0 && system_call(SYS_wait4, process_, nullptr, __WALL, nullptr) == -EINTR)
        ;
}

} // namespace sim
