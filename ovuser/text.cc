#include "ovuser/text.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ovuser
{

size_t character_length(const char *text)
{
    // The ranges of the first and the second byte, which exclude overlong forms, surrogates and numbers that are too
    // high. All others are 0x80 to 0xbf.
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

// How many columns a terminal gives to a character, where it is not one; -1 if it is invisible. The C library's table
// would depend on the locale.
static constexpr struct {
    int first, last, columns;
} widths[] = {
    {0x00, 0x1f, -1},      {0x7f, 0x9f, -1},     {0xad, 0xad, -1},     {0x300, 0x36f, 0},     {0x483, 0x489, 0},
    {0x591, 0x5bd, 0},     {0x610, 0x61a, 0},    {0x61c, 0x61c, -1},   {0x64b, 0x65f, 0},     {0xe31, 0xe31, 0},
    {0xe34, 0xe3a, 0},     {0xe47, 0xe4e, 0},    {0x1100, 0x115f, 2},  {0x180e, 0x180e, -1},  {0x1ab0, 0x1aff, 0},
    {0x1dc0, 0x1dff, 0},   {0x200b, 0x200f, -1}, {0x2028, 0x202e, -1}, {0x2060, 0x206f, -1},  {0x20d0, 0x20ff, 0},
    {0x2e80, 0x303e, 2},   {0x3041, 0x33ff, 2},  {0x3400, 0x4dbf, 2},  {0x4e00, 0xa4cf, 2},   {0xac00, 0xd7a3, 2},
    {0xf900, 0xfaff, 2},   {0xfe00, 0xfe0f, 0},  {0xfe20, 0xfe2f, 0},  {0xfe30, 0xfe6f, 2},   {0xfeff, 0xfeff, -1},
    {0xff00, 0xff60, 2},   {0xffe0, 0xffe6, 2},  {0xfff9, 0xfffb, -1}, {0x1f300, 0x1f64f, 2}, {0x1f900, 0x1f9ff, 2},
    {0x20000, 0x3fffd, 2},
};

static int columns_of(int character)
{
    for (const auto &range : widths)
        if (character <= range.last)
            return character >= range.first ? range.columns : 1;
    return 1;
}

static int decode(const char *text, size_t length)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(text);
    int character = length > 1 ? bytes[0] & (0x7f >> length) : bytes[0];
    for (size_t i = 1; i < length; ++i)
        character = character << 6 | (bytes[i] & 0x3f);
    return character;
}

int unseen_character(const char *text)
{
    const size_t length = character_length(text);
    const int character = decode(text, length);
    return (length > 0 || character == 0) && columns_of(character) < 0 ? character : -1;
}

void print_visible(FILE *stream, const char *text, int columns)
{
    while (*text != '\0') {
        const size_t length = character_length(text);
        const int character = decode(text, length);
        const int width = length > 0 ? columns_of(character) : -1;
        if (width >= 0) {
            fwrite(text, 1, length, stream);
            columns -= width;
        } else {
            columns -= fprintf(stream, length > 1 ? "\\u%04x" : "\\%03o", static_cast<unsigned>(character));
        }
        text += std::max(length, size_t{1});
    }
    if (columns > 0)
        fprintf(stream, "%*s", columns, "");
}

Quoted::Quoted(const char *plain) : text(plain)
{
    // Neither a shell nor a file of clocks treats characters beyond ASCII specially.
    const auto is_plain = [](char c) {
        return (c & 0x80) != 0 || isalnum(c) != 0 || strchr("_-.:,+@%/=", c) != nullptr;
    };
    if (*plain != '\0' && std::all_of(plain, plain + strlen(plain), is_plain))
        return;
    own_ = static_cast<char *>(malloc(4 * strlen(plain) + 3));
    if (own_ == nullptr)
        return;
    char *end = own_;
    *end++ = '\'';
    for (; *plain != '\0'; ++plain) {
        if (*plain == '\'')
            end = stpcpy(end, "'\\''");
        else
            *end++ = *plain;
    }
    *end++ = '\'';
    *end = '\0';
    text = own_;
}

Quoted::~Quoted()
{
    free(own_);
}

TimeText::TimeText(time_t instant)
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

DistanceText::DistanceText(int64_t seconds) : text("0s")
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
