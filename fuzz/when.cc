// The forms that people write times and spans in, against regular expressions.
#include <map>
#include <regex>

#include "fuzz/fuzz.h"
#include "ovuser/when.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    ovuser::WhenTexts texts;
    const std::string typed = any_text(input, 20), span = any_text(input, 60);
    static const std::regex time(R"(^([^]{4})-([^]{2})-([^]{2})[ T]([^]{2}):([^]{2})$)"),
        date(R"(^([^]{4})-([^]{2})-([^]{2})$)");
    assert(ovuser::engine_time(typed.c_str(), texts) == std::regex_replace(typed, time, "$2$3$4$5$1"));
    assert(ovuser::engine_date(typed.c_str(), texts) == std::regex_replace(typed, date, "$2$3$1"));

    static const std::regex whole(R"((\s*[+-]?[0-9]+[ydhm])+ *)"), part("([+-]?[0-9]+)([ydhm])");
    bool good = std::regex_match(span, whole);
    std::map<char, std::string> parts;
    for (std::sregex_iterator p(span.begin(), span.end(), part), end; p != end; ++p) {
        const int64_t expected = strtoll(p->str(1).c_str(), nullptr, 10);
        int64_t number = 0;
        good &= ovuser::read_whole_number(p->str(1).c_str(), INT32_MIN, INT32_MAX, number) && number == expected;
        good &= parts.emplace(span[p->position(2)], std::to_string(expected)).second;
    }
    ov_request request = {};
    assert(ovuser::read_span(span.c_str(), request, texts) == good);
    const char *const fields[] = {request.rel_years, request.rel_days, request.rel_hours, request.rel_minutes};
    for (size_t i = 0; good && i < 4; ++i)
        assert(parts["ydhm"[i]] == (fields[i] != nullptr ? fields[i] : ""));
    return 0;
}
