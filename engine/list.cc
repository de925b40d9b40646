#include "engine/operations.h"

namespace ov
{

int32_t list_clocks(const ControlFile &control, int32_t caller, Message &message)
{
    const int outcome = ovuser_list_user(control.descriptor(), caller);
    if (outcome == 0)
        message.set("%s", caller == 0 ? "ovuser: All Orvane users have been listed above.\n"
                                      : "ovuser: Requested Orvane users have been listed above.\n");
    return outcome;
}

} // namespace ov
