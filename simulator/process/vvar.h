// What lies in a program beside the image: written by whoever puts it there, and by nobody afterwards, but for the
// cache. Each begins on a page of its own, right behind the image's code.
#pragma once

#include <elf.h>
#include <sys/time.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <ctime>

#include "simulator/process/cache.h"
#include "simulator/table/table.h"

namespace sim
{

constexpr size_t page_size = 4096;

// What the image is told. Read-only once the program runs.
struct ImageConfig {
    // The kernel's own functions, in the vDSO that the image stands in front of.
    int (*clock_gettime)(clockid_t, timespec *);
    int (*gettimeofday)(timeval *, void *);
    int (*clock_getres)(clockid_t, timespec *);
    long (*getcpu)(unsigned *, unsigned *, void *);
    void *program_entry;         // where the program was to start, ...
    std::array<int, 16> tracers; // the children of this process that are to be waited for; 0 for none
    int64_t process;             // ... and how it is known by clocks
    uint64_t pid_namespace, birth, container_id;
    char state[2048]; // the file of the clock table
};
static_assert(sizeof(ImageConfig) <= page_size);

// What is remembered from one reading to the next. The kernel empties it in a forked child.
struct ImageMemory {
    std::atomic<uint64_t> asked_at; // when the ids were: real nanoseconds since the epoch
    std::atomic<uint64_t> ids;      // the effective user in the upper half, the group in the lower
    std::atomic<int64_t> process;   // whose memory it is; 0 before a forked child's first look-up
    Cache cache;
};

// The pages behind the image's code.
struct ImageData {
    alignas(page_size) ImageConfig config;
    alignas(page_size) ImageMemory memory;
    alignas(page_size) Table table;
};

// How the preloaded library, where it gets into such a program too, notices: in the image's header, where its kind of
// file has nothing.
constexpr std::array<unsigned char, EI_NIDENT - EI_PAD> image_mark = {'z', 'y', 'n', 'o', 'v', '-', '1'};

inline void mark_image(Elf64_Ehdr &header, size_t config_offset)
{
    for (size_t i = 0; i < image_mark.size(); ++i)
        header.e_ident[EI_PAD + i] = image_mark[i];
    header.e_shoff = config_offset;
    header.e_shnum = header.e_shstrndx = 0;
}

// The config of the image that this program's vDSO is, at the address that the kernel named; null when it is none.
inline const ImageConfig *config_of_image(uintptr_t vdso)
{
    const auto *header = std::bit_cast<const Elf64_Ehdr *>(vdso);
    for (size_t i = 0; i < image_mark.size(); ++i)
        if (vdso == 0 || header->e_ident[EI_PAD + i] != image_mark[i])
            return nullptr;
    return std::bit_cast<const ImageConfig *>(vdso + header->e_shoff);
}

// In the image alone.
extern ImageData image_data __asm__("image_data") __attribute__((visibility("hidden")));

} // namespace sim
