#include <unistd.h>

#include "engine/prepare.h"

int32_t ov_preview_request(const ov_request *request, int64_t *value, char **slot)
{
    using namespace ov;
    if (request == nullptr)
        return OV_BAD_OPERATION;
    Message message(slot);
    PreparedRequest prepared = {};
    if (const int32_t flaw = prepare(*request, nullptr, static_cast<int32_t>(getuid()), prepared, message))
        return flaw;
    if (const int32_t refusal = refuse(prepared.refusals.once_open, message))
        return refusal;
    if (request->operation == OV_ADD)
        *value = prepared.clock.value;
    return OV_OK;
}
