#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "simulator/launcher/launcher.h"

namespace sim
{

static constexpr char library_name[] = "libzynov_sim.so";

static char *find_library()
{
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    if (length < 0)
        fail("/proc/self/exe: %s", strerror(errno));
    // cppcheck-suppress negativeIndex // fail does not return
    program[length] = '\0';
    *strrchr(program, '/') = '\0';
    for (const char *folder : {".", OV_SIM_LIBRARY_FOLDER}) {
        char *path = realpath(text("%s/%s/%s", program, folder, library_name), nullptr);
        if (path != nullptr)
            return path;
    }
    fail("%s is neither in %s nor installed", library_name, program);
}

// Prepends a text to a list in the environment, and removes other simulators from it: under two, a clock's
// speed would count twice.
static void put_in_front(const char *variable, const char *first)
{
    char *list = text("%s", first);
    char *rest = text("%s", getenv(variable) != nullptr ? getenv(variable) : "");
    for (const char *entry; (entry = strsep(&rest, ":")) != nullptr;) {
        const char *name = strrchr(entry, '/');
        if (*entry != '\0' && strcmp(name != nullptr ? name + 1 : entry, library_name) != 0)
            list = text("%s:%s", list, entry);
    }
    if (setenv(variable, list, 1) != 0)
        fail("%s: %s", variable, strerror(errno));
}

// Whether a path has a word that the loader would replace.
static bool has_word_of_loader(const char *path)
{
    while ((path = strchr(path, '$')) != nullptr) {
        path += path[1] == '{' ? 2 : 1;
        for (const char *word : {"LIB", "ORIGIN", "PLATFORM"})
            if (strncmp(path, word, strlen(word)) == 0)
                return true;
    }
    return false;
}

void preload_library()
{
    char *library = find_library();
    if (has_word_of_loader(library))
        fail("%s: a library in a folder with $LIB, $ORIGIN or $PLATFORM in its name cannot be preloaded", library);
    if (strpbrk(library, " :") == nullptr)
        return put_in_front("LD_PRELOAD", library);
    // The loader splits a list of libraries at blanks too, but not one of folders.
    char *name = strrchr(library, '/');
    *name++ = '\0';
    if (strpbrk(library, ":;") != nullptr)
        fail("%s: a library in a folder with a colon or a semicolon cannot be preloaded", library);
    put_in_front("LD_LIBRARY_PATH", library);
    put_in_front("LD_PRELOAD", name);
}

} // namespace sim
