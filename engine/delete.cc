#include <cerrno>

#include "engine/operations.h"
#include "identity/kinds.h"

namespace ov
{

static int32_t delete_clock(const ControlFile &control, int32_t kind, int32_t number, Message &message)
{
    if (number == 0) {
        message.set("ovuser: error: User root does not have a virtual clock\n");
        return OV_NO_CLOCK;
    }
    theiov.id = number;
    theiov.vtime = kind; // the module reads it here, and not in the flags
    theiov.container_id = zyn_get_container_ID();
    const int outcome = send_command(control.descriptor(), ZYNOV_IOC_DELETE_CLOCK);
    if (outcome == 0) {
        message.set("ovuser: report: Virtual clock for %cid %d has been deleted\n", identity_letter(kind), number);
        return OV_OK;
    }
    if (outcome == -1 && errno == EL2HLT) {
        message.set("ovuser: warning: Specified id does not have a virtual clock\n");
        return OV_NO_CLOCK;
    }
    return outcome;
}

int32_t delete_clocks(const ControlFile &control, const Targets &targets, Message &message)
{
    int32_t result = OV_OK;
    for (int i = 0; i < targets.count; ++i)
        result = delete_clock(control, targets.kinds[i], targets.numbers[i], message);
    return result;
}

} // namespace ov
