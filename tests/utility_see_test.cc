// How ovuser shows the clock table: the listing, JSON, and hidden clocks.
#include "tests/utility.h"

// Adds clocks that are frozen, or so slow that two listings show the same.
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

// Rows that the engine would drop without a word: no name, no tools in PATH, no descriptors.
TEST_F(Utility, DropsNoRowInSilence)
{
    expect({
        {STORE "99999 1924419600 1 0 0; ./listing | grep -c 2030; ./ovuser list | grep 2030; ./ovuser list --json | "
               "jq -c '.[] | [.id, .name]'",
         "0\nu:99999    Frozen                    " CHRISTMAS "[99999,null]\n= 0"},
        {"$NOBODY sh -c './ovuser add p:$$ $FREEZE >/dev/null; PATH= ./ovuser list' | grep -c ^p:", "1\n= 0"},
        {"for entry in id=1,2:0:0:flags=3 id=65534,2:0:0:flags=1; do $NOBODY $SIM --fault 1:0:0:speed=0,2:0:0:$entry "
         "sh -c 'exec 3>&- 4>&- 5>&- 6>&- 7>&-; ulimit -n 4; ./ovuser list'; done",
         OWN_HEADER "- End of list -\n" OWN_HEADER "u:65534    Frozen                    Thu Jan  1 00:00:00 1970\n\n"
                    "- End of list -\novuser: Requested Orvane users have been listed above.\n"
                    "! ovuser: warning: clocks of which it cannot be told whether they are yours: 1\n= 0"},
        {"$OV add bin $FREEZE >/dev/null; $OV list daemon bin g:bin || $NOBODY $OV list g:bin | tail -n 1",
         OWN_HEADER "u:bin      Frozen                    " CHRISTMAS "\n- End of list -\n- End of list -\n"
                    "! ovuser: warning: daemon does not have a virtual clock\n"
                    "ovuser: warning: g:bin does not have a virtual clock\n"
                    "ovuser: warning: g:bin does not have a virtual clock that you may see\n= 0"},
        {"$OV add g:bin $FREEZE >/dev/null; for kind in user group process; do $OV list --kind $kind | grep ^.:; $OV "
         "list --json --kind $kind | jq -c '.[] | [.kind]'; done; $OV list --kind users || $OV list --kind user bin",
         "u:99999    Frozen                    " CHRISTMAS "u:bin      Frozen                    " CHRISTMAS
         "[\"user\"]\n[\"user\"]\ng:bin      Frozen                    " CHRISTMAS
         "[\"group\"]\n! ovuser: error: --kind is user, group or process, not 'users'\n"
         "ovuser: error: --kind is for a list without identities\n= 2"},
    });
}

// "real" stands for the real time, also if the caller has a clock.
TEST_F(Utility, ListsForPrograms)
{
    const std::string jq = " --json | jq -c '.[] | {kind, id, name, time, epoch, real: (.epoch - .ahead), "
                           "speed, speed_text, frozen, rewind, origin, zone: .real[19:]}'";
    expect({
        {"$OV list --json", "[]\n= 0"},
        {PEOPLE "TZ=XXX-5:30 ./zynov-sim --state table --shared --file-times $NOBODY $OV list nobody" + jq,
         R"({"kind":"user","id":65534,"name":"nobody","time":"2030-12-25T14:30:00+05:30","epoch":1924419600,"real":real,)"
         R"("speed":0,"speed_text":"Frozen","frozen":true,"rewind":false,"origin":null,"zone":"+05:30"})"
         "\n= 0"},
        {"$OV add g:2 --days 1 -o 100000 --offset --speed -999 >/dev/null; TZ=XXX0:00:30 $OV list g:bin" + jq,
         R"({"kind":"group","id":2,"name":"bin","time":"1970-01-03T03:46:40+00:00","epoch":186400,"real":real,)"
         R"("speed":-999,"speed_text":"999 times slower","frozen":false,"rewind":false,"origin":100000,"zone":"+00:00"})"
         "\n= 0"},
    });
}

TEST_F(Utility, ShowsWhoLivesByWhichClock)
{
    const std::string kept = "  kept by   the simulator, in " + (folder / "table").string() + "\n";
    const std::string still = "  shows     2030-12-25T09:00:00+00:00\n  type      Frozen\n  rewinds   never\n" + kept;
    expect({
        {"$OV show g:bin bin; $NOBODY $OV show g:bin; $OV add g:nogroup g:bin $FREEZE >/dev/null; $OV show nobody | "
         "grep -v ahead; $OV delete g:bin >/dev/null",
         "g:bin       no clock in the simulator, and so real time\nbin         no clock in the simulator, and so real "
         "time\n"
         "g:bin       no clock that you may see\nnobody      the clock of its group, g:nogroup\n" +
             still + "= 0"},
        {"$SIM --fault 2:-1:5 $OV show games", "games       which clock applies cannot be told\n" ERROR
                                               "an error occurred while executing this request, error = 5\n= 5"},
        {"$OV add nobody --in -5d --speed 2 --rewind >/dev/null; $OV show nobody | grep -v shows; $OV show g:nogroup | "
         "tail -n 1; $NOBODY $OV show bin",
         "nobody      a clock of its own\n  behind    5d\n  type      2 times faster\n"
         "  rewinds   at midnight, in the zone where it was set\n" +
             kept +
             "  before    g:nogroup\n  not for   u:nobody\n"
             "! ovuser: error: Non-root user can not list other OV users.\n= 5"},
        // A process has its user's clock, then its own; its group's, and one of a group without the caller.
        {"$NOBODY sh -c './ovuser show p:$$ | sed -n \"s/$$ *//p\"; ./ovuser add p:$$ --days 1 -o 100000 --offset "
         "--speed -999 >/dev/null; ./ovuser show p:$$ | grep -v behind | sed \"s/$$ *//\"; ./ovuser show | tail -n 1 | "
         "sed s/$$/N/'",
         "p:the clock of its user, u:nobody\np:a clock of its own\n  shows     1970-01-03T03:46:40+00:00\n"
         "  type      999 times slower\n  rewinds   never\n  origin    @100000\n" +
             kept +
             "  before    g:nogroup, u:nobody\n"
             "  not for   p:N\n= 0"},
        {"$OV delete nobody >/dev/null; for group in 65534 2; do setpriv --reuid=65534 --regid=$group --clear-groups "
         "sleep 99 & until grep -q '^Uid:.65534' /proc/$!/status; do :; done; $NOBODY $OV show p:$! | head -n 1 | cut "
         "-c 13-; kill $!; done",
         "the clock of its group, g:nogroup\nno clock that you may see\n= 0"},
        {"$OV add p:$$ $FREEZE >/dev/null; $OV show g:0 p:$$ --json | jq -c '.[] | .id, .lives_by, .clock.epoch, "
         ".overrules, .overruled_by' | sed s/$$/N/",
         "0\n\"none\"\nnull\n[]\n[{\"kind\":\"process\",\"id\":N,\"name\":null}]\nN\n\"own\"\n1924419600\n[]\n[]\n= 0"},
        {"$OV show nobody --json | jq -c '[.[] | {kind, id, identity, lives_by, clock: (.clock | {kind, id, name, "
         "time, epoch, speed, speed_text, frozen, rewind, origin}), overrules, overruled_by}]'",
         R"([{"kind":"user","id":65534,"identity":"nobody","lives_by":"group","clock":{"kind":"group","id":65534,"name":)"
         R"("nogroup","time":"2030-12-25T09:00:00+00:00","epoch":1924419600,"speed":0,"speed_text":"Frozen","frozen":true,)"
         R"("rewind":false,"origin":null},"overrules":[],"overruled_by":[]}])"
         "\n= 0"},
    });
}

// Watches on a terminal of five lines, then of six; ending or stopping the watch restores the terminal.
TEST_F(Utility, WatchesTheClocks)
{
    const std::string job =
        "cat >job <<'END'\nstty rows 5\nset -m\n: >seen; await() { until grep -qsa \"$1\" seen; do :; done; }\n"
        "watch() { sh -c 'echo $$ >pid; exec ./ovuser list --watch=9'; }\n";
    const std::string run =
        "\necho \"status $?\"\nEND\nrm -f seen; TERM=xterm timeout 90 script -qefc 'bash ./job' seen >/dev/null; grep "
        "-ao '?1049.\\|[1-9]m[FR][a-z]*\\|[.].* more\\|^status [0-9]*' seen | uniq";
    const std::string table = "Id         Time                       Distance                   Clock type\n"
                              "          Real time\nu:nobody   2030-12-25T09:00:00+00:00  ahead Frozen\n";
    expect({
        {PEOPLE "$OV list nobody --watch 0.1 | head -n 7 | sed 's/ 20.*Real/Real/; s/ahead.*[dhm]  *F/ahead F/'",
         table + "\n" + table + "= 0"},
        {job + "(await '3 more'; stty rows 6; await '2 more'; kill -INT $(cat pid)) & watch" + run,
         "?1049h\n7mFrozen\n... and 3 more\n7mFrozen\n... and 2 more\n?1049l\n= 0"},
        {job + "(await more; kill -TSTP $(cat pid)) & watch; kill -TERM $(cat pid) & fg" + run + " | grep -v '[Fm]'",
         "?1049h\n?1049l\n?1049h\n?1049l\nstatus 143\n= 0"},
    });
}

// The watch reports a running clock, a fast one and real time once, and ends with its reader.
TEST_F(Utility, TellsTheChangesOfClocks)
{
    const std::string watch = ": >seen; $OV list --json --watch 0.05 >>seen & "
                              "await() { until [ \"$(cat seen | wc -l)\" -ge $1 ]; do :; done; }\n";
    expect({
        {"{ timeout 50 $OV list --watch 0.05 --json; echo $? >end; } | head -n 1 | jq -r .change; cat end",
         "real\n0\n= 0"},
        {"export TZ=CET-1CEST,M3.5.0,M10.5.0/3; $OV add nobody --at '2030-03-31 01:59' --speed frozen >log\n" + watch +
             "{ await 2; $OV set nobody --speed 20; await 4; $OV reset; } >log; kill $!; jq -r '.time // .change' seen "
             "| cut -c 20- | head -n 4",
         "+01:00\n\n+01:00\n+02:00\n= 0"},
        {"{ $OV add bin --speed 1000; $OV add sys --speed -3; $OV add nobody --days 1; } >log; " + watch +
             "{ await 4; sleep 2; $OV set nobody --in '1d 9s'; await 5; $OV set nobody --speed frozen; await 6\n"
             "$OV set sys --rewind; await 7; $OV delete sys; await 8; } >log; kill $!\n"
             "jq -r '[.change, .name, .speed, .rewind, has(\"epoch\")] | join(\" \")' seen",
         "set bin 1000 false true\nset sys -3 false true\nset nobody 1 false true\nreal    true\n"
         "set nobody 1 false true\nset nobody 0 false true\nset sys -3 true true\ngone sys   false\n= 0"},
    });
}

// An identity, a subcommand and a hostile name: with a line break, colours, and a byte that is not UTF-8.
TEST_F(Utility, ShowsControlCharacters)
{
    expect({
        {"x=$(printf 'a\n\033[31m\377\303\251\302\233'); $OV list \"$x\"; $OV \"$x\"; $OV add --epoch \"$x\"; $OV list "
         "\"--$x\"",
         ERROR "incorrect/non-existent username, or uid a\\012\\033[31m\\377\303\251\\u009b passed in\n" AND_ERROR
               "a\\012\\033[31m\\377\303\251\\u009b is not a subcommand; 'ovuser --help' lists them\n" AND_ERROR
               "--epoch takes a whole number from 32400 to 253402329599, not "
               "'a\\012\\033[31m\\377\303\251\\u009b'\n" AND_ERROR
               "unrecognized option '--a\\012\\033[31m\\377\303\251\\u009b'\n= 2"},
    });
    if (!can_mount())
        return;
    expect({
        {"{ cat /etc/passwd; printf "
         "'e\"\\\\\033[m\377\302\233\303\251:x:4321:1::/:/bin/sh\nUNKNOWN:x:4322:1::/:/bin/sh\n'; } >passwd; unshare "
         "-m sh -c 'mount --bind passwd /etc/passwd; ./ovuser add 4321 UNKNOWN $FREEZE >out; ./ovuser list | grep u:; "
         "./ovuser list --json | jq -a .[].name'",
         "u:'e\"\\\\033[m\\377\\u009b\303\251' Frozen                    " CHRISTMAS
         "u:UNKNOWN  Frozen                    " CHRISTMAS
         "\"e\\\"\\\\\\u001b[m\\ufffd\\u009b\\u00e9\"\n\"UNKNOWN\"\n= 0"},
        // Names fill columns as shell words; characters that reverse the rest of a line are visible, in JSON too.
        {"{ cat /etc/passwd; printf '%s:x:432%d:1::/:/bin/sh\n' 日本 1 e\314\201 2 'o d' 3 a\342\200\256b 4; } "
         ">passwd; "
         "unshare -m sh -c 'mount --bind passwd /etc/passwd; ./ovuser reset >out; ./ovuser add 4321 4322 4323 4324 "
         "$FREEZE | tail -n 2; ./ovuser show \"o d\" | head -n 1; ./ovuser list | grep ^u:; ./ovuser list --json | "
         "grep -o a.u202e; ./ovuser list --watch=0.05 | sed -n \"3p;7q\" | cut -c -17'",
         GIVEN("u:'o d' (4323)", "Frozen") GIVEN("u:a\\u202eb (4324)", "Frozen") //
         "'o d'       a clock of its own\n"
         "u:日本     Frozen                    " CHRISTMAS "u:e\314\201        Frozen                    " CHRISTMAS
         "u:'o d'    Frozen                    " CHRISTMAS "u:a\\u202eb Frozen                    " CHRISTMAS
         "a\\u202e\nu:日本     2030\n= 0"},
        // Every byte that a name may have: JSON keeps it and emits none that controls a terminal.
        {"perl -e 'open(F, q(</proc/zynov)); open(P, q(>passwd)); open(N, q(>names)); for (grep { $_ != 10 && $_ != 58 "
         "} 1 .. 255) { ioctl(F, 0xC0505302, pack(q(Qx8qqQqx24Q), 171, 5000 + $_, 86400, 1, 0, 0)); printf P "
         "qq(x%cy:x:%d:1::/:\\n), $_, 5000 + $_; print N $_ < 128 ? qq(x) . chr . qq(y) : qq(x\\xef\\xbf\\xbdy) }'; "
         "unshare -m sh -c 'mount --bind passwd /etc/passwd; ./ovuser list | LC_ALL=C grep -c \"^u:[!-~]*x[ "
         "-~]*y[!-~]* *Frozen\"; ./ovuser list --json | jq -j \".[] | select(.id > 5000) | .name\" | cmp - names'",
         "253\n= 0"},
    });
}
