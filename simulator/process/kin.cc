#include <fcntl.h>
#include <sys/uio.h>

#include <bit>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "simulator/process/trees.h"
#include "simulator/process/vvar.h"
#include "simulator/raw/system_call.h"

namespace sim
{

// A mapping of a process: its first address and its file.
struct Mapped {
    uintptr_t begin, end, offset;
    unsigned major, minor;
    uint64_t inode;
    bool is_code;
};

// Calls a function for each mapping of a process, until it returns true.
template <typename Function> static bool find_mapped(int64_t pid, const Function &is_found)
{
    char path[32], text[4096 + 1];
    snprintf(path, sizeof path, "/proc/%" PRId64 "/maps", pid);
    const auto file = static_cast<int>(system_call(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC));
    if (file < 0)
        return false;
    bool found = false;
    size_t kept = 0;
    for (long length; !found && kept < sizeof text - 1 &&
                      (length = system_call(SYS_read, file, text + kept, sizeof text - 1 - kept)) > 0;) {
        text[kept + static_cast<size_t>(length)] = '\0';
        char *line = text;
        for (char *end; !found && (end = strchr(line, '\n')) != nullptr; line = end + 1) {
            Mapped mapped = {};
            char rights[5] = {};
            found = sscanf(line, "%" SCNxPTR "-%" SCNxPTR " %4s %" SCNxPTR " %x:%x %" SCNu64, &mapped.begin,
                           &mapped.end, rights, &mapped.offset, &mapped.major, &mapped.minor, &mapped.inode) == 7;
            mapped.is_code = rights[2] == 'x';
            found = found && is_found(mapped);
        }
        kept = strlen(line);
        memmove(text, line, kept);
    }
    system_call(SYS_close, file);
    return found;
}

template <typename Object> static bool read_memory(int64_t pid, uintptr_t address, Object &object)
{
    const iovec here = {&object, sizeof object}, there = {std::bit_cast<void *>(address), sizeof object};
    return system_call(SYS_process_vm_readv, pid, &here, 1, &there, 1, 0) == sizeof object;
}

static bool read_from_vdso(int64_t pid, const Mapped &mapped, Trees &trees)
{
    Elf64_Ehdr header = {};
    Vvar vvar = {};
    if (mapped.inode != 0 || !mapped.is_code || !read_memory(pid, mapped.begin, header) ||
        find_vvar(std::bit_cast<uintptr_t>(&header)) == nullptr ||
        !read_memory(pid, mapped.begin + header.e_shoff, vvar))
        return false;
    trees = vvar.trees;
    return true;
}

bool read_trees_of(int64_t pid, Trees &trees)
{
    // The addresses of this library and of its trees in this process.
    const auto here = std::bit_cast<uintptr_t>(&read_trees_of);
    Mapped own = {}, first = {};
    find_mapped(system_call(SYS_getpid), [&](const Mapped &mapped) {
        if (mapped.inode != own.inode || mapped.offset == 0)
            first = own = mapped;
        return mapped.begin <= here && here < mapped.end;
    });
    const uintptr_t place = trees_address() - first.begin;
    return find_mapped(pid, [&](const Mapped &mapped) {
        const bool is_library = mapped.offset == 0 && mapped.inode == first.inode && mapped.major == first.major &&
                                mapped.minor == first.minor && first.inode != 0;
        return is_library ? read_memory(pid, mapped.begin + place, trees) : read_from_vdso(pid, mapped, trees);
    });
}

} // namespace sim
