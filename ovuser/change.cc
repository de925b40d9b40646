#include "ovuser/change.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/container_files.h"
#include "base/local_time.h"
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

ClockText::ClockText(int64_t value, int32_t speed, int32_t rewind)
{
    snprintf(text, sizeof text, "%s, %s%s", TimeText(value).text, clock_speed_string(speed),
             rewind != 0 ? ", rewinding at midnight" : "");
}

// A request to the engine about one identity, and what came of it.
class EngineCall
{
  public:
    EngineCall(const Identity &who, const ov_request &request) : who_(who), request_(request) {}
    ~EngineCall() { free(message_); }
    EngineCall(const EngineCall &) = delete;
    EngineCall &operator=(const EngineCall &) = delete;

    // Sends the request, once, and logs changes. Returns the engine's result.
    int32_t send()
    {
        who_.put_into(request_);
        const bool ended = who_.kind == OV_PROCESS && is_pid_alive(static_cast<int>(who_.id)) == 0;
        errno = 0;
        result_ = ended ? int32_t{OV_UNKNOWN_IDENTITY} : ov_process_numbers(&request_, &who_.id, &message_);
        error_ = errno;
        ov::close_left_open(); // saves descriptors when there are many identities
        if (!was_there() && result_ != OV_NO_CLOCK)
            audit(request_, result_, message_, &who_.id);
        if (result_ == OV_OK && !was_there() && request_.operation == OV_ADD && request_.rewind != 0)
            send_zone();
        return result_;
    }

    // Whether the clock was there already. An add then changes nothing and succeeds.
    bool was_there() const { return result_ == OV_OK && request_.operation == OV_ADD && error_ == EEXIST; }

    // Prints the result, once. former is the clock that was replaced.
    int print(bool several, const ov_clock *former = nullptr)
    {
        char *const message = message_;
        if (result_ == OV_OK) {
            print_success(former);
            return done;
        }
        if (result_ == OV_UNKNOWN_IDENTITY) // it existed a moment ago
            return failed("%s: not found any more", who_.label());
        message_ = nullptr;
        return print_result(result_, message, several ? who_.label() : nullptr, error_);
    }

  private:
    // Has the clock rewind at this zone's midnight, not at the kernel's. A module that cannot be told is left alone.
    void send_zone() const
    {
        const tm local = ov::local_time(request_.virtime);
        ov_refine_clock(who_.kind, who_.id, 0, static_cast<int32_t>(local.tm_gmtoff), OV_REFINE_UTC_OFFSET);
        ov::close_left_open();
    }

    void print_success(const ov_clock *former) const
    {
        const ClockText given(request_);
        if (request_.operation == OV_DELETE)
            report("%s: back on the system clock", who_.numbered());
        else if (was_there())
            report("%s already has a virtual clock; left as it is: 'ovuser set' gives it anew", who_.numbered());
        else if (former == nullptr)
            report("%s: given %s", who_.numbered(), given.text);
        else
            report("%s: set anew, %s; was %s", who_.numbered(), given.text, ClockText(*former).text);
    }

    const Identity &who_;
    ov_request request_;
    int32_t result_ = OV_OK;
    int error_ = 0;
    char *message_ = nullptr;
};

int add_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, bool *was_there)
{
    EngineCall add(who, ClockRequest(when, checked, nullptr).request);
    add.send();
    if (was_there != nullptr)
        *was_there = add.was_there();
    return add.print(several);
}

static ov_request deletion()
{
    ov_request request = {};
    request.operation = OV_DELETE;
    return request;
}

int delete_clock(const Identity &who, bool several)
{
    EngineCall removal(who, deletion());
    removal.send();
    return removal.print(several);
}

static int delete_silently(const Identity &who)
{
    EngineCall removal(who, deletion());
    const int32_t result = removal.send();
    return result == OV_OK || result == OV_NO_CLOCK ? int{done} : removal.print(true);
}

static int add_unless_there(const Identity &who, const ClockOptions &when, int64_t checked)
{
    const ClockRequest wanted(when, checked, nullptr);
    EngineCall first(who, wanted.request), second(who, wanted.request);
    if (first.send() != OV_OK)
        return first.print(false);
    if (!first.was_there())
        return done;
    if (who.kind != OV_PROCESS) {
        failed("%s already has a virtual clock", who.numbered());
        hint("perhaps of a run that was killed: 'ovuser list %s' shows it, 'ovuser delete %s' takes it away", who.text,
             who.text);
        return failure;
    }
    delete_silently(who);
    return second.send() == OV_OK ? int{done} : second.print(false);
}

int give_temporary_clock(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary)
{
    if (const int status = add_unless_there(who, when, checked))
        return status;
    Clocks table;
    table.read();
    if (const ov_clock *given = table.find(who.kind, who.id)) {
        temporary.given = *given;
        temporary.since = real_time();
        temporary.known = true;
    }
    return done;
}

// Whether a clock is still the one that was given: it shows what that would show by now, to the second, or to the day
// when it rewinds.
static bool is_still(const ov_clock &clock, const TemporaryClock &temporary)
{
    const ov_clock &given = temporary.given;
    if (clock.speed != given.speed || clock.rewind != given.rewind || clock.origin != given.origin)
        return false;
    constexpr int64_t day = 90000; // the longest day of the year has 25 hours
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
        Clocks table;
        table.read();
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

static bool add_again(const Identity &who, const ov_clock &former)
{
    char origin[24];
    EngineCall add(who, request_for(former, origin));
    return add.send() == OV_OK && !add.was_there();
}

// Deletes and adds, with signals blocked in between.
static int delete_and_add(const Identity &who, const ov_request &wanted, bool several, const ov_clock *former)
{
    EngineCall removal(who, deletion()), add(who, wanted);
    HeldSignals held;
    const int32_t result = removal.send();
    if (result != OV_OK && result != OV_NO_CLOCK)
        return removal.print(several);
    const bool fails = add.send() != OV_OK;
    const bool is_back = fails && former != nullptr && add_again(who, *former);
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

int replace_clock(const Identity &who, const ClockOptions &when, int64_t checked, bool several, const Clocks &table)
{
    const ov_clock *known = table.find(who.kind, who.id);
    ov_clock now; // the table may be old
    const ov_clock *present = known != nullptr && table.reread(*known, now) ? &now : known;
    if (present != &now) {
        EngineCall add(who, ClockRequest(when, checked, nullptr).request);
        add.send();
        if (!add.was_there())
            return add.print(several);
        if (when.keeps_value() && table.failed())
            return failed("%s has a clock that cannot be read: %s", who.label(), strerror(table.error()));
        if (when.keeps_value() && known == nullptr) // an invisible clock, or one added since
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
