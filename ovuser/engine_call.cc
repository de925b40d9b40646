#include "ovuser/change.h"

#include <cstring>
#include <ctime>

#include "base/container_files.h"
#include "base/local_time.h"
#include "ovuser/clocks.h"
#include "ovuser/message.h"

namespace ovuser
{

ov_request deletion()
{
    ov_request request = {};
    request.operation = OV_DELETE;
    return request;
}

int report_not_passed_on(const Identity &who, int error)
{
    return failed("%s: its descendants keep the real time: %s", who.numbered(),
                  error == ENOTTY ? "this kernel module passes no clock on" : strerror(error));
}

int32_t EngineCall::send()
{
    who_.put_into(request_);
    // An ended process may have left a clock to its descendants.
    const bool ended =
        who_.kind == OV_PROCESS && request_.operation == OV_ADD && is_pid_alive(static_cast<int>(who_.id)) == 0;
    errno = 0;
    result_ = ended ? int32_t{OV_UNKNOWN_IDENTITY} : ov_process_numbers(&request_, &who_.id, &message_);
    error_ = errno;
    ov::close_left_open(); // saves descriptors when there are many identities
    if (result_ == OV_OK && !was_there() && request_.operation == OV_ADD)
        refine();
    if (!was_there() && result_ != OV_NO_CLOCK)
        audit(request_, result_, message_, &who_.id, passed_on_ != 0 && pass_on_error_ == 0);
    return result_;
}

int EngineCall::print(bool several, const ov_clock *former)
{
    char *const message = message_;
    if (result_ == OV_OK) {
        print_success(former);
        return pass_on_error_ == 0 ? int{done} : report_not_passed_on(who_, pass_on_error_);
    }
    if (result_ == OV_UNKNOWN_IDENTITY) // it existed a moment ago
        return failed("%s: not found any more", who_.label());
    message_ = nullptr;
    return print_result(result_, message, several ? who_.label() : nullptr, error_);
}

// Passes the clock on, and lets it rewind at this zone's midnight instead of the kernel's. A module that cannot rewind
// so is no error.
void EngineCall::refine()
{
    const uint32_t what = passed_on_ | (request_.rewind != 0 ? uint32_t{OV_REFINE_UTC_OFFSET} : 0);
    if (what == 0)
        return;
    const tm local = ov::local_time(request_.virtime);
    if (ov_refine_clock(who_.kind, who_.id, 0, static_cast<int32_t>(local.tm_gmtoff), what) != 0 && passed_on_ != 0)
        pass_on_error_ = errno;
    ov::close_left_open();
}

void EngineCall::print_success(const ov_clock *former) const
{
    const ClockText given(request_, pass_on_error_ == 0 ? passed_on_ : 0);
    if (request_.operation == OV_DELETE)
        report("%s: back on the system clock", who_.numbered());
    else if (was_there())
        report("%s already has a virtual clock; left as it is: 'ovuser set' gives it anew", who_.numbered());
    else if (former == nullptr)
        report("%s: given %s", who_.numbered(), given.text);
    else
        report("%s: set anew, %s; was %s", who_.numbered(), given.text, ClockText(*former).text);
}

} // namespace ovuser
