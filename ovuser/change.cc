#include "ovuser/change.h"

#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ovuser/clocks.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

namespace ovuser
{

// The request that adds a clock as it is. The text of its origin goes into a buffer of the caller's.
static ov_request request_for(const ov_clock &clock, char (&origin)[24])
{
    ov_request request = {};
    request.operation = OV_ADD;
    request.speed = clock.speed;
    request.time_form = OV_ABSOLUTE_FORM;
    request.virtime = clock.value;
    request.rewind = clock.rewind;
    snprintf(origin, sizeof origin, "%" PRId64, clock.origin);
    request.rel_origin = clock.origin != 0 ? origin : nullptr;
    return request;
}

ClockRequest::ClockRequest(const ClockOptions &when, int64_t checked, const ov_clock *present)
    : request(when.settled(checked))
{
    if (present == nullptr || !when.keeps_value())
        return;
    request = request_for(*present, origin_);
    if (!when.keeps_speed())
        request.speed = when.request().speed;
    if (!when.keeps_rewind())
        request.rewind = when.request().rewind;
}

ov_clock ClockRequest::clock_of(const Identity &who) const
{
    ov_clock clock = {};
    clock.kind = who.kind;
    clock.id = who.id;
    clock.value = request.virtime;
    clock.speed = request.speed;
    clock.rewind = request.rewind;
    clock.origin = request.rel_origin != nullptr ? strtoll(request.rel_origin, nullptr, 10) : 0;
    return clock;
}

int add_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, bool *was_there)
{
    EngineCall add(who, ClockRequest(when, checked, nullptr).request, when.passed_on());
    add.send();
    if (was_there != nullptr)
        *was_there = add.was_there();
    return add.print(several);
}

int delete_clock(const Identity &who, bool several)
{
    EngineCall removal(who, deletion());
    removal.send();
    return removal.print(several);
}

// Warns that the new clock was refused after the old one was deleted.
static void warn_of_lost_clock(const Identity &who, const ov_clock &former, bool is_back)
{
    if (is_back)
        warn("%s has its former clock again%s", who.label(), former.mode != 0 ? ", but for --offset" : "");
    else
        warn("%s has lost its clock, which was --epoch %" PRId64 " --speed %d%s", who.label(), former.value,
             former.speed, former.rewind != 0 ? " --rewind" : "");
}

int check_clock(IdentityList &identities, const ClockOptions &when, int64_t &checked, bool log)
{
    if (const int status = when.check_distance())
        return status;
    ov_request request = when.request();
    return check_identities(identities, request, &checked, log);
}

static bool add_again(const Identity &who, const ov_clock &former, uint32_t passed_on)
{
    char origin[24];
    EngineCall add(who, request_for(former, origin), passed_on);
    return add.send() == OV_OK && !add.was_there();
}

// Deletes and adds, with signals blocked in between.
static int delete_and_add(const Identity &who, const ov_request &wanted, uint32_t passed_on, bool several,
                          const ov_clock *former)
{
    const uint32_t was_passed_on = former != nullptr ? passed_on_by(*former) : 0;
    EngineCall removal(who, deletion()), add(who, wanted, passed_on | was_passed_on);
    HeldSignals held;
    const int32_t result = removal.send();
    if (result != OV_OK && result != OV_NO_CLOCK)
        return removal.print(several);
    const bool fails = add.send() != OV_OK;
    const bool is_back = fails && former != nullptr && add_again(who, *former, was_passed_on);
    held.release();
    if (add.was_there())
        return failed("%s has been given another clock meanwhile, which stays", who.label());
    const int status = add.print(several, former);
    if (fails && former != nullptr)
        warn_of_lost_clock(who, *former, is_back);
    else if (fails)
        warn("%s has lost its clock, which could not be seen", who.label());
    return status;
}

// Passes a clock on that is there.
static int pass_on(const Identity &who, const ov_clock &present, uint32_t what)
{
    const int error = ov_refine_clock(who.kind, who.id, 0, 0, what) != 0 ? errno : 0;
    ov_request request = {};
    who.put_into(request);
    audit(request, error == 0 ? OV_OK : -1, strerror(error), &who.id, true);
    if (error != 0)
        return report_not_passed_on(who, error);
    report("%s: has %s", who.numbered(), ClockText(present, what).text);
    return done;
}

int replace_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, const Clocks &table)
{
    const ov_clock *known = table.find(who.kind, who.id);
    ov_clock now; // the table may be old
    const ov_clock *present = known != nullptr && table.reread(*known, now) ? &now : known;
    if (present != &now) {
        EngineCall add(who, ClockRequest(when, checked, nullptr).request, when.passed_on());
        add.send();
        if (!add.was_there())
            return add.print(several);
        if (when.keeps_value() && table.failed())
            return failed("%s has a clock that cannot be read: %s", who.label(), strerror(table.error()));
        if (when.keeps_value() && known == nullptr) // an invisible clock, or one added since
            return failed("%s has a clock that %s: give a time", who.label(),
                          getuid() == 0 ? "somebody has just given" : "you may not see");
    }
    if (when.only_passes_on())
        return pass_on(who, *present, when.passed_on());
    const ClockRequest wanted(when, checked, present);
    if (when.keeps_value() && !is_in_range(wanted.request.virtime)) {
        failed("%s: what its clock shows by now is out of range: give a time", who.label());
        return check_rc(OV_BAD_TIME);
    }
    return delete_and_add(who, wanted.request, when.passed_on(), several, present);
}

} // namespace ovuser
