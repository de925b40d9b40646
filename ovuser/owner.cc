#include "ovuser/owner.h"

#include <cinttypes>
#include <cstdio>
#include <initializer_list>

#include "ovuser/clocks.h"
#include "ovuser/text.h"

namespace ovuser
{

static bool has_unseen_character(const char *text)
{
    for (; *text != '\0'; ++text)
        if (unseen_character(text) >= 0)
            return true;
    return false;
}

Owner::Owner(const ov_clock &clock) : exists(false), kind_(clock.kind), id_(clock.id)
{
    char digits[12];
    snprintf(digits, sizeof digits, "%" PRIu32, id_);
    for (const char *name : {clock.name, static_cast<const char *>(digits)}) {
        uint32_t number;
        snprintf(text, sizeof text, "%c:%s", *kind_word(kind_), name);
        exists = !has_unseen_character(name) && parse_uid(name, kind_, &number) == 0 && number == id_;
        if (exists)
            return;
    }
}

} // namespace ovuser
