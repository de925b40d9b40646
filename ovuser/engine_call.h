// A request to the engine about one identity, and what came of it.
#pragma once

#include <cerrno>
#include <cstdlib>

#include "ov_helper.h"
#include "ovuser/identity.h"

namespace ovuser
{

ov_request deletion();

class EngineCall
{
  public:
    // An add can set more of the clock: ov_refinement bits, by which it is passed on.
    EngineCall(const Identity &who, const ov_request &request, uint32_t passed_on = 0)
        : who_(who), request_(request), passed_on_(passed_on)
    {
    }
    ~EngineCall() { free(message_); }
    EngineCall(const EngineCall &) = delete;
    EngineCall &operator=(const EngineCall &) = delete;

    // Sends the request, once, and logs changes. Returns the engine's result.
    int32_t send();

    // Whether the clock was there already. An add then changes nothing and succeeds.
    bool was_there() const { return result_ == OV_OK && request_.operation == OV_ADD && error_ == EEXIST; }
    // The errno for which a clock that is there now is not passed on to the descendants of its process; 0 if it is.
    int pass_on_error() const { return pass_on_error_; }

    // Prints the result, once. former is the clock that was replaced.
    int print(bool several, const ov_clock *former = nullptr);

  private:
    void refine();
    void print_success(const ov_clock *former) const;

    const Identity &who_;
    ov_request request_;
    const uint32_t passed_on_;
    int32_t result_ = OV_OK;
    int error_ = 0, pass_on_error_ = 0;
    char *message_ = nullptr;
};

// Prints that a clock is not passed on, for this errno.
int report_not_passed_on(const Identity &who, int error);

} // namespace ovuser
