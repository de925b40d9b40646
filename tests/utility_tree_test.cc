// Clocks that are passed on to the descendants of a process: with 4 until it ends, with 12 until the last of them has.
#include "utility.h"

static const std::string mark = "perl -e 'open(F, q(</proc/zynov)); $r = pack(q(Qx72), 171); ioctl(F, 0xC0505306, $r);"
                                "print unpack(q(x40l), $r), qq(\\n)'; ";

TEST_F(Utility, PassesClocksOn)
{
    expect({
        {"./tree 4 ./tree && ./tree 4 sh -c ./tree && ./tree 4 setsid sh -c '(./tree; ./tree) | cat'", "= 0"},
        {"./tree 4 $NOBODY sh -c 'date +%Y; ./tree 4 date +%Y'", "2030\n2030\n= 0"},
        // The others have another clock, and one that was deleted is no more.
        {"now='./tree - 1924419600'; ./tree 0 sh -c \"$now; echo \\$?\"; ./tree 4 env -i $now; echo $?; ./tree 4 sh -c "
         "\"./ovuser delete p:\\$\\$ >/dev/null; $now; echo \\$?; $now || echo 1\"",
         "1\n1\n1\n1\n= 0"},
        // The nearest clock wins.
        {"./tree 4 sh -c 'date +%Y; AT=1286701200 ./tree 4 sh -c \"date +%Y; (date +%Y); ./ovuser delete p:\\$\\$ "
         ">/dev/null; date +%Y; (date +%Y)\"; date +%Y'",
         "2030\n2010\n2010\n2030\n2030\n2030\n= 0"},
        // Process 1 and its child, process 1 of another pid namespace.
        {"! unshare -pf --mount-proc true 2>&- || unshare -pf --mount-proc ./tree 0 ./tree '~'", "= 0"},
        // An environment from somewhere else tells nothing.
        {"mkfifo a b; ./tree 4 sh -c 'env | grep ^ZYNOV_SIM_TREES >e; echo >a; read line <b' & read line <a; "
         "env $(cat e) ./tree - 1924419600; echo $?; echo >b; wait",
         "1\n= 0"},
    });
}

TEST_F(Utility, EndsClocksThatWerePassedOn)
{
    expect({
        {"./tree 4 perl -e 'fork or do { 1 while time == 1924419600; print q(over ); exit }; kill 9, $$' 2>&1 | cat; " +
             mark,
         "over -1\n! Killed\n= 0"},
        {"mkfifo c d; ./tree 12 sh -c '(setsid sh -c \"echo >c; read line <d; date +%Y\") &'; read line <c; " + mark +
             "echo >d; while [ $(" + mark + ") = 0 ]; do sleep 0.01; done",
         "0\n2030\n= 0"},
        // Its members keep nobody from changing clocks.
        {"mkfifo f g; ./ovuser run --daemons --speed 2 sh -c 'echo >f; read line <g' & read line <f; ./ovuser run "
         "--daemons $FREEZE date +%Y; echo >g; wait",
         "2030\n= 0"},
    });
}

// And what they start, also where they are started by calls that share a parent's memory.
TEST_F(Utility, PassesClocksOnToStaticPrograms)
{
    if (!fs::exists(folder / "tree_static"))
        GTEST_SKIP() << "for x86-64";
    expect({
        {"export CHECK=./tree_static; ./tree 4 ./tree && ./tree 4 ./tree_static && ./tree 4 sh -c './tree_static; "
         "./tree'",
         "= 0"},
        {"$SIM --no-static --quiet ./tree 4 sh -c './tree_static - 1924419600; ./tree - 1924419600 && echo passed'",
         "passed\n= 0"},
        {"$SIM --no-static --quiet ./tree 4 ./tree_static - 1924419600", "= 1"},
        {"./tree 4 sh -c 'CHECK=./tree_static ./tree; exec ./tree_static'", "= 0"},
    });
}
