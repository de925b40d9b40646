// Whole requests of any caller, with any answers of the kernel, and any call failing.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <list>
#include <sstream>

#include "fuzz/fuzz.h"
#include "tests/scripted_libc.h"

// Runs a request on the kernel's answers in the rest of the input; after those, every command fails.
static Outcome run(Script &script, const ov_request &request, const std::string &rest, bool with_slot = true)
{
    FuzzedDataProvider answers(reinterpret_cast<const uint8_t *>(rest.data()), rest.size());
    script.kernel = [&](unsigned long, zynov_iov &record) {
        const bool end = answers.remaining_bytes() == 0;
        answers.ConsumeData(&record, sizeof record);
        if (answers.ConsumeBool()) { // a valid entry of this container
            record.id = answers.PickValueInArray({1000, 1001, 100, 5, 4242, 4343});
            record.container_id = script.host_name != nullptr ? 0xcafe : 0;
        }
        errno = answers.PickValueInArray({0, EPERM, ENOENT, EEXIST, EINVAL, EL2HLT, ENODATA, EOVERFLOW, EILSEQ});
        return end ? -1 : answers.ConsumeIntegralInRange(-2, 2);
    };
    const Outcome outcome = script.run(request, "", with_slot);
    assert(outcome.good);
    return outcome;
}

static void expect_what_always_holds(const Script &script, const ov_request &request, const Outcome &outcome)
{
    const auto &sent = script.sent;
    const std::string printed = outcome.out + outcome.err;
    const auto is = [&](auto... codes) { return ((outcome.result == codes) || ...); };
    const bool silent = is(801, 802, 804, 805), before = silent || is(806, 808, 809, 810, 812, 815);
    const bool adds = request.operation == OV_ADD, lists = request.operation == OV_LIST, container = script.host_name;
    const size_t most = before || is(811)                        ? 0
                        : adds || request.operation == OV_DELETE ? std::max(1, request.id_count)
                                                                 : request.operation == OV_RESET;
    assert(before || is(811, 813, 814) || (outcome.result >= -2 && outcome.result <= 2));
    assert(is(811) ? script.opened <= 1 : script.opened == !before);
    assert(adds ? sent.size() == most : sent.size() <= most || (lists && script.opened && !is(811)));
    assert(!silent || outcome.message.empty());
    assert(printed.empty() || (printed.rfind("ovuser: ", 0) == 0 && (adds || lists)));

    static const unsigned long commands[] = {0, ZYNOV_IOC_ADD_CLOCK, ZYNOV_IOC_DELETE_CLOCK, ZYNOV_IOC_GET_SLOT,
                                             ZYNOV_IOC_RESET_ALL};
    for (uint32_t i = 0; i < sent.size(); ++i) {
        const auto &[command, r] = sent[i];
        const zynov_iov unset = {171, i - (i > 0)};
        const uint64_t kind = adds ? r.flags % 16 : r.vtime; // the caller's own, or a process
        assert(command == (lists && i == 0 ? ZYNOV_IOC_HIGH_MARK : commands[request.operation]));
        assert(lists ? memcmp(&r, &unset, sizeof r) == 0
                     : r.container_id == (container ? 0xcafe : 0) || script.failing_call);
        assert(adds || lists || request.operation == OV_RESET || r.id != 0);
        assert(lists || script.uid == 0 || kind == OV_PROCESS || (kind == OV_USER && r.id == script.uid));
    }
    const std::string own[] = {get_username(OV_USER, script.uid), get_username(OV_GROUP, script.gid)};
    std::istringstream lines(script.uid != 0 ? outcome.out : "");
    for (std::string line; lists && std::getline(lines, line);) {
        const std::string who = line.substr(0, line.find(' ')), name = who.size() > 2 ? who.substr(2) : "";
        assert(name.empty() || line[1] != ':' ||
               (who[0] == 'p' ? script.processes.at(std::stoi(name)) == static_cast<int>(script.uid)
                              : name == own[who[0] == 'g']));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    Script script;
    choose_zone(input);
    script.uid = input.PickValueInArray({0, 1000, 1001});
    script.gid = input.PickValueInArray({0, 100, 5});
    script.host_name = input.PickValueInArray<const char *>({nullptr, "cafe-1\n"});
    script.open_error = input.ConsumeIntegralInRange(-9, 5) < 0 ? 0 : EACCES;
    script.failing_call = std::max(0, input.ConsumeIntegralInRange(-40, 40));
    script.no_messages = input.ConsumeIntegralInRange(0, 9) == 9;
    script.now = input.ConsumeIntegralInRange<int64_t>(1, 300'000'000'000);

    ov_request request = {};
    for (int32_t *field : {&request.operation, &request.speed, &request.time_form, &request.rel_mode, &request.rewind})
        *field = input.PickValueInArray({0, 1, 2, 3, 4, 1, -1, 9, 1001, 1002, input.ConsumeIntegral<int>()});
    request.id_count = input.ConsumeIntegralInRange(-1, 11);
    for (int i = 0; i < OV_MAX_IDENTITIES; ++i) {
        request.id_kind[i] = input.PickValueInArray({1, 1, 2, 3, 3, 0});
        request.id_text[i] = input.PickValueInArray<const char *>(
            {"alice", "1000", "bob", "100", "4242", "4343", "root", "no", nullptr});
    }
    request.virtime = input.ConsumeIntegral<int64_t>();
    std::list<std::string> texts;
    for (const char **field : {&request.abs_time, &request.x_date, &request.rel_minutes, &request.rel_hours,
                               &request.rel_days, &request.rel_years, &request.rel_origin})
        *field = texts.emplace_back(any_text(input, 14)).empty() ? nullptr : texts.back().c_str();
    const auto rest = input.ConsumeRemainingBytesAsString();

    Outcome outcome = run(script, request, rest);
    assert(outcome == run(script, request, rest));
    expect_what_always_holds(script, request, outcome);
    outcome.message.clear(); // without a slot, only this is missing
    assert(outcome == run(script, request, rest, false));
    return 0;
}
