// The vvar pages of our vDSO, right behind its code: written when it is injected, and afterwards only by the cache.
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
#include "simulator/process/course.h"
#include "simulator/table/search.h"
#include "simulator/table/table.h"

namespace sim
{

constexpr size_t page_size = 4096;

// Parameters of the vDSO, read-only once the program runs.
struct Vvar {
    // The kernel's own functions, in the vDSO that this one replaces.
    int (*clock_gettime)(clockid_t, timespec *);
    int (*gettimeofday)(timeval *, void *);
    int (*clock_getres)(clockid_t, timespec *);
    long (*getcpu)(unsigned *, unsigned *, void *);
    void *program_entry;         // the program's own entry point
    std::array<int, 16> tracers; // children of this process that it has to reap; 0 for none
    int64_t process;             // its identity: see table/search.h
    uint64_t pid_namespace, birth, container_id;
    uint64_t intervals; // whether they go by the clock
    Trees trees;        // the program's trees
    char state[2048];   // the file of the clock table
};
static_assert(sizeof(Vvar) <= page_size);

constexpr uint64_t ids_hold_for = 1'000'000; // nanoseconds

// State kept between readings. The kernel clears it in a forked child.
struct VvarCache {
    std::atomic<uint64_t> asked_at;           // when the ids were read: real nanoseconds since the epoch
    std::atomic<uint64_t> ids;                // effective user in the upper half, group in the lower
    std::atomic<int64_t> process;             // the owner of this memory; 0 in a forked child until its first lookup
    std::atomic<uint64_t> asked_at_monotonic; // as asked_at, by CLOCK_MONOTONIC
    std::atomic<int64_t> lender;              // the ancestor whose clock the program has, ...
    std::atomic<uint64_t> lender_birth;
    Cache clock;
};

// The pages behind the vDSO's code.
struct VvarPages {
    alignas(page_size) Vvar vvar;
    alignas(page_size) VvarCache cache;
    alignas(page_size) CourseKeeper course; // a forked child goes on by its parent's
    alignas(page_size) Table table;
};

// Marks our vDSO for the preloaded library, in unused fields of the ELF header.
constexpr std::array<unsigned char, EI_NIDENT - EI_PAD> vdso_mark = {'z', 'y', 'n', 'o', 'v', '-', '1'};

inline void mark_vdso(Elf64_Ehdr &header, size_t vvar_offset)
{
    for (size_t i = 0; i < vdso_mark.size(); ++i)
        header.e_ident[EI_PAD + i] = vdso_mark[i];
    header.e_shoff = vvar_offset;
    header.e_shnum = header.e_shstrndx = 0;
}

// The parameters of the vDSO at an address; null if it is not one of ours.
inline const Vvar *find_vvar(uintptr_t vdso)
{
    const auto *header = std::bit_cast<const Elf64_Ehdr *>(vdso);
    for (size_t i = 0; i < vdso_mark.size(); ++i)
        if (vdso == 0 || header->e_ident[EI_PAD + i] != vdso_mark[i])
            return nullptr;
    return std::bit_cast<const Vvar *>(vdso + header->e_shoff);
}

// Defined in the vDSO only.
extern VvarPages vvar_pages __asm__("vvar_pages") __attribute__((visibility("hidden")));

} // namespace sim
