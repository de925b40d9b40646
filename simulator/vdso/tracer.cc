#include "simulator/vdso/tracer.h"

#include <linux/futex.h>
#include <linux/sched.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include <array>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "simulator/raw/pidfd.h"
#include "simulator/raw/process.h"
#include "simulator/vdso/program.h"
#include "simulator/vdso/shared.h"

namespace sim
{

constexpr size_t shared_size = 65536;

// The tracers of this address space, 0 for none. The injected vDSO reaps them all: when several threads exec at once,
// nobody else would wait for the tracers of the losers.
static std::array<std::atomic<int>, std::tuple_size_v<decltype(Vvar::tracers)> - 1> tracers;

static std::atomic<int> &claim_slot(Shared &shared)
{
    for (auto &tracer : tracers)
        if (int free = 0; tracer.compare_exchange_strong(free, -1))
            return tracer;
    return shared.no_slot;
}

// Whether the program that a process has just executed should get the vDSO, judged by its file. Not needed where the
// program is known beforehand, when /proc may also be another namespace's. If that turns out to be a shell, as for a
// script without a first line, the vDSO does no harm.
static bool wants_vdso(int pid)
{
    char path[32];
    snprintf(path, sizeof path, "/proc/%d/exe", pid);
    return reach_of(path) == Reach::vdso;
}

// If the tracer is killed meanwhile, the half-prepared program is killed too.
static void inject(Shared &shared, Tracee &tracee, long options)
{
    Vvar &vvar = shared.vvar;
    vvar.tracers = {};
    if (shared.what == Traced::own_exec && !shared.begun) {
        vvar.tracers[0] = shared.tracer->load();
        for (size_t i = 0; i < tracers.size(); ++i)
            vvar.tracers[i + 1] = tracers[i].load();
    } else {
        vvar.process = tracee.thread();
        if (shared.stays)
            vvar.pid_namespace = pid_namespace(tracee.thread());
        if (read_birth(tracee.thread(), vvar.birth) != 0)
            vvar.pid_namespace = vvar.birth = 0;
    }
    if (tracee.ask(PTRACE_SETOPTIONS, 0, std::bit_cast<void *>(options | PTRACE_O_EXITKILL)))
        inject_vdso(tracee, vvar);
    tracee.ask(PTRACE_SETOPTIONS, 0, std::bit_cast<void *>(options));
}

// After a program was executed: returns whether the tracer is done.
static bool go_on(Shared &shared, Tracee &tracee)
{
    if (shared.what == Traced::own_exec && !shared.begun) {
        shared.tracer->store(0); // before a parent that shares this memory sees a stale id
        send_deferred(shared, tracee.thread());
    }
    tracee.release(shared.stays ? PTRACE_CONT : PTRACE_DETACH);
    if (shared.what == Traced::child && !shared.begun && shared.stays)
        shared.letting_go = Tracee(shared.maker).resume(PTRACE_INTERRUPT);
    shared.begun = true;
    return !shared.stays;
}

// Follows the tracees until one execs, or all have ended. Returns whether the maker is gone or runs another program.
static bool follow(Shared &shared, long options)
{
    for (bool maker_gone = false;;) {
        int status = 0;
        const int thread = next_stop(-1, true, status);
        if (thread == 0)
            return true;
        if (!WIFSTOPPED(status)) {
            maker_gone |= thread == shared.maker;
            if (shared.what == Traced::child && !shared.begun && thread != shared.maker)
                return maker_gone; // before its exec
            continue;
        }
        Tracee tracee(thread);
        if (thread == shared.maker && shared.letting_go) {
            let_go(shared, tracee, status);
        } else if (status >> 16 != PTRACE_EVENT_EXEC) {
            pass_on(shared, tracee, status);
        } else {
            if (!shared.inspects || wants_vdso(thread))
                inject(shared, tracee, options);
            if (go_on(shared, tracee))
                return maker_gone || shared.what == Traced::own_exec;
        }
    }
}

// Ends the tracer; unmaps the shared pages if nobody else will.
[[noreturn]] static void leave(Shared &shared, bool unmaps)
{
    if (unmaps) {
        __asm__ volatile("syscall\n\t"
                         "mov %[exit], %%eax\n\t"
                         "xor %%edi, %%edi\n\t"
                         "syscall"
                         :
                         : "a"(SYS_munmap), "D"(&shared), "S"(shared_size), [exit] "i"(SYS_exit_group)
                         : "rcx", "r11", "memory");
    }
    system_call(SYS_exit_group, 0);
    __builtin_unreachable();
}

// Makes a process whose stack is in the shared pages. It sends no signal when it ends, and a plain wait ignores it.
static long clone_process(Shared &shared, size_t stack_end, void (*function)(Shared *))
{
    register long no_id __asm__("r10") = 0;
    register long no_storage __asm__("r8") = 0;
    char *const stack = reinterpret_cast<char *>(&shared) + stack_end;
    long tracer;
    __asm__ volatile("syscall\n\t"
                     "test %%rax, %%rax\n\t"
                     "jnz 1f\n\t"
                     "mov %[shared], %%rdi\n\t"
                     "call *%[function]\n"
                     "1:"
                     : "=a"(tracer)
                     : "a"(SYS_clone), "D"(CLONE_VM | CLONE_PARENT_SETTID), "S"(stack), "d"(shared.tracer), "r"(no_id),
                       "r"(no_storage), [shared] "b"(&shared), [function] "r"(function)
                     : "rcx", "r11", "memory", "cc");
    return tracer;
}

[[noreturn]] static void trace(Shared *shared)
{
    const uint64_t default_action[4] = {};
    // An ignored SIGCHLD would not become pending.
    system_call(SYS_rt_sigaction, SIGCHLD, default_action, nullptr, sizeof(SignalMask));
    system_call(SYS_setsid);
    system_call(SYS_close_range, 0, ~0u, 0);
    long options = PTRACE_O_TRACEEXEC | PTRACE_O_TRACESYSGOOD;
    if (shared->stays)
        system_call(SYS_prctl, PR_SET_NAME, tracer_name);
    if (shared->stays || shared->what != Traced::own_exec)
        options |= PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE;
    const long seized = system_call(SYS_ptrace, PTRACE_SEIZE, shared->maker, 0, options);
    uintptr_t self = 0; // another process may have the maker's id by now
    if (seized == 0 &&
        (Tracee(shared->maker).read_some(std::bit_cast<uintptr_t>(&shared->self), &self, sizeof self) == 0 ||
         self != std::bit_cast<uintptr_t>(shared)))
        leave(*shared, true);
    shared->reply.store(seized == 0 ? Shared::attached : static_cast<int>(-seized), std::memory_order_release);
    system_call(SYS_futex, &shared->reply, FUTEX_WAKE, INT_MAX);
    leave(*shared, seized == 0 && follow(*shared, options));
}

// A tracer that stays must not be its maker's child, since a maker that waits for all its children would never return.
[[noreturn]] static void trace_as_orphan(Shared *shared)
{
    const long tracer = clone_process(*shared, shared_size / 2, &trace);
    if (tracer < 0)
        shared->reply.store(static_cast<int>(-tracer), std::memory_order_release);
    system_call(SYS_exit_group, 0);
    __builtin_unreachable();
}

static int wait_for_reply(const Shared &shared, long tracer)
{
    const timespec slice = {0, 5'000'000};
    for (int slices = 0; slices < timeout_seconds * 200; ++slices) {
        if (const int reply = shared.reply.load(std::memory_order_acquire); reply != Shared::nothing)
            return reply;
        system_call(SYS_futex, &shared.reply, FUTEX_WAIT, Shared::nothing, &slice);
        if (system_call(SYS_wait4, tracer, nullptr, __WALL | WNOHANG, nullptr) == tracer) {
            const int last = shared.reply.load(std::memory_order_acquire);
            return last > 0 ? last : ECHILD;
        }
        // It may have been stopped with this process's group before it left that, and would miss the group's SIGCONT.
        system_call(SYS_kill, tracer, SIGCONT);
    }
    return ETIMEDOUT;
}

int Tracer::attach()
{
    Shared &shared = *shared_;
    shared.reply.store(Shared::nothing, std::memory_order_relaxed);
    shared.tracer = &claim_slot(shared);
    process_ = clone_process(shared, shared_size, shared.stays ? &trace_as_orphan : &trace);
    if (process_ < 0) {
        shared.tracer->store(0);
        return static_cast<int>(-process_);
    }
    if (shared.stays) {
        system_call(SYS_wait4, process_, nullptr, __WALL, nullptr);
        process_ = shared.tracer->load();
    }
    system_call(SYS_prctl, PR_SET_PTRACER, process_, 0, 0, 0);
    const int reply = wait_for_reply(shared, process_);
    if (reply == Shared::attached)
        return 0;
    give_up();
    reap();
    return reply;
}

// Makes the shared pages and fills in what is known beforehand.
int Tracer::prepare(const char *state, bool inspects, bool intervals)
{
    if (strlen(state) >= sizeof Vvar::state)
        return ENAMETOOLONG;
    const long pages =
        system_call(SYS_mmap, nullptr, shared_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages < 0 && pages > -4096)
        return static_cast<int>(-pages);
    shared_ = std::bit_cast<Shared *>(pages);
    shared_->self = shared_;
    shared_->what = what_;
    shared_->stays = stays_;
    shared_->inspects = inspects || stays_;
    shared_->released = &released_;
    shared_->maker = static_cast<int>(system_call(SYS_gettid));
    // The tracer shares this thread's storage, so it must not call the C library.
    Vvar &vvar = shared_->vvar;
    memcpy(vvar.state, state, strlen(state));
    vvar.intervals = intervals ? 1 : 0;
    vvar.container_id = read_container().id;
    vvar.pid_namespace = pid_namespace();
    if (what_ == Traced::own_exec) {
        vvar.process = system_call(SYS_getpid);
        if (read_birth(vvar.process, vvar.birth) != 0)
            vvar.pid_namespace = vvar.birth = 0;
    }
    return 0;
}

int Tracer::start(Traced what, const char *state, bool inspects, bool intervals, bool stays)
{
    what_ = what;
    stays_ = stays || what == Traced::descendants;
    error_ = prepare(state, inspects, intervals);
    if (error_ != 0)
        return error_;
    error_ = attach();
    // A process that gave up rights is not dumpable, so the kernel refuses tracers. It is made dumpable meanwhile,
    // unless it shares its memory, as after vfork: the flag is the memory's, so the others would be exposed, too.
    if (error_ != EPERM || system_call(SYS_prctl, PR_GET_DUMPABLE, 0, 0, 0, 0) == 1)
        return error_;
    if (system_call(SYS_unshare, CLONE_VM) != 0) // fails where memory is shared, else does nothing
        return error_ = EACCES;
    system_call(SYS_prctl, PR_SET_DUMPABLE, 1, 0, 0, 0);
    error_ = attach();
    system_call(SYS_prctl, PR_SET_DUMPABLE, 0, 0, 0, 0);
    return error_;
}

void Tracer::give_up()
{
    error_ = error_ != 0 ? error_ : ECANCELED;
    if (process_ > 0)
        system_call(SYS_kill, process_, SIGKILL);
}

// Waits for the end of a tracer that is nobody's child here, for a while at most. Returns whether it has ended.
static bool is_gone(long tracer, const timespec &longest)
{
    const int pidfd = open_pidfd(tracer);
    pollfd end = {pidfd, POLLIN, 0};
    const bool ended = pidfd == -ESRCH || (pidfd >= 0 && system_call(SYS_ppoll, &end, 1, &longest, nullptr, 0) == 1);
    if (pidfd >= 0)
        system_call(SYS_close, pidfd);
    return ended;
}

// Its stack is in the shared pages: returns whether these may be unmapped.
bool Tracer::reap()
{
    const timespec second = {1, 0};
    const bool ended = !stays_ || process_ <= 0 || is_gone(process_, second);
    while (process_ > 0 && system_call(SYS_wait4, process_, nullptr, __WALL, nullptr) == -EINTR)
        ;
    process_ = 0;
    shared_->tracer->store(0);
    return ended;
}

// Until then a tracer that stays with the child alone has the shared pages; thereafter they are its own.
void Tracer::wait_for_release()
{
    const timespec slice = {0, 50'000'000}, at_once = {};
    while (released_.load(std::memory_order_acquire) == 0 && !is_gone(process_, at_once))
        system_call(SYS_futex, &released_, FUTEX_WAIT, 0, &slice);
}

Tracer::~Tracer()
{
    if (shared_ == nullptr)
        return;
    const SignalsHeld held;
    const bool failed = what_ != Traced::child || error_ != 0;
    if (stays_ && !failed) {
        wait_for_release();
        return;
    }
    if (failed)
        give_up();
    const bool ended = reap();
    send_deferred(*shared_, static_cast<int>(system_call(SYS_gettid)));
    if (ended)
        system_call(SYS_munmap, shared_, shared_size);
}

} // namespace sim
