#include "engine/permit.h"

namespace ov
{

// The superuser may do anything. Others name one identity at most, whatever they ask for. They add and delete their
// own clock and those of processes, whoever owns them; they list without naming another user, and never reset. Which
// rows a listing shows them is said in control/visibility.h.
Refusals permit(int32_t operation, const Identities &who, int32_t caller)
{
    static constexpr char for_others[] = "ovuser: error: Non-root user can not modify OV setting for others.\n";
    if (caller == 0)
        return {};
    if (who.count > 1)
        return {.at_once = for_others};

    const bool user = who.kinds[0] == OV_USER, own = user && who.numbers[0] == caller;
    const bool changeable = own || who.kinds[0] == OV_PROCESS;
    if (operation == OV_ADD && !changeable)
        return {.at_once = for_others};
    // The second text is never heard: a lock behind the lock, for whoever loosens the first.
    if (operation == OV_DELETE && !changeable)
        return {.at_once = for_others, .once_open = "ovuser: error: Only root can delete other OV users.\n"};
    if (operation == OV_LIST && user && !own)
        return {.once_open = "ovuser: error: Non-root user can not list other OV users.\n"};
    if (operation == OV_RESET)
        return {.once_open = "ovuser: error: Only root can reset all the OV users.\n"};
    return {};
}

} // namespace ov
