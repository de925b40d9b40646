// The file of the clocks: how it is made, and what may stand in its place.
#include "tests/utility.h"

TEST_F(Utility, RefusesATableThatIsNone)
{
    shell("mv table good", "$SIM");
    const Steps broken = {{": >table", "truncated"},
                          {"head -c 1000 good >table", "truncated"},
                          {"tr '\\0-\\377' '?' <good >table", "not a clock table"},
                          {"{ head -c 8 good; printf '\\1'; tail -c +10 good; } >table",
                           "a clock table of another version: remove it, once nothing runs with it"},
                          {"{ cat good; echo; } >table", "too long for a clock table"}};
    for (const auto &[make, flaw] : broken)
        EXPECT_EQ(shell(make + "; cp table kept; $SIM $OV list; LD_PRELOAD=./libzynov_sim.so ZYNOV_SIM_STATE=table "
                               "./ovuser add bin --in 1d; cmp table kept"),
                  "! zynov-sim: table: " + flaw + "\n" AND_ERROR "Open of /proc/zynov failed; error = 74\n= 0");
    EXPECT_EQ(shell("ln -sf elsewhere table; $SIM true || test -e elsewhere"),
              "! zynov-sim: table: is a symbolic link\n= 1");
    EXPECT_EQ(shell("mkdir -m 700 run; XDG_RUNTIME_DIR=$PWD/run ./zynov-sim true; stat -c %a run/*"), "600\n= 0");
    EXPECT_EQ(shell("./zynov-sim --state private sh -c '$NOBODY $OV list'; ./zynov-sim --state private --shared "
                    "$NOBODY $OV list >/dev/null; ./zynov-sim --state private --fault 1 true"),
              ERROR "Open of /proc/zynov failed; error = 13\n" HINT
                    "the module is not open to this user: ask the superuser (a simulator's table: zynov-sim "
                    "--shared)\nzynov-sim: 1: not a fault script\n= 125");
}

// The owner of a table can set the clock of everybody who uses it.
TEST_F(Utility, RefusesATableOfAnotherUserButRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    EXPECT_EQ(shell("./zynov-sim --state theirs --shared true; $NOBODY ./zynov-sim --state theirs echo roots; chown "
                    "65534 theirs; ./zynov-sim --state theirs echo taken; ./zynov-sim --state theirs --shared echo "
                    "shared; $NOBODY ./zynov-sim --state theirs echo own"),
              "roots\nshared\nown\n! zynov-sim: theirs: belongs to another user\n= 0");
}

// Neither another user nor the umask keeps users from their table, and a full file system leaves no half table.
TEST_F(Utility, MakesAWholeTableForItsUserAlone)
{
    if (can_mount()) {
        EXPECT_EQ(
            shell("mkdir full; unshare -m sh -c 'mount -t tmpfs -o size=64k tmpfs full; ./zynov-sim --state full/table "
                  "true; echo $? $(ls full)'"),
            "125\n! zynov-sim: full/table: No space left on device\n= 0");
    }
    // The first write copies a file of a container's image; running programs must see the later changes.
    if (can_mount()) {
        EXPECT_EQ(
            shell("mkdir image changed mounted; ./zynov-sim --state image/table true; unshare -m sh -c 'mount -t tmpfs "
                  "tmpfs changed; mkdir changed/upper changed/work; mount -t overlay -o lowerdir=image,"
                  "upperdir=changed/upper,workdir=changed/work overlay mounted; ./zynov-sim --state mounted/table perl "
                  "-e \"system(q(./ovuser add p:) . \\$\\$ . q( $FREEZE >/dev/null)); print time\"'"),
            "1924419600= 0");
    }
    EXPECT_EQ(shell("(ulimit -f 0; ./zynov-sim --state small true 2>&1; echo $?) | cat; ls small*"),
              "zynov-sim: small: File too large\n125\n! ls: cannot access 'small*': No such file or directory\n= 2");
    EXPECT_EQ(
        shell(
            "id=$((100000 + $$)); own=/tmp/zynov-sim-$id; sim=\"env -u XDG_RUNTIME_DIR setpriv --reuid=$id --regid=$id "
            "--clear-groups ./zynov-sim\"; (umask 0777; $sim true); $sim true && stat -c %a $own; (chmod 770 $own; "
            "$sim true; "
            "chmod 702 $own; $sim true; chmod 700 $own; chown 0 $own; $sim true) 2>&1 | grep -c yours; rm -rf $own"),
        "700\n3\n= 0");
}

TEST_F(Utility, AnswersAsAKernel)
{
    expect({
        // A pipe without a writer in the table's place.
        {"mkfifo pipe; ./zynov-sim --state pipe true; echo $?; ZYNOV_SIM_STATE=pipe ./ovuser list",
         "125\n! zynov-sim: pipe: not a regular file\n" AND_ERROR "Open of /proc/zynov failed; error = 74\n= 5"},
        // Other paths, the last not of the control file, and a stream.
        {"od -An -c -N4 /proc/zynov; cd /proc; exec perl -e 'for (qw(zynov ./zynov //proc/zynov /sys/../proc//zynov "
         "self/zynov)) { print open(F, $_) + 0, (-e $_) + 0, q( ) }'",
         "   y   n   o   v\n11 11 11 11 00 = 0"},
        {"mkdir '$LIB'; cp zynov-sim libzynov_sim.so '$LIB'; './$LIB/zynov-sim' --state table true 2>&1 | grep -c "
         "'with .LIB,'",
         "1\n= 0"},
        // A single descriptor serves the loader, then the table.
        {"./ovuser add p:$$ $FREEZE >/dev/null; exec 3>&-; ulimit -n 4; exec date +%s", "1924419600\n= 0"},
        // The table from before a reboot.
        {"./ovuser add p:1 bin $FREEZE >/dev/null; printf x | dd of=table bs=1 seek=32 conv=notrunc status=none; "
         "./ovuser list | grep -c Frozen; $SIM ./ovuser list | grep -c Frozen",
         "2\n1\n= 0"},
        // Somebody keeps the lock.
        {"flock table ./ovuser add daemon $FREEZE; ./ovuser add daemon $FREEZE",
         GIVEN("u:daemon (1)", "Frozen") ERROR "an error occurred while executing this request, error = 16\n= 0"},
    });
    // The control file of a real module would open first.
    if (can_mount())
        expect({{"exec 3>&-; unshare -m sh -c 'mount -t tmpfs tmpfs /proc; touch /proc/zynov; exec perl -e "
                 "\"open(F, q(</proc/zynov)); print fileno(F)\"'",
                 "3= 0"}});
}
