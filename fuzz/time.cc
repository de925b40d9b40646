// The parsers of times and speeds on any texts, at any time, in any zone, against the naive ones.
#include "fuzz/fuzz.h"
#include "tests/scripted_libc.h"

static bool within(int value, int low, int high)
{
    return value >= low && value <= high;
}

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
    tm now;
    localtime_r(&script.now, &now);

    const std::string text = any_text(input, 14), date = any_text(input, 10), speed_text = any_text(input, 24);
    assert(with_message([&](char **slot) { return zyn_parse_time(text.c_str(), slot); }) == naive_parse(text));
    int code = 0, speed = 0;
    const Parsed dated = with_message([&](char **slot) { return parse_Xtime(date.c_str(), slot, &code); });
    const std::string clock = text_of(0, 0, now.tm_hour, now.tm_min, 0).substr(4, 4);
    Parsed expected = date.size() != 8 ? Parsed(0, illegal + "invalid X date format\n")
                                       : naive_parse(date.substr(0, 4) + clock + date.substr(4));
    expected.first += expected.first != 0 ? now.tm_sec : 0;
    assert(dated == expected && code == (date.size() == 8 ? 0 : OV_BAD_TIME));

    char *end;
    const int number = static_cast<int>(strtol(speed_text.c_str(), &end, 10));
    const int refused = *end != '\0' || !within(number, -1000, 1000) ? -1 : 0;
    assert(parse_speed(speed_text.c_str(), &speed) == refused && speed == number);

    std::string texts[5];
    int n[5]; // years, days, hours, minutes, and the origin
    for (size_t i = 0; i < 5; ++i)
        n[i] = static_cast<int>(strtol((texts[i] = any_text(input, 24)).c_str(), nullptr, 10));
    const char *origin = texts[4].empty() ? nullptr : texts[4].c_str();
    const int mode = input.PickValueInArray({0, 0, 1, INT32_MIN});
    script.later = script.now + (input.ConsumeBool() ? 1 : 0);
    const Parsed moved = with_message([&](char **slot) {
        script.clock_readings = 0;
        return parse_reltime(texts[0].c_str(), texts[1].c_str(), texts[2].c_str(), texts[3].c_str(), origin, slot,
                             mode);
    });
    const bool walkable = within(n[0], -9000, 9000) && within(n[2], -99999, 99999) && within(n[3], -99999, 99999);
    assert(!walkable || moved == naive_relative(script.now, script.later, n[0], n[1], n[2], n[3], origin, mode));
    expect_broken_down(input);
    return 0;
}
