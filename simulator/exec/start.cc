#include "simulator/exec/start.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "simulator/bare/signals.h"
#include "simulator/bare/small_file.h"
#include "simulator/bare/system_call.h"
#include "simulator/table/state.h"

namespace sim
{

Choices read_choices(const char *words)
{
    const auto has = [words](const char *word) { return words != nullptr && strstr(words, word) != nullptr; };
    return {has("quiet"), has("no-static"), has("descendants") && !has("no-static"), has("file-times")};
}

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

// Texts that a caller's stack, which may be a signal's and small, is spared.
struct Scratch {
    char place[PATH_MAX], status[4096], line[1024];
};

static void say(const char *path, const char *why, Scratch &scratch)
{
    const char *parts[] = {"zynov-sim: warning: ", path, ": keeps the real time, since it ", why, "\n"};
    size_t length = 0;
    for (const char *part : parts)
        for (; *part != '\0' && length < sizeof scratch.line; ++part) // a name is not to talk to the terminal
            scratch.line[length++] = static_cast<unsigned char>(*part) < ' ' && *part != '\n' ? '?' : *part;
    system_call(SYS_write, STDERR_FILENO, scratch.line, length);
}

static bool is_same_file(const char *path, const char *other)
{
    struct stat file = {}, beside = {};
    return system_call(SYS_newfstatat, AT_FDCWD, path, &file, 0) == 0 &&
           system_call(SYS_newfstatat, AT_FDCWD, other, &beside, 0) == 0 && file.st_ino == beside.st_ino &&
           file.st_dev == beside.st_dev;
}

// Why no child of this process may trace it, or what traces it cannot do its work; null when there is nothing in the
// way.
static const char *find_obstacle(Scratch &scratch)
{
    if (!read_small_file("/proc/thread-self/status", scratch.status) ||
        strstr(scratch.status, "\nTracerPid:\t0\n") == nullptr || strstr(scratch.status, "\nSeccomp:\t0\n") == nullptr)
        return "is linked statically, or by Go, and its parent is traced or filtered";
    // A tracer would be the first process of the new namespace, and the end of that.
    if (!is_same_file("/proc/thread-self/ns/pid", "/proc/thread-self/ns/pid_for_children"))
        return "is linked statically, or by Go, and the children of its parent are in another pid namespace";
    return nullptr;
}

const char *Start::prepare(const char *path, Traced what, const Choices &choices, Scratch &scratch)
{
    const Reach reach = reach_of(path);
    if (reach == Reach::foreign)
        return "is for another architecture";
    if (reach == Reach::privileged)
        return "gets rights of its own";
    if (reach == Reach::image && (choices.no_static || !can_trace))
        return "is linked statically, or by Go";
    if (reach != Reach::image && what != Traced::descendants)
        return nullptr;
    if (const char *obstacle = find_obstacle(scratch))
        return obstacle;
    switch (tracer_.emplace(what, getenv(state_variable)).error()) {
    case 0:
        return nullptr;
    case EACCES:
        return "is linked statically, or by Go, and its parent has given up rights in memory that others share";
    case ECHILD:
        return "is linked statically, or by Go, and its tracer was killed";
    default:
        return "is linked statically, or by Go, and may not be traced";
    }
}

Start::Start(const Target &target, Traced what)
{
    if (getenv(state_variable) == nullptr)
        return;
    const Choices choices = read_choices(getenv(choices_variable));
    if (choices.descendants && what != Traced::descendants)
        return;             // whoever follows all looks at each
    const SignalsHeld held; // a handler that leaves by a jump would leave all this behind
    const long pages =
        system_call(SYS_mmap, nullptr, sizeof(Scratch), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages < 0 && pages > -4096)
        return;
    auto &scratch = *std::bit_cast<Scratch *>(pages);
    const char *path = find_program(target, scratch.place);
    const char *why = prepare(path, what, choices, scratch);
    if (why != nullptr && !choices.quiet && is_news(path))
        say(path, why, scratch);
    system_call(SYS_munmap, pages, sizeof scratch);
}

} // namespace sim
