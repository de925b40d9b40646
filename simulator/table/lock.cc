#include "simulator/table/lock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "base/errno_guard.h"
#include "simulator/raw/signals.h"

namespace sim
{

constexpr int64_t two_seconds = int64_t{2} * ZYNOV_SECOND;

static int64_t present()
{
    timespec now = {};
    system_call(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return now.tv_sec * ZYNOV_SECOND + now.tv_nsec;
}

// Retries with growing pauses, up to a time limit that starts at the first failure.
class Backoff
{
  public:
    explicit Backoff(int64_t length) : length_(length) {}

    template <typename Attempt> bool retry(const Attempt &attempt)
    {
        for (int64_t pause = 10'000; !attempt(); pause = std::min<int64_t>(2 * pause, 1'000'000)) {
            const int64_t now = present();
            if (end_ == 0)
                end_ = now + length_;
            if (now > end_)
                return false;
            const timespec rest = {0, pause};
            system_call(SYS_nanosleep, &rest, nullptr);
        }
        return true;
    }

  private:
    int64_t length_, end_ = 0;
};

// The id of the process while one of its threads changes the table, or forks: a child made during a change would keep
// the lock after its parent is killed. An id of another process is left over from a parent that did not use fork(3),
// and is ignored.
static std::atomic<int64_t> lock_holder;

static bool enter()
{
    const int64_t pid = system_call(SYS_getpid);
    int64_t holder = lock_holder.load(std::memory_order_relaxed);
    return holder != pid && lock_holder.compare_exchange_strong(holder, pid, std::memory_order_acquire);
}

static void leave()
{
    lock_holder.store(0, std::memory_order_release);
}

// A lock belongs to an open file description. Each change opens the file anew, because all holders of an inherited
// descriptor would share the lock.
int TableLock::begin(int descriptor)
{
    Backoff backoff(two_seconds);
    inside_ = backoff.retry(enter);
    if (!inside_)
        return EBUSY;
    char self[32];
    snprintf(self, sizeof self, "/proc/self/fd/%d", descriptor);
    lock_ = static_cast<int>(system_call(SYS_openat, AT_FDCWD, self, O_RDWR | O_CLOEXEC));
    if (lock_ < 0)
        return -lock_;
    long answer = 0;
    const bool locked = backoff.retry([&] {
        answer = system_call(SYS_flock, lock_, LOCK_EX | LOCK_NB);
        return answer != -EWOULDBLOCK;
    });
    if (!locked)
        return EBUSY;
    if (answer < 0)
        return static_cast<int>(-answer);
    return mapping_.map(lock_, Mapping::writing);
}

TableLock::TableLock(int descriptor) : error_(begin(descriptor)) {}

TableLock::~TableLock()
{
    if (lock_ >= 0) {
        system_call(SYS_flock, lock_, LOCK_UN); // a child that was not made by fork(3) may still hold this opening
        system_call(SYS_close, lock_);
    }
    if (inside_)
        leave();
}

// State of a fork in progress. Signals are blocked, so that no handler waits for the fork that it interrupted.
struct Fork {
    SignalMask kept_signals;
    bool inside;
};
static thread_local constinit Fork own_fork __attribute__((tls_model("initial-exec"))) = {0, false};

static void before_fork()
{
    own_fork.kept_signals = hold_signals();
    own_fork.inside = Backoff(2 * two_seconds).retry(enter); // longer than any change takes
}

static void after_fork()
{
    if (own_fork.inside)
        leave();
    let_signals_through(own_fork.kept_signals);
}

__attribute__((constructor)) static void guard_forks()
{
    ov::ErrnoGuard keep;
    pthread_atfork(before_fork, after_fork, after_fork);
}

} // namespace sim
