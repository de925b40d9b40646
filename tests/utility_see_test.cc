// What ovuser shows of the clock table: the listing, JSON, and what cannot be told.
#include "tests/utility.h"

// Gives some a clock: still, or so slow that two listings show the same.
#define PEOPLE                                                                                                         \
    "$OV add nobody g:65534 g:daemon $FREEZE >/dev/null; $OV add bin --in 3d --rewind --speed -999 >/dev/null; "
#define STORE "perl -e 'open(F, q(</proc/zynov)); ioctl(F, 0xC0505302, pack(q(Qx8qqQqx24Q), 171, @ARGV)) or die $!' "

TEST_F(Utility, ListsAsTheEngineDoes)
{
    const std::string compare = "mine=$($PERSON ./ovuser list | sed \\$d) theirs=$($PERSON ./listing); "
                                "test \"$mine\" = \"$theirs\" && echo \"$mine\" | wc -l; ";
    expect({
        {PEOPLE "export TZ=XXX-13:45; PERSON=; " + compare + "PERSON=$NOBODY; " + compare, "11\n7\n= 0"},
        {"$NOBODY sh -c './ovuser add p:$$ --in 1d --speed -999 >/dev/null; PERSON=; " + compare + "'", "9\n= 0"},
    });
}

// Where the engine drops a row without a word: no name, no tools in PATH, no descriptors.
TEST_F(Utility, DropsNoRowInSilence)
{
    expect({
        {STORE "99999 1924419600 1 0 0; ./listing | grep -c 2030; ./ovuser list | grep 2030; ./ovuser list --json | "
               "jq -c '.[] | [.id, .name]'",
         "0\nu:99999    Frozen                    " CHRISTMAS "[99999,null]\n= 0"},
        {"$NOBODY sh -c './ovuser add p:$$ $FREEZE >/dev/null; PATH= ./ovuser list' | grep -c ^p:", "1\n= 0"},
        {"$NOBODY $SIM --fault 1:0:0:speed=0,2:0:0:id=1,2:0:0:flags=3 sh -c 'exec 3>&- 4>&- 5>&- 6>&- 7>&-; "
         "ulimit -n 4; ./ovuser list'",
         OWN_HEADER "- End of list -\n! ovuser: warning: clocks of which it cannot be told whether they are yours: 1\n"
                    "= 5"},
        {"$OV add bin $FREEZE >/dev/null; $OV list daemon bin g:bin || $NOBODY $OV list g:bin | tail -n 1",
         OWN_HEADER "u:bin      Frozen                    " CHRISTMAS "\n- End of list -\n- End of list -\n"
                    "! ovuser: warning: daemon does not have a virtual clock\n"
                    "ovuser: warning: g:bin does not have a virtual clock\n"
                    "ovuser: warning: g:bin does not have a virtual clock that you may see\n= 0"},
    });
}

// "real" stands for the real time, also where the caller himself lives by a clock.
TEST_F(Utility, ListsForPrograms)
{
    const std::string jq = " --json | jq -c '.[] | .real = .epoch - .ahead | del(.ahead)'";
    expect({
        {"$OV list --json", "[]\n= 0"},
        {PEOPLE "TZ=XXX-5:30 $NOBODY $OV list nobody" + jq,
         R"({"kind":"user","id":65534,"name":"nobody","time":"2030-12-25T14:30:00+05:30","epoch":1924419600,"speed":0,)"
         R"("speed_text":"Frozen","frozen":true,"rewind":false,"origin":null,"real":real})"
         "\n= 0"},
        {"$OV add g:2 --days 1 -o 100000 --offset --speed -999 >/dev/null; TZ=XXX0:00:30 $OV list g:bin" + jq,
         R"({"kind":"group","id":2,"name":"bin","time":"1970-01-03T03:46:40+00:00","epoch":186400,"speed":-999,)"
         R"("speed_text":"999 times slower","frozen":false,"rewind":false,"origin":100000,"real":real})"
         "\n= 0"},
    });
}

// An identity, a subcommand and a name as hostile as can be: a line of its own, colours, a byte that is not UTF-8.
TEST_F(Utility, ShowsControlCharacters)
{
    expect({
        {"x=$(printf 'a\n\033[31m\377\303\251\302\233'); $OV list \"$x\"; $OV \"$x\"; $OV add --epoch \"$x\"",
         ERROR "incorrect/non-existent username, or uid a\\012\\033[31m\\377\303\251\\302\\233 passed in\n" AND_ERROR
               "a\\012\\033[31m\\377\303\251\\302\\233 is not a subcommand; 'ovuser --help' lists them\n" AND_ERROR
               "--epoch takes a whole number from -9223372036854775808 to 9223372036854775807, not "
               "'a\\012\\033[31m\\377\303\251\\302\\233'\n= 2"},
    });
    if (shell("unshare -m true 2>&-") != "= 0") // in a changed root
        return;
    expect({
        {"{ cat /etc/passwd; printf 'e\"\\\\\033[m\377\302\233\303\251:x:4321:1::/:/bin/sh\n'; } >passwd; unshare -m "
         "sh -c "
         "'mount --bind passwd /etc/passwd; ./ovuser add 4321 $FREEZE; ./ovuser list | grep u:; "
         "./ovuser list --json | jq -a .[].name'",
         "ovuser: uid 4321 has been added with a Frozen virtual clock: " CHRISTMAS
         "u:e\"\\\\033[m\\377\\302\\233\303\251 Frozen                    " CHRISTMAS
         "\"e\\\"\\\\\\u001b[m\\ufffd\\u009b\\u00e9\"\n= 0"},
    });
}
