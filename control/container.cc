#include <sys/stat.h>

#include <cstdio>

#include "base/container_files.h"
#include "ov_helper.h"

uint64_t zyn_get_container_ID(void)
{
    struct stat marker;
    const bool inside = stat(ov::container_marker, &marker) == 0;
    // The stream stays open on purpose, as ov_helper(3) says.
    ov::left_open = inside ? fopen(ov::container_name, "r") : nullptr;
    unsigned long long container = 0;
    char line[256];
    if (ov::left_open != nullptr && fgets(line, sizeof line, ov::left_open) != nullptr)
        sscanf(line, "%llx", &container);
    return container;
}
