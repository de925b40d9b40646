#include "ov_helper.h"

int32_t check_rc(int32_t code)
{
    // From 802 to 815. 801 is left out: an operation that nobody knows goes with everything else that is unknown.
    static constexpr int8_t classes[] = {2, 2, 2, 2, 2, 1, 3, 4, 4, 5, 5, 5, 4, 2};
    constexpr int32_t unknown = 5;
    if (code == OV_OK)
        return 0;
    return code >= OV_NO_IDENTITY_TEXT && code <= OV_ROOT_IDENTITY ? classes[code - OV_NO_IDENTITY_TEXT] : unknown;
}
