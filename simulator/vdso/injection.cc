#include <elf.h>
#include <sys/mman.h>

#include <array>
#include <bit>

#include "simulator/process/tree_text.h"
#include "simulator/vdso/tracee.h"

namespace sim
{

// The vDSO as built: see CMakeLists.txt.
extern "C" const char vdso_file[] __attribute__((visibility("hidden")));

static size_t whole_pages(size_t size)
{
    return (size + page_size - 1) / page_size * page_size;
}

// The kernel's auxiliary vector.
struct Auxv {
    uintptr_t vdso;         // the address of the kernel's vDSO
    uintptr_t vdso_pointer; // the address of the value above
    bool secure;
};

// Reads the words of the stack upwards, in blocks.
class Stack
{
  public:
    Stack(const Tracee &program, uintptr_t address) : program_(program), address_(address) {}

    bool next(uint64_t &word)
    {
        if (at_ == count_) {
            count_ = program_.read_some(address_, words_.data(), sizeof words_) / sizeof word;
            at_ = 0;
            if (count_ == 0)
                return false;
        }
        word = words_[at_++];
        address_ += sizeof word;
        if (at_ == count_)
            count_ = at_ = 0;
        return true;
    }
    uintptr_t address() const { return address_; }

  private:
    const Tracee &program_;
    uintptr_t address_;
    std::array<uint64_t, 64> words_;
    size_t at_ = 0, count_ = 0;
};

// Reads an entry of the environment if it is the one with the trees.
static void read_entry(const Tracee &program, uintptr_t address, Trees &trees)
{
    TreeText text = {};
    constexpr size_t name = sizeof trees_variable; // and the equals sign
    program.read_some(address, text.data(), name);
    for (size_t i = 0; i < name; ++i)
        if (text[i] != (i + 1 < name ? trees_variable[i] : '='))
            return;
    for (size_t i = name; i + 1 < text.size() && program.read_some(address + i, &text[i], 1) == 1 && text[i] != '\0';
         ++i)
        ;
    trees = read_trees(&text[name], program.thread());
}

static bool find_auxv(const Tracee &program, uintptr_t stack_pointer, Auxv &found, Trees &trees)
{
    Stack stack(program, stack_pointer);
    uint64_t word, value;
    trees = {};
    if (!stack.next(word))
        return false;
    for (int lists = 0; lists < 2;) { // arguments and environment, each ended by a null
        if (!stack.next(word))
            return false;
        if (lists == 1 && word != 0)
            read_entry(program, word, trees);
        lists += word == 0 ? 1 : 0;
    }
    found = {};
    while (stack.next(word) && word != AT_NULL) {
        const uintptr_t address = stack.address();
        if (!stack.next(value))
            return false;
        if (word == AT_SECURE) {
            found.secure = value != 0;
        } else if (word == AT_SYSINFO_EHDR) {
            found.vdso = value;
            found.vdso_pointer = address;
        }
    }
    return word == AT_NULL;
}

// The kernel's vDSO, a small ELF file in the program's memory.
class KernelVdso
{
  public:
    bool read(const Tracee &program, uintptr_t address)
    {
        address_ = address;
        size_ = program.read_some(address, bytes_.data(), bytes_.size());
        Elf64_Ehdr header;
        if (!get(0, header))
            return false;
        for (size_t i = 0; i < header.e_phnum; ++i) {
            Elf64_Phdr segment;
            if (!get(header.e_phoff + i * sizeof segment, segment))
                return false;
            if (segment.p_type == PT_LOAD)
                load_address_ = segment.p_vaddr - segment.p_offset;
            else if (segment.p_type == PT_DYNAMIC)
                read_dynamic(segment.p_offset, segment.p_filesz);
        }
        return symbols_ != 0 && names_ != 0 && symbol_count_ != 0;
    }

    template <typename Function> bool find(const char *name, Function *&function) const
    {
        for (uint32_t i = 0; i < symbol_count_; ++i) {
            Elf64_Sym symbol;
            if (!get(symbols_ + i * sizeof symbol, symbol))
                return false;
            if (symbol.st_shndx != SHN_UNDEF && has_name(names_ + symbol.st_name, name)) {
                function = std::bit_cast<Function *>(address_ + symbol.st_value - load_address_);
                return true;
            }
        }
        return false;
    }

    // The address of a system call instruction; 0 when there is none.
    uintptr_t find_call_instruction() const
    {
        for (size_t i = 0; i + 1 < size_; ++i)
            if (bytes_[i] == 0x0f && bytes_[i + 1] == 0x05)
                return address_ + i;
        return 0;
    }

  private:
    template <typename Object> bool get(size_t offset, Object &object) const
    {
        if (offset > size_ || size_ - offset < sizeof object)
            return false;
        __builtin_memcpy(&object, &bytes_[offset], sizeof object);
        return true;
    }

    void read_dynamic(size_t offset, size_t size)
    {
        Elf64_Dyn entry;
        for (size_t end = offset + size; offset < end && get(offset, entry); offset += sizeof entry) {
            const size_t table = entry.d_un.d_ptr - load_address_;
            uint32_t hash[2]; // the number of chains is the number of symbols
            if (entry.d_tag == DT_SYMTAB)
                symbols_ = table;
            else if (entry.d_tag == DT_STRTAB)
                names_ = table;
            else if (entry.d_tag == DT_HASH && get(table, hash))
                symbol_count_ = hash[1];
        }
    }

    bool has_name(size_t offset, const char *name) const
    {
        for (; offset < size_; ++offset, ++name) {
            if (static_cast<char>(bytes_[offset]) != *name)
                return false;
            if (*name == '\0')
                return true;
        }
        return false;
    }

    uintptr_t address_ = 0, load_address_ = 0;
    size_t size_ = 0, symbols_ = 0, names_ = 0;
    uint32_t symbol_count_ = 0;
    std::array<uint8_t, 16384> bytes_;
};

using Arguments = std::array<uintptr_t, 6>;

// Makes the program execute a system call, by an instruction of the kernel's vDSO: no code is overwritten.
static long call_from(Tracee &program, Registers registers, uintptr_t instruction, long number,
                      const Arguments &arguments)
{
    registers.rip = instruction;
    registers.rax = static_cast<unsigned long long>(number);
    registers.rdi = arguments[0];
    registers.rsi = arguments[1];
    registers.rdx = arguments[2];
    registers.r10 = arguments[3];
    registers.r8 = arguments[4];
    registers.r9 = arguments[5];
    registers.orig_rax = ~0ull; // not in a system call, so the kernel restarts none
    if (!program.write_registers(registers) || !program.run_to_call_stop() || !program.run_to_call_stop() ||
        !program.read_registers(registers))
        return -EIO;
    return static_cast<long>(registers.rax);
}

// Call with all signals blocked.
static bool map_vdso(Tracee &program, Vvar &vvar, const Registers &at_start, const Auxv &auxv, uintptr_t instruction)
{
    Elf64_Ehdr header;
    Elf64_Phdr segment; // the loaded one, at the file's start; section headers may follow it
    __builtin_memcpy(&header, vdso_file, sizeof header);
    __builtin_memcpy(&segment, vdso_file + header.e_phoff, sizeof segment);
    const size_t code = whole_pages(segment.p_filesz), whole = code + sizeof(VvarPages);
    const long mapped =
        call_from(program, at_start, instruction, SYS_mmap,
                  {0, whole, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, ~uintptr_t(0) /* no file */, 0});
    if (mapped < 0 && mapped > -4096) {
        program.write_registers(at_start);
        return false;
    }
    const auto address = static_cast<uintptr_t>(mapped);
    vvar.program_entry = std::bit_cast<void *>(at_start.rip);
    mark_vdso(header, code);
    Registers registers = at_start;
    registers.rip = address + header.e_entry;
    const bool done =
        program.write(address, vdso_file, segment.p_filesz) && program.write(address, &header, sizeof header) &&
        program.write(address + code, &vvar, sizeof vvar) &&
        call_from(program, at_start, instruction, SYS_mprotect, {address, code, PROT_READ | PROT_EXEC}) == 0 &&
        program.write(auxv.vdso_pointer, &address, sizeof address) && program.write_registers(registers);
    if (!done) {
        call_from(program, at_start, instruction, SYS_munmap, {address, whole});
        program.write(auxv.vdso_pointer, &auxv.vdso, sizeof auxv.vdso);
        program.write_registers(at_start);
    }
    return done;
}

bool inject_vdso(Tracee &program, Vvar &vvar)
{
    constexpr unsigned long code_of_64_bits = 0x33;
    Registers at_start;
    Auxv auxv;
    KernelVdso kernel;
    if (!program.run_to_call_stop() || !program.read_registers(at_start) || at_start.cs != code_of_64_bits ||
        !find_auxv(program, at_start.rsp, auxv, vvar.trees) || auxv.secure || auxv.vdso == 0 ||
        !kernel.read(program, auxv.vdso) || !kernel.find("__vdso_clock_gettime", vvar.clock_gettime) ||
        !kernel.find("__vdso_gettimeofday", vvar.gettimeofday) ||
        !kernel.find("__vdso_clock_getres", vvar.clock_getres) || !kernel.find("__vdso_getcpu", vvar.getcpu))
        return false;
    const uintptr_t instruction = kernel.find_call_instruction();
    SignalMask mask;
    const SignalMask all = ~SignalMask(0);
    if (instruction == 0 || !program.read_mask(mask) || !program.write_mask(all))
        return false;
    const bool done = map_vdso(program, vvar, at_start, auxv, instruction);
    return program.write_mask(mask) && done;
}

} // namespace sim
