// The engine against scripted kernel answers: results, messages, the bytes that reach the kernel, and that
// the control file is closed whatever happens.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <regex.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <iostream>
#include <sstream>

#include "ov_helper.h"
#include "tests/scripted_libc.h"

// A request in words: "add u:alice g:staff speed=2". A kind of ? is an unknown one, a text of NULL is none.
static ov_request make_request(const std::string &line)
{
    static std::set<std::string> texts; // for as long as any request
    static const std::map<std::string, int> operations = {{"add", 1}, {"delete", 2}, {"list", 3}, {"reset", 4}};
    ov_request request = {};
    const std::map<std::string, int32_t *> numbers = {{"speed", &request.speed},
                                                      {"form", &request.time_form},
                                                      {"mode", &request.rel_mode},
                                                      {"rewind", &request.rewind},
                                                      {"count", &request.id_count}};
    const std::map<std::string, const char **> fields = {
        {"abs", &request.abs_time}, {"date", &request.x_date}, {"origin", &request.rel_origin}};
    request.speed = request.time_form = 1;
    request.virtime = 1924419600; // 2030-12-25 09:00 UTC
    std::istringstream words(line);
    std::string word;
    words >> word;
    request.operation = operations.count(word) != 0 ? operations.at(word) : std::stoi(word);
    while (words >> word) {
        const size_t split = word.find_first_of(":=");
        const std::string key = word.substr(0, split), value = word.substr(split + 1);
        const char *text = value != "NULL" ? texts.insert(value).first->c_str() : nullptr;
        if (word[split] == ':') {
            request.id_kind[request.id_count] = static_cast<int>(std::string(" ugp").find(key));
            request.id_text[request.id_count++] = text;
        } else if (key == "virtime") {
            request.virtime = std::stoll(value);
        } else if (numbers.count(key) != 0) {
            *numbers.at(key) = std::stoi(value);
        } else {
            *fields.at(key) = text;
        }
    }
    return request;
}

struct Outcome {
    int result;
    std::string message, out, err;
    int calls;
};

using Call = std::function<int32_t(char **)>;

// Runs a call of the engine, and checks what holds for every one: the control file is closed, and so are the streams of
// popen.
static Outcome run(Script &script, const Call &call, const char *pending = nullptr)
{
    char *message = pending != nullptr ? strcpy(static_cast<char *>(malloc(strlen(pending) + 1)), pending) : nullptr;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    script.sent.clear();
    script.opened = script.closed = script.calls = script.clock_readings = 0;
    errno = 0;
    Outcome outcome;
    outcome.result = call(&message);
    outcome.calls = script.calls;
    const int failing = std::exchange(script.failing_call, 0); // what the test itself does goes well
    outcome.out = testing::internal::GetCapturedStdout();
    outcome.err = testing::internal::GetCapturedStderr();
    script.failing_call = failing;
    outcome.message = message != nullptr ? message : "";
    free(message);
    EXPECT_EQ(script.opened, script.closed);
    for (const int owner : script.owners)
        EXPECT_EQ(fcntl(owner, F_GETFD), -1);
    return outcome;
}

static Outcome run(Script &script, const ov_request &request, const char *pending = nullptr)
{
    return run(
        script, [&](char **message) { return ov_process_request(&request, message); }, pending);
}

using Answers = std::vector<std::pair<int, int>>; // return value and errno of each command, the last for good

static std::function<int(unsigned long, zynov_iov &)> answers(const Answers &list, int kernel_error = 0)
{
    return [=, next = size_t{0}](unsigned long, zynov_iov &record) mutable {
        const auto [result, error] = list.empty() ? std::pair(0, 0) : list[std::min(next++, list.size() - 1)];
        record.kernel_error = kernel_error;
        errno = error != 0 ? error : errno;
        return result;
    };
}

class Engine : public testing::Test
{
  protected:
    void SetUp() override
    {
        setenv("TZ", "UTC", 1);
        tzset();
    }
    Script script;
};

#define ERROR "ovuser: error: "
#define REPORT "ovuser: report: "
#define RANGE ERROR "Illegal virtual clock, must not be "
static const std::string christmas = "Wed Dec 25 09:00:00 2030\n";
static const std::string not_for_others = ERROR "Non-root user can not modify OV setting for others.\n";
static const std::string bad_speed = ", it must be an integer and belongs to  [-1000, 1000].\n";

TEST_F(Engine, AnswersEveryRequestWithItsResultAndMessage)
{
    const std::string long_name(70000, 'x'), edge(964, 'x');
    const std::string rewinding = "ovuser: uid 1000 has been added with a FROZEN virtual clock: " + christmas +
                                  "        The date will rewind at midnight.\n";
    const std::string given = "\nyou specified " + christmas + "\n";
    const std::string ten = "list u:bob u:1001 u:bob g:100 u:bob u:bob u:bob u:bob u:bob u:bob";
    const std::string deleted = REPORT "Virtual clock for ";
    const struct {
        std::string request;
        uid_t uid;
        Answers kernel; // as many as commands are to be sent
        int result;
        std::string message;
        int kernel_error = 0;
    } cases[] = {
        {"delete ?:NULL", 0, {}, 802, ""},
        {"delete ?:x u:NULL", 0, {}, 805, ""},
        {"add count=-1", 0, {}, 804, ""},
        {"reset g:no", 0, {}, 806, ERROR "incorrect/non-existent groupname, or gid no passed in\n"},
        {"add p:" + long_name, 0, {}, 806, ERROR "incorrect/non-existent process id " + long_name + " passed in\n"},
        {"add p:" + edge, 0, {}, 806, ERROR "incorrect/non-existent process id " + edge + " passed in\n"},
        {"add u:bob g:0 u:?", 1000, {}, 815, ERROR "uid '0' (root user) or gid '0' (root group) is not allowed\n"},
        {"add u:1001 speed=1002", 1000, {}, 811, not_for_others},
        {"add speed=1002", 0, {}, 808, ERROR "wrong parameters for speed: 1002" + bad_speed},
        {"add speed=-2147483648 virtime=0", 0, {}, 808, ERROR "wrong parameters for speed: -2147483648" + bad_speed},
        {"add virtime=0", 0, {}, 809, ERROR "parse virtual clock error\n"},
        {"add abs=1", 0, {}, 809, ERROR "Illegal virtual clock, invalid date format\n"},
        {"add form=0 date=1", 0, {}, 809, ERROR "Illegal virtual clock, invalid X date format\n"},
        {"add form=2 origin=0 mode=1", 0, {}, 810, ERROR "parse relative clock error\n"},
        {"add u:alice speed=1001 rewind=1", 0, {{0, 0}}, 0, rewinding},
        {"add g:staff", 0, {{-1, EEXIST}}, 0, "ovuser: uid 100 already has a virtual clock\n"},
        {"add u:bob", 0, {{-1, EINVAL}}, -1, RANGE "before Thu Jan 1 01:00:00 1970" + given},
        {"add u:bob", 0, {{-7, EOVERFLOW}}, -7, RANGE "after Fri Dec 31 23:59:59 9999" + given},
        {"add u:bob", 0, {{3, EEXIST}}, 3, ERROR "an error occurred while executing this request, error = 17\n"},
        {"add u:bob", 0, {{-1, ENODATA}}, -1, "", 5},
        {"add u:bob", 0, {{17, ENOENT}}, 17, ERROR "OV kernel module reported error = 5\n", 5},
        {"delete", 1000, {{-1, EL2HLT}}, 814, "ovuser: warning: Specified id does not have a virtual clock\n"},
        {"delete u:bob u:1000 g:staff", 0, {{0, 0}, {-1, EL2HLT}, {0, 0}}, 0, deleted + "gid 100 has been deleted\n"},
        {"delete u:alice u:bob", 0, {{0, 0}, {-1, EPERM}}, -1, deleted + "uid 1000 has been deleted\n"},
        {"delete u:bob", 0, {{811, EL2HLT}}, 811, ERROR "an error occurred while executing this request, error = 51\n"},
        {"reset", 0, {{-1, EPERM}}, 0, "ovuser: warning: Reset Orvane completed with no entry in it.\n"},
        {"reset", 0, {{3, ENOENT}}, 0, "ovuser: warning: Reset Orvane completed with no entry in it.\n"},
        {"reset", 0, {{3, EPERM}}, 3, ERROR "an error occurred while executing this request, error = 1\n"},
        {ten, 0, {{0, 0}, {-1, ENOENT}}, -1, ERROR "OV kernel module reported error = 7\n", 7},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.request.substr(0, 99));
        const ov_request request = make_request(c.request);
        script.uid = c.uid;
        script.kernel = answers(c.kernel, c.kernel_error);
        const Outcome outcome = run(script, request);
        EXPECT_EQ(outcome.result, c.result);
        EXPECT_EQ(outcome.message, c.message);
        EXPECT_EQ(script.sent.size(), c.kernel.size());
        script.kernel = answers(c.kernel, c.kernel_error);
        testing::internal::CaptureStdout();
        EXPECT_EQ(ov_process_request(&request, nullptr), c.result) << "without a slot";
        testing::internal::GetCapturedStdout();
        // The same without a control file, unless the request is refused before.
        const bool before =
            c.result > 800 && c.result != 814 && c.kernel.empty() && (c.message == not_for_others || c.result != 811);
        script.open_error = EACCES;
        const Outcome closed = run(script, request);
        EXPECT_EQ(closed.result, before ? c.result : OV_NO_CONTROL_FILE);
        EXPECT_EQ(closed.message, before ? c.message : ERROR "Open of /proc/zynov failed; error = 13\n");
        script.open_error = 0;
    }
}

// Who may do what, by hand: the first row that fits a cell holds. @ is the identity, as it is written in reports.
TEST_F(Engine, PermitsWhatTheMatrixSays)
{
    script.groups = {{"root", 0}, {"staff", 100}, {"wheel", 7}};
    script.gid = 100;
    script.descriptor = 0; // as good as any
    const struct {
        char letter;
        const char *text, *kinds; // that it resolves as
        int number;
    } identities[] = {{'n', "bob", "1", 1001},  {'#', "1001", "1", 1001}, {'a', "alice", "1", 1000},
                      {'r', "root", "12", 0},   {'g', "staff", "2", 100}, {'h', "wheel", "2", 7},
                      {'p', "4343", "3", 4343}, {'q', "4242", "3", 4242}};
    const struct {
        const char *callers, *operations, *counts, *kinds, *who; // root or ordinary; 3 below 0; Ten and Eleven
        int result;
        std::string text;
        char sends; // a command for each identity, One or none
    } rows[] = {
        {"ro", "09", "012TE", "01234", "n#arghpq", 801, "", '0'},
        {"ro", "-12345678", "E", "01234", "n#arghpq", 804, "", '0'},
        {"o", "12", "0", "01234", "n#arghpq", 0, "@ has been ", '1'},
        {"r", "1", "0", "01234", "n#arghpq", 0, "@ has been ", '1'},
        {"r", "2", "0", "01234", "n#arghpq", 814, ERROR "User root does not have a virtual clock\n", '0'},
        {"o", "3", "0", "01234", "n#arghpq", 0, "ovuser: Requested Orvane users have been listed above.\n", '1'},
        {"ro", "-12345678", "12T", "04", "n#arghpq", 805, "", '0'},
        {"ro", "-12345678", "12T", "1", "ghpq", 806, ERROR "incorrect/non-existent username, or uid $ passed in\n",
         '0'},
        {"ro", "-12345678", "12T", "2", "n#apq", 806, ERROR "incorrect/non-existent groupname, or gid $ passed in\n",
         '0'},
        {"ro", "-12345678", "12T", "3", "n#argh", 806, ERROR "incorrect/non-existent process id $ passed in\n", '0'},
        {"ro", "1", "12T", "12", "r", 815, ERROR "uid '0' (root user) or gid '0' (root group) is not allowed\n", '0'},
        {"o", "-12345678", "2T", "123", "n#arghpq", 811, not_for_others, '0'},
        {"o", "12", "1", "1", "ar", 811, not_for_others, '0'},
        {"o", "12", "1", "2", "rgh", 811, not_for_others, '0'},
        {"o", "3", "1", "1", "ar", 811, ERROR "Non-root user can not list other OV users.\n", '0'},
        {"o", "3", "1", "123", "n#rghpq", 0, "ovuser: Requested Orvane users have been listed above.\n", '1'},
        {"o", "4", "01", "01234", "n#arghpq", 811, ERROR "Only root can reset all the OV users.\n", '0'},
        {"r", "2", "12T", "12", "r", 814, ERROR "User root does not have a virtual clock\n", '0'},
        {"ro", "12", "12T", "123", "n#aghpq", 0, "@ has been ", 'c'},
        {"r", "3", "012T", "01234", "n#arghpq", 0, "ovuser: All Orvane users have been listed above.\n", '1'},
        {"r", "4", "012T", "01234", "n#arghpq", 0,
         REPORT "All Orvane users have been reset to the system clock successfully.\n", '1'},
        {"ro", "-5678", "012T", "01234", "n#arghpq", 0, "", '0'},
    };
    script.kernel = [](unsigned long, zynov_iov &record) { return record.speed = -1, 0; };
    for (size_t cell = 0; cell < 2 * 11 * 5 * 5 * 8; ++cell) {
        const char caller = "ro"[cell % 2], operation = "-0123456789"[cell / 2 % 11], count = "012TE"[cell / 22 % 5];
        const char kind = "01234"[cell / 110 % 5];
        const auto &identity = identities[cell / 550];
        SCOPED_TRACE((std::string{caller, operation, count, kind, identity.letter}));
        const auto has = [](const char *set, char member) { return strchr(set, member) != nullptr; };
        const auto *row = std::find_if(std::begin(rows), std::end(rows), [&](const auto &r) {
            return has(r.callers, caller) && has(r.operations, operation) && has(r.counts, count) &&
                   has(r.kinds, kind) && has(r.who, identity.letter);
        });
        ASSERT_NE(row, std::end(rows));

        ov_request request = make_request("add");
        request.operation = operation == '-' ? -3 : operation - '0';
        request.id_count = count == 'T' ? 10 : count == 'E' ? 11 : count - '0';
        std::fill_n(request.id_kind, 10, kind - '0');
        std::fill_n(request.id_text, 10, identity.text);
        script.uid = caller == 'r' ? 0 : 1001;
        const bool oneself = count == '0';
        std::string text = row->text;
        if (text[0] == '@') {
            text = std::string(1, oneself ? 'u' : "?ugp?"[kind - '0']) + "id " +
                   std::to_string(oneself ? static_cast<int>(script.uid) : identity.number) + text.substr(1);
            text = operation == '1' ? "ovuser: " + text + "added with a Running virtual clock: " + christmas
                                    : REPORT "Virtual clock for " + text + "deleted\n";
        } else if (const size_t at = text.find('$'); at != std::string::npos) {
            text.replace(at, 1, identity.text);
        }
        const Outcome outcome = run(script, request);
        EXPECT_EQ(outcome.result, row->result);
        EXPECT_EQ(outcome.message, text);
        EXPECT_EQ(script.sent.size(), row->sends == 'c' ? static_cast<size_t>(request.id_count) : row->sends - '0');
        for (const auto &[command, record] : script.sent) {
            const bool deletes = command == 0x40505303;
            const uint64_t sent_kind = deletes ? static_cast<uint64_t>(record.vtime) : record.flags;
            EXPECT_TRUE(
                caller == 'r' || command == 0xC0505306 ||
                ((deletes || command == 0xC0505302) && (sent_kind == 3 || (sent_kind == 1 && record.id == 1001))));
        }
    }
}

TEST_F(Engine, SendsTheRecordByteForByte)
{
    script.host_name = "cafe-server\n";
    script.kernel = [](unsigned long, zynov_iov &record) {
        record.slot = 77, record.kernel_error = 5, record.base = -1, record.spare = 3; // to be sent back
        record.vtime += 60;                                                            // to be reported
        return 0;
    };
    ov_request request = make_request("add u:1000 g:staff");
    request.speed = -60;
    request.rewind = 2;
    request.rel_mode = 1;
    request.rel_origin = "4294967290x";
    zynov_iov first = {171, 0, 0, 77, 1924419600, 0x201, -60, 0, -6, 0, 0xcafe};
    zynov_iov second = {171, 77, 5, 100, 1924419600, 0x202, -60, -1, -6, 3, 0xcafe};
    const auto expect_sent = [&](unsigned long command, const std::vector<zynov_iov> &records) {
        ASSERT_EQ(script.sent.size(), records.size());
        for (size_t i = 0; i < records.size(); ++i) {
            EXPECT_EQ(script.sent[i].first, command);
            EXPECT_EQ(memcmp(&script.sent[i].second, &records[i], 80), 0) << "record " << i;
        }
    };
    const Outcome added = run(script, request);
    EXPECT_EQ(added.out, "ovuser: uid 77 has been added with a 60 times slower virtual clock: "
                         "Wed Dec 25 09:01:00 2030\n        The date will rewind at midnight.\n");
    EXPECT_EQ(added.result, 0);
    expect_sent(0xC0505302, {first, second});

    // The mode goes with relative values only, sign and all.
    request.time_form = 0;
    request.rel_mode = request.rewind = -1;
    request.rel_origin = "1000000";
    run(script, request);
    first.flags = 0xfffffffffffffff1, second.flags = 0xfffffffffffffff2;
    first.vtime = second.vtime = first.origin = second.origin = 1000000;
    expect_sent(0xC0505302, {first, second});

    script.kernel = answers({{0, 0}});
    run(script, make_request("delete g:100 p:4242"));
    expect_sent(0x40505303, {{171, 0, 0, 5, 2, 0, 0, 0, 0, 0, 0xcafe}, {171, 0, 0, 4242, 3, 0, 0, 0, 0, 0, 0xcafe}});
    for (const auto &[name, id] : std::map<const char *, uint64_t>{{"3f4e5a6b7c8d", 0x3f4e5a6b7c8d},
                                                                   {"web-1", 0},
                                                                   {"", 0},
                                                                   {"-1", UINT64_MAX},
                                                                   {"fffffffffffffffff", UINT64_MAX}}) {
        script.host_name = name;
        run(script, make_request("reset"));
        expect_sent(0x40505305, {{171, 0, 0, 0, 0, 0, 0, 0, 0, 0, id}});
    }
}

TEST_F(Engine, ReadsStaleErrorsAndKeepsPendingMessages)
{
    script.host_name = "1";
    // Printed between identities: a refusal on standard error, only what is pending.
    script.kernel = answers({{-1, EPERM}, {0, 0}});
    Outcome outcome = run(script, make_request("add u:alice u:bob"), "pending\n");
    EXPECT_EQ(outcome.err, "pending\n");
    EXPECT_EQ(outcome.message, "ovuser: uid 1001 has been added with a Running virtual clock: " + christmas);
    // An explanation does not displace what is there, a report does.
    EXPECT_EQ(run(script, make_request("reset"), "pending\n").message, "pending\n");
    script.kernel = answers({{-1, EINVAL}});
    EXPECT_EQ(run(script, make_request("add u:bob"), "pending\n").message, "pending\n");
    script.kernel = answers({{-1, EOVERFLOW}});
    EXPECT_EQ(run(script, make_request("add u:bob"), "pending\n").message, "pending\n");
    script.kernel = answers({{0, EPERM}});
    EXPECT_EQ(run(script, make_request("list"), "pending\n").message,
              "ovuser: All Orvane users have been listed above.\n");
    // Done, with an error number in the record, and no memory for the report.
    script.no_messages = true;
    script.kernel = answers({{0, 0}}, 5);
    outcome = run(script, make_request("add u:alice"), "pending\n");
    EXPECT_EQ(outcome.result, OV_KERNEL_ERROR);
    EXPECT_EQ(outcome.message, "");
    script.kernel = answers({{0, ENODATA}}, 5);
    EXPECT_EQ(run(script, make_request("add u:alice")).result, 0);
    script.no_messages = false;
    // A success is taken for a mismatch when EILSEQ is left from before; then slots 0 to 999 are walked.
    script.kernel = answers({{0, EILSEQ}});
    outcome = run(script, make_request("list"));
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(script.sent.size(), 1001u);
    EXPECT_EQ(outcome.err, "ovuser: error: Orvane kernel module not installed properly or version mismatch(Invalid or "
                           "incomplete multibyte or wide character).\n");
}

static const char table_head[] = "ovuser: report: Listing all virtual clocks:\n"
                                 "Id         Clock type                Clock date/time\n";

TEST_F(Engine, ListsWhatTheCallerMaySee)
{
    setenv("TZ", "PST8", 1);
    tzset();
    const std::string christmas = "Wed Dec 25 01:00:00 2030\n";
    constexpr int64_t nine = 1924419600, odd = 300LL << 32;
    script.users["someone-with-a-long-name"] = 5;
    script.users["UNKNOWN"] = 6;
    std::vector<zynov_iov> table = {
        {171, 0, 0, 1000, nine, 1 | 1ULL << 36, 1, 0, 0, 0, 0},
        {171, 0, 0, odd + 100, nine, 2, -4, 0, 0, 0, 0},
        {171, 0, 0, 4242, nine, 3, INT_MIN, 0, 0, 0, 0},
        {171, 0, 0, 4343, nine, 3, 0, 0, 0, 0, 0},
        {171, 0, 0, 9999, nine, 3, 1, 0, 0, 0, 0},                     // has ended
        {171, 0, 0, 1001, nine, 0x101, 1001, INT64_MAX, 1, 0, 0},      // the date wraps around, out of sight
        {171, 0, 0, 5, nine, 0x11, odd + 1000, 253402329599, 1, 0, 0}, // capped
        {171, 0, 0, 5, INT64_MAX, 1, -1, 0, 0, 0, 0},                  // no such date
        {171, 0, 0, 6, nine, 1, 1, 0, 0, 0, 0},                        // a user by the name of UNKNOWN
        {171, 0, 0, 31, nine, 1, 1, 0, 0, 0, 0},                       // no such user
        {171, 0, 0, 1000, nine, 1, 1, 0, 0, 0, 7},                     // another container
        {171, 0, 0, 1000, nine, 4, 1, 0, 0, 0, 0},                     // unknown kind
        {171, 0, 0, 0, nine, 1, 1, 0, 0, 0, 0},                        // free
    };
    size_t failing = 99;
    script.kernel = [&](unsigned long command, zynov_iov &record) {
        EXPECT_TRUE(record.version == 171 && record.id == 0 && record.container_id == 0);
        errno = ENOENT;
        if (command == 0xC0505306) {
            record.speed = odd + static_cast<int64_t>(table.size()) - 1;
            return 0;
        }
        EXPECT_EQ(command, 0xC0505304ul);
        const size_t slot = record.slot;
        record = table[slot];
        return slot == failing ? -9 : 0;
    };
    const std::string rows = "u:alice    Running                   " + christmas + "\n" +
                             "g:staff    4 times slower            " + christmas + "\n" +
                             "p:4242     -2147483648 times slower  " + christmas + "\n";
    Outcome outcome = run(script, make_request("list"));
    EXPECT_EQ(outcome.out, table_head + rows + "p:4343     Frozen                    " + christmas + "\n" +
                               "u:bob      FROZEN                    Sun Dec 31 01:00:00 1899\n\n"
                               "u:someone-with-a-long-name 1000 times faster         Fri Dec 31 01:00:00 9999\n\n"
                               "u:someone-with-a-long-name Running                   (null)\n- End of list -\n");
    EXPECT_EQ(outcome.message, "ovuser: All Orvane users have been listed above.\n");

    script.uid = 1000;
    script.gid = 100;
    failing = 2; // still shown, and the end
    outcome = run(script, make_request("list g:staff"));
    EXPECT_EQ(outcome.out, "ovuser: report: Listing requested virtual clock:\n"
                           "Id         Clock type                Clock date/time\n" +
                               rows + "- End of list -\n");
    EXPECT_EQ(outcome.result, -9);
    failing = 99;
    outcome = run(script, make_request("list"));
    EXPECT_EQ(outcome.message, "ovuser: Requested Orvane users have been listed above.\n");
    EXPECT_EQ(outcome.out.find("p:4343"), std::string::npos);

    table.clear();
    script.uid = 0;
    EXPECT_EQ(run(script, make_request("list")).out, table_head + std::string("- End of list -\n"));
}

// For any request, any answer and any call that fails: the control file is closed, the result is a known one,
// and the message is one of the engine's.
static void expect_documented(const Outcome &outcome)
{
    static constexpr char texts[] =
        "^(ovuser: (uid [0-9]+ already has a virtual clock|[ugp]id [0-9]+ has been added with a .* "
        "virtual clock: .*|(All|Requested) Orvane users have been listed above\\.|report: (Virtual "
        "clock for [ugp]id [0-9]+ has been deleted|All Orvane users have been reset to the system "
        "clock successfully\\.)|warning: (Specified id does not have a virtual clock|Reset Orvane "
        "completed with no entry in it\\.)|error: (User root does not have a virtual clock|"
        "incorrect/non-existent .* passed in|uid '0' .* is not allowed|Non-root user can not .*|"
        "Only root can reset .*|wrong parameters for speed: .*|parse (virtual|relative) clock error|"
        "Illegal virtual clock, .*|Illegal time value for .*|Open of /proc/zynov failed; error = "
        "[0-9]+|an error occurred while executing this request, error = [0-9]+|OV kernel module "
        "reported error = [0-9]+))(\n|\\(null\\)))?$";
    static const struct Texts {
        Texts() { EXPECT_EQ(regcomp(&compiled, texts, REG_EXTENDED | REG_NOSUB), 0); }
        ~Texts() { regfree(&compiled); }
        regex_t compiled;
    } known;
    const bool refusal = outcome.result >= 801 && outcome.result <= 815;
    EXPECT_TRUE(refusal || (outcome.result >= -2 && outcome.result <= 5)) << outcome.result;
    EXPECT_EQ(regexec(&known.compiled, outcome.message.c_str(), 0, nullptr, 0), 0) << outcome.message;
}

TEST_F(Engine, SurvivesTheFailureOfEachCallInTurn)
{
    script.host_name = "beef";
    script.now = 1924419600;
    script.kernel = [](unsigned long command, zynov_iov &record) {
        if (command == 0xC0505306)
            record.speed = 2;
        if (command == 0xC0505304)
            record = {171, 0, 0, 4242, 1, 3, 1, 0, 0, 0, 0xbeef};
        return 0;
    };
    std::vector<std::pair<std::string, Call>> calls = {
        {"deleteUserClock", [](char **) { return deleteUserClock("alice"); }},
        {"deleteGroupClock", [](char **) { return deleteGroupClock("100"); }}};
    for (const std::string line :
         {"add ", "add form=0 date=12252030 ", "add form=0 ", "delete ", "list ", "reset ", "6 "})
        for (const std::string &who :
             std::vector<std::string>{"", "u:alice p:4242 g:staff", "u:1000", "p:" + std::string(1100, '4')})
            calls.emplace_back(line + who, [request = make_request(line + who)](char **message) {
                return ov_process_request(&request, message);
            });
    int tried = 0;
    for (const int failure : {EIO, EEXIST, EL2HLT, EINVAL, EOVERFLOW, EILSEQ, ENODATA, ENOENT}) {
        script.failure = failure;
        for (const uid_t uid : {0u, 1000u}) {
            script.uid = uid;
            for (const auto &[name, call] : calls) {
                SCOPED_TRACE(name);
                script.failing_call = 0;
                const Outcome good = run(script, call);
                for (int n = 1; n <= good.calls; ++n, ++tried) {
                    script.failing_call = n;
                    const Outcome outcome = run(script, call);
                    EXPECT_GE(outcome.calls, n);
                    expect_documented(outcome);
                    script.failing_call = 0;
                    const Outcome next = run(script, call);
                    EXPECT_TRUE(next.result == good.result && next.message == good.message) << next.message;
                }
            }
        }
    }
    std::cout << tried << " failures tried\n";
}

TEST_F(Engine, ShortcutsFoldResultsIntoClasses)
{
    script.kernel = answers({{-1, EL2HLT}, {0, 0}});
    EXPECT_EQ(deleteUserClock("alice"), 4);
    EXPECT_EQ(deleteGroupClock("staff"), 0);
    EXPECT_EQ(script.sent[1].second.vtime, OV_GROUP);
    EXPECT_EQ(deleteUserClock(nullptr), 2);
    EXPECT_EQ(deleteUserClock("root"), 4);
    script.uid = 1000;
    EXPECT_EQ(deleteGroupClock("staff"), 5);
    EXPECT_EQ(script.sent.size(), 2u);
    const int classes[] = {5, 2, 2, 2, 2, 2, 1, 3, 4, 4, 5, 5, 5, 4, 2, 5}; // 801 to 816
    for (int code = 801; code <= 816; ++code)
        EXPECT_EQ(check_rc(code), classes[code - 801]) << code;
    EXPECT_TRUE(check_rc(0) == 0 && ov_process_request(nullptr, nullptr) == 801 && check_rc(-1) == 5 &&
                check_rc(INT_MIN) == 5 && check_rc(INT_MAX) == 5);
}

TEST_F(Engine, ResolvesIdentities)
{
    const struct {
        const char *text;
        int kind;
        int64_t number; // -1: refused
    } cases[] = {
        {"root", 1, 0},     {"0", 1, 0},      {"1000", 1, 77},  {"", 1, 0},       {" 1000", 1, 1000},
        {"+1000", 1, 1000}, {"-1", 1, -1},    {"1000x", 1, -1}, {"1000 ", 1, -1}, {"31", 1, -1},
        {"staff", 2, 100},  {"100", 2, 5},    {"alice", 2, -1}, {"1", 3, 1},      {"4294967297", 3, 1},
        {"-5", 3, -1},      {"", 3, -1},      {"31", 3, -1},    {"root", 3, -1},  {"root", 0, -1},
        {"root", 4, -1},    {nullptr, 1, -1},
    };
    for (const auto &c : cases) {
        uint32_t number = 0xdead;
        EXPECT_EQ(parse_uid(c.text, c.kind, &number), c.number < 0 ? -1 : 0) << c.text;
        EXPECT_EQ(number, c.number < 0 ? 0xdead : c.number) << c.text;
    }
    EXPECT_STREQ(get_username(1, 1000), "alice");
    EXPECT_STREQ(get_username(2, 31), "UNKNOWN");
    EXPECT_STREQ(get_username(7, 0xffffffff), "-1");
    script.users[std::string(5000, 'n')] = 1234;
    EXPECT_EQ(strlen(get_username(1, 1234)), 1023u);
    EXPECT_STREQ(id_string(1), "username, or uid");
    EXPECT_STREQ(id_string(0), "unknown id");
    EXPECT_STREQ(id_string(4), "unknown id");
    EXPECT_EQ(ov_get_num_from_cmd("echo ' 42 7'"), 42);
    EXPECT_EQ(ov_get_num_from_cmd("echo none; exit 3"), -2);
    EXPECT_EQ(ov_get_num_from_cmd(nullptr), -1);
    EXPECT_EQ(zynov_reset_vc(), 0);
}

TEST_F(Engine, PrintsTheBanner)
{
    const auto header = [](const char *path) {
        testing::internal::CaptureStdout();
        const int length = print_header(path);
        const std::string text = testing::internal::GetCapturedStdout();
        EXPECT_EQ(text.substr(text.size() - static_cast<size_t>(length)).find("Orvane "), 0u);
        return text;
    };
    EXPECT_EQ(header("/none/ovuser"), "Copyright (c) 1997-2012 Orvane. All rights reserved.\n"
                                      "Orvane ovuser utility version 12.10R6 for Linux Kernel 2.6 or up,\n");
    EXPECT_NE(header("/none/").find("\nOrvane  utility version"), std::string::npos);
    EXPECT_EQ(header("/proc/1/status").substr(0, 23), "Copyright (c) 1997-2012");
    EXPECT_EQ(header(nullptr), header(""));
}
