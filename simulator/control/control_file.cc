#include "simulator/control/control_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "contract/zynov.h"
#include "simulator/table/state.h"

namespace sim
{

const char *in_place_of(const char *path, int error)
{
    const bool read = error == 0 || error == ENOENT || error == EACCES || error == EROFS;
    // A path may be null, too, where a descriptor alone tells the file.
    return read && path != nullptr && strcmp(path, ZYNOV_PATH) == 0 ? getenv(state_variable) : nullptr;
}

} // namespace sim
