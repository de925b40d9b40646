// Who may do what, and who sees which clocks.
#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstring>

#include "tests/engine.h"

static const std::string unknown = "error: incorrect/non-existent ",
                         own_listed = "Requested Orvane users have been listed above.";
static const std::string no_clock = "error: User root does not have a virtual clock";
static const std::string reset = "report: All Orvane users have been reset to the system clock successfully.";
static const char *const any = "n#arghpq", *const valid = "-12345678";

// The first row that matches holds. {"o", "12", "1", "2", "#rgh", 811, ...}: an ordinary caller who adds or deletes (1,
// 2) the clock of one group (2) is refused, if the text names a group. In messages, @ is the report and $ the text.
static const struct Right {
    const char *callers, *operations, *counts, *kinds, *who; // root or ordinary; - below 0; Ten and Eleven
    int result;
    std::string text;
    char sends; // a Command for each identity, 1 or none; - before the control file is opened
} rights[] = {
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

class EnginePermission : public Engine
{
  protected:
    void expect_preview(const ov_request &request, int result, const std::string &message)
    {
        int64_t value = 0;
        const Outcome preview = run([&](char **slot) { return ov_preview_request(&request, &value, slot); });
        EXPECT_EQ(preview.result, result);
        EXPECT_EQ(preview.message, message);
        EXPECT_EQ(script.opened, 0);
        EXPECT_EQ(value != 0, request.operation == OV_ADD && result == OV_OK);
    }
};

static const std::tuple<char, const char *, int> identities[] = {
    {'n', "bob", 1001},  {'#', "1001", 1001},  {'a', "alice", 1000}, {'r', "root", 0},
    {'g', "staff", 100}, {'h', "wheel", 1001}, {'p', "4343", 4343},  {'q', "4242", 4242}};

TEST_F(EnginePermission, FollowsTheMatrix)
{
    script.groups = {{"root", 0}, {"staff", 100}, {"wheel", 1001}}; // the last by the number of the user
    script.gid = 100;
    script.descriptor = 0; // valid, too
    static const unsigned long commands[] = {0xC0505302, 0x40505303, 0xC0505306, 0x40505305};
    script.kernel = [](unsigned long, zynov_iov &record) { return record.speed = -1, 0; };
    for (size_t cell = 0; cell < 2 * 11 * 5 * 5 * 8; ++cell) {
        const char caller = "ro"[cell % 2], operation = "-0123456789"[cell / 2 % 11], count = "012TE"[cell / 22 % 5];
        const char kind = "01234"[cell / 110 % 5];
        const auto &[letter, identity, number] = identities[cell / 550];
        SCOPED_TRACE((std::string{caller, operation, count, kind, letter}));
        const auto *row = rights;
        while (!strchr(row->callers, caller) || !strchr(row->operations, operation) || !strchr(row->counts, count) ||
               !strchr(row->kinds, kind) || !strchr(row->who, letter))
            ASSERT_NE(++row, std::end(rights));

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
            if (operation <= '2') {
                EXPECT_EQ(record.id, id);
                EXPECT_EQ(operation == '1' ? static_cast<int64_t>(record.flags) : record.vtime, kind_sent);
            }
        }
        // A preview refuses what the request refuses, and opens nothing.
        const bool refused = row->sends == '-' || row->result == OV_NOT_PERMITTED;
        expect_preview(request, refused ? row->result : OV_OK, refused ? said(text) : "");
    }
}

static constexpr int64_t odd = 300LL << 32;

static const std::vector<zynov_iov> listed = {
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

TEST_F(Engine, ListsWhatTheCallerMaySee)
{
    set_zone("PST8");
    script.users["someone-with-a-long-name"] = 5;
    script.users["UNKNOWN"] = 6;
    std::vector<zynov_iov> table = listed;
    size_t failing = 99;
    script.kernel = [&](unsigned long command, zynov_iov &record) {
        EXPECT_EQ(record.version, 171u);
        EXPECT_EQ(record.id, 0);
        EXPECT_EQ(record.container_id, 0u);
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

// Steps through a table. Slot 99 stands for the first question, the high mark.
class EngineSteps : public Engine
{
  protected:
    EngineSteps()
    {
        script.statuses = {{4242, "Name:\tUid: 5\nUid:\t7\t1000\t8\nGid:\t7\t100\t8\n"}, {4343, "2"}, {4444, "5"}};
        script.kernel = [this](unsigned long command, zynov_iov &record) {
            EXPECT_EQ(record.version, 171u);
            EXPECT_EQ(record.id, 0);
            errno = EPROTO;
            if (command == 0xC0505306)
                return record.speed = odd + high_mark, failing == 99 ? 7 : 0;
            record = table[record.slot];
            return static_cast<int>(record.slot) == failing ? 7 : 0;
        };
    }

    // The rows, what the last step returned, how many were undecided, and whether the walk was begun.
    std::string walk(int uid)
    {
        std::ostringstream seen;
        ov_clock clock = {};
        const Outcome outcome = run([&](char **) {
            const int file = open("/proc/zynov", O_RDONLY);
            int step;
            while ((step = ov_next_clock(file, uid, &clock)) == 1)
                seen << "?ugp"[clock.kind] << clock.id << ' ' << clock.name << ' ' << clock.named << ' ' << clock.slot
                     << ' ' << clock.value << ' ' << clock.origin << ' ' << clock.speed << ' ' << clock.mode << ' '
                     << clock.rewind << ' ' << clock.owner << ' ' << clock.owner_group << ", ";
            EXPECT_EQ(errno, EPROTO);
            return close(file), step;
        });
        seen << outcome.out << outcome.err << outcome.result << ' ' << clock.undecided << ' ' << clock.begun;
        return seen.str();
    }

    const zynov_iov table[6] = {
        {171, 0, 0, 1000, nine, 1, -4},
        {171, 1, 0, odd + 31, nine, 2 | 1ULL << 36, odd + 60}, // of no known group
        {171, 2, 0, 4242, nine, 0x153, 0, nine, 86400},
        {171, 3, 0, 4343, nine, 3, 1},
        {171, 4, 0, 4444, nine, 3, 1},
        {171, 5, 0, 1000, nine, 1, 1, 0, 0, 0, 7}, // another container
    };
    int high_mark = 5, failing = -1;
    const std::string alice = "u1000 alice 1 0 1924419600 0 -4 0 0 -1 -1, ",
                      group = "g31 31 0 1 1924419600 0 60 0 1 -1 -1, ";
    const std::string process = "p4242 4242 0 2 1924506000 86400 0 5 1 1000 100, ",
                      unknown_owner = "p4444 4444 0 4 1924419600 0 1 0 0 -1 -1, ";
};

TEST_F(EngineSteps, LeadThroughWhatTheCallerMaySee)
{
    EXPECT_EQ(walk(0), alice + group + process + unknown_owner + "0 0 1");
    script.gid = 31;
    EXPECT_EQ(walk(1000), alice + group + process + "0 1 1");
    for (const char *hidden : {"1", "3", "13", "\nUid:\t7\t1001\nGid:\t7\t31\n"}) { // not there, or another's
        script.statuses[4444] = hidden;
        EXPECT_EQ(walk(1000), alice + group + process + "0 0 1") << hidden;
    }
    for (const char *unclear :
         {"21", "x", "\nUid:\t7\t1000\n", "\nUid:\t7\nGid:\t7\t31\n", "\nUid:\t7\t0\nGid:\t7\n"}) {
        script.statuses[4444] = unclear;
        EXPECT_EQ(walk(1000), alice + group + process + "0 1 1") << unclear;
    }
    script.host_name = "7"; // and nothing stays open
    EXPECT_EQ(walk(0), "u1000 alice 1 5 1924419600 0 1 0 0 -1 -1, 0 0 1");
    EXPECT_TRUE(script.host_names.empty());
}

TEST_F(EngineSteps, TellOfFailures)
{
    high_mark = 1;
    for (const int error : {ENOENT, ESRCH, EBADF, EPERM, EIO}) {
        script.no_entry = error;
        EXPECT_EQ(walk(0), alice + (error == EIO ? "g31 31 -1 1 1924419600 0 60 0 1 -1 -1, " : group) + "0 0 1");
    }
    failing = 1;
    EXPECT_EQ(walk(0), alice + "-1 0 1");
    failing = 99;
    EXPECT_EQ(walk(0), "-1 0 0");
}
