#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "base/integer.h"
#include "engine/operations.h"
#include "identity/kinds.h"
#include "ov_helper.h"

namespace ov
{

static int32_t validate(const ov_request &request)
{
    // A signed test, meant so: negative operations pass and do nothing, as 5 to 8 do.
    if (request.operation == 0 || request.operation > OV_LAST_OPERATION)
        return OV_BAD_OPERATION;
    if (request.id_count < 0 || request.id_count > OV_MAX_IDENTITIES)
        return OV_TOO_MANY_IDENTITIES;
    for (int i = 0; i < request.id_count; ++i) {
        if (request.id_text[i] == nullptr)
            return OV_NO_IDENTITY_TEXT;
        if (!is_known_kind(request.id_kind[i]))
            return OV_BAD_KIND;
    }
    return OV_OK;
}

static int32_t resolve(const ov_request &request, int32_t caller, Identities &who, Message &message)
{
    if (request.id_count == 0) { // the caller himself, the superuser's add included: meant so
        who = {1, {OV_USER}, {caller}};
        return OV_OK;
    }
    who.count = request.id_count;
    std::copy_n(request.id_kind, who.count, who.kinds);
    for (int i = 0; i < who.count; ++i) {
        uint32_t number;
        if (parse_uid(request.id_text[i], who.kinds[i], &number) != 0) {
            message.set("ovuser: error: incorrect/non-existent %s %s passed in\n", id_string(who.kinds[i]),
                        request.id_text[i]);
            return OV_UNKNOWN_IDENTITY;
        }
        if (number == 0 && request.operation == OV_ADD) {
            message.set("ovuser: error: uid '0' (root user) or gid '0' (root group) is not allowed\n");
            return OV_ROOT_IDENTITY;
        }
        who.numbers[i] = low_32(number);
    }
    return OV_OK;
}

static bool is_own_user(const Identities &who, int32_t caller)
{
    return who.kinds[0] == OV_USER && who.numbers[0] == caller;
}

// The superuser may do anything; others may change their own clock and those of processes.
static bool may_modify(const Identities &who, int32_t caller)
{
    return caller == 0 || (who.count == 1 && // GCOVR_EXCL_BR_LINE: permit() looks at that before
                           (is_own_user(who, caller) || who.kinds[0] == OV_PROCESS));
}

static int32_t permit(const ov_request &request, const Identities &who, int32_t caller, Message &message)
{
    const bool modifies = request.operation == OV_ADD || request.operation == OV_DELETE;
    const bool refused = caller != 0 && (who.count > 1 || (modifies && !may_modify(who, caller)));
    if (!refused)
        return OV_OK;
    message.set("ovuser: error: Non-root user can not modify OV setting for others.\n");
    return OV_NOT_PERMITTED;
}

// What is asked of the caller only when the control file is open.
static int32_t permit_opened(const ov_request &request, const Identities &who, int32_t caller, Message &message)
{
    const char *refusal = nullptr;
    if (request.operation == OV_DELETE) {
        if (!may_modify(who, caller))                                          // GCOVR_EXCL_BR_LINE: a guard, since
            refusal = "ovuser: error: Only root can delete other OV users.\n"; // GCOVR_EXCL_LINE: permit() comes first
    } else if (request.operation == OV_LIST && caller != 0 && who.kinds[0] == OV_USER && !is_own_user(who, caller)) {
        refusal = "ovuser: error: Non-root user can not list other OV users.\n";
    } else if (request.operation == OV_RESET && caller != 0) {
        refusal = "ovuser: error: Only root can reset all the OV users.\n";
    }
    if (refusal == nullptr)
        return OV_OK;
    message.set("%s", refusal);
    return OV_NOT_PERMITTED;
}

// Explains a failure, or an error number in the record, that nothing has explained so far. errno is what the
// last failing call left, an old one's included: meant so.
static int32_t conclude(int32_t result, Message &message)
{
    const bool quiet = errno == 0 || errno == ENOENT || errno == ENODATA;
    if (result != OV_OK && !quiet && !message.pending()) {
        message.set("ovuser: error: an error occurred while executing this request, error = %d\n", errno);
        return result;
    }
    if (theiov.kernel_error != 0 && errno != ENODATA && !message.pending()) {
        message.set("ovuser: error: OV kernel module reported error = %d\n", theiov.kernel_error);
        return result == OV_OK ? OV_KERNEL_ERROR : result;
    }
    return result;
}

static int32_t process(const ov_request &request, Message &message)
{
    const auto caller = static_cast<int32_t>(getuid());
    if (const int32_t refusal = validate(request))
        return refusal;
    Identities who = {};
    if (const int32_t refusal = resolve(request, caller, who, message))
        return refusal;
    if (const int32_t refusal = permit(request, who, caller, message))
        return refusal;
    ClockSetting clock = {};
    if (request.operation == OV_ADD)
        if (const int32_t refusal = read_clock_setting(request, clock, message))
            return refusal;

    theiov = {};
    const ControlFile control;
    if (!control.is_open()) {
        message.set("ovuser: error: Open of /proc/zynov failed; error = %d\n", errno);
        return OV_NO_CONTROL_FILE;
    }
    theiov.version = ZYNOV_IOV_VERSION;
    if (const int32_t refusal = permit_opened(request, who, caller, message))
        return refusal;

    switch (request.operation) {
    case OV_ADD:
        return conclude(add_clocks(control, who, clock, message), message);
    case OV_DELETE:
        return conclude(delete_clocks(control, who, message), message);
    case OV_LIST:
        return conclude(list_clocks(control, caller, message), message);
    case OV_RESET:
        return conclude(reset_clocks(control, message), message);
    default:
        return conclude(OV_OK, message);
    }
}

} // namespace ov

int32_t ov_process_request(const ov_request *request, char **slot)
{
    if (request == nullptr)
        return OV_BAD_OPERATION;
    char *dropped = nullptr; // without a slot all goes as with one
    ov::Message message(slot != nullptr ? slot : &dropped);
    const int32_t result = ov::process(*request, message);
    free(dropped);
    return result;
}
