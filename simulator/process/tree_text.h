// The text in the environment that tells a process which trees it lives in. Uses no library, since a tracer reads it,
// too.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "simulator/table/search.h"

namespace sim
{

// Environment variable of every process under the simulator: the process that wrote it, and its trees. A reader with
// another id is at least one generation further down.
constexpr char trees_variable[] = "ZYNOV_SIM_TREES";

// "ZYNOV_SIM_TREES=process:number+generations,...", with a null.
using TreeText = std::array<char, sizeof trees_variable + 1 + 20 + std::tuple_size_v<Trees> *(1 + 15 + 1 + 5)>;

inline char *write_number(char *to, uint64_t number)
{
    std::array<char, 20> digits;
    size_t count = 0;
    do
        digits[count++] = static_cast<char>('0' + number % 10);
    while ((number /= 10) != 0);
    while (count > 0)
        *to++ = digits[--count];
    return to;
}

inline uint64_t read_number(const char *&from)
{
    uint64_t number = 0;
    for (; *from >= '0' && *from <= '9'; ++from)
        number = number * 10 + static_cast<uint64_t>(*from - '0');
    return number;
}

inline TreeText write_trees(int64_t process, const Trees &trees)
{
    TreeText text = {};
    char *to = text.data();
    for (const char *from = trees_variable; *from != '\0'; ++from)
        *to++ = *from;
    *to++ = '=';
    to = write_number(to, static_cast<uint64_t>(process));
    char separator = ':';
    for (const Tree &tree : trees) {
        if (tree.number == 0)
            continue;
        *to++ = separator;
        *(to = write_number(to, tree.number)) = '+';
        to = write_number(to + 1, tree.generations);
        separator = ',';
    }
    return text;
}

// Reads the text after the equals sign, in the process with that id.
inline Trees read_trees(const char *text, int64_t process)
{
    Trees trees = {};
    size_t count = 0;
    const bool by_another = read_number(text) != static_cast<uint64_t>(process);
    for (char separator = ':'; count < trees.size() && *text == separator; separator = ',') {
        const uint64_t number = read_number(++text);
        if (*text != '+')
            break;
        const uint64_t generations = read_number(++text);
        trees[count++] = Tree::of(number, generations + (by_another ? 1 : 0));
    }
    return trees;
}

} // namespace sim
