// The real ovuser on the simulator, as root and as an ordinary user, and what other programs see of their clocks.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

using Steps = std::vector<std::pair<std::string, std::string>>; // a shell script, and what it prints

class Utility : public testing::Test
{
  protected:
    // A folder with the programs that an ordinary user can reach, which a build folder may not be.
    static void SetUpTestSuite()
    {
        const char *checker = getenv("OVUSER_CHECKER"); // such as valgrind
        setenv("OV", ((checker != nullptr ? checker + std::string(" ") : "") + "./ovuser").c_str(), 1);
        setenv("TZ", "UTC", 1);
        setenv("SIM", "./zynov-sim --state table --shared", 1);
        setenv("NOBODY", "setpriv --reuid=65534 --regid=65534 --clear-groups", 1);
        setenv("FREEZE", "--epoch 1924419600 --speed frozen", 1); // christmas 2030, at nine
        std::string name = fs::temp_directory_path() / "ovuser.XXXXXX";
        folder = mkdtemp(name.data());
        fs::permissions(folder, fs::perms(0755));
        for (const char *program : {"ovuser", "zynov-sim", "libzynov_sim.so", "tests/probe"})
            fs::copy(fs::path(PROGRAMS) / program, folder);
    }
    static void TearDownTestSuite() { fs::remove_all(folder); }
    void SetUp() override
    {
        fs::remove(folder / "table");
        if (geteuid() != 0)
            GTEST_SKIP() << "needs the superuser";
    }

    // Runs a shell script in the folder; what it prints on standard error comes after "! ", its status last.
    static std::string shell(const std::string &script, const std::string &simulator = "")
    {
        std::ofstream(folder / "script") << script;
        const std::string line = "cd '" + folder.string() + "' && " + simulator + " sh ./script 2>err </dev/null; " +
                                 "status=$?; sed '1s/^/! /' err; printf %s \"= $status\"";
        FILE *const output = popen(line.c_str(), "r");
        std::string text;
        for (int next; (next = getc(output)) != EOF;)
            text += static_cast<char>(next);
        pclose(output);
        return text;
    }

    static void expect(const Steps &steps)
    {
        for (const auto &[script, expected] : steps) {
            std::string seen = shell(script, "$SIM");
            for (time_t now = time(nullptr) + 1, past = now - 30; past <= now; ++past)
                for (size_t at; (at = seen.find(std::to_string(past))) != std::string::npos;)
                    seen.replace(at, 10, "real");
            EXPECT_EQ(seen, expected) << script;
        }
    }

    static inline fs::path folder;
};

#define ERROR "! ovuser: error: "
#define AND_ERROR "ovuser: error: "
#define CHRISTMAS "Wed Dec 25 09:00:00 2030\n"
#define HEADER "Id         Clock type                Clock date/time\n"
#define OWN_HEADER "ovuser: report: Listing requested virtual clock:\n" HEADER
#define OWN_END "- End of list -\novuser: Requested Orvane users have been listed above.\n= 0"

TEST_F(Utility, DoesTheDailyWork)
{
    expect({
        {"POSIXLY_CORRECT=1 $OV add u:nobody g:2 --speed=frozen --at '2030-12-25 09:00'",
         "ovuser: uid 65534 has been added with a Frozen virtual clock: " CHRISTMAS
         "ovuser: gid 2 has been added with a Frozen virtual clock: " CHRISTMAS "= 0"},
        {"$OV add daemon --at 122509002030 --rewind --speed -1000",
         "ovuser: uid 1 has been added with a 1000 times slower virtual clock: " CHRISTMAS
         "        The date will rewind at midnight.\n= 0"},
        {"$OV list",
         "ovuser: report: Listing all virtual clocks:\n" HEADER "u:nobody   Frozen                    " CHRISTMAS "\n"
         "g:bin      Frozen                    " CHRISTMAS "\n"
         "u:daemon   1000 times slower         " CHRISTMAS "\n"
         "- End of list -\novuser: All Orvane users have been listed above.\n= 0"},
        {"$NOBODY $OV list", OWN_HEADER "u:nobody   Frozen                    " CHRISTMAS "\n" OWN_END},
        {"$NOBODY $OV delete; $NOBODY $OV delete",
         "ovuser: report: Virtual clock for uid 65534 has been deleted\n"
         "! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {"$NOBODY $OV add p:1 --at 2030-12-25T09:00",
         "ovuser: pid 1 has been added with a Running virtual clock: " CHRISTMAS "= 0"},
        {"$OV reset", "ovuser: report: All Orvane users have been reset to the system clock successfully.\n= 0"},
        {"$OV add bin -X 2030-12-32 --dry-run; $OV add bin --at '2030-12-25 09:00x'",
         ERROR "Illegal virtual clock, invalid days with regard to month\n" AND_ERROR
               "Illegal virtual clock, invalid date format\n= 4"},
        {"$OV delete a b c d e f g h i j k", ERROR "too many identities, a request takes at most 10\n= 2"},
        {"$OV add bin --speed 1001 --in 1d",
         ERROR "wrong parameters for speed: 1001, it must be an integer and belongs to  [-1000, 1000].\n= 3"},
        {"for n in 5s '' 2147483648 -2147483649; do $OV add bin --days \"$n\" 2>&1 | tail -c 9; done; for n in 5s '' "
         "9223372036854775808; do $OV add bin --epoch \"$n\" 2>&1 | tail -c 9; done",
         "not '5s'\n, not ''\n7483648'\n7483649'\nnot '5s'\n, not ''\n4775808'\n= 0"},
        {"$OV add bin --epoch 0 --dry-run", ERROR "parse virtual clock error\n= 4"},
        {"$OV add bin", ERROR "add needs a time; 'ovuser add --help' lists the ways to give it\n= 2"},
        {"for w in '--days 1 -X 12252030' '--days 1 --days 2' '-o 1 --at 1' '--in 1d --minutes 1' '--years 1 --in 1d' "
         "'--at 1 --offset'; do $OV add bin $w 2>&1 | cut -d ' ' -f 3-5; done",
         "--days and --date\n--days and --days\n--origin and --at\n--in and --minutes\n--years and --in\n"
         "--at and --offset\n= 0"},
        {"$OV add bin --in '1d 1d'", ERROR "--in takes a span such as '2d 3h' or -90m, not '1d 1d'\n= 2"},
        {"$OV add bin --nonsense; $OV delete --nonsense; $OV nonsense; $OV reset bin",
         ERROR "unrecognized option '--nonsense'\n" AND_ERROR "unrecognized option '--nonsense'\n" AND_ERROR
               "nonsense is not a subcommand; 'ovuser --help' lists them\n" AND_ERROR "reset takes no identities\n= 2"},
        {"$NOBODY $OV delete bin || $NOBODY $OV reset", // what is refused is said on standard error alone
         ERROR "Non-root user can not modify OV setting for others.\n" AND_ERROR
               "Only root can reset all the OV users.\n= 5"},
        {"$OV add bin -o 100000 --offset --in '-1d +1h' --dry-run; $OV delete bin",
         "ovuser: report: The virtual clock would be set to Thu Jan  1 04:46:40 1970 (17200 seconds since the epoch)\n"
         "! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {"$OV add bin --days -1 --hours 1 --minutes 60 -o 1000000",
         "ovuser: uid 2 has been added with a Running virtual clock: Sun Jan 11 15:46:40 1970\n= 0"},
        {"$OV add bin --years -60 --dry-run", ERROR "Illegal virtual clock, invalid year[1970 ~ 9999]\n= 4"},
        {"$OV add ux --days 1 --dry-run", ERROR "incorrect/non-existent username, or uid ux passed in\n= 2"},
        {"$SIM --fault 2:-1:5 $OV list >/dev/null; $SIM --fault 1:-1:2 $OV delete daemon",
         ERROR "an error occurred while executing this request, error = 5\n" AND_ERROR
               "the request was not carried out, result = -1\n= 5"},
        {"for s in 1 1:2 1:2:3: x 1:2:3:nothing=4 1:2:3, '1:2:3 4' $(printf 1:2:3,%.0s $(seq 32))1:2:3; do "
         "$SIM --fault \"$s\" true 2>&1 | tail -c 19; done | uniq -c",
         "      8 not a fault script\n= 0"},
        {"exec 7</proc/zynov; $SIM --fault 2:-1:22:id=4294967296,2:7:0:kernel_error=-5,4:0:1 perl -e 'open(F, q(<&7));"
         "$r = pack(q(Qx72), 171); for (1 .. 3) { print ioctl(F, 0xC0505306, $r), unpack(q(x12lq), $r), q(;) }'",
         "0 but true00;7-54294967296;0 but true-54294967296;= 0"},
        {"$SIM none; $SIM ./table; echo $?; $SIM none 2>&-",
         "126\n! zynov-sim: none: No such file or directory\nzynov-sim: ./table: Permission denied\n= 127"},
        // A descriptor that was inherited and dup'ed is as good, and any other is none of the simulator's.
        {"exec 7</proc/zynov 8</dev/null; perl -e '$r = pack(q(Qx72), 171); open(F, q(<&7)); open(G, q(<&8));"
         "ioctl(F, 0xC0505306, $r); print unpack(q(x40q), $r); ioctl(G, 0xC0505306, $r) or print qq( $!\n)'",
         "0 Inappropriate ioctl for device\n= 0"},
    });
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
    shell("mv table good", "$SIM");
    const Steps broken = {
        {": >table", "truncated"},
        {"head -c 1000 good >table", "truncated"},
        {"tr '\\0-\\377' '?' <good >table", "not a clock table"},
        {"{ head -c 8 good; printf '\\2'; tail -c +10 good; } >table", "a clock table of another version"},
        {"{ cat good; echo; } >table", "too long for a clock table"}};
    for (const auto &[make, flaw] : broken)
        EXPECT_EQ(shell(make + "; cp table kept; $SIM $OV list; LD_PRELOAD=./libzynov_sim.so ZYNOV_SIM_STATE=table "
                               "./ovuser add --in 1d; cmp table kept"),
                  "! zynov-sim: table: " + flaw + "\n" AND_ERROR "Open of /proc/zynov failed; error = 74\n= 0");
    EXPECT_EQ(shell("ln -sf elsewhere table; $SIM true || test -e elsewhere"),
              "! zynov-sim: table: is a symbolic link\n= 1");
    EXPECT_EQ(shell("mkdir -m 700 run; XDG_RUNTIME_DIR=$PWD/run ./zynov-sim true; stat -c %a run/*"), "600\n= 0");
    EXPECT_EQ(shell("./zynov-sim --state private sh -c '$NOBODY $OV list'; ./zynov-sim --state private --shared "
                    "$NOBODY $OV list >/dev/null; ./zynov-sim --state private --fault 1 true"),
              ERROR "Open of /proc/zynov failed; error = 13\nzynov-sim: 1: not a fault script\n= 125");
}

TEST_F(Utility, StandsHostileSurroundings)
{
    const std::string added = " has been added with a Frozen virtual clock: " CHRISTMAS;
    expect({
        {"$OV list >/dev/full", ERROR "standard output: No space left on device\n= 5"},
        {"$OV list >&-", ERROR "standard output: Bad file descriptor\n= 5"},
        {"./ovuser delete bin <&- >&- 2>&-; echo $?; ./ovuser add nobody $FREEZE <&- 2>&-",
         "4\novuser: uid 65534" + added + "= 0"},
        {"env -i ${ASAN_OPTIONS+ASAN_OPTIONS=$ASAN_OPTIONS} $SIM $OV add bin $FREEZE", "ovuser: uid 2" + added + "= 0"},
        {"TZ=:::/x $OV delete bin; TZ=$(printf %70000d 0) $OV add bin $FREEZE",
         "ovuser: report: Virtual clock for uid 2 has been deleted\novuser: uid 2" + added + "= 0"},
        // Without the tools that tell whose a process is, its row is left out; a hand on the keyboard ends the list.
        {"$NOBODY sh -c './ovuser add p:$$ --in 1d >/dev/null; PATH= ./ovuser list 2>/dev/null; :'",
         OWN_HEADER "u:nobody   Frozen                    " CHRISTMAS "\n" OWN_END},
        {"mkdir bin; printf '#!/bin/sh\\nread -r a b c parent rest </proc/$PPID/stat; kill -INT $parent' >bin/cat; "
         "chmod +x bin/cat; $NOBODY sh -c './ovuser add p:$$ --in 1d; PATH=$PWD/bin:$PATH env --default-signal=INT "
         "./ovuser list; echo $?; :' "
         "| tail -n 1; $OV list | grep -c u:nobody",
         "130\n1\n= 0"},
        // Another table, or none, in its place: who is attached stays with the old one.
        {"perl -e '$| = 1; system(qq(./ovuser add p:$$ \\$FREEZE; ./zynov-sim --state other true; mv other table;"
         "./ovuser list | wc -l)); print time; system(q(echo odd >odd; mv odd table; ./ovuser list)); print time' "
         "| tail -n 2",
         "4\n19244196001924419600" ERROR "Open of /proc/zynov failed; error = 74\n= 0"},
    });
    if (shell("unshare -m true 2>&-") != "= 0") // in a changed root
        return;
    // A long name of digits, which is not the number of root.
    fs::remove(folder / "table");
    expect({
        {"n=$(printf %01000d 0); { cat /etc/passwd; echo $n:x:4321:1::/:/bin/sh; } >passwd; unshare -m sh -c \"mount "
         "--bind passwd /etc/passwd; $OV add $n $FREEZE; $OV list | grep u:0; $OV delete $n\"",
         "ovuser: uid 4321" + added + "u:" + std::string(1000, '0') +
             " Frozen                    " CHRISTMAS
             "ovuser: report: Virtual clock for uid 4321 has been deleted\n= 0"},
    });
}

// Scripts that print times: those of christmas 2030 are virtual, "real" stands for the real one.
TEST_F(Utility, ShowsProgramsTheirTime)
{
    const std::string christmas = "1924419600";
    const auto each_call = [](const std::string &time) {
        return time + " " + time + " " + time + " " + time + " " + time + " 1\n= 0";
    };
    expect({
        {"$OV add g:65534 $FREEZE >/dev/null; ./probe", each_call("real")},
        {"$NOBODY ./probe", each_call(christmas)},
        {"$OV add u:65534 --epoch 1924419601 --speed frozen >/dev/null; $NOBODY ./probe", each_call("1924419601")},
        {"$NOBODY sh -c './ovuser delete >/dev/null; ./ovuser add p:$$ --epoch 1924419602 --speed -2 >/dev/null;  "
         "./ovuser add --epoch 1924419601 --speed frozen >/dev/null; sleep 0.01; exec ./probe'",
         each_call("1924419602")},
        {"$NOBODY date +%s; $OV reset >/dev/null; $NOBODY date +%s", "1924419601\nreal\n= 0"},
        // A running program whose clock comes and goes; its child has none; another user has another.
        {"perl -e '$0 = q(a b); $| = 1; print time; system(qq(./ovuser add p:$$ \\$FREEZE >/dev/null)); print q( ), "
         "time;"
         "if (!fork) { print q( ), time; exit } wait; system(qq(./ovuser delete p:$$ >/dev/null)); print q( ), time;"
         "system(q(./ovuser add u:65534 $FREEZE >/dev/null)); $> = 65534; print q( ), time; $> = 0; print q( ), time'",
         "real " + christmas + " real real " + christmas + " real= 0"},
        // A group's, and one in another container.
        {"perl -e 'system(q(./ovuser add g:65534 $FREEZE >/dev/null)); $) = 65534; print time'", christmas + "= 0"},
        {"$OV reset >/dev/null; exec 7</proc/zynov; perl -e '$r = pack(q(Qx8qqQqx24Q), 171, 65534, 99999, 1, 1, 5);"
         "open(F, q(<&7)); ioctl(F, 0xC0505302, $r) or print $!'; $NOBODY ./probe",
         each_call("real")},
        // Under a storm of changes, one or the other, and nothing else.
        {"(for i in 1 2 3 4 5 6 7 8 9; do ./ovuser add u:65534 $FREEZE; ./ovuser delete u:65534; done) >/dev/null &"
         "$NOBODY perl -e 'for (1 .. 300000) { $t = time; $t == 1924419600 || $t < 1900000000 or $odd++ }"
         "print $odd + 0'; wait",
         "0= 0"},
        // Fast and slow, a quarter of a second later.
        {"perl -e 'for (60, -60) { system(qq(./ovuser add p:$$ --epoch 1924419600 --speed $_ >/dev/null));"
         "select(undef, undef, undef, 0.25); $t = time - 1924419600; print $t >= 15 && $t < 600 ? q(fast) : $t;"
         "system(qq(./ovuser delete p:$$ >/dev/null)) }'",
         "fast0= 0"},
        // Midnight is the local one, and the date goes back there.
        {"export TZ=XXX-5:30; sh -c './ovuser add p:$$ --at 2030-12-25T23:59 --rewind --speed 1000 >/dev/null;"
         "sleep 0.2; exec date \"+%F %H\"'",
         "2030-12-25 00\n= 0"},
        // A later process by the same number: each of these is number 1 where it lives.
        {"own='unshare -pf --propagation unchanged --mount-proc'; $own sh -c './ovuser add p:$$ $FREEZE >/dev/null;"
         "exec date +%s'; sleep 0.1; $own date +%s",
         christmas + "\nreal\n= 0"},
    });
}
