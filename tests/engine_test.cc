// The engine on scripted kernel answers: its results and messages, and the bytes that reach the kernel.
#include "tests/engine.h"

#include <iostream>

#include "control/control.h"

static const std::string long_name(70000, 'x'), edge(964, 'x'), unknown = "error: incorrect/non-existent process id ";
static const std::string bad_speed = ", it must be an integer and belongs to  [-1000, 1000].";
static const std::string bad = "error: Illegal virtual clock, invalid ";
static const std::string outside = "error: Illegal virtual clock, must not be ",
                         given = "\nyou specified " + christmas + "\n";
static const std::string error = "error: an error occurred while executing this request, error = ";
static const std::string reported = "error: OV kernel module reported error = 5", later = "something later";
static const std::string nothing = "warning: Reset Orvane completed with no entry in it.",
                         deleted = " has been deleted";
static const std::string mismatch = "error: Orvane kernel module not installed properly or version mismatch(Invalid or "
                                    "incomplete multibyte or wide character).";
static const ov_request stopped = {.speed = 1001, .time_form = 1, .virtime = 1};
static const struct {
    int operation;
    std::string identities;
    uid_t uid;
    Answers kernel; // one for each command that is sent
    int result;
    std::string message = "";
    ov_request fields = usual;
    int kernel_error = 0;
    std::string pending = "", err = "";
} cases[] = {
    {OV_DELETE, "?:", 0, {}, 802},
    {OV_DELETE, "?:x u:", 0, {}, 805},
    {OV_ADD, "", 0, {}, 804, "", {.id_count = -1}},
    {OV_ADD, "p:" + long_name, 0, {}, 806, unknown + long_name + " passed in"},
    {OV_ADD, "p:" + edge, 0, {}, 806, unknown + edge + " passed in"},
    {OV_ADD, "u:bob g:0 u:?", 1000, {}, 815, no_zero},
    {OV_ADD, "u:1001", 1000, {}, 811, not_for_others, {.speed = 1002}},
    {OV_ADD, "", 0, {}, 808, "error: wrong parameters for speed: 1002" + bad_speed, {.speed = 1002}},
    {OV_ADD, "", 0, {}, 808, "error: wrong parameters for speed: -1001" + bad_speed, {.speed = -1001}},
    {OV_ADD, "", 0, {}, 809, "error: parse virtual clock error", {.time_form = 1}},
    {OV_ADD, "", 0, {}, 809, bad + "date format", {.time_form = 1, .abs_time = "1", .virtime = 1}},
    {OV_ADD, "", 0, {}, 809, bad + "X date format", {.x_date = "1"}},
    {OV_ADD, "", 0, {}, 810, "error: parse relative clock error", {.rel_mode = 1, .rel_origin = "0"}},
    {OV_ADD, "g:staff", 0, {{-1, EEXIST}}, 0, "uid 100 already has a virtual clock", stopped},
    {OV_ADD, "u:bob", 0, {{-7, EINVAL}}, -7, outside + "before Thu Jan 1 01:00:00 1970" + given},
    {OV_ADD, "u:bob", 0, {{-7, EOVERFLOW}}, -7, outside + "after Fri Dec 31 23:59:59 9999" + given},
    {OV_ADD, "u:bob", 0, {{3, EEXIST}}, 3, error + "17"},
    {OV_ADD, "u:bob", 0, {{-1, ENODATA}}, -1, "", usual, 5},
    {OV_ADD, "u:alice u:bob", 0, {{0, 0}, {3, 0}}, 3},
    {OV_ADD, "u:bob", 0, {{17, ENOENT}}, 17, reported, usual, 5},
    {OV_ADD, "u:bob", 0, {{-1, EINVAL}}, -1, later, usual, 5, later},
    // The failure of an identity that is not the last prints only the pending message.
    {OV_ADD, "u:alice u:bob", 0, {{-1, EPERM}, {0, 0}}, 0, "uid 1001" + running, usual, 0, later, later},
    {OV_DELETE, "", 1000, {{-1, EL2HLT}}, 814, "warning: Specified id does not have a virtual clock"},
    {OV_DELETE, "u:alice u:bob", 0, {{0, 0}, {-1, EPERM}}, -1, "report: Virtual clock for uid 1000" + deleted},
    {OV_DELETE, "u:alice p:1", 0, {{-1, EL2HLT}, {0, 0}}, 0, "report: Virtual clock for pid 1" + deleted},
    {OV_DELETE, "u:bob", 0, {{811, EL2HLT}}, 811, error + "51"},
    {OV_RESET, "", 0, {{-1, EPERM}}, 0, nothing},
    {OV_RESET, "", 0, {{3, ENOENT}}, 0, nothing},
    {OV_RESET, "", 0, {{3, EPERM}}, 3, error + "1"},
    {OV_RESET, "", 0, {{0, 0}}, 0, later, usual, 0, later},
    {OV_LIST, "g:100 u:1001", 0, {{0, 0}, {-1, ENOENT}}, -1, reported, usual, 5},
    {OV_LIST, "", 0, {{0, EPERM}, {0, 0}}, 0, all_listed, usual, 0, later},
    // EILSEQ in errno makes a success a mismatch; then slots 0 to 999 are read.
    {OV_LIST, "", 0, Answers(1001, {0, EILSEQ}), 0, all_listed, usual, 0, "", mismatch},
};

TEST_F(Engine, AnswersEveryRequestWithItsResultAndMessage)
{
    int64_t value;
    for (const auto &c : cases) {
        SCOPED_TRACE(&c - cases);
        const ov_request request = make_request(c.operation, c.identities, c.fields);
        script.uid = c.uid;
        script.answers = c.kernel.empty() ? Answers{{0, 0}} : c.kernel;
        script.kernel_error = c.kernel_error;
        const Outcome outcome = run(request, said(c.pending));
        EXPECT_EQ(outcome.result, c.result);
        EXPECT_EQ(outcome.message, said(c.message));
        EXPECT_EQ(outcome.err, said(c.err));
        EXPECT_EQ(script.sent.size(), c.kernel.size());
        EXPECT_EQ(script.error == EEXIST, !c.kernel.empty() && c.kernel.back().second == EEXIST);
        EXPECT_EQ(run(request, "", false).result, c.result) << "without a slot";
        // Without a control file, only an earlier refusal is the same.
        const bool before = c.result > 800 && c.kernel.empty();
        const auto preview = [&](char **) { return ov_preview_request(&request, &value, nullptr); };
        EXPECT_TRUE(!before || run(preview).result == c.result);
        script.open_error = EACCES;
        const Outcome closed = run(request);
        EXPECT_EQ(closed.result, before ? c.result : OV_NO_CONTROL_FILE);
        EXPECT_EQ(closed.message, said(before ? c.message : "error: Open of /proc/zynov failed; error = 13"));
        script.open_error = 0;
    }
}

TEST_F(Engine, GoesOnWithoutMemoryForAMessage)
{
    script.no_messages = true;
    script.kernel_error = 5;
    for (const auto &[error_number, result] : Answers{{0, OV_KERNEL_ERROR}, {ENODATA, OV_OK}}) {
        script.answers = {{0, error_number}};
        const Outcome outcome = run(make_request(OV_ADD, "u:alice"), later);
        EXPECT_EQ(outcome.result, result);
        EXPECT_EQ(outcome.message, "");
    }
}

TEST_F(Engine, SendsTheRecordByteForByte)
{
    script.kernel = [](unsigned long, zynov_iov &record) {
        record = {171, 77, 5, 9, record.vtime + 60, record.flags, 9, -1, 9, 3, 9}; // to be sent back
        return 0;
    };
    const auto expect_sent = [&](const ov_request &request, unsigned long command, std::vector<zynov_iov> records,
                                 const char *host_name = "cafe-server\n", uint64_t container = 0xcafe) {
        script.host_name = host_name;
        std::string bytes;
        for (zynov_iov &record : records) {
            record.container_id = container;
            bytes.append(reinterpret_cast<const char *>(&command), sizeof command);
            bytes.append(reinterpret_cast<const char *>(&record), 80);
        }
        const size_t left_open = script.host_names.size();
        const Outcome outcome = run(request);
        EXPECT_EQ(outcome.sent, bytes) << host_name;
        EXPECT_EQ(script.host_names.size(), left_open + records.size());
        return outcome.out;
    };
    ov_request request = make_request(OV_ADD, "u:1000 g:staff", {0, -1000, 1, 1, -2});
    request.x_date = "1"; // ignored
    request.rel_origin = "4294967290x";
    request.virtime = nine;
    EXPECT_EQ(expect_sent(request, 0xC0505302,
                          {{171, 0, 0, 77, nine, 0xfffffffffffffe01, -1000, 0, -6},
                           {171, 77, 5, 100, nine, 0xfffffffffffffe02, -1000, -1, -6, 3}}),
              "ovuser: uid 77 has been added with a 1000 times slower virtual clock: Wed Dec 25 09:01:00 2030\n"
              "        The date will rewind at midnight.\n");
    // Only relative values send the mode, with its sign.
    expect_sent(make_request(OV_ADD, "u:1000", {.rel_mode = -1, .rel_origin = "1000000"}), 0xC0505302,
                {{171, 0, 0, 77, 1000000, 0xfffffffffffffff1, 0, 0, 1000000}});
    expect_sent(make_request(OV_DELETE, "g:100 p:4242"), 0x40505303,
                {{171, 0, 0, 5, 2}, {171, 77, 5, 4242, 3, 0, 9, -1, 9, 3}});
    const std::pair<const char *, uint64_t> names[] = {
        {"3f4e5a6b7c8d", 0x3f4e5a6b7c8d}, {"web-1", 0}, {"", 0}, {"-1", UINT64_MAX}, {"fffffffffffffffff", UINT64_MAX}};
    for (const auto &[name, id] : names)
        expect_sent(make_request(OV_RESET), 0x40505305, {{171}}, name, id);
}

TEST_F(Engine, LooksUpNobodyWhoseNumberIsKnown)
{
    const uint32_t numbers[] = {1001, 7}, zero = 0;
    script.users.clear();
    script.groups.clear();
    const auto by_number = [&](int operation, const char *identities, const uint32_t *who) {
        const ov_request request = make_request(operation, identities);
        return run([&](char **slot) { return ov_process_numbers(&request, who, slot); });
    };
    EXPECT_EQ(by_number(OV_ADD, "u: g:", numbers).message, said("gid 7" + running));
    ASSERT_EQ(script.sent.size(), 2u);
    EXPECT_EQ(script.sent[0].second.id, 1001);
    EXPECT_EQ(by_number(OV_ADD, "u:", &zero).result, OV_ROOT_IDENTITY);
    EXPECT_EQ(by_number(OV_ADD, "u: ?:", numbers).result, OV_BAD_KIND);
    script.uid = 1000;
    EXPECT_EQ(by_number(OV_DELETE, "u:", numbers).result, OV_NOT_PERMITTED);
}

TEST_F(Engine, RefinesAClockByteForByte)
{
    script.host_name = "cafe";
    const Call refine = [](char **) { return ov_refine_clock(OV_GROUP, UINT32_MAX - 1, 999999999, -19800, 15); };
    const unsigned long command = 0xC0505307;
    const zynov_iov record = {171, 0, 0, -2, 999999999, 2, 0, 0, -19800, 15, 0xcafe};
    const Outcome refined = run(refine);
    EXPECT_EQ(refined.result, 0);
    EXPECT_EQ(refined.sent, std::string(reinterpret_cast<const char *>(&command), 8) +
                                std::string(reinterpret_cast<const char *>(&record), 80));
    ov_refined refined_clock = {};
    const Call ask = [&](char **) { return ov_refined_clock(OV_PROCESS, 4242, &refined_clock); };
    script.kernel = [](unsigned long, zynov_iov &answer) {
        const bool asks = answer.id == 4242 && answer.flags == 3 && answer.spare == 0;
        answer = {171, 0, 0, 77, 999999999, 3, 0, 4, -19800, 12, 0xcafe};
        return asks ? 0 : -1;
    };
    EXPECT_EQ(run(ask).result, 0);
    const auto &[what, id, generations, nanoseconds, utc_offset] = refined_clock;
    EXPECT_EQ(std::tie(what, id, generations, nanoseconds, utc_offset), std::make_tuple(12, 77, 4, 999999999, -19800));
    script.kernel = [](unsigned long, zynov_iov &) { return errno = ENOTTY, 7; };
    EXPECT_EQ(run(refine).result, -1);
    EXPECT_EQ(run(ask).result, -1);
    EXPECT_EQ(script.error, ENOTTY);
    script.open_error = EACCES;
    EXPECT_EQ(run(refine).result, -1);
    EXPECT_EQ(script.error, EACCES);
}

TEST_F(Engine, RefinesWhatItAdds)
{
    const struct {
        uint32_t what;
        Answers kernel;
        int result, error;
        uint32_t id;
        std::string message;
    } adds[] = {{5, {{0, 0}, {0, 0}}, 0, 0, 7, ""},
                {0, {{0, 0}}, 0, 0, 7, ""},
                {5, {{-1, EEXIST}}, 0, EEXIST, 0, "uid 7 already has a virtual clock"},
                {5, {{0, 0}, {7, ENOTTY}}, -1, ENOTTY, 7, error + "25"}};
    const ov_request add = make_request(OV_ADD, "g:");
    script.host_name = "cafe";
    for (const auto &[what, kernel, result, error_left, id, message] : adds) {
        script.answers = kernel;
        const uint32_t number = 7;
        ov_refined refined = {what, 9, 0, 999999999, -19800};
        const Outcome outcome = run([&](char **slot) { return ov_process_refined(&add, &number, &refined, slot); });
        EXPECT_EQ(std::tie(outcome.result, script.error, refined.id), std::tie(result, error_left, id));
        EXPECT_EQ(outcome.message, said(message));
        EXPECT_TRUE(script.host_names.empty());
        ASSERT_EQ(script.sent.size(), kernel.size());
        const auto &[command, record] = script.sent.back();
        EXPECT_EQ(command == 0xC0505307 && record.spare == 5 && record.vtime == 999999999, kernel.size() == 2);
        EXPECT_EQ(ov::theiov.spare, 0);
        EXPECT_EQ(script.opened, 1);
    }
}

// Whichever call fails: the control file is closed, the result and the message are known ones, and the next request
// works.
TEST_F(Engine, SurvivesTheFailureOfEachCallInTurn)
{
    script.host_name = "beef";
    script.now = nine;
    script.kernel = [](unsigned long command, zynov_iov &record) {
        if (command == 0xC0505306)
            record.speed = 2;
        if (command == 0xC0505304)
            record = {171, 0, 0, 4242, 1, 3, 1, 0, 0, 0, 0xbeef};
        return 0;
    };
    std::vector<Call> calls = {[](char **) { return deleteUserClock("alice"); },
                               [](char **) { return deleteGroupClock("staff"); }};
    const std::pair<int, ov_request> requests[] = {
        {OV_ADD, usual}, {OV_ADD, {.x_date = "12252030"}}, {OV_ADD, {}}, {OV_DELETE, {}}, {OV_LIST, {}}, {OV_RESET, {}},
        {6, {}}};
    for (const auto &[operation, fields] : requests)
        for (const std::string &who : {std::string(), std::string("u:alice p:4242 g:staff"), std::string("u:1000"),
                                       "p:" + std::string(1100, '4')})
            calls.emplace_back([request = make_request(operation, who, fields)](char **slot) {
                return ov_process_request(&request, slot);
            });
    static const int failures[] = {EIO, EEXIST, EL2HLT, EINVAL, EOVERFLOW, EILSEQ, ENODATA, ENOENT};
    int tried = 0;
    for (size_t round = 0; round < 8 * 2 * calls.size(); ++round) {
        const Call &call = calls[round / 16];
        script.uid = round / 8 % 2 == 0 ? 0 : 1000;
        script.failure = failures[round % 8];
        const Outcome good = run(call);
        for (int n = 1; n <= good.calls; ++n, ++tried) {
            script.failing_call = n;
            const Outcome bad = run(call);
            script.failing_call = 0;
            EXPECT_TRUE((bad.result >= 801 && bad.result <= 815) || (bad.result >= -2 && bad.result <= 5));
            EXPECT_GE(bad.calls, n);
            EXPECT_TRUE(run(call) == good);
        }
    }
    std::cout << tried << " failures tried\n";
}

TEST_F(Engine, ShortcutsFoldResultsIntoClasses)
{
    script.answers = {{-1, EL2HLT}, {0, 0}};
    EXPECT_EQ(deleteUserClock("alice"), 4);
    EXPECT_EQ(deleteGroupClock("staff"), 0);
    EXPECT_EQ(script.sent[1].second.vtime, OV_GROUP);
    const int classes[] = {5, 2, 2, 2, 2, 2, 1, 3, 4, 4, 5, 5, 5, 4, 2, 5}; // 801 to 816
    for (int code = 801; code <= 816; ++code)
        EXPECT_EQ(check_rc(code), classes[code - 801]) << code;
    EXPECT_EQ(check_rc(0), 0);
    EXPECT_EQ(check_rc(-1), 5);
    EXPECT_EQ(ov_process_request(nullptr, nullptr), 801);
    EXPECT_EQ(ov_process_refined(nullptr, nullptr, nullptr, nullptr), 801);
    EXPECT_EQ(ov_preview_request(nullptr, nullptr, nullptr), 801);
}
