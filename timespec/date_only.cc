#include <sys/time.h>

#include <cstring>

#include "base/local_time.h"
#include "base/message.h"
#include "ov_helper.h"
#include "timespec/digits.h"
#include "timespec/range.h"

int64_t parse_Xtime(const char *text, char **slot, int *code)
{
    ov::Message message(slot);
    if (text == nullptr || strnlen(text, 9) != 8) {
        message.set(OV_ILLEGAL_CLOCK "%s\n", text == nullptr ? "invalid X input" : "invalid X date format");
        *code = OV_BAD_TIME;
        return 0;
    }
    timeval now = {};
    gettimeofday(&now, nullptr);
    const tm local = ov::local_time(now.tv_sec);
    char absolute[13] = {};
    memcpy(absolute, text, 4);
    memcpy(ov::write_pair(ov::write_pair(absolute + 4, local.tm_hour), local.tm_min), text + 4, 4);
    const int64_t value = zyn_parse_time(absolute, slot);
    if (value != 0)
        return value + local.tm_sec;
    if (!message.pending())
        message.set("ovuser: error: parse virtual clock error\n");
    return 0;
}
