#include "simulator/identity/container.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "base/container.h"
#include "simulator/bare/small_file.h"

namespace sim
{

uint64_t read_container_id()
{
    char line[256];
    struct stat marker; // by a call that filters allow
    if (system_call(SYS_newfstatat, AT_FDCWD, ov::container_marker, &marker, 0) != 0 ||
        !read_small_file(ov::container_name, line))
        return 0;
    line[strcspn(line, "\n")] = '\0';
    return strtoull(line, nullptr, 16);
}

} // namespace sim
