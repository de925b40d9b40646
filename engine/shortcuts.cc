#include "ov_helper.h"

namespace ov
{

// A delete does not read the fields that are left zero.
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
