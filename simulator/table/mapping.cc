#include "simulator/table/mapping.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <bit>
#include <cstdint>

#include "simulator/raw/system_call.h"

namespace sim
{

// A table that stays mapped, since mapping takes longer than the rest of a command.
struct KeptTable {
    std::atomic<Table *> table;
    uint64_t device, inode;

    bool is(const struct stat &file) const
    {
        return table.load(std::memory_order_acquire) != nullptr && device == file.st_dev && inode == file.st_ino;
    }
    void keep(Table *mapped, const struct stat &file)
    {
        device = file.st_dev;
        inode = file.st_ino;
        table.store(mapped, std::memory_order_release);
    }
};
static constinit KeptTable own_table = {}, written_table = {};
static std::atomic<bool> own_table_was_cut;

static thread_local constinit Mapping *own_mapping __attribute__((tls_model("initial-exec"))) = nullptr;

static int protection(Mapping::Use use)
{
    return use == Mapping::writing ? PROT_READ | PROT_WRITE : PROT_READ;
}

// 0, or an errno.
static int map_whole(Table *&table, Mapping::Use use, int flags, int descriptor)
{
    const long address = system_call(SYS_mmap, table, sizeof(Table), protection(use), flags, descriptor, 0);
    if (address < 0 && address >= -4095)
        return static_cast<int>(-address);
    table = std::bit_cast<Table *>(address);
    return 0;
}

static void unmap(Table *table)
{
    if (table != nullptr)
        system_call(SYS_munmap, table, sizeof(Table));
}

const Table *attach_state(int descriptor)
{
    struct stat file = {};
    Table *table = nullptr;
    if (system_call(SYS_fstat, descriptor, &file) != 0 ||
        map_whole(table, Mapping::reading, MAP_SHARED, descriptor) != 0)
        return nullptr;
    own_table.keep(table, file);
    return table;
}

bool attach_again(int descriptor)
{
    struct stat file = {};
    Table *table = own_table.table;
    return system_call(SYS_fstat, descriptor, &file) == 0 && own_table.is(file) && !own_table_was_cut &&
           map_whole(table, Mapping::reading, MAP_SHARED | MAP_FIXED, descriptor) == 0;
}

int Mapping::map(int descriptor, Use use)
{
    struct stat file = {};
    if (const long error = system_call(SYS_fstat, descriptor, &file))
        return static_cast<int>(-error);
    const KeptTable &known = use == writing ? written_table : own_table;
    use_ = use;
    kept_ = known.is(file) && !(use == reading && own_table_was_cut);
    if (kept_) {
        table_ = known.table;
    } else if (const int refused = map_whole(table_, use, MAP_SHARED, descriptor)) {
        return refused;
    } else if (use == writing) {
        unmap(written_table.table);
        written_table.keep(table_, file);
        kept_ = true;
    }
    own_mapping = this;
    return 0;
}

bool Mapping::was_cut() const
{
    return was_cut_ || (kept_ && use_ == reading && own_table_was_cut);
}

Mapping::~Mapping()
{
    own_mapping = nullptr;
    if (kept_ && !(was_cut_ && use_ == writing))
        return;
    if (kept_)
        written_table.table = nullptr;
    unmap(table_);
}

static bool put_empty_table(Table *table, Mapping::Use use, const void *address)
{
    return table != nullptr && std::bit_cast<uintptr_t>(address) - std::bit_cast<uintptr_t>(table) < sizeof(Table) &&
           map_whole(table, use, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1) == 0;
}

bool give_up_table(const void *address)
{
    if (put_empty_table(own_table.table, Mapping::reading, address)) {
        own_table_was_cut = true;
        return true;
    }
    Mapping *used = own_mapping;
    if (used == nullptr || !put_empty_table(used->table_, used->use_, address))
        return false;
    used->was_cut_ = true;
    return true;
}

} // namespace sim
