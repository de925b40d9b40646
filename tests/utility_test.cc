// The real ovuser on the simulator, as root and as an ordinary user, and what other programs see of their clocks.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

class Utility : public testing::Test
{
  protected:
    // A folder with the programs that an ordinary user can reach, which a build folder may not be.
    static void SetUpTestSuite()
    {
        setenv("TZ", "UTC", 1);
        setenv("SIM", "./zynov-sim --state table --shared", 1);
        setenv("NOBODY", "setpriv --reuid=65534 --regid=65534 --clear-groups", 1);
        setenv("FROZEN", "--speed frozen", 1);
        const char *checker = getenv("OVUSER_CHECKER"); // such as valgrind
        setenv("OV", ((checker != nullptr ? checker + std::string(" ") : "") + "./ovuser").c_str(), 1);
        for (const fs::path &base : {fs::path(PROGRAMS), fs::temp_directory_path()}) {
            std::string name = base / "stage.XXXXXX";
            folder = mkdtemp(name.data());
            fs::permissions(folder, fs::perms(0755));
            for (const char *program : {"ovuser", "zynov-sim", "libzynov_sim.so", "tests/probe"})
                fs::copy(fs::path(PROGRAMS) / program, folder);
            if (geteuid() != 0 || shell("$NOBODY test -r \"$PWD/ovuser\"") == "= 0")
                return;
            fs::remove_all(folder);
        }
    }
    static void TearDownTestSuite() { fs::remove_all(folder); }
    void SetUp() override
    {
        fs::remove(folder / "table");
        if (geteuid() != 0)
            GTEST_SKIP() << "needs the superuser";
    }

    static std::string contents(const fs::path &path)
    {
        std::stringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    // Runs a shell script in the folder; what it prints on standard error comes after "! ", its status last.
    static std::string shell(const std::string &script, const char *simulator = "")
    {
        std::ofstream(folder / "script") << script;
        const std::string line = "cd '" + folder.string() + "' && " + simulator + " sh ./script >out 2>err </dev/null";
        const int status = system(line.c_str());
        const std::string err = contents(folder / "err");
        return contents(folder / "out") + (err.empty() ? "" : "! " + err) + "= " + std::to_string(WEXITSTATUS(status));
    }
    static std::string simulated(const std::string &script) { return shell(script, "$SIM"); }

    static fs::path folder;
};

fs::path Utility::folder;

#define ERROR "! ovuser: error: "
#define CHRISTMAS "Wed Dec 25 09:00:00 2030\n"
#define HEADER "Id         Clock type                Clock date/time\n"

TEST_F(Utility, DoesTheDailyWork)
{
    const std::string all = "ovuser: report: Listing all virtual clocks:\n" HEADER;
    const std::string all_listed = "- End of list -\novuser: All Orvane users have been listed above.\n= 0";
    const std::pair<const char *, std::string> steps[] = {
        {"$OV list", all + all_listed},
        {"$OV add u:nobody g:2 --speed=frozen --at '2030-12-25 09:00'",
         "ovuser: uid 65534 has been added with a Frozen virtual clock: " CHRISTMAS
         "ovuser: gid 2 has been added with a Frozen virtual clock: " CHRISTMAS "= 0"},
        {"$OV add daemon --at 122509002030 --rewind --speed -1000",
         "ovuser: uid 1 has been added with a 1000 times slower virtual clock: " CHRISTMAS
         "        The date will rewind at midnight.\n= 0"},
        {"$OV add g:2 --epoch 1924419600", "ovuser: uid 2 already has a virtual clock\n= 0"},
        {"$OV list", all +
                         "u:nobody   Frozen                    " CHRISTMAS "\n"
                         "g:bin      Frozen                    " CHRISTMAS "\n"
                         "u:daemon   1000 times slower         " CHRISTMAS "\n" +
                         all_listed},
        {"$OV list | awk '$1 ~ /^[ugp]:/ { print $1, $2, NF, $NF, $(NF-3) }'",
         "u:nobody Frozen 7 2030 Dec\ng:bin Frozen 7 2030 Dec\nu:daemon 1000 9 2030 Dec\n= 0"},
        {"$NOBODY $OV list", "ovuser: report: Listing requested virtual clock:\n" HEADER
                             "u:nobody   Frozen                    " CHRISTMAS "\n"
                             "- End of list -\novuser: Requested Orvane users have been listed above.\n= 0"},
        {"$NOBODY $OV delete", "ovuser: report: Virtual clock for uid 65534 has been deleted\n= 0"},
        {"$NOBODY $OV delete", "! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {"$NOBODY $OV add p:1 --at 2030-12-25T09:00",
         "ovuser: pid 1 has been added with a Running virtual clock: " CHRISTMAS "= 0"},
        {"$OV delete daemon u:root", ERROR "User root does not have a virtual clock\n= 4"},
        {"$OV reset", "ovuser: report: All Orvane users have been reset to the system clock successfully.\n= 0"},
        {"$OV reset", "ovuser: warning: Reset Orvane completed with no entry in it.\n= 0"},
        {"$OV add bin --epoch 32399", ERROR "Illegal virtual clock, must not be before Thu Jan 1 01:00:00 1970\n"
                                            "you specified Thu Jan  1 08:59:59 1970\n\n= 5"},
        {"$OV add bin -X 2030-12-32 --dry-run; $OV add bin --at '2030-12-25 09:00x'",
         ERROR "Illegal virtual clock, invalid days with regard to month\novuser: error: Illegal virtual clock, "
               "invalid date format\n= 4"},
        {"$OV delete a b c d e f g h i j k", ERROR "too many identities, a request takes at most 10\n= 2"},
        {"$OV add bin --speed 1001 --in 1d", ERROR "wrong parameters for speed: 1001, it must be an integer and "
                                                   "belongs to  [-1000, 1000].\n= 3"},
        {"for n in 5s '' 9223372036854775808; do $OV add bin --days \"$n\" 2>&1 | tail -c 9; $OV add bin --epoch "
         "\"$n\" 2>&1 | tail -c 9; done; $OV add bin --days 2147483648 2>&1 | tail -c 9",
         "not '5s'\nnot '5s'\n, not ''\n, not ''\n4775808'\n4775808'\n7483648'\n= 0"},
        {"$OV add bin --epoch 0 --dry-run", ERROR "parse virtual clock error\n= 4"},
        {"$OV add bin", ERROR "add needs a time; 'ovuser add --help' lists the ways to give it\n= 2"},
        {"$OV add bin --days 1 -X 12252030; $OV add bin --days 1 --days 2; $OV add bin -o 1 --at 1",
         ERROR "--days and --date cannot be given together\novuser: error: --days and --days cannot be given "
               "together\novuser: error: --origin and --at cannot be given together\n= 2"},
        {"for s in '1d 1d' '' 5 d 2147483648d; do $OV add bin --in \"$s\" 2>&1 | tail -c 5; done",
         " 1d'\nt ''\n '5'\n 'd'\n48d'\n= 0"},
        {"$OV add bin --nonsense 2>&1; $OV delete --nonsense",
         "ovuser: error: unrecognized option '--nonsense'\n" ERROR "unrecognized option '--nonsense'\n= 2"},
        {"$OV nonsense", ERROR "nonsense is not a subcommand; 'ovuser --help' lists them\n= 2"},
        {"$OV reset bin", ERROR "reset takes no identities\n= 2"},
        {"$NOBODY $OV delete bin || $NOBODY $OV reset", // what is refused is said on standard error alone
         ERROR "Non-root user can not modify OV setting for others.\n"
               "ovuser: error: Only root can reset all the OV users.\n= 5"},
        {"$OV add bin -o 100000 --offset --in '-1d +1h' --dry-run; $OV delete bin",
         "ovuser: report: The virtual clock would be set to Thu Jan  1 04:46:40 1970 (17200 seconds since the epoch)\n"
         "! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {"$OV add bin --days -1 --hours 1 --minutes 60 -o 1000000",
         "ovuser: uid 2 has been added with a Running virtual clock: Sun Jan 11 15:46:40 1970\n= 0"},
        {"$OV add none --days 1 --dry-run", ERROR "incorrect/non-existent username, or uid none passed in\n= 2"},
        {"$OV add bin --years -60 --dry-run", ERROR "Illegal virtual clock, invalid year[1970 ~ 9999]\n= 4"},
        {"$SIM --fault 1:-1:5 $OV delete bin", ERROR "an error occurred while executing this request, error = 5\n= 5"},
        {"$SIM --fault 1 true", "! zynov-sim: 1: not a fault script\n= 125"},
        {"$SIM none; $SIM ./table",
         "! zynov-sim: none: No such file or directory\nzynov-sim: ./table: Permission denied\n= 126"},
        {"$SIM none 2>&-", "= 127"},
        {"$OV add ux --days 1 --dry-run", ERROR "incorrect/non-existent username, or uid ux passed in\n= 2"},
        {"$SIM --fault 1:-1:2 $OV delete bin", ERROR "the request was not carried out, result = -1\n= 5"},
        // A descriptor that was inherited and dup'ed is as good, and any other is none of the simulator's.
        {"exec 7</proc/zynov 8</dev/null; perl -e '$r = pack(q(Qx72), 171); open(F, q(<&7)); open(G, q(<&8));"
         "ioctl(F, 0xC0505306, $r); print unpack(q(x40q), $r); ioctl(G, 0xC0505306, $r) or print qq( $!\n)'",
         "0 Inappropriate ioctl for device\n= 0"},
    };
    for (const auto &[script, expected] : steps)
        EXPECT_EQ(simulated(script), expected) << script;
    EXPECT_EQ(shell("./ovuser list"), ERROR "Open of /proc/zynov failed; error = 2\n= 5");
    EXPECT_EQ(shell("touch -ad 2040-06-01 dated; perl -e 'exec { q(./ovuser) } qw(./dated --version)'"),
              "Copyright (c) 1997-2040 Orvane. All rights reserved.\n"
              "Orvane dated utility version 12.10R6 for Linux Kernel 2.6 or up,\n= 0");
    EXPECT_EQ(shell("./ovuser").find("! usage: ovuser SUBCOMMAND"), 0u);
    for (const char *word : {"", "add", "delete", "list", "reset"})
        EXPECT_EQ(shell(std::string("./ovuser ") + word + " --help").find("usage: ovuser "), 0u);
}

TEST_F(Utility, RefusesATableThatIsNone)
{
    simulated("true");
    const std::string good = contents(folder / "table");
    std::string newer = good;
    newer[8] = 2;
    const std::pair<std::string, const char *> broken[] = {{"", "truncated"},
                                                           {good.substr(0, 1000), "truncated"},
                                                           {std::string(good.size(), '?'), "not a clock table"},
                                                           {newer, "a clock table of another version"},
                                                           {good + "x", "too long for a clock table"}};
    for (const auto &[bytes, flaw] : broken) {
        std::ofstream(folder / "table") << bytes;
        EXPECT_EQ(simulated("$OV list"), "! zynov-sim: table: " + std::string(flaw) + "\n= 125");
        EXPECT_EQ(shell("LD_PRELOAD=./libzynov_sim.so ZYNOV_SIM_STATE=table ./ovuser add --in 1d"),
                  ERROR "Open of /proc/zynov failed; error = 74\n= 5");
        EXPECT_EQ(contents(folder / "table"), bytes);
    }
    fs::remove(folder / "table");
    fs::create_symlink("elsewhere", folder / "table");
    EXPECT_EQ(simulated("true"), "! zynov-sim: table: is a symbolic link\n= 125");
    EXPECT_FALSE(fs::exists(folder / "elsewhere"));
    EXPECT_EQ(shell("mkdir -m 700 run; XDG_RUNTIME_DIR=$PWD/run ./zynov-sim true; stat -c %a run/*"), "600\n= 0");
    EXPECT_EQ(shell("./zynov-sim --state private sh -c '$NOBODY $OV list'; ./zynov-sim --state private --shared "
                    "$NOBODY $OV list >/dev/null"),
              ERROR "Open of /proc/zynov failed; error = 13\n= 0");
}

TEST_F(Utility, StandsHostileSurroundings)
{
    const std::string zeros(1000, '0'); // a name of digits, which is not the number of root
    const std::string added = " has been added with a Frozen virtual clock: " CHRISTMAS;
    const std::string one_row = "ovuser: report: Listing requested virtual clock:\n" HEADER
                                "u:nobody   Frozen                    " CHRISTMAS "\n- End of list -\n"
                                "ovuser: Requested Orvane users have been listed above.\n";
    const std::string steps[][2] = {
        {"$OV list >/dev/full", ERROR "standard output: No space left on device\n= 5"},
        {"$OV list >&-", ERROR "standard output: Bad file descriptor\n= 5"},
        {"./ovuser delete bin <&- >&- 2>&-; echo $?; ./ovuser add nobody --at 122509002030 $FROZEN <&- 2>&-",
         "4\novuser: uid 65534" + added + "= 0"},
        {"env -i ${ASAN_OPTIONS+ASAN_OPTIONS=$ASAN_OPTIONS} $SIM $OV add bin --at 122509002030 $FROZEN",
         "ovuser: uid 2" + added + "= 0"},
        {"TZ=:::/x $OV delete bin; TZ=$(printf %70000d 0) $OV add bin --at 122509002030 $FROZEN",
         "ovuser: report: Virtual clock for uid 2 has been deleted\novuser: uid 2" + added + "= 0"},
        {"n=$(printf %01000d 0); { cat /etc/passwd; echo $n:x:4321:1::/:/bin/sh; } >passwd; unshare -m sh -c \""
         "mount --bind passwd /etc/passwd; $OV add $n --at 122509002030 $FROZEN; $OV list | grep u:0; $OV delete $n\"",
         "ovuser: uid 4321" + added + "u:" + zeros + " Frozen                    " CHRISTMAS +
             "ovuser: report: Virtual clock for uid 4321 has been deleted\n= 0"},
        // Without the tools that tell whose a process is, its row is left out; a hand on the keyboard ends the list.
        {"$NOBODY sh -c './ovuser add p:$$ --in 1d >/dev/null; PATH= ./ovuser list 2>/dev/null; :'", one_row + "= 0"},
        {"mkdir bin; printf '#!/bin/sh\\nread -r a b c parent rest </proc/$PPID/stat; kill -INT $parent' >bin/cat; "
         "chmod +x bin/cat; $NOBODY sh -c './ovuser add p:$$ --in 1d; PATH=$PWD/bin:$PATH ./ovuser list; echo $?; :' "
         "| tail -n 1; $OV list | grep -c u:nobody",
         "130\n1\n= 0"},
        // Another table, or none, in its place: who is attached stays with the old one.
        {"perl -e '$| = 1; system(qq(./ovuser add p:$$ --epoch 1924419600 --speed frozen; ./zynov-sim --state other "
         "true; mv other table; ./ovuser list | wc -l)); print time; system(q(echo odd >odd; mv odd table; ./ovuser "
         "list)); print time' | tail -n 2",
         "4\n19244196001924419600! ovuser: error: Open of /proc/zynov failed; error = 74\n= 0"},
    };
    for (const auto &[script, expected] : steps)
        EXPECT_EQ(simulated(script), expected) << script;
}

// Scripts that print times: those of christmas 2030 are virtual, "real" stands for the real one.
TEST_F(Utility, ShowsProgramsTheirTime)
{
    const std::string christmas = "1924419600", frozen = "--epoch " + christmas + " --speed frozen >/dev/null; ";
    const auto each_call = [](const std::string &time) {
        return time + " " + time + " " + time + " " + time + " " + time + " 1\n= 0";
    };
    const std::string perl =
        "perl -e '$| = 1; $add = q(./ovuser add ), $of = qq( --epoch " + christmas + " --speed frozen >/dev/null); ";
    const std::pair<std::string, std::string> steps[] = {
        {"./probe", each_call("real")},
        {"$OV add g:65534 " + frozen + "./probe", each_call("real")},
        {"$NOBODY ./probe", each_call(christmas)},
        {"$OV add u:65534 --epoch 1924419601 --speed frozen >/dev/null; $NOBODY ./probe", each_call("1924419601")},
        {"$NOBODY sh -c './ovuser delete >/dev/null; ./ovuser add p:$$ --epoch 1924419602 --speed -2 >/dev/null;  "
         "./ovuser add --epoch 1924419601 --speed frozen >/dev/null; sleep 0.01; exec ./probe'",
         each_call("1924419602")},
        {"$NOBODY date +%s; date +%s", "1924419601\nreal\n= 0"},
        {"$OV reset >/dev/null; $NOBODY ./probe", each_call("real")},
        // A running program whose clock comes and goes; its child has none; another user has another.
        {perl + "print time; system($add . qq(p:$$) . $of); print q( ), time; if (!fork) { print q( ), time; exit }"
                " wait; system(qq(./ovuser delete p:$$ >/dev/null)); print q( ), time;"
                " system($add . q(u:65534) . $of); $> = 65534; print q( ), time; $> = 0; print q( ), time'",
         "real " + christmas + " real real " + christmas + " real= 0"},
        // A group's, and one in another container.
        {perl + "system($add . q(g:65534) . $of); $) = 65534; print time'", christmas + "= 0"},
        {"$OV reset >/dev/null; exec 7</proc/zynov; perl -e '$r = pack(q(Qx8qqQqx24Q), 171, 65534, 99999, 1, 1, 5);"
         "open(F, q(<&7)); ioctl(F, 0xC0505302, $r) or print $!'; $NOBODY ./probe",
         each_call("real")},
        // Under a storm of changes, one or the other, and nothing else.
        {"(for i in 1 2 3 4 5 6 7 8 9; do ./ovuser add u:65534 " + frozen +
             "./ovuser delete u:65534; done) >/dev/null &"
             "$NOBODY perl -e 'for (1 .. 300000) { $t = time; $t == " +
             christmas +
             " || $t < 1900000000 or $odd++ }"
             " print $odd + 0'; wait",
         "0= 0"},
        {perl +
             "$of =~ s/frozen/60/; system($add . qq(p:$$) . $of); select(undef, undef, undef, 0.25);"
             " print time >= " +
             christmas + " + 15 && time < " + christmas + " + 600 ? q(fast) : time'",
         "fast= 0"},
        {perl + "$of =~ s/frozen/-60/; system($add . qq(p:$$) . $of); select(undef, undef, undef, 0.25); print time'",
         christmas + "= 0"},
        // Midnight is the local one, and the date goes back there.
        {"export TZ=XXX-5:30; sh -c './ovuser add p:$$ --at 2030-12-25T23:59 --rewind --speed 1000 >/dev/null;"
         " sleep 0.2; exec date \"+%F %H\"'",
         "2030-12-25 00\n= 0"},
        // A later process by the same number: each of these is number 1 where it lives.
        {"unshare -pf --propagation unchanged --mount-proc sh -c './ovuser add p:$$ " + frozen +
             "exec date +%s'; sleep 0.1;"
             " unshare -pf --propagation unchanged --mount-proc date +%s",
         christmas + "\nreal\n= 0"},
    };
    for (const auto &[script, expected] : steps) {
        std::string seen = simulated(script);
        for (time_t now = time(nullptr) + 1, past = now - 30; past <= now; ++past)
            for (size_t at; (at = seen.find(std::to_string(past))) != std::string::npos;)
                seen.replace(at, 10, "real");
        EXPECT_EQ(seen, expected) << script;
    }
}
