#include "simulator/vdso/program.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "simulator/raw/memory.h"
#include "simulator/raw/system_call.h"

namespace sim
{

// Searches PATH.
static const char *find_in_folders(const char *name, char (&buffer)[PATH_MAX])
{
    if (strchr(name, '/') != nullptr)
        return name;
    const char *folders = getenv("PATH");
    for (const char *folder = folders != nullptr ? folders : "/bin:/usr/bin"; *folder != '\0';) {
        const auto length = static_cast<int>(strcspn(folder, ":"));
        struct stat file = {};
        if (snprintf(buffer, sizeof buffer, "%.*s%s%s", length, folder, length != 0 ? "/" : "", name) < PATH_MAX &&
            system_call(SYS_faccessat, AT_FDCWD, buffer, X_OK) == 0 &&
            system_call(SYS_newfstatat, AT_FDCWD, buffer, &file, 0) == 0 && S_ISREG(file.st_mode))
            return buffer;
        folder += length;
        folder += *folder == ':' ? 1 : 0;
    }
    return name;
}

const char *find_program(const Target &target, char (&buffer)[PATH_MAX])
{
    if (target.by_path)
        return find_in_folders(target.name, buffer);
    if (target.folder == AT_FDCWD)
        return target.name;
    char first = '/'; // stays for an invalid pointer, which the kernel reports
    read_given(first, const_cast<char *>(target.name));
    if (first == '/')
        return target.name;
    const bool file_itself = first == '\0' && (target.flags & AT_EMPTY_PATH) != 0;
    snprintf(buffer, sizeof buffer, "/proc/self/fd/%d%s%s", target.folder, file_itself ? "" : "/", target.name);
    return buffer;
}

#if defined(__x86_64__)
constexpr uint16_t own_machine = EM_X86_64;
#else
constexpr uint16_t own_machine = EM_AARCH64;
#endif

// A file, read in pieces.
class File
{
  public:
    explicit File(const char *path)
        : descriptor_(system_call(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
    {
    }
    ~File()
    {
        if (descriptor_ >= 0)
            system_call(SYS_close, descriptor_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    int error() const { return descriptor_ < 0 ? static_cast<int>(-descriptor_) : 0; }
    size_t read(uint64_t offset, void *memory, size_t size) const
    {
        const long length = system_call(SYS_pread64, descriptor_, memory, size, offset);
        return length > 0 ? static_cast<size_t>(length) : 0;
    }
    template <typename Object> bool get(uint64_t offset, Object &object) const
    {
        return read(offset, &object, sizeof object) == sizeof object;
    }
    // Whether executing it grants new rights. An unreadable file grants none.
    bool is_privileged() const
    {
        struct stat file = {};
        if (system_call(SYS_fstat, descriptor_, &file) != 0)
            return false;
        const bool other_user =
            (file.st_mode & S_ISUID) != 0 && static_cast<long>(file.st_uid) != system_call(SYS_geteuid);
        const bool other_group = (file.st_mode & (S_ISGID | S_IXGRP)) == (S_ISGID | S_IXGRP) &&
                                 static_cast<long>(file.st_gid) != system_call(SYS_getegid);
        return other_user || other_group ||
               (system_call(SYS_getuid) != 0 &&
                system_call(SYS_fgetxattr, descriptor_, "security.capability", nullptr, 0) > 0);
    }

  private:
    long descriptor_;
};

// Go's linker leaves a note with its name, in dynamically linked programs too.
static bool is_from_go(const File &file, const Elf64_Phdr &notes)
{
    constexpr size_t word = 4;
    constexpr uint64_t longest = 4096;
    Elf64_Nhdr note = {};
    for (uint64_t at = 0; at < notes.p_filesz && at < longest && file.get(notes.p_offset + at, note);) {
        std::array<char, word> name = {};
        if (note.n_namesz == word && file.get(notes.p_offset + at + sizeof note, name) &&
            memcmp(name.data(), "Go\0", word) == 0)
            return true;
        const auto whole_words = [](uint64_t size) { return (size + word - 1) / word * word; };
        at += sizeof note + whole_words(note.n_namesz) + whole_words(note.n_descsz);
    }
    return false;
}

static Reach reach_of_elf(const File &file, const Elf64_Ehdr &header)
{
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_machine != own_machine)
        return Reach::foreign;
    constexpr uint16_t most = 128; // only a broken program has more
    if ((header.e_type != ET_EXEC && header.e_type != ET_DYN) || header.e_phentsize != sizeof(Elf64_Phdr) ||
        header.e_phnum == 0 || header.e_phnum > most)
        return Reach::unknown;
    bool has_loader = false, from_go = false, loads = false;
    for (uint16_t i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment = {};
        if (!file.get(header.e_phoff + i * sizeof segment, segment))
            return Reach::unknown;
        has_loader |= segment.p_type == PT_INTERP;
        loads |= segment.p_type == PT_LOAD;
        from_go |= segment.p_type == PT_NOTE && is_from_go(file, segment);
    }
    if (!loads)
        return Reach::unknown;
    return has_loader && !from_go ? Reach::preload : Reach::vdso;
}

// Replaces a script's first line by the interpreter that it names; false if it is no script.
template <size_t size> static bool find_interpreter(std::array<char, size> &line, size_t length)
{
    if (length < 2 || line[0] != '#' || line[1] != '!')
        return false;
    line[length < size ? length : size - 1] = '\0';
    char *name = line.data() + 2;
    name += strspn(name, " \t");
    name[strcspn(name, " \t\r\n")] = '\0';
    memmove(line.data(), name, strlen(name) + 1);
    return line[0] != '\0';
}

Reach reach_of(const char *path)
{
    std::array<char, 256> line; // the kernel's limit
    constexpr int deepest = 5;  // the kernel's limit too
    for (int depth = 0; depth < deepest; ++depth) {
        const File file(path);
        if (file.error() == EMFILE || file.error() == ENFILE)
            return Reach::unseen;
        const size_t length = file.read(0, line.data(), line.size());
        Elf64_Ehdr header;
        static_assert(sizeof header <= sizeof line);
        memcpy(&header, line.data(), sizeof header);
        if (length >= sizeof header && memcmp(header.e_ident, ELFMAG, SELFMAG) == 0)
            return file.is_privileged() ? Reach::privileged : reach_of_elf(file, header);
        if (!find_interpreter(line, length))
            return Reach::unknown;
        path = line.data();
    }
    return Reach::unknown;
}

} // namespace sim
