#include "ovuser/change.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/container.h"
#include "ovuser/clocks.h"
#include "ovuser/command.h"
#include "ovuser/trace.h"

namespace ovuser
{

// The request for a clock as it is. The text of its origin goes into a place that outlives it.
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

Wanted::Wanted(const When &when, int64_t checked, const ov_clock *present) : request(when.settled(checked))
{
    if (present == nullptr || !when.keeps_value())
        return;
    request = request_for(*present, origin_);
    if (!when.keeps_speed())
        request.speed = when.request().speed;
    if (!when.keeps_rewind())
        request.rewind = when.request().rewind;
}

ov_clock Wanted::clock_of(const Identity &who) const
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

// What came of a request to the engine.
class Outcome
{
  public:
    Outcome(const Identity &who, ov_request request) : who_(who)
    {
        who.put_into(request);
        result_ = ov_process_request(&request, &message_);
        error_ = errno;
        ov::close_left_open();                      // who has many identities has no more descriptors for it
        if (!was_there() && result_ != OV_NO_CLOCK) // of what changed nothing there is nothing to tell
            trace(request, result_, message_);
    }
    ~Outcome() { free(message_); }
    Outcome(const Outcome &) = delete;
    Outcome &operator=(const Outcome &) = delete;

    int32_t result() const { return result_; }

    // To the engine an add of a clock that is there has succeeded; only its words tell.
    bool was_there() const
    {
        return result_ == OV_OK && message_ != nullptr && strstr(message_, " already has a virtual clock\n") != nullptr;
    }

    // Shows the message, once. Returns the exit status.
    int tell(bool several)
    {
        if (was_there() && who_.kind != OV_USER) { // of whom the engine says uid, too
            report("%s already has a virtual clock", who_.label());
            return done;
        }
        char *const message = message_;
        message_ = nullptr;
        return conclude(result_, message, several ? &who_ : nullptr, error_);
    }

  private:
    const Identity &who_;
    int32_t result_;
    int error_;
    char *message_ = nullptr;
};

int add_clock(const Identity &who, const When &when, int64_t checked, bool several)
{
    return Outcome(who, Wanted(when, checked, nullptr).request).tell(several);
}

int delete_clock(const Identity &who, bool several)
{
    ov_request request = {};
    request.operation = OV_DELETE;
    return Outcome(who, request).tell(several);
}

int lend_clock(const Identity &who, const When &when, int64_t checked)
{
    const Wanted wanted(when, checked, nullptr);
    Outcome first(who, wanted.request);
    if (first.result() != OV_OK)
        return first.tell(false);
    if (!first.was_there())
        return done;
    if (who.kind != OV_PROCESS)
        return failed("%s already has a virtual clock", who.label());
    reclaim_clock(who);
    Outcome second(who, wanted.request);
    return second.result() == OV_OK ? int{done} : second.tell(false);
}

int reclaim_clock(const Identity &who)
{
    ov_request request = {};
    request.operation = OV_DELETE;
    Outcome outcome(who, request);
    return outcome.result() == OV_OK || outcome.result() == OV_NO_CLOCK ? int{done} : outcome.tell(true);
}

// Puts a clock back whose successor was refused.
static void put_back(const Identity &who, const ov_clock &former)
{
    char origin[24];
    const Outcome outcome(who, request_for(former, origin));
    if (outcome.result() == OV_OK && !outcome.was_there())
        warn("%s has its former clock again%s", who.label(), former.mode != 0 ? ", but for --offset" : "");
    else
        warn("%s has lost its clock, which was --epoch %" PRId64 " --speed %d%s", who.label(), former.value,
             former.speed, former.rewind != 0 ? " --rewind" : "");
}

// Of a value that the kernel module would refuse, before anything is done for it. Those of --offset are its to judge.
static int check_value(const ov_request &request)
{
    char *const refusal = request.rel_mode == 0 ? refusal_of(request.virtime) : nullptr;
    return refusal == nullptr ? int{done} : conclude(OV_BAD_TIME, refusal);
}

int check_clock(Identities &identities, const When &when, int64_t &checked)
{
    ov_request request = when.request();
    const int status = identities.check(request, &checked);
    return status != done ? status : check_value(when.settled(checked));
}

int replace_clock(const Identity &who, const When &when, int64_t checked, bool several, const Clocks &table)
{
    const ov_clock *present = table.find(who.kind, who.id);
    ov_clock now; // the table may have been read a while ago
    if (present != nullptr)
        present = table.look_again(*present, now) ? &now : nullptr;
    const Wanted wanted(when, checked, present);
    if (present == nullptr) {
        Outcome first(who, wanted.request);
        if (!first.was_there())
            return first.tell(several);
        if (when.keeps_value()) // of somebody else's process
            return failed("%s has a clock that you may not see: give a time", who.label());
    }
    if (const int status = check_value(wanted.request)) // one that is kept
        return status;

    ov_request removal = {};
    removal.operation = OV_DELETE;
    Outcome removed(who, removal);
    if (removed.result() != OV_OK && removed.result() != OV_NO_CLOCK)
        return removed.tell(several);
    Outcome added(who, wanted.request);
    const int status = added.tell(several);
    if (status != done && present != nullptr)
        put_back(who, *present);
    return added.was_there() ? int{not_carried_out} : status;
}

} // namespace ovuser
