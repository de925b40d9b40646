#include <cstdlib>

#include "ov_helper.h"

namespace ov
{

// Zero stands for what the delete operation does not read.
static int32_t delete_one_clock(int32_t kind, const char *text)
{
    ov_request request = {};
    request.operation = OV_DELETE;
    request.speed = 1;
    request.id_count = 1;
    request.id_kind[0] = kind;
    request.id_text[0] = text;
    return check_rc(ov_process_request(&request, nullptr));
}

} // namespace ov

int32_t deleteUserClock(const char *text)
{
    return ov::delete_one_clock(OV_USER, text);
}

int32_t deleteGroupClock(const char *text)
{
    return ov::delete_one_clock(OV_GROUP, text);
}

int32_t check_rc(int32_t code)
{
    // From 802 to 815. 801 is left out, and so in the last class, unlike the other bad requests: meant so.
    static constexpr int8_t classes[] = {2, 2, 2, 2, 2, 1, 3, 4, 4, 5, 5, 5, 4, 2};
    constexpr int32_t unknown = 5;
    if (code == OV_OK)
        return 0;
    return code >= OV_NO_IDENTITY_TEXT && code <= OV_ROOT_IDENTITY ? classes[code - OV_NO_IDENTITY_TEXT] : unknown;
}
