#include "ovuser/change.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/container.h"
#include "ovuser/audit.h"
#include "ovuser/clocks.h"
#include "ovuser/hints.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

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

ClockText::ClockText(int64_t value, int32_t speed, int32_t rewind)
{
    snprintf(text, sizeof text, "%s, %s%s", TimeText(value).text, clock_speed_string(speed),
             rewind != 0 ? ", rewinding at midnight" : "");
}

// What came of a request to the engine.
class Outcome
{
  public:
    Outcome(const Identity &who, const ov_request &request) : who_(who), request_(request)
    {
        who.put_into(request_);
        result_ = ov_process_request(&request_, &message_);
        error_ = errno;
        ov::close_left_open(); // who has many identities has no more descriptors for it
        was_there_ =
            result_ == OV_OK && message_ != nullptr && strstr(message_, " already has a virtual clock\n") != nullptr;
        if (!was_there_ && result_ != OV_NO_CLOCK) // of what changed nothing there is nothing to tell
            audit(request_, result_, message_);
    }
    ~Outcome() { free(message_); }
    Outcome(const Outcome &) = delete;
    Outcome &operator=(const Outcome &) = delete;

    int32_t result() const { return result_; }

    // To the engine an add of a clock that is there has succeeded; only its words tell.
    bool was_there() const { return was_there_; }
    bool has_added() const { return result_ == OV_OK && !was_there_; }

    // Says what became of it, once; former is the clock that it took the place of. Returns the exit status.
    int tell(bool several, const ov_clock *former = nullptr)
    {
        char *const message = message_;
        if (result_ == OV_OK) {
            tell_success(former);
            return done;
        }
        if (result_ == OV_UNKNOWN_IDENTITY) // the number that was handed on, which was there a moment ago
            return failed("%s: not found any more", who_.label());
        message_ = nullptr;
        return print_result(result_, message, several ? who_.label() : nullptr, error_);
    }

  private:
    void tell_success(const ov_clock *former) const
    {
        const ClockText given(request_);
        if (request_.operation == OV_DELETE)
            report("%s: back on the system clock", who_.numbered());
        else if (was_there_)
            report("%s already has a virtual clock; left as it is: 'ovuser set' gives it anew", who_.numbered());
        else if (former == nullptr)
            report("%s: given %s", who_.numbered(), given.text);
        else
            report("%s: set anew, %s; was %s", who_.numbered(), given.text, ClockText(*former).text);
    }

    const Identity &who_;
    ov_request request_;
    int32_t result_;
    int error_;
    bool was_there_;
    char *message_ = nullptr;
};

int add_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, bool *was_there)
{
    Outcome outcome(who, ClockRequest(when, checked, nullptr).request);
    if (was_there != nullptr)
        *was_there = outcome.was_there();
    return outcome.tell(several);
}

int delete_clock(const Identity &who, bool several)
{
    ov_request request = {};
    request.operation = OV_DELETE;
    return Outcome(who, request).tell(several);
}

static int delete_silently(const Identity &who)
{
    ov_request request = {};
    request.operation = OV_DELETE;
    Outcome outcome(who, request);
    return outcome.result() == OV_OK || outcome.result() == OV_NO_CLOCK ? int{done} : outcome.tell(true);
}

static int add_unless_there(const Identity &who, const ClockOptions &when, int64_t checked)
{
    const ClockRequest wanted(when, checked, nullptr);
    Outcome first(who, wanted.request);
    if (first.result() != OV_OK)
        return first.tell(false);
    if (!first.was_there())
        return done;
    if (who.kind != OV_PROCESS) {
        failed("%s already has a virtual clock", who.numbered());
        hint("perhaps of a run that was killed: 'ovuser list %s' shows it, 'ovuser delete %s' takes it away", who.text,
             who.text);
        return failure;
    }
    delete_silently(who);
    Outcome second(who, wanted.request);
    return second.result() == OV_OK ? int{done} : second.tell(false);
}

int give_temporary_clock(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary)
{
    if (const int status = add_unless_there(who, when, checked))
        return status;
    const Clocks table;
    if (const ov_clock *given = table.find(who.kind, who.id)) {
        temporary.given = *given;
        temporary.since = real_time();
        temporary.known = true;
    }
    return done;
}

// Whether a clock is the one that was lent, by what it shows: to the second, at its rate, and somewhere in the day
// where its date rewinds.
static bool is_still(const ov_clock &clock, const TemporaryClock &temporary)
{
    const ov_clock &given = temporary.given;
    if (clock.speed != given.speed || clock.rewind != given.rewind || clock.origin != given.origin)
        return false;
    constexpr int64_t day = 90000; // the longest one of the year
    const int64_t rate = is_frozen(given) ? 0 : std::max<int64_t>(given.speed, 1);
    const int64_t slowness = given.speed < -1 ? -int64_t{given.speed} : 1;
    const int64_t passed = (real_time() - temporary.since) * rate / slowness;
    const int64_t slack = given.rewind != 0 ? day : 2 * rate;
    const int64_t expected = given.value + (given.rewind != 0 ? 0 : passed);
    return clock.value >= expected - slack && clock.value <= expected + slack;
}

int remove_temporary_clock(const Identity &who, const TemporaryClock &temporary)
{
    Lock lock;
    int status = lock.take();
    if (status == done) {
        const Clocks table;
        const ov_clock *present = table.find(who.kind, who.id);
        if (present != nullptr && temporary.known && !is_still(*present, temporary)) {
            warn("%s has been given another clock meanwhile, which stays", who.numbered());
            return done;
        }
        status = delete_silently(who);
    }
    if (status == done)
        return done;
    if (who.kind == OV_PROCESS)
        hint("its clock may be left, which only 'ovuser reset' takes away");
    else
        hint("its clock is left: 'ovuser delete %s' takes it away", who.text);
    return failure;
}

// A clock that was taken away, whose successor was refused.
static void warn_of_lost_clock(const Identity &who, const ov_clock &former, bool is_back)
{
    if (is_back)
        warn("%s has its former clock again%s", who.label(), former.mode != 0 ? ", but for --offset" : "");
    else
        warn("%s has lost its clock, which was --epoch %" PRId64 " --speed %d%s", who.label(), former.value,
             former.speed, former.rewind != 0 ? " --rewind" : "");
}

int check_clock(IdentityList &identities, const ClockOptions &when, int64_t &checked)
{
    if (const int status = when.check_distance())
        return status;
    ov_request request = when.request();
    return check_identities(identities, request, &checked);
}

// Deletes and adds. No signal may leave it at the first.
static int delete_and_add(const Identity &who, const ov_request &wanted, bool several, const ov_clock *former)
{
    ov_request removal = {}, return_of_former = {};
    char origin[24];
    removal.operation = OV_DELETE;
    if (former != nullptr)
        return_of_former = request_for(*former, origin);

    HeldSignals held;
    Outcome removed(who, removal);
    if (removed.result() != OV_OK && removed.result() != OV_NO_CLOCK)
        return removed.tell(several);
    Outcome added(who, wanted);
    const bool fails = added.result() != OV_OK;
    const bool is_back = fails && former != nullptr && Outcome(who, return_of_former).has_added();
    held.release();
    if (added.was_there())
        return failed("%s has been given another clock meanwhile, which stays", who.label());
    const int status = added.tell(several, former);
    if (fails && former != nullptr)
        warn_of_lost_clock(who, *former, is_back);
    else if (fails)
        warn("%s has lost its clock, which could not be seen", who.label());
    return status;
}

int replace_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, const Clocks &table)
{
    const ov_clock *known = table.find(who.kind, who.id);
    ov_clock now; // the table may have been read a while ago
    const ov_clock *present = known != nullptr && table.reread(*known, now) ? &now : known;
    if (present != &now) {
        Outcome first(who, ClockRequest(when, checked, nullptr).request);
        if (!first.was_there())
            return first.tell(several);
        if (when.keeps_value() && known == nullptr) // of somebody else's process, or come after the table was read
            return failed("%s has a clock that %s: give a time", who.label(),
                          getuid() == 0 ? "somebody has just given" : "you may not see");
    }
    const ClockRequest wanted(when, checked, present);
    if (when.keeps_value() && !is_in_range(wanted.request.virtime)) {
        failed("%s: what its clock shows by now is out of range: give a time", who.label());
        return check_rc(OV_BAD_TIME);
    }

    return delete_and_add(who, wanted.request, several, present);
}

} // namespace ovuser
