// The real ovuser on the simulator, as root and as an ordinary user, rule by rule.
#include "tests/utility.h"

TEST_F(Utility, AddsListsDeletesAndResets)
{
    expect({
        {"POSIXLY_CORRECT=1 $OV add u:nobody g:2 --speed=frozen --at '2030-12-25 09:00'",
         GIVEN("u:nobody (65534)", "Frozen") GIVEN("g:bin (2)", "Frozen") "= 0"},
        {"$OV add daemon --at 122509002030 --rewind --speed -1000",
         GIVEN("u:daemon (1)", "1000 times slower, rewinding at midnight") "= 0"},
        {"$OV list",
         "ovuser: report: Listing all virtual clocks:\n" HEADER "u:nobody   Frozen                    " CHRISTMAS "\n"
         "g:bin      Frozen                    " CHRISTMAS "\n"
         "u:daemon   1000 times slower         " CHRISTMAS "\n"
         "- End of list -\novuser: All Orvane users have been listed above.\n= 0"},
        {"$NOBODY $OV list", OWN_HEADER "u:nobody   Frozen                    " CHRISTMAS "\n" OWN_END},
        {"$NOBODY $OV delete; $NOBODY $OV delete",
         DELETED("u:nobody (65534)") "! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {"$OV reset", "ovuser: report: All Orvane users have been reset to the system clock successfully.\n= 0"},
    });
}

TEST_F(Utility, ReadsTimes)
{
    expect({
        {"for t in '2030-12-25 09:00:00' 2030-12-25T10:00:00+01:00 @1924419600 'Wed Dec 25 09:00:00 2030'; do "
         "$OV add bin --dry-run --at \"$t\" | grep -c 'given 2030-12-25T09:00:00+00:00'; done | uniq -c",
         "      4 1\n= 0"},
        {"for n in 5s '' 2147483648 -2147483649; do $OV add bin --days \"$n\" 2>&1 | tail -c 9; done; for n in 5s ''; "
         "do $OV add bin --epoch \"$n\" 2>&1 | tail -c 9; done",
         "not '5s'\n, not ''\n7483648'\n7483649'\nnot '5s'\n, not ''\n= 0"},
        {"$OV add bin -o 100000 --offset --in '-1d +1h' --dry-run; $OV add bin -o 99941 --in '1w -7d 59s'; "
         "$OV add bin --offset --in 1s",
         REPORT "u:bin (2): would be given 1970-01-01T04:46:40+00:00, Running; has no clock now\n" REPORT
                "u:bin (2): given 1970-01-02T03:46:40+00:00, Running\n" ERROR
                "--offset goes with no seconds in --in\n= 2"},
        {"$OV add daemon --days -1 --hours 1 --minutes 60 -o 1000000",
         REPORT "u:daemon (1): given 1970-01-11T15:46:40+00:00, Running\n= 0"},
    });
}

TEST_F(Utility, RefusesOtherOptions)
{
    expect({
        {"for n in 1001 '' 4294967297; do $OV add bin --speed \"$n\"; done",
         ERROR "wrong parameters for speed: 1001, it must be an integer and belongs to  [-1000, 1000].\n" AND_ERROR
               "wrong parameters for speed: , it must be an integer and belongs to  [-1000, 1000].\n" AND_ERROR
               "wrong parameters for speed: 4294967297, it must be an integer and belongs to  [-1000, 1000].\n= 3"},
        {"for w in '--days 1 -X 12252030' '-o 1 --at now' '--in 1d --minutes 1' '--years 1 --in 1d' '--at now "
         "--offset'; do $OV add bin $w 2>&1 | cut -d ' ' -f 3-5; done",
         "--days and --date\n--origin and --at\n--in and --minutes\n--years and --in\n"
         "--at and --offset\n= 0"},
        {"for w in --rew=1 --at -xh -X --d; do $OV add bin --speed 2 $w; done",
         ERROR "option '--rewind' doesn't allow an argument\n" AND_ERROR
               "option '--at' requires an argument\n" AND_ERROR "invalid option -- 'x'\n" AND_ERROR
               "invalid option, or one without its argument -- 'X'\n" AND_ERROR "option '--d' is ambiguous\n= 2"},
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
    // And nothing to lock.
    EXPECT_EQ(shell(can_mount() ? "unshare -m sh -c 'mount -t tmpfs -o ro tmpfs /run; ./ovuser delete bin'"
                                : "./ovuser list"),
              ERROR "Open of /proc/zynov failed; error = 2\n" NO_MODULE "= 5");
}

TEST_F(Utility, TakesAnyDescriptor)
{
    expect({
        {"exec 7</proc/zynov; ./ovuser add nobody $FREEZE >/dev/null; "
         "$SIM --fault 2:-1:22:id=4294967296,2:7:0:kernel_error=-5,4:0:1 perl -e 'open(F, q(<&7));"
         "$r = pack(q(Qx72), 171); for (1 .. 3) { print ioctl(F, 0xC0505306, $r), unpack(q(x12lq), $r), q(;) }'",
         "0 but true00;7-54294967296;0 but true-54294967296;= 0"},
        // An inherited or duplicated descriptor works too; the simulator ignores any other.
        {"exec 7</proc/zynov 8</dev/null; perl -e '$r = pack(q(Qx72), 171); open(F, q(<&7)); open(G, q(<&8));"
         "ioctl(F, 0xC0505306, $r); print unpack(q(x40q), $r); ioctl(G, 0xC0505306, $r) or print qq( $!\n)'",
         "0 Inappropriate ioctl for device\n= 0"},
        {"test -r /proc/zynov && ls -l /proc/zynov | cut -c 1-10; $NOBODY stat -c %a /proc/zynov; ./zynov-sim --state "
         "own $NOBODY test -r /proc/zynov",
         "-rw-rw-rw-\n666\n= 1"},
        {"perl -e 'open(F, q(</proc/zynov)); ioctl(F, 0xC0505302, pack(q(Qx8qqQqx24Q), 171, $_, 86400, 1, 0, 0)) for "
         "7000 .. 7099; $^F = 9; pipe(R, W); fcntl(W, 4, 2048); 1 while syswrite(W, q(x) x 4096); open(STDOUT, "
         "q(>&W)); exec qw(./ovuser list)'",
         ERROR "standard output: Resource temporarily unavailable\n= 5"},
        {"./ovuser delete bin <&- >&- 2>&-; echo $?; ./ovuser add bin $FREEZE <&- 2>&-",
         "4\n" GIVEN("u:bin (2)", "Frozen") "= 0"},
    });
}

TEST_F(Utility, IntroducesItself)
{
    EXPECT_EQ(shell("PATH=. ovuser --version"),
              "Copyright (c) 1997-2026 Orvane. All rights reserved.\n"
              "Orvane ovuser utility version 12.10R6 for Linux Kernel 2.6 or up\n= 0");
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
    expect({
        {"env -i ${ASAN_OPTIONS+ASAN_OPTIONS=$ASAN_OPTIONS} $SIM $OV add bin nobody $FREEZE",
         GIVEN("u:bin (2)", "Frozen") GIVEN("u:nobody (65534)", "Frozen") "= 0"},
        {"TZ=:::/x $OV delete bin; TZ=$(printf %070000d 0) $OV add bin $FREEZE",
         DELETED("u:bin (2)")
                 GIVEN("u:bin (2)", "Frozen") "! ovuser: warning: TZ=:::/x is no time zone: UTC stands for "
                                              "it\novuser: warning: TZ=" +
             std::string(64, '0') + " is no time zone: UTC stands for it\n= 0"},
        // When another table replaces it, or none, attached processes keep the old one.
        {"perl -e '$| = 1; system(qq(./ovuser add p:$$ \\$FREEZE; ./zynov-sim --state other true; mv other table;"
         "./ovuser list | wc -l)); print time; system(q(echo odd >odd; mv odd table; ./ovuser list)); print time' "
         "| tail -n 2",
         "4\n19244196001924419600" ERROR "Open of /proc/zynov failed; error = 74\n= 0"},
    });
    if (!can_mount())
        return;
    // A name of digits too long for an identity's number.
    fs::remove(folder / "table");
    expect({
        {"n=$(printf 9%0999d 0); { cat /etc/passwd; echo $n:x:4321:1::/:/bin/sh; } >passwd; unshare -m sh -c \"mount "
         "--bind passwd /etc/passwd; $OV add $n $FREEZE; $OV list | grep u:9; $OV delete $n\"",
         REPORT "u:9" + std::string(999, '0') + " (4321): given 2030-12-25T09:00:00+00:00, Frozen\nu:9" +
             std::string(999, '0') + " Frozen                    " CHRISTMAS REPORT "u:9" + std::string(999, '0') +
             " (4321): back on the system clock\n= 0"},
        // Containers: each has its own clocks, and the last of many must not become the host's for lack of descriptors.
        {"$OV add daemon --in 1d >out; unshare -m sh -c 'mkdir c; mount -t tmpfs tmpfs c; for d in /bin /dev /lib "
         "/lib64 /proc /usr $PWD; do [ ! -e $d ] || { mkdir -p c$d; mount --bind $d c$d; }; done; mkdir c/etc; "
         ">c/.dockerenv; cp /etc/passwd /etc/group c/etc; for n in web db beef; do echo $n >c/etc/hostname; chroot c "
         "sh -c \"cd $PWD; ulimit -n 12; $OV add daemon bin sys sync games man lp mail news g:adm g:tty g:disk g:lp "
         "g:mail g:news $FREEZE >out; $OV list | grep -c Frozen; setpriv --reuid=daemon date +%s; [ $n = web ] || $OV "
         "reset | cut -c -15\"; done'; $OV list | grep -c u:",
         "15\n1924419600\n15\n1924419600\novuser: report:\n15\n1924419600\novuser: report:\n1\n= 0"},
    });
}
