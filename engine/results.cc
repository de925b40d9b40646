#include "ov_helper.h"

int32_t check_rc(int32_t code)
{
    switch (code) {
    case OV_OK:
        return 0;
    case OV_RESERVED_807:
        return 1;
    case OV_NO_IDENTITY_TEXT:
    case OV_RESERVED_803:
    case OV_TOO_MANY_IDENTITIES:
    case OV_BAD_KIND:
    case OV_UNKNOWN_IDENTITY:
    case OV_ROOT_IDENTITY:
        return 2;
    case OV_BAD_SPEED:
        return 3;
    case OV_BAD_TIME:
    case OV_BAD_RELATIVE_TIME:
    case OV_NO_CLOCK:
        return 4;
    default: // OV_BAD_OPERATION, too
        return 5;
    }
}
