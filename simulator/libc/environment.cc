#include "simulator/libc/environment.h"

#include <cstring>

#include "simulator/process/identity.h"
#include "simulator/process/own_clock.h"
#include "simulator/process/trees.h"
#include "simulator/raw/memory.h"
#include "simulator/table/state.h"

namespace sim
{

static bool is_entry(const char *entry, const char *variable)
{
    const size_t length = strlen(variable);
    return strncmp(entry, variable, length) == 0 && entry[length] == '=';
}

Environment::Environment(char *const *given) : given_(given)
{
    before_child();
    const int64_t process = own_identity().process;
    char *first = nullptr;
    if (process == 0 || read_given(first, const_cast<char **>(given)) != 0)
        return;
    const char *trees = nullptr;
    bool is_simulated = false; // or the program is lost anyway
    size_t count = 0;
    for (; given[count] != nullptr; ++count)
        if (is_entry(given[count], trees_variable))
            trees = given[count];
        else
            is_simulated |= is_entry(given[count], state_variable);
    text_ = tree_text(process);
    const bool has_any = strchr(text_.data(), ':') != nullptr;
    const bool is_right = trees == nullptr ? !has_any
                          : has_any        ? strcmp(trees, text_.data()) == 0
                                           : strchr(trees, ':') == nullptr;
    if (is_simulated && !is_right)
        room_ = count + 2;
}

char *const *Environment::copy(char **room)
{
    char **to = room;
    for (char *const *from = given_; *from != nullptr; ++from)
        if (!is_entry(*from, trees_variable))
            *to++ = *from;
    *to++ = text_.data();
    *to = nullptr;
    return room;
}

} // namespace sim
