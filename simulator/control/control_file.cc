#include "simulator/control/control_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "contract/zynov.h"
#include "simulator/bare/system_call.h"
#include "simulator/table/state.h"

namespace sim
{

// Whether a path is another one than the usual of the control file: its name behind one of its folder.
static bool leads_to_control_file(int folder, const char *path)
{
    static constexpr char usual[] = ZYNOV_PATH;
    constexpr size_t up_to_name = std::string_view(usual).rfind('/') + 1;
    const char *slash = strrchr(path, '/');
    const size_t length = slash == nullptr ? 0 : static_cast<size_t>(slash + 1 - path);
    char its_folder[256] = ".", usual_folder[sizeof usual] = {};
    if (strcmp(path + length, usual + up_to_name) != 0 || length >= sizeof its_folder)
        return false;
    if (length > 0)
        memcpy(its_folder, path, length), its_folder[length] = '\0';
    memcpy(usual_folder, usual, up_to_name);
    struct stat its = {}, of_usual = {};
    return system_call(SYS_newfstatat, folder, its_folder, &its, 0) == 0 &&
           system_call(SYS_newfstatat, AT_FDCWD, usual_folder, &of_usual, 0) == 0 && its.st_dev == of_usual.st_dev &&
           its.st_ino == of_usual.st_ino;
}

const char *in_place_of(int folder, const char *path, int error)
{
    const bool read = error == 0 || error == ENOENT || error == EACCES || error == EROFS;
    if (!read || path == nullptr) // where a descriptor alone tells the file
        return nullptr;
    const bool is_control_file = strcmp(path, ZYNOV_PATH) == 0 || leads_to_control_file(folder, path);
    return is_control_file ? getenv(state_variable) : nullptr;
}

} // namespace sim
