// Whose a clock of the table is, in words that lead back there.
#pragma once

#include "ov_helper.h"
#include "ovuser/identities.h"

namespace ovuser
{

struct Owner {
    explicit Owner(const ov_clock &clock);
    Owner(const Owner &) = delete;
    Owner &operator=(const Owner &) = delete;

    // u:NAME or g:NAME, by number where the name has characters that cannot be seen or is another's; p:PID.
    char text[1032];
    // False where there is no such user, group or process any more, and the text is its number.
    bool exists;

    Identity identity() const
    {
        Identity identity = {text, text + 2, kind_, id_, false, false, ""};
        identity.resolve();
        return identity;
    }

  private:
    int32_t kind_;
    uint32_t id_;
};

} // namespace ovuser
