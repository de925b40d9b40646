// The engine against scripted kernel answers: results, messages, the bytes that reach the kernel, and that
// the control file is closed whatever happens.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <iostream>
#include <list>
#include <sstream>

#include "tests/naive_time.h"
#include "tests/scripted_libc.h"

static constexpr int64_t nine = 1924419600; // 2030-12-25 09:00 UTC
static const ov_request usual = {.speed = 1, .time_form = 1, .virtime = nine};

// A request about identities in words: "u:alice g:staff". A kind of ? is an unknown one, and no text is a null one.
static ov_request make_request(int operation, const std::string &identities = "", ov_request request = usual)
{
    static std::list<std::string> texts; // for as long as any request
    request.operation = operation;
    std::istringstream words(identities);
    for (std::string word; words >> word; ++request.id_count) {
        const char *text = texts.emplace_back(word.substr(2)).c_str();
        request.id_kind[request.id_count] = static_cast<int>(std::string(" ugp").find(word[0]));
        request.id_text[request.id_count] = *text != '\0' ? text : nullptr;
    }
    return request;
}

class Engine : public testing::Test
{
  protected:
    Engine() { set_zone("UTC"); }

    template <typename What> Outcome run(const What &what, const std::string &pending = "", bool with_slot = true)
    {
        const Outcome outcome = script.run(what, pending, with_slot);
        EXPECT_TRUE(outcome.good) << outcome.message;
        return outcome;
    }
    static std::string said(const std::string &text) { return text.empty() ? "" : "ovuser: " + text + "\n"; }

    Script script;
};

static const std::string christmas = "Wed Dec 25 09:00:00 2030";
static const std::string running = " has been added with a Running virtual clock: " + christmas;
static const std::string not_for_others = "error: Non-root user can not modify OV setting for others.";
static const std::string no_zero = "error: uid '0' (root user) or gid '0' (root group) is not allowed";
static const std::string all_listed = "All Orvane users have been listed above.";

TEST_F(Engine, AnswersEveryRequestWithItsResultAndMessage)
{
    const std::string long_name(70000, 'x'), edge(964, 'x'), unknown = "error: incorrect/non-existent process id ";
    const std::string bad_speed = ", it must be an integer and belongs to  [-1000, 1000].";
    const std::string bad = "error: Illegal virtual clock, invalid ";
    const std::string outside = "error: Illegal virtual clock, must not be ",
                      given = "\nyou specified " + christmas + "\n";
    const std::string error = "error: an error occurred while executing this request, error = ";
    const std::string reported = "error: OV kernel module reported error = 5", later = "something later";
    const std::string nothing = "warning: Reset Orvane completed with no entry in it.", deleted = " has been deleted";
    const std::string mismatch = "error: Orvane kernel module not installed properly or version mismatch(Invalid or "
                                 "incomplete multibyte or wide character).";
    const ov_request stopped = {.speed = 1001, .time_form = 1, .virtime = 1};
    const struct {
        int operation;
        std::string identities;
        uid_t uid;
        Answers kernel; // as many as commands are to be sent
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
        {OV_ADD, "u:bob", 0, {{3, 0}}, 3},
        {OV_ADD, "u:bob", 0, {{17, ENOENT}}, 17, reported, usual, 5},
        {OV_ADD, "u:bob", 0, {{-1, EINVAL}}, -1, later, usual, 5, later},
        // A refusal of another than the last is told on standard error, but only what is pending.
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
        // A success is taken for a mismatch when EILSEQ is left from before; then slots 0 to 999 are walked.
        {OV_LIST, "", 0, Answers(1001, {0, EILSEQ}), 0, all_listed, usual, 0, "", mismatch},
    };
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
        EXPECT_EQ(run(request, "", false).result, c.result) << "without a slot";
        // The same without a control file, unless the request is refused before.
        const bool before = c.result > 800 && c.kernel.empty();
        script.open_error = EACCES;
        const Outcome closed = run(request);
        EXPECT_EQ(closed.result, before ? c.result : OV_NO_CONTROL_FILE);
        EXPECT_EQ(closed.message, said(before ? c.message : "error: Open of /proc/zynov failed; error = 13"));
        script.open_error = 0;
    }
    // Done, with an error number in the record, and no memory for the report.
    script.no_messages = true;
    script.kernel_error = 5;
    for (const auto &[error_number, result] : Answers{{0, OV_KERNEL_ERROR}, {ENODATA, OV_OK}}) {
        script.answers = {{0, error_number}};
        const Outcome outcome = run(make_request(OV_ADD, "u:alice"), later);
        EXPECT_TRUE(outcome.result == result && outcome.message.empty());
    }
}

// Who may do what, by hand: the first row that fits a cell holds. @ is the report for the identity, $ is its text.
TEST_F(Engine, PermitsWhatTheMatrixSays)
{
    script.groups = {{"root", 0}, {"staff", 100}, {"wheel", 1001}}; // the last by the number of the user
    script.gid = 100;
    script.descriptor = 0; // as good as any
    const std::tuple<char, const char *, int> identities[] = {
        {'n', "bob", 1001},  {'#', "1001", 1001},  {'a', "alice", 1000}, {'r', "root", 0},
        {'g', "staff", 100}, {'h', "wheel", 1001}, {'p', "4343", 4343},  {'q', "4242", 4242}};
    const std::string unknown = "error: incorrect/non-existent ",
                      own_listed = "Requested Orvane users have been listed above.";
    const std::string no_clock = "error: User root does not have a virtual clock";
    const std::string reset = "report: All Orvane users have been reset to the system clock successfully.";
    static const unsigned long commands[] = {0xC0505302, 0x40505303, 0xC0505306, 0x40505305};
    static const char *const any = "n#arghpq", *const valid = "-12345678";
    const struct {
        const char *callers, *operations, *counts, *kinds, *who; // root or ordinary; - below 0; Ten and Eleven
        int result;
        std::string text;
        char sends; // a Command for each identity, 1 or none; - before the control file is opened
    } rows[] = {
        {"ro", "09", "012TE", "01234", any, 801, "", '-'},
        {"ro", valid, "E", "01234", any, 804, "", '-'},
        {"r", "2", "0", "01234", any, 814, no_clock, '0'},
        {"ro", "12", "0", "01234", any, 0, "@", '1'},
        {"o", "3", "0", "01234", any, 0, own_listed, '1'},
        {"ro", valid, "12T", "04", any, 805, "", '-'},
        {"ro", valid, "12T", "1", "ghpq", 806, unknown + "username, or uid $ passed in", '-'},
        {"ro", valid, "12T", "2", "napq", 806, unknown + "groupname, or gid $ passed in", '-'},
        {"ro", valid, "12T", "3", "n#argh", 806, unknown + "process id $ passed in", '-'},
        {"ro", "1", "12T", "12", "r", 815, no_zero, '-'},
        {"o", valid, "2T", "123", any, 811, not_for_others, '-'},
        {"o", "12", "1", "1", "ar", 811, not_for_others, '-'},
        {"o", "12", "1", "2", "#rgh", 811, not_for_others, '-'},
        {"o", "3", "1", "1", "ar", 811, "error: Non-root user can not list other OV users.", '0'},
        {"o", "3", "1", "123", any, 0, own_listed, '1'},
        {"o", "4", "01", "01234", any, 811, "error: Only root can reset all the OV users.", '0'},
        {"r", "2", "12T", "12", "r", 814, no_clock, '0'},
        {"ro", "12", "12T", "123", any, 0, "@", 'C'},
        {"r", "3", "012T", "01234", any, 0, all_listed, '1'},
        {"r", "4", "012T", "01234", any, 0, reset, '1'},
        {"ro", "-5678", "012T", "01234", any, 0, "", '0'},
    };
    script.kernel = [](unsigned long, zynov_iov &record) { return record.speed = -1, 0; };
    for (size_t cell = 0; cell < 2 * 11 * 5 * 5 * 8; ++cell) {
        const char caller = "ro"[cell % 2], operation = "-0123456789"[cell / 2 % 11], count = "012TE"[cell / 22 % 5];
        const char kind = "01234"[cell / 110 % 5];
        const auto &[letter, identity, number] = identities[cell / 550];
        SCOPED_TRACE((std::string{caller, operation, count, kind, letter}));
        const auto *row = rows;
        while (!strchr(row->callers, caller) || !strchr(row->operations, operation) || !strchr(row->counts, count) ||
               !strchr(row->kinds, kind) || !strchr(row->who, letter))
            ASSERT_NE(++row, std::end(rows));

        ov_request request = make_request(operation == '-' ? -3 : operation - '0');
        request.id_count = count == 'T' ? 10 : count == 'E' ? 11 : count - '0';
        std::fill_n(request.id_kind, 10, kind - '0');
        std::fill_n(request.id_text, 10, identity);
        script.uid = caller == 'r' ? 0 : 1001;
        const int kind_sent = count == '0' ? OV_USER : kind - '0',
                  id = count == '0' ? static_cast<int>(script.uid) : number;
        const std::string who = "?ugp?"[kind_sent] + ("id " + std::to_string(id));
        std::string text = row->text;
        if (text == "@")
            text = operation == '1' ? who + running : "report: Virtual clock for " + who + " has been deleted";
        else if (const size_t at = text.find('$'); at != std::string::npos)
            text.replace(at, 1, identity);
        const Outcome outcome = run(request);
        EXPECT_EQ(outcome.result, row->result);
        EXPECT_EQ(outcome.message, said(text));
        EXPECT_EQ(script.opened, row->sends != '-');
        EXPECT_EQ(static_cast<int>(script.sent.size()), row->sends == 'C' ? request.id_count : row->sends == '1');
        for (const auto &[command, record] : script.sent) {
            EXPECT_EQ(command, commands[operation - '1']);
            const auto named = operation == '1' ? static_cast<int64_t>(record.flags) : record.vtime;
            EXPECT_TRUE(operation > '2' || (record.id == id && named == kind_sent));
        }
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
        const Outcome outcome = run(request);
        EXPECT_EQ(outcome.sent, bytes) << host_name;
        return outcome.out;
    };
    ov_request request = make_request(OV_ADD, "u:1000 g:staff", {0, -1000, 1, 1, -2});
    request.x_date = "1"; // of no account
    request.rel_origin = "4294967290x";
    request.virtime = nine;
    EXPECT_EQ(expect_sent(request, 0xC0505302,
                          {{171, 0, 0, 77, nine, 0xfffffffffffffe01, -1000, 0, -6},
                           {171, 77, 5, 100, nine, 0xfffffffffffffe02, -1000, -1, -6, 3}}),
              "ovuser: uid 77 has been added with a 1000 times slower virtual clock: Wed Dec 25 09:01:00 2030\n"
              "        The date will rewind at midnight.\n");
    // The mode goes with relative values only, sign and all.
    expect_sent(make_request(OV_ADD, "u:1000", {.rel_mode = -1, .rel_origin = "1000000"}), 0xC0505302,
                {{171, 0, 0, 77, 1000000, 0xfffffffffffffff1, 0, 0, 1000000}});
    expect_sent(make_request(OV_DELETE, "g:100 p:4242"), 0x40505303,
                {{171, 0, 0, 5, 2}, {171, 77, 5, 4242, 3, 0, 9, -1, 9, 3}});
    const std::pair<const char *, uint64_t> names[] = {
        {"3f4e5a6b7c8d", 0x3f4e5a6b7c8d}, {"web-1", 0}, {"", 0}, {"-1", UINT64_MAX}, {"fffffffffffffffff", UINT64_MAX}};
    for (const auto &[name, id] : names)
        expect_sent(make_request(OV_RESET), 0x40505305, {{171}}, name, id);
}

TEST_F(Engine, ListsWhatTheCallerMaySee)
{
    set_zone("PST8");
    constexpr int64_t odd = 300LL << 32;
    script.users["someone-with-a-long-name"] = 5;
    script.users["UNKNOWN"] = 6;
    std::vector<zynov_iov> table = {
        {171, 0, 0, 1000, nine, 1 | 1ULL << 36, 1},
        {171, 0, 0, odd + 100, nine, 2, -4},
        {171, 0, 0, 4242, nine, 3, INT_MIN},
        {171, 0, 0, 4343, nine, 3, 0},
        {171, 0, 0, 9999, nine, 3, 1},                               // has ended
        {171, 0, 0, 1001, nine, 1 | 1ULL << 35, 1001, INT64_MAX, 1}, // the date wraps around, out of sight
        {171, 0, 0, 5, nine, 0x11, odd + 1000, 253402329599, 1},     // capped
        {171, 0, 0, 5, 253402329600, 1, -1},                         // five digits, and no room for the line end
        {171, 0, 0, 5, INT64_MAX, 1, -1},                            // no such date
        {171, 0, 0, 6, nine, 1, 1},                                  // a user by the name of UNKNOWN
        {171, 0, 0, 31, nine, 1, 1},                                 // no such user
        {171, 0, 0, 1000, nine, 1, 1, 0, 0, 0, 7},                   // another container
        {171, 0, 0, 1000, nine, 9, 1},                               // unknown kind
        {171, 0, 0, 0, nine, 1, 1},                                  // free
    };
    size_t failing = 99;
    script.kernel = [&](unsigned long command, zynov_iov &record) {
        EXPECT_TRUE(record.version == 171 && record.id == 0 && record.container_id == 0);
        const size_t slot = record.slot;
        if (command == 0xC0505306)
            record.speed = odd + static_cast<int64_t>(table.size()) - 1;
        else
            record = table[slot];
        errno = ENOENT;
        return command == 0xC0505304 && slot == failing ? -9 : 0;
    };
    const std::string head = "Id         Clock type                Clock date/time\n", end = "- End of list -\n";
    const std::string all = "ovuser: report: Listing all virtual clocks:\n" + head;
    const std::string requested = "ovuser: report: Listing requested virtual clock:\n" + head;
    const std::string own = "u:alice    Running                   Wed Dec 25 01:00:00 2030\n\n"
                            "g:staff    4 times slower            Wed Dec 25 01:00:00 2030\n\n"
                            "p:4242     -2147483648 times slower  Wed Dec 25 01:00:00 2030\n\n";
    const std::string others = "p:4343     Frozen                    Wed Dec 25 01:00:00 2030\n\n"
                               "u:bob      FROZEN                    Sun Dec 31 01:00:00 1899\n\n"
                               "u:someone-with-a-long-name 1000 times faster         Fri Dec 31 01:00:00 9999\n\n"
                               "u:someone-with-a-long-name Running                   Sat Jan  1 00:00:00 10000\n"
                               "u:someone-with-a-long-name Running                   \n";
    EXPECT_EQ(run(make_request(OV_LIST)).out, all + own + others + end);
    script.uid = 1000;
    script.gid = 100;
    EXPECT_EQ(run(make_request(OV_LIST)).out, requested + own + end);
    failing = 2; // still shown, and the end
    const Outcome outcome = run(make_request(OV_LIST, "g:staff"));
    EXPECT_EQ(outcome.out, requested + own + end);
    EXPECT_EQ(outcome.result, -9);
    table.clear();
    script.uid = 0;
    EXPECT_EQ(run(make_request(OV_LIST)).out, all + end);
}

// For any request and any call that fails: the control file is closed, the result is a known one, the message is one
// of the engine's, and the next request knows nothing of it.
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
            EXPECT_TRUE(bad.calls >= n && run(call) == good);
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
    EXPECT_TRUE(check_rc(0) == 0 && check_rc(-1) == 5 && ov_process_request(nullptr, nullptr) == 801);
}

TEST_F(Engine, ResolvesIdentities)
{
    script.users[std::string(5000, 'n')] = 1234;
    const std::tuple<const char *, int, int64_t> cases[] = {
        // -1: refused
        {"root", 1, 0},     {"0", 1, 0},      {"1000", 1, 77},  {"", 1, 0},       {" 01000", 1, 1000},
        {"+1000", 1, 1000}, {"-1", 1, -1},    {"1000x", 1, -1}, {"1000 ", 1, -1}, {"31", 1, -1},
        {"staff", 2, 100},  {"100", 2, 5},    {"alice", 2, -1}, {"1", 3, 1},      {"4294967297", 3, 1},
        {"-5", 3, -1},      {"", 3, -1},      {"31", 3, -1},    {"root", 3, -1},  {"root", 0, -1},
        {"root", 4, -1},    {nullptr, 1, -1},
    };
    for (const auto &[text, kind, expected] : cases) {
        uint32_t number = 0xdead;
        EXPECT_EQ(parse_uid(text, kind, &number), expected < 0 ? -1 : 0) << text;
        EXPECT_EQ(number, expected < 0 ? 0xdead : expected) << text;
    }
    EXPECT_STREQ(get_username(1, 1000), "alice");
    EXPECT_STREQ(get_username(2, 31), "UNKNOWN");
    EXPECT_STREQ(get_username(7, 0xffffffff), "-1");
    EXPECT_EQ(strlen(get_username(1, 1234)), 1023u);
    EXPECT_STREQ(id_string(0), "unknown id");
    EXPECT_STREQ(id_string(4), "unknown id");
    EXPECT_EQ(ov_get_num_from_cmd("echo ' 42 7'"), 42);
    EXPECT_EQ(ov_get_num_from_cmd("echo none; exit 3"), -2);
    EXPECT_EQ(ov_get_num_from_cmd(nullptr), -1);
    EXPECT_EQ(zynov_reset_vc(), 0);
}

TEST_F(Engine, PrintsTheBanner)
{
    const std::pair<const char *, std::string> names[] = {
        {"/none/ovuser", "ovuser"}, {"/none/", ""}, {nullptr, ""}, {"/proc/1/status", "status"}}; // the last of 1970
    for (const auto &[path, name] : names) {
        testing::internal::CaptureStdout();
        const size_t length = static_cast<size_t>(print_header(path));
        const std::string line = "Orvane " + name + " utility version 12.10R6 for Linux Kernel 2.6 or up,\n";
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Copyright (c) 1997-2012 Orvane. All rights reserved.\n" + line);
        EXPECT_EQ(length, line.size());
    }
}
