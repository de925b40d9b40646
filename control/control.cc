#include "control/control.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/errno_guard.h"
#include "base/failures.h"
#include "base/integer.h"
#include "contract/clock.h"
#include "ov_helper.h"

// A request's kinds and speeds are sent unchanged.
static_assert(+OV_USER == ZYNOV_USER && +OV_GROUP == ZYNOV_GROUP && +OV_PROCESS == ZYNOV_PROCESS &&
              +OV_SPEED_LIMIT == ZYNOV_FASTEST);

namespace ov
{

zynov_iov theiov;

ControlFile::ControlFile() : descriptor_(open(ZYNOV_PATH, O_RDONLY)) {}

ControlFile::~ControlFile()
{
    ErrnoGuard keep;
    if (is_open())
        close(descriptor_);
}

void clear_record()
{
    theiov = {};
    theiov.version = ZYNOV_IOV_VERSION;
}

int send_command(int descriptor, unsigned long command)
{
    return ioctl(descriptor, command, &theiov);
}

} // namespace ov

int zyn_get_usr_high_mark(int fd)
{
    constexpr int unknown = 999;
    ov::clear_record();
    // A module of another version may succeed and set EILSEQ. The value may also be stale, from an older call.
    if (ov::send_command(fd, ZYNOV_IOC_HIGH_MARK) == 0 && errno != EILSEQ)
        return ov::low_32(ov::theiov.speed);
    fprintf(stderr, ov::no_answer, strerror(errno));
    return unknown;
}

int zynov_reset_vc(void)
{
    return 0;
}
