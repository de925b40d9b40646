// Stand-ins for the C library's waits with a timeout for descriptors, signals and semaphores. With --intervals they go
// on in slices.
#include <aio.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/socket.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "simulator/libc/slices.h"
#include "simulator/process/options.h"
#include "simulator/raw/memory.h"
#include "simulator/raw/next.h"

namespace sim
{

static bool has_found_nothing(int result)
{
    return result == 0;
}

static bool has_set_eagain(int result)
{
    return result == -1 && errno == EAGAIN;
}

// Calls `call` with the length of each slice, or with `length` itself if intervals are real. Zero is no wait, null a
// wait without an end.
template <typename Call, typename TimedOut>
static int wait_for_length(const timespec *length, const Call &call, const TimedOut &timed_out,
                           timespec *left = nullptr)
{
    Slices slices;
    if (length == nullptr || !slices.begin_length(length))
        return call(length);
    const int kept = errno;
    for (;;) {
        const timespec slice = slices.next_length();
        const int result = call(&slice);
        if (!timed_out(result) || slices.is_over()) {
            if (left != nullptr)
                *left = slices.deadline().left();
            return result;
        }
        errno = kept;
    }
}

static timespec length_of(int milliseconds)
{
    return {milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
}

// Rounds up.
static int milliseconds_of(const timespec &length)
{
    return static_cast<int>(length.tv_sec * 1000 + (length.tv_nsec + 999'999) / 1'000'000);
}

} // namespace sim

// Milliseconds are too coarse for a fast clock, but a filter of system calls may allow no other call.
SIM_STAND_IN(int, ppoll, (pollfd * files, nfds_t count, const timespec *length, const sigset_t *mask))
{
    return sim::wait_for_length(
        length, [=](const timespec *slice) { return next_ppoll(files, count, slice, mask); }, sim::has_found_nothing);
}

SIM_STAND_IN(int, poll, (pollfd * files, nfds_t count, int milliseconds))
{
    if (milliseconds <= 0 || !sim::is_followed(CLOCK_MONOTONIC))
        return next_poll(files, count, milliseconds);
    const timespec length = sim::length_of(milliseconds);
    return sim::wait_for_length(
        &length,
        [=](const timespec *slice) {
            return sim::is_filtered() ? next_poll(files, count, sim::milliseconds_of(*slice))
                                      : next_ppoll(files, count, slice, nullptr);
        },
        sim::has_found_nothing);
}
SIM_ALIAS(__poll, poll)

// The C library ends a program that has no room for so many.
SIM_STAND_IN(int, __poll_chk, (pollfd * files, nfds_t count, int milliseconds, size_t size))
{
    return size / sizeof *files < count ? next___poll_chk(files, count, milliseconds, size)
                                        : poll(files, count, milliseconds);
}

SIM_STAND_IN(int, __ppoll_chk,
             (pollfd * files, nfds_t count, const timespec *length, const sigset_t *mask, size_t size))
{
    return size / sizeof *files < count ? next___ppoll_chk(files, count, length, mask, size)
                                        : ppoll(files, count, length, mask);
}

SIM_STAND_IN(int, epoll_pwait2,
             (int files, epoll_event *events, int count, const timespec *length, const sigset_t *mask))
{
    return sim::wait_for_length(
        length, [=](const timespec *slice) { return next_epoll_pwait2(files, events, count, slice, mask); },
        sim::has_found_nothing);
}

SIM_STAND_IN(int, epoll_pwait, (int files, epoll_event *events, int count, int milliseconds, const sigset_t *mask))
{
    if (milliseconds <= 0 || !sim::is_followed(CLOCK_MONOTONIC))
        return next_epoll_pwait(files, events, count, milliseconds, mask);
    const timespec length = sim::length_of(milliseconds);
    bool is_exact = next_epoll_pwait2.get() != nullptr && !sim::is_filtered();
    return sim::wait_for_length(
        &length,
        [&](const timespec *slice) {
            const int result = is_exact ? next_epoll_pwait2(files, events, count, slice, mask) : -1;
            is_exact = is_exact && (result >= 0 || errno != ENOSYS); // before Linux 5.11
            return is_exact ? result : next_epoll_pwait(files, events, count, sim::milliseconds_of(*slice), mask);
        },
        sim::has_found_nothing);
}

SIM_STAND_IN(int, epoll_wait, (int files, epoll_event *events, int count, int milliseconds))
{
    return sim::is_followed(CLOCK_MONOTONIC) ? epoll_pwait(files, events, count, milliseconds, nullptr)
                                             : next_epoll_wait(files, events, count, milliseconds);
}

namespace sim
{

// The sets of descriptors of a call, which empties them each time that it finds nothing.
class Sets
{
  public:
    Sets(int count, fd_set *read, fd_set *write, fd_set *except)
        : size_(count > 0 ? (static_cast<size_t>(count) + 63) / 64 * 8 : 0), sets_{read, write, except}
    {
    }
    size_t size() const { return 3 * size_; }
    bool keep(char *kept)
    {
        kept_ = kept;
        for (size_t i = 0; i < 3; ++i)
            if (sets_[i] != nullptr && size_ != 0 &&
                copy_by_kernel(SYS_process_vm_readv, kept + i * size_, sets_[i], size_) != 0)
                return false;
        return true;
    }
    void restore() const
    {
        for (size_t i = 0; i < 3; ++i)
            if (sets_[i] != nullptr)
                memcpy(sets_[i], kept_ + i * size_, size_);
    }

  private:
    size_t size_;
    fd_set *sets_[3];
    char *kept_ = nullptr;
};

} // namespace sim

SIM_STAND_IN(int, pselect,
             (int count, fd_set *read, fd_set *write, fd_set *except, const timespec *length, const sigset_t *mask))
{
    sim::Sets sets(count, read, write, except);
    if (length == nullptr || count > 1 << 20 || !sim::is_followed(CLOCK_MONOTONIC) ||
        // cppcheck-suppress allocaCalled // a signal handler may call this
        !sets.keep(static_cast<char *>(alloca(sets.size() + 1))))
        return next_pselect(count, read, write, except, length, mask);
    bool is_first = true;
    return sim::wait_for_length(
        length,
        [&](const timespec *slice) {
            if (!is_first)
                sets.restore();
            is_first = false;
            return next_pselect(count, read, write, except, slice, mask);
        },
        sim::has_found_nothing);
}

// Linux returns the rest of the time.
SIM_STAND_IN(int, select, (int count, fd_set *read, fd_set *write, fd_set *except, timeval *length))
{
    timespec now, end;
    if (length == nullptr || !sim::is_followed(CLOCK_MONOTONIC) || length->tv_sec < 0 || length->tv_usec < 0)
        return next_select(count, read, write, except, length);
    const timespec given =
        sim::later({length->tv_sec + length->tv_usec / 1'000'000, 0}, length->tv_usec % 1'000'000 * 1000);
    clock_gettime(CLOCK_MONOTONIC, &now);
    end = sim::later({now.tv_sec + given.tv_sec, now.tv_nsec}, given.tv_nsec);
    const int result = pselect(count, read, write, except, &given, nullptr);
    const int error = errno;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec left = sim::length_between(now, end);
    *length = {left.tv_sec, left.tv_nsec / 1000};
    errno = error;
    return result;
}
SIM_ALIAS(__select, select)

SIM_STAND_IN(int, sigtimedwait, (const sigset_t *signals, siginfo_t *found, const timespec *length))
{
    return sim::wait_for_length(
        length, [=](const timespec *slice) { return next_sigtimedwait(signals, found, slice); }, sim::has_set_eagain);
}

// An operation that is not to wait gives up with the same error.
SIM_STAND_IN(int, semtimedop, (int set, sembuf *operations, size_t count, const timespec *length))
{
    const auto timed_out = [=](int result) {
        if (!sim::has_set_eagain(result))
            return false;
        for (size_t i = 0; i < count; ++i)
            if ((operations[i].sem_flg & IPC_NOWAIT) != 0)
                return false;
        return true;
    };
    return sim::wait_for_length(
        length, [=](const timespec *slice) { return next_semtimedop(set, operations, count, slice); }, timed_out);
}

// The kernel checks the length after each message, and returns the rest of the time.
SIM_STAND_IN(int, recvmmsg, (int socket, mmsghdr *messages, unsigned count, int flags, timespec *length))
{
    timespec real;
    const timespec *const used = sim::real_length(length, real);
    if (used == length)
        return next_recvmmsg(socket, messages, count, flags, length);
    const int result = next_recvmmsg(socket, messages, count, flags, &real);
    sim::show_left(real);
    *length = real;
    return result;
}

SIM_STAND_IN(int, aio_suspend, (const aiocb *const list[], int count, const timespec *length))
{
    timespec real;
    return next_aio_suspend(list, count, sim::real_length(length, real));
}
SIM_ALIAS(aio_suspend64, aio_suspend)
