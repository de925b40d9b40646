#include <unistd.h>

#include "engine/prepare.h"

int32_t ov_preview_request(const ov_request *request, int64_t *value, char **slot)
{
    using namespace ov;
    if (request == nullptr)
        return OV_BAD_OPERATION;
    Message message(slot);
    Plan plan = {};
    if (const int32_t flaw = prepare(*request, static_cast<int32_t>(getuid()), plan, message))
        return flaw;
    if (const int32_t refusal = refuse(plan.refusals.once_open, message))
        return refusal;
    if (request->operation == OV_ADD)
        *value = plan.clock.value;
    return OV_OK;
}
