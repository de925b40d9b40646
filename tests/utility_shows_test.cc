// What other programs see of their clocks.
#include "tests/utility.h"

// Scripts that print times: those of Christmas 2030 are virtual, "real" stands for the real time.
static const std::string christmas = "1924419600";

TEST_F(Utility, ShowsProgramsTheirTime)
{
    expect({
        {"$OV add g:65534 $FREEZE >/dev/null; ./probe", "real\n= 0"},
        {"$NOBODY ./probe", christmas + "\n= 0"},
        {"$OV add u:65534 --epoch 1924419601 --speed frozen >/dev/null; $NOBODY ./probe", "1924419601\n= 0"},
        {"$NOBODY sh -c './ovuser delete >/dev/null; ./ovuser add p:$$ --epoch 1924419602 --speed -2 >/dev/null;  "
         "./ovuser add --epoch 1924419601 --speed frozen >/dev/null; sleep 0.01; exec ./probe'",
         "1924419602\n= 0"},
        {"$NOBODY date +%s; $OV reset >/dev/null; $NOBODY date +%s", "1924419601\nreal\n= 0"},
        // The clock of a running program comes and goes; its child has none; another user has another.
        {"perl -e '$0 = q(a b); $| = 1; print time; system(qq(./ovuser add p:$$ \\$FREEZE >/dev/null)); print q( ), "
         "time;"
         "if (!fork) { print q( ), time; exit } wait; system(qq(./ovuser delete p:$$ >/dev/null)); print q( ), time;"
         "system(q(./ovuser add u:65534 $FREEZE >/dev/null)); $> = 65534; print q( ), time; $> = 0; print q( ), time'",
         "real " + christmas + " real real " + christmas + " real= 0"},
        // A group's clock, and one in another container.
        {"perl -e 'system(q(./ovuser add g:65534 $FREEZE >/dev/null)); $) = 65534; print time'", christmas + "= 0"},
        {"$OV reset >/dev/null; exec 7</proc/zynov; perl -e '$r = pack(q(Qx8qqQqx24Q), 171, 65534, 99999, 1, 1, 5);"
         "open(F, q(<&7)); ioctl(F, 0xC0505302, $r) or print $!'; $NOBODY ./probe",
         "real\n= 0"},
    });
}

TEST_F(Utility, ShowsProgramsTheirTimeWhereverTheyAre)
{
    expect({
        // A program under a storm of changes sees one clock or the other, and nothing else.
        {"(for i in 1 2 3 4 5 6 7 8 9; do ./ovuser add u:65534 $FREEZE; ./ovuser delete u:65534; done) >/dev/null &"
         "$NOBODY perl -e 'for (1 .. 300000) { $t = time; $t == 1924419600 || $t < 1900000000 or $odd++ }"
         "print $odd + 0'; wait",
         "0= 0"},
        // Fast and slow clocks, a moment later.
        {"perl -e 'for (60, -60) { system(qq(./ovuser add p:$$ --epoch 1924419600 --speed $_ >/dev/null));"
         "select(undef, undef, undef, 0.3); $t = time - 1924419600; print $t >= 15 && $t < 600 ? q(fast) : $t;"
         "system(qq(./ovuser delete p:$$ >/dev/null)) }'",
         "fast0= 0"},
        // The date goes back at local midnight.
        {"export TZ=XXX-5:30; sh -c './ovuser add p:$$ --at 2030-12-25T23:59 --rewind --speed 1000 >/dev/null;"
         "sleep 0.2; exec date +%F'",
         "2030-12-25\n= 0"},
        // Processes of one number: on the host, in another namespace, and a later one. Each sees only its own clock.
        {"own='unshare -pf --propagation unchanged --mount-proc'; ./ovuser add p:1 --in 1d >/dev/null; $own sh -c "
         "'./ovuser add p:$$ $FREEZE >/dev/null; ./ovuser list | grep -c p:; exec date +%s'; sleep 0.1; $own sh -c "
         "'./ovuser list | grep -c p:; ./ovuser reset >/dev/null 2>&1; exec date +%s'; ./ovuser list | grep -c p:",
         "1\n" + christmas + "\n0\nreal\n1\n= 0"},
        {"./probe seconds", "0\n= 0"},
        // A library reads the time before the loader is done.
        {"$OV reset >/dev/null 2>&1; ./ovuser add p:$$ $FREEZE >/dev/null; export LD_PRELOAD=$LD_PRELOAD:./early.so;"
         "exec date +%s",
         "early " + christmas + "\n= 0"},
        // Atomic time is ahead and a library plays root, but nothing reaches the machine's clock.
        {"$OV reset >/dev/null 2>&1; ./ovuser add u:65534 $FREEZE >/dev/null; export LD_PRELOAD=$LD_PRELOAD:./host.so;"
         "./probe; $NOBODY ./probe; $NOBODY ./probe set; ./ovuser reset >/dev/null; $NOBODY ./probe set",
         "real\n" + christmas +
             "\n1 1 1 1 1 1 1 1 1 1 1 1 0 0 0 125 1\n34 34 34 34 34 34 34 34 34 34 34 25 0 0 0 0 1\n= 0"},
        {"./ovuser add u:65534 $FREEZE >/dev/null; ./probe ids; ./ovuser add p:$$ $FREEZE >/dev/null; exec ./probe "
         "children",
         "real " + christmas + " real real real " + christmas + " \n" + christmas + " real real real real " +
             christmas + " \n= 0"},
        {"./ovuser reset >/dev/null; timeout 200 $NOBODY ./probe filter; timeout 200 ./probe ./host.so",
         "real " + christmas + " 0\n1\n= 0"},
        // File times are the kernel's or the clock's.
        {"./probe files; ./zynov-sim --state table --file-times sh -c './ovuser add p:$$ --epoch 999999999 --speed 60 "
         ">/dev/null; ./probe files; exec ./probe files'; ./ovuser add p:$$ $FREEZE >/dev/null; exec ./probe files",
         "0\n0\n0\n63\n= 0"},
        {"touch -d @1577836800 old; ./zynov-sim --state table --file-times sh -c './ovuser add p:$$ $FREEZE "
         ">/dev/null; : >new; exec perl -e \"print((stat)[9], q( )) for qw(old new); exec qw(./probe files)\"'",
         "1577836800 1924419600 0\n= 0"},
    });
}
