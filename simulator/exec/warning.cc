#include "simulator/exec/warning.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cerrno>

#include "simulator/bare/signals.h"

namespace sim
{

// A bit for each file that was spoken of, by a hash: memory that forked children share, since it is they who exec.
constexpr size_t remembered_bytes = 4096;
static std::atomic<uint8_t> *remembered;

void prepare_warnings()
{
    const long page =
        system_call(SYS_mmap, nullptr, remembered_bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page > 0 || page < -4095)
        remembered = std::bit_cast<std::atomic<uint8_t> *>(page);
}

static bool is_news(const char *path)
{
    struct stat file = {};
    if (remembered == nullptr || system_call(SYS_newfstatat, AT_FDCWD, path, &file, 0) != 0)
        return true;
    const uint64_t hash = (file.st_ino * 31 + file.st_dev) * 0x9e3779b97f4a7c15 >> 49; // 15 bits
    const auto bit = static_cast<uint8_t>(1u << hash % 8);
    return (remembered[hash / 8].fetch_or(bit, std::memory_order_relaxed) & bit) == 0;
}

// A program may have opened anything as its standard error: only what was that from the start is written into, and a
// terminal.
static bool is_users(const ErrorFile &from_start)
{
    struct stat file = {};
    char modes[64]; // the kernel's termios
    if (system_call(SYS_fstat, STDERR_FILENO, &file) != 0)
        return false;
    return (file.st_dev == from_start.device && file.st_ino == from_start.inode) ||
           (S_ISCHR(file.st_mode) && system_call(SYS_ioctl, STDERR_FILENO, TCGETS, modes) == 0);
}

// Writes as much as fits in at once. With all signals held off.
static void write_unnoticed(const char *line, size_t length)
{
    const SignalMask broken_pipe = SignalMask(1) << (SIGPIPE - 1);
    const timespec at_once = {};
    SignalMask pending = 0;
    system_call(SYS_rt_sigpending, &pending, sizeof pending);
    const iovec text = {const_cast<char *>(line), length};
    long written = system_call(SYS_pwritev2, STDERR_FILENO, &text, 1, -1L, -1L, RWF_NOWAIT);
    pollfd ready = {STDERR_FILENO, POLLOUT, 0};
    if (written == -EOPNOTSUPP && system_call(SYS_ppoll, &ready, 1, &at_once, nullptr, 0) == 1 &&
        (ready.revents & POLLOUT) != 0)
        written = system_call(SYS_write, STDERR_FILENO, line, length);
    if (written == -EPIPE && (pending & broken_pipe) == 0)
        system_call(SYS_rt_sigtimedwait, &broken_pipe, nullptr, &at_once, sizeof broken_pipe);
}

void warn(const char *path, const Reason &reason, const ErrorFile &from_start, char (&line)[1024])
{
    if (!is_users(from_start) || !is_news(path))
        return;
    const char *parts[] = {"zynov-sim: warning: ", path, ": ", reason[0], reason[1], reason[2], "\n"};
    size_t length = 0;
    for (const char *part : parts)
        for (; part != nullptr && *part != '\0' && length < sizeof line;
             ++part) // a name is not to talk to the terminal
            line[length++] = static_cast<unsigned char>(*part) < ' ' && *part != '\n' ? '?' : *part;
    write_unnoticed(line, length);
}

} // namespace sim
