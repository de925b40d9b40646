// The real ovuser on the simulator, as root and as an ordinary user, rule by rule.
#include "tests/utility.h"

TEST_F(Utility, AddsListsDeletesAndResets)
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
        {"$OV reset", "ovuser: report: All Orvane users have been reset to the system clock successfully.\n= 0"},
    });
}

TEST_F(Utility, ReadsTimes)
{
    const std::string forms = HINT "--at takes 'YYYY-MM-DD hh:mm', with :ss and with Z or +hh:mm behind, MMDDhhmmYYYY, "
                                   "@SECONDS, now, and times as 'ovuser list' prints them\n";
    expect({
        {"for t in '2030-12-25 09:00:00' 2030-12-25T10:00:00+01:00 @1924419600 'Wed Dec 25 09:00:00 2030'; do "
         "$OV add bin --dry-run --at \"$t\" | grep -c '(1924419600 '; done | uniq -c",
         "      4 1\n= 0"},
        {"$OV add bin -X 2030-12-32 --dry-run; $OV add bin --at '2030-12-25 09:00x'",
         ERROR "Illegal virtual clock, invalid days with regard to month\n" HINT
               "--date takes YYYY-MM-DD or MMDDYYYY\n" AND_ERROR "Illegal virtual clock, invalid date format\n" +
             forms + "= 4"},
        {"$OV add bin --at 2030-12-25; $OV add --at Wed Dec 25 09:00:00 2030 bin",
         ERROR "Illegal virtual clock, a date without a time of day\n" HINT
               "write --at '2030-12-25 00:00', or --date 2030-12-25 for the present time of day\n" AND_ERROR
               "Illegal virtual clock, invalid date format\n" HINT
               "a time of several words is quoted: --at 'Wed Dec 25 09:00:00 2030'\n= 4"},
        {"for n in 5s '' 2147483648 -2147483649; do $OV add bin --days \"$n\" 2>&1 | tail -c 9; done; for n in 5s '' "
         "9223372036854775808; do $OV add bin --epoch \"$n\" 2>&1 | tail -c 9; done",
         "not '5s'\n, not ''\n7483648'\n7483649'\nnot '5s'\n, not ''\n4775808'\n= 0"},
        {"$OV add bin --at @5; $OV add bin --epoch 5 --dry-run", // whose form is good
         ERROR "Illegal virtual clock, must not be before Thu Jan 1 01:00:00 1970\nyou specified @5, it is Thu Jan  1 "
               "00:00:05 1970\n\n" AND_ERROR "Illegal virtual clock, must not be before Thu Jan 1 01:00:00 1970\n"
               "you specified @5, it is Thu Jan  1 00:00:05 1970\n\n= 4"},
        {"$OV add bin --epoch 0 --dry-run", ERROR "parse virtual clock error\n= 4"},
        {"$OV add bin --in '1d 1d'", ERROR "--in takes a span such as '2d 3h' or -90m, not '1d 1d'\n= 2"},
        {"$OV add bin -o 100000 --offset --in '-1d +1h' --dry-run | head -n 1; $OV add bin -o 99941 --in '1w -7d 59s'; "
         "$OV add bin --offset --in 1s",
         "ovuser: report: bin would be given a Running virtual clock: Thu Jan  1 04:46:40 1970 (17200 seconds since "
         "the "
         "epoch)\novuser: uid 2 has been added with a Running virtual clock: Fri Jan  2 03:46:40 1970\n" ERROR
         "--offset goes with no seconds in --in\n= 2"},
        {"$OV add daemon --days -1 --hours 1 --minutes 60 -o 1000000",
         "ovuser: uid 1 has been added with a Running virtual clock: Sun Jan 11 15:46:40 1970\n= 0"},
        {"$OV add bin --years -60 --dry-run", ERROR "Illegal virtual clock, invalid year[1970 ~ 9999]\n= 4"},
    });
}

TEST_F(Utility, RefusesOtherOptions)
{
    expect({
        {"for n in 1001 '' 4294967297; do $OV add bin --speed \"$n\"; done",
         ERROR "wrong parameters for speed: 1001, it must be an integer and belongs to  [-1000, 1000].\n" AND_ERROR
               "wrong parameters for speed: , it must be an integer and belongs to  [-1000, 1000].\n" AND_ERROR
               "wrong parameters for speed: 4294967297, it must be an integer and belongs to  [-1000, 1000].\n= 3"},
        {"$OV add bin", ERROR "add needs a time; 'ovuser add --help' lists the ways to give it\n= 2"},
        {"for w in '--days 1 -X 12252030' '--days 1 --days 2' '-o 1 --at now' '--in 1d --minutes 1' '--years 1 --in 1d'"
         " '--at now --offset'; do $OV add bin $w 2>&1 | cut -d ' ' -f 3-5; done",
         "--days and --date\n--days and --days\n--origin and --at\n--in and --minutes\n--years and --in\n"
         "--at and --offset\n= 0"},
        {"$OV add bin --rewnd; $OV delete --nonsense; $OV nonsense; $OV lsit; $OV --verison; $OV reset bin",
         ERROR "unrecognized option '--rewnd'\n" HINT "did you mean --rewind?\n" AND_ERROR
               "unrecognized option '--nonsense'\n" AND_ERROR
               "nonsense is not a subcommand; 'ovuser --help' lists them\n" AND_ERROR
               "lsit is not a subcommand; 'ovuser --help' lists them\n" HINT "did you mean list?\n" AND_ERROR
               "--verison is not a subcommand; 'ovuser --help' lists them\n" HINT "did you mean --version?\n" AND_ERROR
               "reset takes no identities\n= 2"},
        {"for w in --rew=1 --at -xh -X --d; do $OV add bin --speed 2 $w; done",
         ERROR "option '--rewind' doesn't allow an argument\n" AND_ERROR
               "option '--at' requires an argument\n" AND_ERROR "invalid option -- 'x'\n" AND_ERROR
               "invalid option, or one without its argument -- 'X'\n" AND_ERROR "option '--d' is ambiguous\n= 2"},
    });
}

// Also that of /proc: where it hides the processes of others, an ordinary user can only name his own.
TEST_F(Utility, KnowsWhoMayDoWhat)
{
    expect({
        {"$NOBODY sh -c './ovuser add p:$$ --at 2030-12-25T09:00 | sed s/$$/N/'",
         "ovuser: pid N has been added with a Running virtual clock: " CHRISTMAS "= 0"},
        {"$NOBODY $OV delete bin || $NOBODY $OV reset", // what is refused is said on standard error alone
         ERROR "Non-root user can not modify OV setting for others.\n" AND_ERROR
               "Only root can reset all the OV users.\n= 5"},
        {"$OV add ux --days 1 --dry-run", ERROR "incorrect/non-existent username, or uid ux passed in\n= 2"},
    });
}

TEST_F(Utility, TellsFaults)
{
    expect({
        {"$OV add bin $FREEZE >/dev/null; $SIM --fault 2:-1:5 $OV list >/dev/null; $SIM --fault 1:-1:2 $OV list "
         ">/dev/null; $SIM --fault 1:-1:2 $OV delete daemon",
         ERROR "an error occurred while executing this request, error = 5\n" AND_ERROR
               "Orvane kernel module not installed properly or version mismatch(No such file or directory).\n" NO_MODULE
                   AND_ERROR "the request was not carried out, result = -1\n" NO_MODULE "= 5"},
        {"for s in 1 1:2 1:2:3: x 1:2:3:nothing=4 1:2:3, '1:2:3 4' $(printf 1:2:3,%.0s $(seq 32))1:2:3; do "
         "$SIM --fault \"$s\" true 2>&1 | tail -c 19; done | uniq -c",
         "      8 not a fault script\n= 0"},
        {"$SIM none; $SIM ./table; echo $?; $SIM none 2>&-",
         "126\n! zynov-sim: none: No such file or directory\nzynov-sim: ./table: Permission denied\n= 127"},
    });
    EXPECT_EQ(shell("./ovuser list"), ERROR "Open of /proc/zynov failed; error = 2\n" NO_MODULE "= 5");
}

TEST_F(Utility, TakesAnyDescriptor)
{
    expect({
        {"exec 7</proc/zynov; ./ovuser add nobody $FREEZE >/dev/null; "
         "$SIM --fault 2:-1:22:id=4294967296,2:7:0:kernel_error=-5,4:0:1 perl -e 'open(F, q(<&7));"
         "$r = pack(q(Qx72), 171); for (1 .. 3) { print ioctl(F, 0xC0505306, $r), unpack(q(x12lq), $r), q(;) }'",
         "0 but true00;7-54294967296;0 but true-54294967296;= 0"},
        // One that was inherited and dup'ed is as good, and any other is none of the simulator's.
        {"exec 7</proc/zynov 8</dev/null; perl -e '$r = pack(q(Qx72), 171); open(F, q(<&7)); open(G, q(<&8));"
         "ioctl(F, 0xC0505306, $r); print unpack(q(x40q), $r); ioctl(G, 0xC0505306, $r) or print qq( $!\n)'",
         "0 Inappropriate ioctl for device\n= 0"},
        {"test -r /proc/zynov && ls -l /proc/zynov | cut -c 1-10; $NOBODY stat -c %a /proc/zynov; ./zynov-sim --state "
         "own "
         "$NOBODY test -r /proc/zynov",
         "-rw-rw-rw-\n666\n= 1"},
        {"$OV list >/dev/full", ERROR "standard output: No space left on device\n= 5"},
        {"perl -e 'open(F, q(</proc/zynov)); ioctl(F, 0xC0505302, pack(q(Qx8qqQqx24Q), 171, $_, 86400, 1, 0, 0)) for "
         "7000 .. "
         "7099; $^F = 9; pipe(R, W); fcntl(W, 4, 2048); 1 while syswrite(W, q(x) x 4096); open(STDOUT, q(>&W)); exec "
         "qw(./ovuser "
         "list)'",
         ERROR "standard output: Resource temporarily unavailable\n= 5"},
        {"$OV list >&-", ERROR "standard output: Bad file descriptor\n= 5"},
        {"./ovuser delete bin <&- >&- 2>&-; echo $?; ./ovuser add bin $FREEZE <&- 2>&-",
         "4\novuser: uid 2 has been added with a Frozen virtual clock: " CHRISTMAS "= 0"},
    });
}

TEST_F(Utility, IntroducesItself)
{
    EXPECT_EQ(shell("touch -ad 2040-06-01 dated; perl -e 'exec { q(./ovuser) } qw(./dated --version)'"),
              "Copyright (c) 1997-2040 Orvane. All rights reserved.\n"
              "Orvane dated utility version 12.10R6 for Linux Kernel 2.6 or up,\n= 0");
    EXPECT_EQ(shell("./ovuser").find("! usage: ovuser SUBCOMMAND"), 0u);
    for (const std::string word : {"", "add", "set", "delete", "list", "reset", "show"}) {
        const std::string help = shell("./ovuser help " + word);
        EXPECT_EQ(help.find("usage: ovuser " + (word.empty() ? "SUBCOMMAND" : word)), 0u);
        EXPECT_EQ(help, shell("./ovuser " + word + " --help"));
        EXPECT_EQ(help, shell("./ovuser --help " + word));
    }
    EXPECT_EQ(shell("./ovuser -V"), shell("./ovuser --version"));
}

TEST_F(Utility, StandsHostileSurroundings)
{
    const std::string added = " has been added with a Frozen virtual clock: " CHRISTMAS;
    expect({
        {"env -i ${ASAN_OPTIONS+ASAN_OPTIONS=$ASAN_OPTIONS} $SIM $OV add bin nobody $FREEZE",
         "ovuser: uid 2" + added + "ovuser: uid 65534" + added + "= 0"},
        {"TZ=:::/x $OV delete bin; TZ=$(printf %70000d 0) $OV add bin $FREEZE",
         "ovuser: report: Virtual clock for uid 2 has been deleted\novuser: uid 2" + added + "= 0"},
        // Another table, or none, in its place: who is attached stays with the old one.
        {"perl -e '$| = 1; system(qq(./ovuser add p:$$ \\$FREEZE; ./zynov-sim --state other true; mv other table;"
         "./ovuser list | wc -l)); print time; system(q(echo odd >odd; mv odd table; ./ovuser list)); print time' "
         "| tail -n 2",
         "4\n19244196001924419600" ERROR "Open of /proc/zynov failed; error = 74\n= 0"},
    });
    if (!can_mount())
        return;
    // A long name of digits, which is no number that an identity can have.
    fs::remove(folder / "table");
    expect({
        {"n=$(printf 9%0999d 0); { cat /etc/passwd; echo $n:x:4321:1::/:/bin/sh; } >passwd; unshare -m sh -c \"mount "
         "--bind passwd /etc/passwd; $OV add $n $FREEZE; $OV list | grep u:9; $OV delete $n\"",
         "ovuser: uid 4321" + added + "u:9" + std::string(999, '0') +
             " Frozen                    " CHRISTMAS
             "ovuser: report: Virtual clock for uid 4321 has been deleted\n= 0"},
        // A container, where without descriptors the last of many would be the host's.
        {"echo beef >name; unshare -m sh -c 'mount --bind name /etc/hostname; ulimit -n 12; $OV add daemon bin sys "
         "sync games man lp mail news g:adm g:tty g:disk g:lp g:mail g:news $FREEZE >out; $OV list | grep -c Frozen'",
         "15\n= 0"},
    });
}
