#include <algorithm>
#include <cerrno>

#include "ovuser/change.h"
#include "ovuser/clocks.h"
#include "ovuser/lock.h"
#include "ovuser/message.h"

namespace ovuser
{

static int delete_silently(const Identity &who)
{
    EngineCall removal(who, deletion());
    const int32_t result = removal.send();
    return result == OV_OK || result == OV_NO_CLOCK ? int{done} : removal.print(true);
}

// A module that cannot pass a clock on does not keep the command from running.
static int check_passed_on(const Identity &who, const EngineCall &add, uint32_t wanted, TemporaryClock &temporary)
{
    const int error = add.pass_on_error();
    temporary.lasting = error == 0 && (wanted & OV_REFINE_LASTING) != 0;
    if (error == ENOTTY)
        warn("the processes that it starts keep the real time: this kernel module passes no clock on");
    if (error == 0 || error == ENOTTY)
        return done;
    delete_silently(who);
    return report_not_passed_on(who, error);
}

static int add_unless_there(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary)
{
    const ClockRequest wanted(when, checked, nullptr);
    EngineCall first(who, wanted.request, when.passed_on()), second(who, wanted.request, when.passed_on());
    if (first.send() != OV_OK)
        return first.print(false);
    if (!first.was_there())
        return check_passed_on(who, first, when.passed_on(), temporary);
    if (who.kind != OV_PROCESS) {
        failed("%s already has a virtual clock", who.numbered());
        hint("perhaps of a run that was killed: 'ovuser list %s' shows it, 'ovuser delete %s' takes it away", who.text,
             who.text);
        return failure;
    }
    delete_silently(who);
    return second.send() == OV_OK ? check_passed_on(who, second, when.passed_on(), temporary) : second.print(false);
}

int give_temporary_clock(const Identity &who, const ClockOptions &when, int64_t checked, TemporaryClock &temporary)
{
    if (const int status = add_unless_there(who, when, checked, temporary))
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

} // namespace ovuser
