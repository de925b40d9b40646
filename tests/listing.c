/* Prints the engine's own listing. */
#include <fcntl.h>
#include <unistd.h>

#include "ov_helper.h"

int main(void)
{
    return ovuser_list_user(open("/proc/zynov", O_RDONLY), (int)getuid());
}
