// The parsers of times and speeds on any texts, at any time and in any zone, checked against naive ones.
#include <regex>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    Script script;
    choose_zone(input);
    script.now = input.ConsumeIntegralInRange<int64_t>(1, 300'000'000'000);
    const auto any = [&](int low, int high) { return input.ConsumeIntegralInRange(low - 1, high + 1); };
    tm record = {.tm_min = any(0, 59), .tm_hour = any(0, 23), .tm_mday = any(1, 31), .tm_mon = any(1, 12)};
    record.tm_year = input.PickValueInArray({any(1970, 2037), any(1970, 9999), INT32_MAX, 0});
    TimeTexts texts = {record, any_text(input, 14), any_text(input, 10), any_text(input, 24)};
    for (std::string &part : texts.parts)
        part = any_text(input, 24);
    texts.mode = input.PickValueInArray({0, 0, 1, INT32_MIN});
    script.later = script.now + (input.ConsumeBool() ? 1 : 0);
    assert(read_otherwise(script, texts) == "");

    // A text that is read has a form, and a refusal has a message.
    static const std::regex forms(
        R"(\+?\d{4,5}-\d\d-\d\d[ Tt]\d\d:\d\d(:\d\d(\.\d{1,18})?)?([zZ]|[+-]\d\d:\d\d)?|@-?\d{1,18}|now|[^]{12}|)"
        R"([SMTWF][a-z]{2} +[A-Z][a-z]{2} +\d\d? +\d\d:\d\d:\d\d(\.\d{1,18})? +\+?\d{4,5})");
    const std::string text = input.ConsumeRemainingBytesAsString().c_str();
    const Parsed read = with_message([&](char **slot) { return ov_read_time(text.c_str(), slot); });
    assert((read.first == 0) == (read.second.rfind(illegal, 0) == 0));
    assert(read.first == 0 || std::regex_match(text, forms));
    return 0;
}
