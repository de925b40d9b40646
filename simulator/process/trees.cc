#include "simulator/process/trees.h"

#include <unistd.h>

#include <atomic>
#include <bit>
#include <cstring>

#include "simulator/raw/system_call.h"

namespace sim
{

// A tree in one word, so that readers never see half of it.
static std::array<std::atomic<uint64_t>, std::tuple_size_v<Trees>> tree_words;

static TreeText entry_text;

static Tree tree_at(const std::atomic<uint64_t> &place)
{
    return std::bit_cast<Tree>(place.load(std::memory_order_acquire));
}

Trees own_trees()
{
    Trees own;
    for (size_t i = 0; i < own.size(); ++i)
        own[i] = tree_at(tree_words[i]);
    return own;
}

bool has_trees()
{
    return own_trees() != Trees();
}

uintptr_t trees_address()
{
    return std::bit_cast<uintptr_t>(tree_words.data());
}

// It replaces an earlier one that this process began and that has ended, else a free one, else the farthest one.
void enter_tree(uint64_t number)
{
    const auto rank = [](const Tree &tree) { return tree.number == 0 ? 0x10000u : tree.generations - 1u; };
    std::atomic<uint64_t> *best = &tree_words[0];
    for (auto &place : tree_words) {
        if (tree_at(place).number == number)
            return;
        if (rank(tree_at(place)) > rank(tree_at(*best)))
            best = &place;
    }
    best->store(std::bit_cast<uint64_t>(Tree::of(number, 0)), std::memory_order_release);
}

void leave_tree(uint64_t number)
{
    for (auto &place : tree_words)
        if (tree_at(place).number == number)
            place.store(0, std::memory_order_release);
}

void descend()
{
    for (auto &place : tree_words)
        if (const Tree tree = tree_at(place); tree.number != 0)
            place.store(std::bit_cast<uint64_t>(Tree::of(tree.number, tree.generations + 1)),
                        std::memory_order_relaxed);
}

TreeText tree_text(int64_t process)
{
    return write_trees(process, own_trees());
}

void refresh_tree_text(int64_t process)
{
    const TreeText text = tree_text(process);
    if (entry_text[0] != '\0' && text != entry_text)
        entry_text = text;
}

void begin_trees()
{
    const size_t length = strlen(trees_variable);
    for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry)
        if (strncmp(*entry, trees_variable, length) == 0 && (*entry)[length] == '=') {
            const int64_t process = system_call(SYS_getpid);
            const Trees found = read_trees(*entry + length + 1, process);
            for (size_t i = 0; i < found.size(); ++i)
                tree_words[i].store(std::bit_cast<uint64_t>(found[i]), std::memory_order_relaxed);
            entry_text = tree_text(process);
            *entry = entry_text.data();
            return;
        }
}

} // namespace sim
