#include "engine/prepare.h"

#include <algorithm>

#include "base/integer.h"
#include "identity/kinds.h"

namespace ov
{

static int32_t validate(const ov_request &request, bool by_number)
{
    // The test is signed on purpose: programs send negative operations, which do nothing, as 5 to 8 do.
    if (request.operation == 0 || request.operation > OV_LAST_OPERATION)
        return OV_BAD_OPERATION;
    if (request.id_count < 0 || request.id_count > OV_MAX_IDENTITIES)
        return OV_TOO_MANY_IDENTITIES;
    for (int i = 0; i < request.id_count; ++i) {
        if (request.id_text[i] == nullptr && !by_number)
            return OV_NO_IDENTITY_TEXT;
        if (!is_known_kind(request.id_kind[i]))
            return OV_BAD_KIND;
    }
    return OV_OK;
}

static int32_t resolve(const ov_request &request, const uint32_t *numbers, int32_t caller, Targets &targets,
                       Message &message)
{
    if (request.id_count == 0) { // the caller; here the module decides whether uid 0 may have a clock
        targets = {1, {OV_USER}, {caller}};
        return OV_OK;
    }
    targets.count = request.id_count;
    std::copy_n(request.id_kind, targets.count, targets.kinds);
    for (int i = 0; i < targets.count; ++i) {
        uint32_t number;
        if (numbers != nullptr) {
            number = numbers[i];
        } else if (parse_uid(request.id_text[i], targets.kinds[i], &number) != 0) {
            message.set("ovuser: error: incorrect/non-existent %s %s passed in\n", id_string(targets.kinds[i]),
                        request.id_text[i]);
            return OV_UNKNOWN_IDENTITY;
        }
        if (number == 0 && request.operation == OV_ADD) {
            message.set("ovuser: error: uid '0' (root user) or gid '0' (root group) is not allowed\n");
            return OV_ROOT_IDENTITY;
        }
        targets.numbers[i] = low_32(number);
    }
    return OV_OK;
}

int32_t refuse(const char *refusal, Message &message)
{
    if (refusal == nullptr)
        return OV_OK;
    message.set("%s", refusal);
    return OV_NOT_PERMITTED;
}

int32_t prepare(const ov_request &request, const uint32_t *numbers, int32_t caller, PreparedRequest &prepared,
                Message &message)
{
    if (const int32_t flaw = validate(request, numbers != nullptr))
        return flaw;
    if (const int32_t flaw = resolve(request, numbers, caller, prepared.targets, message))
        return flaw;
    prepared.refusals = permit(request.operation, prepared.targets, caller);
    if (const int32_t refusal = refuse(prepared.refusals.at_once, message))
        return refusal;
    return request.operation == OV_ADD ? read_clock_setting(request, prepared.clock, message) : OV_OK;
}

} // namespace ov
