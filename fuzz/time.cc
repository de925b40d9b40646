// The parsers of times and speeds on any texts, at any time, in any zone, against the naive ones.
#include "fuzz/fuzz.h"

// The time in numbers: until 2000 its years are those of the texts.
static void expect_broken_down(FuzzedDataProvider &input)
{
    const auto any = [&](int low, int high) { return input.ConsumeIntegralInRange(low - 1, high + 1); };
    tm t = {.tm_min = any(0, 59), .tm_hour = any(0, 23), .tm_mday = any(1, 31), .tm_mon = any(1, 12)};
    t.tm_year = input.PickValueInArray({any(1970, 1999), any(1970, 9999), INT32_MAX, INT32_MIN});
    const char *why = nullptr;
    const int64_t value = zyn_parse_tm_time(&t, &why);
    const Parsed parsed = naive_parse(text_of(t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_year));
    assert((why == nullptr || value == 0) && zyn_parse_tm_time(&t, nullptr) == value);
    assert(t.tm_year > 1999 || parsed.first == 0 || value == parsed.first);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    Script script;
    choose_zone(input);
    script.now = input.ConsumeIntegralInRange<int64_t>(1, 300'000'000'000);
    TimeTexts texts = {any_text(input, 14), any_text(input, 10), any_text(input, 24)};
    for (std::string &part : texts.parts)
        part = any_text(input, 24);
    texts.mode = input.PickValueInArray({0, 0, 1, INT32_MIN});
    script.later = script.now + (input.ConsumeBool() ? 1 : 0);
    assert(read_otherwise(script, texts) == "");
    expect_broken_down(input);
    return 0;
}
