// The entry point of a program with our vDSO: it does the steps that are easier inside the program. If one fails, the
// program gets real time.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "simulator/process/vvar.h"
#include "simulator/raw/system_call.h"
#include "simulator/table/members.h"

namespace sim
{

static bool map_table(const char *path, void *address)
{
    const long descriptor =
        system_call(SYS_openat, AT_FDCWD, path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return false;
    struct stat file = {}; // it may have been truncated meanwhile
    const bool whole = system_call(SYS_fstat, descriptor, &file) == 0 && file.st_size == sizeof(Table);
    const long mapped =
        whole ? system_call(SYS_mmap, address, sizeof(Table), PROT_READ, MAP_SHARED | MAP_FIXED, descriptor, 0) : 0;
    if (mapped > 0)
        for_lasting_trees(vvar_pages.table, vvar_pages.vvar.trees,
                          [descriptor](uint64_t tree) { become_member(static_cast<int>(descriptor), tree); });
    system_call(SYS_close, descriptor);
    return mapped > 0 && vvar_pages.table.header == Header();
}

extern "C" __attribute__((visibility("hidden"))) void *vdso_prepare()
{
    VvarPages &data = vvar_pages;
    const bool wiped = system_call(SYS_madvise, &data.cache, page_size, MADV_WIPEONFORK) == 0;
    if (!wiped || !map_table(data.vvar.state, &data.table))
        data.vvar.state[0] = '\0';
    data.cache.process.store(system_call(SYS_getpid), std::memory_order_relaxed);
    system_call(SYS_mprotect, &data.vvar, page_size, PROT_READ);
    for (const int tracer : data.vvar.tracers)
        if (tracer > 0)
            system_call(SYS_wait4, tracer, nullptr, __WCLONE, nullptr);
    return data.vvar.program_entry;
}

} // namespace sim

// The kernel starts a program with empty registers and the stack pointer at the arguments.
__asm__(R"(
    .text
    .globl vdso_start
    .hidden vdso_start
    .type vdso_start, @function
vdso_start:
    mov %rsp, %rbx
    and $-16, %rsp
    call vdso_prepare
    mov %rbx, %rsp
    mov %rax, -8(%rsp)
    xor %eax, %eax
    xor %ebx, %ebx
    xor %ecx, %ecx
    xor %edx, %edx
    xor %esi, %esi
    xor %edi, %edi
    xor %ebp, %ebp
    xor %r8d, %r8d
    xor %r9d, %r9d
    xor %r10d, %r10d
    xor %r11d, %r11d
    jmp *-8(%rsp)
    .size vdso_start, . - vdso_start
)");
