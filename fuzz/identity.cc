// parse_uid on any text, checked against the databases, and get_username back from the number.
#include "fuzz/fuzz.h"
#include "tests/scripted_libc.h"

// The number that a text stands for; -1 for none.
static int64_t look_up(const Script &script, const std::string &text, int kind)
{
    char *end;
    const auto number = static_cast<uint32_t>(strtol(text.c_str(), &end, 10));
    bool known = kind == OV_PROCESS && number <= INT32_MAX && script.processes.count(static_cast<int>(number)) != 0;
    if (kind == OV_USER || kind == OV_GROUP) {
        for (const auto &[name, id] : kind == OV_USER ? script.users : script.groups) {
            if (name == text)
                return id;
            known |= id == number;
        }
    }
    return known && *end == '\0' ? int64_t{number} : -1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    Script script;
    const int kind = input.ConsumeIntegralInRange(0, 4);
    const std::string text = any_text(input, 30), name = any_text(input, 1100);
    const long id = input.ConsumeBool() ? strtol(text.c_str(), nullptr, 10) : input.ConsumeIntegral<uint32_t>();
    script.users[name] = script.groups[name] = static_cast<uint32_t>(id);
    script.processes[static_cast<int>(id)] = 0;

    uint32_t number = 0xdead;
    const int64_t expected = look_up(script, text, kind);
    assert(parse_uid(text.c_str(), kind, &number) == (expected >= 0 ? 0 : -1));
    assert(number == (expected >= 0 ? expected : 0xdead));
    const std::string shown = get_username(kind, static_cast<uint32_t>(id));
    const bool named = kind == OV_USER || kind == OV_GROUP; // cut to the buffer
    assert(named ? look_up(script, shown, kind) == static_cast<uint32_t>(id) || shown.size() == 1023
                 : shown == std::to_string(static_cast<int>(id)));
    return 0;
}
