#include "engine/permit.h"

namespace ov
{

// The superuser may do anything. Others may name one identity, add and delete their own clock and that of any process,
// and list without naming another user; they may not reset. control/visibility.h decides which rows they see.
Refusals permit(int32_t operation, const Targets &targets, int32_t caller)
{
    static constexpr char for_others[] = "ovuser: error: Non-root user can not modify OV setting for others.\n";
    if (caller == 0)
        return {};
    if (targets.count > 1)
        return {.at_once = for_others};

    const bool user = targets.kinds[0] == OV_USER, own = user && targets.numbers[0] == caller;
    const bool changeable = own || targets.kinds[0] == OV_PROCESS;
    if (operation == OV_ADD && !changeable)
        return {.at_once = for_others};
    // once_open refuses nothing more here; it is there in case at_once is removed one day.
    if (operation == OV_DELETE && !changeable)
        return {.at_once = for_others, .once_open = "ovuser: error: Only root can delete other OV users.\n"};
    if (operation == OV_LIST && user && !own)
        return {.once_open = "ovuser: error: Non-root user can not list other OV users.\n"};
    if (operation == OV_RESET)
        return {.once_open = "ovuser: error: Only root can reset all the OV users.\n"};
    return {};
}

} // namespace ov
