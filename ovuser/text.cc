#include "ovuser/text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace ovuser
{

size_t character_length(const char *text)
{
    // The first byte's range, and that of the second, by which overlong forms, surrogates and what is beyond the last
    // character are told; the rest are 0x80 to 0xbf.
    static constexpr struct {
        unsigned char first, last, second_first, second_last;
        size_t length;
    } forms[] = {
        {0x01, 0x7f, 0, 0, 1},       {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
        {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
        {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
    };
    const auto *bytes = reinterpret_cast<const unsigned char *>(text);
    for (const auto &form : forms) {
        if (bytes[0] < form.first || bytes[0] > form.last)
            continue;
        if (form.length > 1 && (bytes[1] < form.second_first || bytes[1] > form.second_last))
            return 0;
        for (size_t i = 2; i < form.length; ++i)
            if ((bytes[i] & 0xc0) != 0x80)
                return 0;
        return form.length;
    }
    return 0;
}

int control_character(const char *text)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(text);
    if (bytes[0] == 0xc2) // the only one whose second byte is the character's number
        return bytes[1] >= 0x80 && bytes[1] < 0xa0 ? bytes[1] : -1;
    return bytes[0] < 0x20 || bytes[0] == 0x7f ? bytes[0] : -1;
}

// How many bytes at the beginning of a text may be written as they are.
static size_t plain_length(const char *text)
{
    size_t length = 0;
    while (control_character(text + length) < 0) { // as the end of the text is one
        const size_t next = character_length(text + length);
        if (next == 0)
            break;
        length += next;
    }
    return length;
}

int print_visible(FILE *stream, const char *text, int width)
{
    int written = 0;
    for (;;) {
        const size_t plain = plain_length(text);
        written += static_cast<int>(fwrite(text, 1, plain, stream));
        text += plain;
        if (*text == '\0')
            return written + (width > written ? fprintf(stream, "%*s", width - written, "") : 0);
        for (size_t bytes = std::max(character_length(text), size_t{1}); bytes > 0; --bytes)
            written += fprintf(stream, "\\%03o", static_cast<unsigned>(static_cast<unsigned char>(*text++)));
    }
}

Timestamp::Timestamp(time_t instant)
{
    tm time;
    snprintf(text, sizeof text, "@%" PRId64, int64_t{instant});
    if (localtime_r(&instant, &time) == nullptr)
        return;
    if (time.tm_gmtoff % 60 != 0 || time.tm_gmtoff <= -86400 || time.tm_gmtoff >= 86400)
        gmtime_r(&instant, &time);
    if (time.tm_year < 1000 - 1900 || time.tm_year > 9999 - 1900)
        return;
    has_date = true;
    const auto minutes = static_cast<int>(time.tm_gmtoff / 60);
    const size_t length = strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &time);
    snprintf(text + length, sizeof text - length, "%c%02d:%02d", minutes < 0 ? '-' : '+', abs(minutes) / 60 % 24,
             abs(minutes) % 60);
}

Distance::Distance(int64_t seconds) : text("0s")
{
    static constexpr struct {
        char name;
        uint64_t seconds;
    } units[] = {{'d', 86400}, {'h', 3600}, {'m', 60}, {'s', 1}};
    uint64_t rest = seconds < 0 ? -static_cast<uint64_t>(seconds) : static_cast<uint64_t>(seconds);
    if (rest + 30 >= 3600)
        rest = (rest + 30) / 60 * 60;
    size_t length = 0;
    for (const auto &unit : units) {
        if (const uint64_t count = rest / unit.seconds; count != 0)
            length += static_cast<size_t>(snprintf(text + length, sizeof text - length, "%s%" PRIu64 "%c",
                                                   length > 0 ? " " : "", count, unit.name));
        rest %= unit.seconds;
    }
}

} // namespace ovuser
