#include "ovuser/when.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace ovuser
{

// Whether a text has a shape's length and separators; '#' stands for any character.
static bool has_shape(const char *text, const char *shape)
{
    for (; *shape != '\0'; ++text, ++shape)
        if (*text == '\0' || (*shape != '#' && *text != *shape))
            return false;
    return *text == '\0';
}

const char *engine_time(const char *typed, WhenTexts &texts)
{
    if (!has_shape(typed, "####-##-## ##:##") && !has_shape(typed, "####-##-##T##:##"))
        return typed;
    snprintf(texts.absolute, sizeof texts.absolute, "%.2s%.2s%.2s%.2s%.4s", typed + 5, typed + 8, typed + 11,
             typed + 14, typed);
    return texts.absolute;
}

const char *engine_date(const char *typed, WhenTexts &texts)
{
    if (!has_shape(typed, "####-##-##"))
        return typed;
    snprintf(texts.date, sizeof texts.date, "%.2s%.2s%.4s", typed + 5, typed + 8, typed);
    return texts.date;
}

bool read_span(const char *typed, ov_request &request, WhenTexts &texts)
{
    static constexpr char units[] = "ydhm";
    const char **fields[] = {&request.rel_years, &request.rel_days, &request.rel_hours, &request.rel_minutes};
    bool any = false;
    for (const char *text = typed; *(text += strspn(text, " ")) != '\0'; any = true) {
        char *end;
        errno = 0;
        const long number = strtol(text, &end, 10);
        const char *unit = *end != '\0' ? strchr(units, *end) : nullptr;
        if (end == text || errno != 0 || number < INT32_MIN || number > INT32_MAX || unit == nullptr)
            return false;
        const auto which = static_cast<size_t>(unit - units);
        if (*fields[which] != nullptr)
            return false;
        snprintf(texts.parts[which], sizeof texts.parts[which], "%ld", number);
        *fields[which] = texts.parts[which];
        text = end + 1;
    }
    return any;
}

bool read_whole_number(const char *typed, int64_t least, int64_t most, int64_t &number)
{
    char *end;
    errno = 0;
    number = strtoll(typed, &end, 10);
    return end != typed && *end == '\0' && errno == 0 && number >= least && number <= most;
}

} // namespace ovuser
