#include "simulator/exec/start.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

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

static void say(const char *path, const char *why)
{
    const char *parts[] = {"zynov-sim: warning: ", path, ": keeps the real time, since it ", why, "\n"};
    char line[1024];
    size_t length = 0;
    for (const char *part : parts)
        for (; *part != '\0' && length < sizeof line; ++part) // a name is not to talk to the terminal
            line[length++] = static_cast<unsigned char>(*part) < ' ' && *part != '\n' ? '?' : *part;
    system_call(SYS_write, STDERR_FILENO, line, length);
}

// Whether a child of this process may trace it, and the program can make the calls that this takes.
static bool is_traceable()
{
    char status[2048];
    return read_small_file("/proc/thread-self/status", status) && strstr(status, "\nTracerPid:\t0\n") != nullptr &&
           strstr(status, "\nSeccomp:\t0\n") != nullptr;
}

static const char *const untraceable[] = {"is linked statically, or by Go",
                                          "is linked statically, or by Go, and its parent is traced or filtered",
                                          "is linked statically, or by Go, and may not be traced"};

Start::Start(const char *path, Traced what)
{
    const char *state = getenv(state_variable);
    if (state == nullptr)
        return;
    const Choices choices = read_choices(getenv(choices_variable));
    if (choices.descendants && what != Traced::descendants)
        return; // whoever follows all looks at each
    const Reach reach = reach_of(path);
    const char *why = nullptr;
    if (reach == Reach::foreign)
        why = "is for another architecture";
    else if (reach == Reach::privileged)
        why = "gets rights of its own";
    else if (reach == Reach::image && (choices.no_static || !can_trace))
        why = untraceable[0];
    else if ((reach == Reach::image || what == Traced::descendants) && !is_traceable())
        why = untraceable[1];
    else if ((reach == Reach::image || what == Traced::descendants) && tracer_.emplace(what, state).error() != 0)
        why = untraceable[2];
    if (why != nullptr && !choices.quiet && is_news(path))
        say(path, why);
}

} // namespace sim
