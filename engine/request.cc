#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/container_files.h"
#include "base/errno_guard.h"
#include "base/failures.h"
#include "engine/prepare.h"
#include "ov_helper.h"

namespace ov
{

static int32_t carry_out(int32_t operation, const PreparedRequest &prepared, const ControlFile &control, int32_t caller,
                         Message &message)
{
    switch (operation) {
    case OV_ADD:
        return add_clocks(control, prepared.targets, prepared.clock, message);
    case OV_DELETE:
        return delete_clocks(control, prepared.targets, message);
    case OV_LIST:
        return list_clocks(control, caller, message);
    case OV_RESET:
        return reset_clocks(control, message);
    default:
        return OV_OK;
    }
}

// Explains a failure, or an error number in the record, that has no message yet. errno is never cleared, because a
// command that fails need not set it: an older call's value counts.
static int32_t conclude(int32_t result, Message &message)
{
    const bool quiet = errno == 0 || errno == ENOENT || errno == ENODATA;
    if (result != OV_OK && !quiet && !message.pending()) {
        message.set(not_executed, errno);
        return result;
    }
    if (theiov.kernel_error != 0 && errno != ENODATA && !message.pending()) {
        message.set("ovuser: error: OV kernel module reported error = %d\n", theiov.kernel_error);
        return result == OV_OK ? OV_KERNEL_ERROR : result;
    }
    return result;
}

static int32_t process(const ov_request &request, const uint32_t *numbers, ov_refined *refined, Message &message)
{
    const auto caller = static_cast<int32_t>(getuid());
    PreparedRequest prepared = {};
    prepared.clock.refined = refined;
    if (const int32_t flaw =
            prepare(request, numbers, caller, prepared, message)) // validate, resolve, permit, read the time
        return flaw;

    theiov = {};
    const ControlFile control;
    if (!control.is_open()) {
        message.set(not_opened, errno);
        return OV_NO_CONTROL_FILE;
    }
    theiov.version = ZYNOV_IOV_VERSION;
    if (const int32_t refusal = refuse(prepared.refusals.once_open, message))
        return refusal;
    return conclude(carry_out(request.operation, prepared, control, caller, message), message);
}

static int32_t process_in_slot(const ov_request *request, const uint32_t *numbers, char **slot,
                               ov_refined *refined = nullptr)
{
    if (request == nullptr)
        return OV_BAD_OPERATION;
    char *dropped = nullptr; // stands in for a missing slot
    Message message(slot != nullptr ? slot : &dropped);
    const int32_t result = process(*request, numbers, refined, message);
    free(dropped);
    return result;
}

} // namespace ov

int32_t ov_process_request(const ov_request *request, char **slot)
{
    return ov::process_in_slot(request, nullptr, slot);
}

int32_t ov_process_numbers(const ov_request *request, const uint32_t *numbers, char **slot)
{
    return ov::process_in_slot(request, numbers, slot);
}

int32_t ov_process_refined(const ov_request *request, const uint32_t *numbers, ov_refined *refined, char **slot)
{
    if (refined != nullptr)
        refined->id = 0;
    const int32_t result = ov::process_in_slot(request, numbers, slot, refined);
    ov::ErrnoGuard keep;
    ov::close_left_open();
    return result;
}
