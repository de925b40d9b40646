// Spans as people write them, checked against regular expressions.
#include <map>
#include <regex>

#include "fuzz/fuzz.h"
#include "ovuser/message.h"
#include "ovuser/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const std::string span = any_text(input, 60);
    static const std::regex whole(R"((\s*[+-]?[0-9]+[ywdhms])+ *)"), part("([+-]?[0-9]+)([ywdhms])");
    bool good = std::regex_match(span, whole);
    std::map<char, int64_t> parts;
    for (std::sregex_iterator p(span.begin(), span.end(), part), end; p != end; ++p) {
        const int64_t expected = strtoll(p->str(1).c_str(), nullptr, 10);
        int64_t number = 0;
        good &= ovuser::read_whole_number(p->str(1).c_str(), INT32_MIN, INT32_MAX, number) && number == expected;
        good &= parts.emplace(span[static_cast<size_t>(p->position(2))], expected).second;
    }
    const bool has_days = parts.count('d') + parts.count('w') > 0;
    if (good)
        parts['d'] += 7 * parts['w'];
    good &= parts['d'] == static_cast<int32_t>(parts['d']);
    ovuser::Span read;
    assert(ovuser::read_span(span.c_str(), read) == good);
    assert(!good || (read.seconds == parts['s'] && has_days == (read.parts[1] != nullptr)));
    for (size_t i = 0; good && i < 4; ++i)
        assert((read.parts[i] != nullptr ? atoll(read.parts[i]) : 0) == parts["ydhm"[i]]);

    ovuser::Nearest nearest(span.c_str());
    nearest.consider(span.size() > 5 ? "reset" : "delete");
    nearest.consider("list");
    assert(span != "list" || nearest.found() == std::string("list"));
    return 0;
}
