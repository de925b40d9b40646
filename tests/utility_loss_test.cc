// No clock is lost, least of all silently: full disks, signals at any moment, and two commands at once.
#include "tests/utility.h"

static const std::string everybody = "who=$(getent group | sed '1d; s/:.*//; s/^/g:/')\n";

TEST_F(Utility, MissesNoLineThatCannotBeWritten)
{
    if (!can_mount())
        GTEST_SKIP() << "needs a mount namespace";
    std::ofstream(folder / "fill") << everybody
                                   << "mount -t tmpfs -o size=8k none room; head -c 8192 /dev/zero >room/rest\n"
                                      "$OV add $who $FREEZE >/dev/null; umask 077; $OV save room/clocks; echo $?\n"
                                      "$OV save >room/clocks; echo $?\n"
                                      "for change in \"set $who --speed 2\" \"delete $who u:bin\"; do\n"
                                      "$OV $change >/dev/full; echo $?; done; $OV list | grep -c ^g:\n";
    const std::string full = "standard output: No space left on device\n";
    expect({
        {"mkdir -p room; unshare -m sh ./fill 2>&1 | sed s/^.ovuser/ovuser/",
         "ovuser: error: room/clocks: No space left on device\n5\n" AND_ERROR + full + "5\n" AND_ERROR + full +
             "5\novuser: warning: u:bin: Specified id does not have a virtual clock\n" AND_ERROR + full + "5\n0\n= 0"},
        // A file must not open as a closed standard descriptor and receive the output.
        {"$OV set bin --speed 3 >&-; echo $?; $OV list bin | grep -c '3 times'; $OV delete bin >out",
         "5\n1\n" ERROR "standard output: Bad file descriptor\n= 0"},
        // Saving replaces a file as a whole, whatever the umask, and replaces nothing but files.
        {"$OV add bin $FREEZE >out; echo former >clocks; umask 077; $OV save clocks; stat -c %a clocks; sed 1d clocks;"
         "ln -s clocks link; $OV save link; $SIM --fault 2:-1:5 $OV save clocks; grep -c end clocks; ls clocks.*",
         "644\nu:bin --epoch 1924419600 --speed frozen # 2030-12-25T09:00:00+00:00\n# end\n1\n" ERROR
         "link: not a regular file\n" AND_ERROR "an error occurred while executing this request, error = 5\nls: cannot "
         "access 'clocks.*': No such file or directory\n= 2"},
        // Half a file, or an empty one, would delete all clocks.
        {"sed '$d' clocks >half; for half in half /dev/null; do $OV apply - --prune <$half; echo $?; done;"
         "$OV apply - --prune --empty </dev/null",
         "2\n2\novuser: report: u:bin (2): back on the system clock\novuser: report: standard input: 0 added, 0 "
         "set anew, 1 deleted, 0 left as they are, 0 failed\n" ERROR
         "standard input: not all of it was saved: the line '# end' is missing\n" AND_ERROR
         "standard input: nothing has been changed\n" AND_ERROR
         "standard input: there is no clock in it, and --prune would delete all\n" HINT
         "--empty says that this is meant\n" AND_ERROR "standard input: nothing has been changed\n= 0"},
        {everybody + "for one in $who; do echo $one --speed 2; done >many; perl -e 'pipe R, W; close R; open STDOUT, "
                     "q(>&W); exec @ARGV' $OV apply - <many; [ $($OV list | grep -c ^g:) = $(grep -c . many) ] && echo "
                     "all; (ulimit -f 0; exec $OV delete $who 2>/dev/null >out); echo $?; $OV list | grep -c ^g:",
         "all\n5\n0\n" ERROR "standard output: Broken pipe\n= 1"},
    });
}

TEST_F(Utility, LosesNoClockToASignal)
{
    std::ofstream(folder / "signals") << "$n = `./ovuser list | grep -c ^g:`; for (1 .. 60) { if (!($p = fork)) {"
                                         "open STDOUT, q(>out); exec @ARGV } select(undef, undef, undef, rand(0.02));"
                                         "kill((qw(INT TERM HUP))[rand 3], $p); waitpid($p, 0);"
                                         "print `./ovuser list | grep -c ^g:` - $n }";
    expect({{everybody + "$OV add $who $FREEZE >out; perl signals $OV set $who --speed 2 | tr -d 0", "= 0"}});
}

TEST_F(Utility, ChangesOneAtATime)
{
    expect({
        // Two commands at once leave each clock whole.
        {everybody + "for speed in 2 3; do for one in $who; do echo $one --in 1d --speed $speed; done >many$speed; "
                     "done; for round in 1 2 3 4 5 6 7 8; do $OV apply - --replace <many2 >out & $OV apply - --replace "
                     "<many3 >out; wait; $OV list | grep -o '[23] times' | sort -u | grep -c .; done",
         "1\n1\n1\n1\n1\n1\n1\n1\n= 0"},
        {"$OV add bin sys $FREEZE >out; mkfifo held; echo 'use Fcntl; open L, q(+<table); $l = pack(q(ssx4qqix4), 1, "
         "0, "
         "0, 0, 0); fcntl(L, 37, $l) or die; open R, q(>held); close R; sleep 600' >hold; perl hold & h=$!; cat held\n"
         "$OV delete sys 2>late & d=$!; until grep -qs waiting late; do :; done; kill $h; wait $d; cat late >&2\n"
         "perl hold & h=$!; cat held; $OV save 2>saved & s=$!; $OV set bin --speed 2; echo $?; wait $s; echo $?\n"
         "kill $h; $OV list | grep -c bin.*Frozen; grep -o 'nothing was saved' saved",
         "ovuser: report: u:sys (3): back on the system clock\n5\n5\n1\nnothing was saved\n! ovuser: warning: waiting "
         "for another ovuser, which is changing clocks\novuser: warning: waiting for another ovuser, which is changing "
         "clocks\n" AND_ERROR "another ovuser has kept " +
             (folder / "table").string() + " locked for 10 seconds: nothing has been changed\n= 0"},
    });
}

// A name service that fails must not count as one without users.
TEST_F(Utility, OutlivesAFailingLookUp)
{
    expect({
        {"$OV add bin --speed 5 >out; echo u:bin --in 1d >one; chmod 644 one; export LD_PRELOAD=$LD_PRELOAD:./host.so; "
         "FORGETS='1 1' $OV apply one --prune; $OV reset >out; FORGETS='3 99' $OV add bin sys $FREEZE >out; echo $?;"
         "$OV list | grep -c ^u:",
         "ovuser: report: one: nothing to change\n0\n2\n= 0"},
    });
}
