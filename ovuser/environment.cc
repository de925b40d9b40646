#include "ovuser/environment.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace ovuser
{

// Whether a name is between the commas of a list. One that ends in a star is any that begins so.
static bool is_listed(const char *name, size_t length, const char *list)
{
    for (const char *word = list;; ++word) {
        const size_t size = strcspn(word, ",");
        const bool any = size > 0 && word[size - 1] == '*';
        if (any ? length >= size - 1 && strncmp(name, word, size - 1) == 0
                : length == size && strncmp(name, word, size) == 0)
            return true;
        word += size;
        if (*word == '\0')
            return false;
    }
}

static bool stays(const char *name, size_t length, const char *preserved)
{
    return is_listed(name, length, "PATH,TERM,COLORTERM,TZ,LANG,LANGUAGE,LC_*") ||
           (preserved != nullptr && (*preserved == '\0' || is_listed(name, length, preserved))) ||
           (getenv("ZYNOV_SIM_STATE") != nullptr && is_listed(name, length, "LD_PRELOAD,ZYNOV_SIM_*"));
}

bool live_in_environment_of(const passwd &user, const char *preserved)
{
    size_t count = 0, kept = 0;
    while (environ != nullptr && environ[count] != nullptr)
        ++count;
    auto **own = static_cast<char **>(calloc(count + 1, sizeof *environ));
    if (own == nullptr)
        return false;
    for (size_t i = 0; i < count; ++i)
        if (stays(environ[i], strcspn(environ[i], "="), preserved))
            own[kept++] = environ[i];
    environ = own;
    const struct {
        const char *name, *value;
    } hers[] = {{"HOME", user.pw_dir},
                {"USER", user.pw_name},
                {"LOGNAME", user.pw_name},
                {"SHELL", *user.pw_shell != '\0' ? user.pw_shell : "/bin/sh"}};
    for (const auto &variable : hers)
        if ((preserved == nullptr || !is_listed(variable.name, strlen(variable.name), preserved)) &&
            setenv(variable.name, variable.value, 1) != 0)
            return false;
    return true;
}

} // namespace ovuser
