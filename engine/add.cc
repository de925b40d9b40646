#include <cerrno>
#include <cstdio>

#include "base/failures.h"
#include "base/integer.h"
#include "base/local_time.h"
#include "engine/operations.h"
#include "identity/kinds.h"
#include "timespec/range.h"

namespace ov
{

static int64_t relative_value(const ov_request &request, char **note)
{
    return parse_reltime(request.rel_years, request.rel_days, request.rel_hours, request.rel_minutes,
                         request.rel_origin, note, request.rel_mode);
}

static int64_t absolute_value(const ov_request &request, char **note)
{
    if (request.time_form != OV_ABSOLUTE_FORM) {
        int unused_code = -1;
        return parse_Xtime(request.x_date, note, &unused_code);
    }
    return request.abs_time != nullptr ? zyn_parse_time(request.abs_time, note) : request.virtime;
}

int32_t read_clock_setting(const ov_request &request, ClockSetting &clock, Message &message)
{
    // The text says 1000, but 1001 is valid on purpose: only it makes a clock that is shown as FROZEN.
    if (request.speed < -OV_SPEED_LIMIT || request.speed > OV_SPEED_STOPPED) {
        message.set("ovuser: error: wrong parameters for speed: %d, it must be an integer and belongs to  "
                    "[-1000, 1000].\n",
                    request.speed);
        return OV_BAD_SPEED;
    }

    const bool relative = request.time_form != OV_ABSOLUTE_FORM && request.x_date == nullptr;
    char *note = nullptr;
    const int64_t value = relative ? relative_value(request, &note) : absolute_value(request, &note);
    if (value == 0) {
        if (note != nullptr) // only failures leave one
            message.take(note);
        else
            message.set("ovuser: error: parse %s clock error\n", relative ? "relative" : "virtual");
        return relative ? OV_BAD_RELATIVE_TIME : OV_BAD_TIME;
    }

    // Every form sends the origin; only the relative one sends the relative mode.
    clock = {value, relative ? request.rel_mode : 0, request.rewind, request.rel_origin, request.speed, clock.refined};
    return OV_OK;
}

static uint64_t clock_flags(int32_t kind, const ClockSetting &clock)
{
    return static_cast<uint64_t>(kind) | static_cast<uint64_t>(clock.rel_mode) << ZYNOV_MODE_SHIFT |
           static_cast<uint64_t>(clock.rewind) << ZYNOV_REWIND_SHIFT;
}

static void report_added(int32_t kind, int32_t number, const ClockSetting &clock, Message &message)
{
    message.set("ovuser: %cid %d has been added with a %s virtual clock: %s%s", identity_letter(kind), number,
                clock_speed_string(clock.speed), time_text(theiov.vtime),
                clock.rewind != 0 ? "        The date will rewind at midnight.\n" : "");
}

// The record stays as the add left it.
static int32_t refine_added(const ControlFile &control, int32_t kind, int32_t number, ov_refined &refined,
                            Message &message)
{
    refined.id = static_cast<uint32_t>(number);
    if (refined.what == 0)
        return OV_OK;
    const zynov_iov added = theiov;
    const int32_t outcome = refine(control, added.container_id, kind, number, refined);
    theiov = added;
    if (outcome != 0)
        message.set(not_executed, errno);
    return outcome;
}

static int32_t add_clock(const ControlFile &control, int32_t kind, int32_t number, const ClockSetting &clock,
                         Message &message)
{
    // The other fields keep what the module left in them for the identity before, on purpose: it may read them.
    theiov.id = number;
    theiov.vtime = clock.value;
    theiov.flags = clock_flags(kind, clock);
    theiov.speed = clock.speed;
    theiov.origin = read_decimal(clock.origin);
    theiov.container_id = zyn_get_container_ID();
    const int outcome = send_command(control.descriptor(), ZYNOV_IOC_ADD_CLOCK);
    if (outcome == 0 && clock.refined != nullptr)
        return refine_added(control, kind, number, *clock.refined, message);
    if (outcome == 0) {
        report_added(kind, number, clock, message);
        return OV_OK;
    }
    // This succeeds, and says "uid" for every kind, because scripts depend on both; EEXIST stays in errno for programs.
    if (outcome == -1 && errno == EEXIST) {
        message.set("ovuser: uid %d already has a virtual clock\n", number);
        return OV_OK;
    }
    return outcome;
}

// Prints the pending message, so that the next identity starts with an empty slot.
static void print_pending(int32_t result, Message &message)
{
    if (!message.pending())
        return;
    if (result == OV_OK)
        printf("%s", message.text());
    else
        fputs(message.text(), stderr);
    message.take(nullptr);
}

int32_t add_clocks(const ControlFile &control, const Targets &targets, const ClockSetting &clock, Message &message)
{
    int32_t result = OV_OK;
    for (int i = 0; i < targets.count; ++i) {
        result = add_clock(control, targets.kinds[i], targets.numbers[i], clock, message);
        if (i + 1 < targets.count)
            print_pending(result, message);
    }
    const char *const flaw = errno == EINVAL ? clock_too_early : errno == EOVERFLOW ? clock_too_late : nullptr;
    if (result != OV_OK && flaw != nullptr && !message.pending())
        message.set("%s%s\n", flaw, time_text(clock.value));
    return result;
}

} // namespace ov
