#include <cerrno>

#include "engine/operations.h"

namespace ov
{

int32_t reset_clocks(const ControlFile &control, Message &message)
{
    theiov.container_id = zyn_get_container_ID();
    const int outcome = send_command(control.descriptor(), ZYNOV_IOC_RESET_ALL);
    // -1 means that there was nothing to remove, whatever errno says.
    const bool nothing_there = outcome == -1 || (outcome != 0 && errno == ENOENT);
    if (outcome != 0 && !nothing_there)
        return outcome;
    if (!message.pending())
        message.set("%s", nothing_there
                              ? "ovuser: warning: Reset Orvane completed with no entry in it.\n"
                              : "ovuser: report: All Orvane users have been reset to the system clock successfully.\n");
    return OV_OK;
}

} // namespace ov
