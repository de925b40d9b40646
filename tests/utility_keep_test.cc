// Files of clocks.
#include "tests/utility.h"

#define SUMMARY(file, added, anew, deleted, left, failed)                                                              \
    "ovuser: report: " file ": " added " added, " anew " set anew, " deleted " deleted, " left                         \
    " left as they are, " failed " failed\n"

static void write_private(const fs::path &path, const std::string &text)
{
    std::ofstream(path) << text;
    fs::permissions(path, fs::perms(0600));
}

static const char two_clocks[] = "# Christmas\n\n  u:nobody --epoch 1924419600\t--speed frozen #not a word\n"
                                 "'g:'b\"in\" --at \"2030-12-25 09:00\" --speed FR\\OZEN --rewind";

TEST_F(Utility, AppliesAFile)
{
    write_private(folder / "clocks", two_clocks);
    expect({
        {"$OV add news $FREEZE >out; $OV apply ./clocks --dry-run --prune; $OV list | grep -c nobody",
         "ovuser: report: u:news would lose its clock\n" REPORT
         "u:nobody (65534): would be given 2030-12-25T09:00:00+00:00, Frozen; has no clock now\n" REPORT
         "g:bin (2): would be given 2030-12-25T09:00:00+00:00, FROZEN, rewinding at midnight; has no clock now\n" //
         SUMMARY("./clocks (dry run)", "2", "0", "1", "0", "0") "0\n= 1"},
        {"$OV apply clocks; $OV apply clocks; $OV set nobody --speed 2 --in 9d >out; $OV apply - <clocks",
         GIVEN("u:nobody (65534)", "Frozen") GIVEN("g:bin (2)", "FROZEN, rewinding at midnight") SUMMARY(
             "clocks", "2", "0", "0", "0",
             "0") "ovuser: report: clocks: nothing to change\novuser: report: standard input: nothing to change\n= 0"},
        {"$OV apply clocks --prune --replace | tail -n 1; $OV list | grep '^[ugp]:'; $OV delete nobody >out;"
         "$SIM --fault 4:-1:17 $OV apply clocks | tail -n 1; $SIM --fault 4:-1:5 $OV apply clocks",
         SUMMARY("clocks", "0", "2", "1", "0",
                 "0") "u:nobody   Frozen                    " CHRISTMAS
                      "g:bin      FROZEN                    " CHRISTMAS //
                      "ovuser: report: clocks: nothing to change\n" SUMMARY("clocks", "0", "0", "0", "1", "1") ERROR
         "clocks:3: u:nobody: an error occurred while executing this request, error = 5\n= 5"},
    });
}

TEST_F(Utility, AppliesAFileForProgramsAndForMany)
{
    write_private(folder / "clocks", two_clocks);
    expect({
        // A plan in JSON changes nothing, and prints nothing if it cannot be made.
        {"$OV reset >out; $OV add nobody news $FREEZE >out; j='--dry-run --json'\n"
         "p() { jq -c 'map_values(map([.identity, .line, .from.epoch, .to.epoch, .to.speed]))'; }\n"
         "$OV apply clocks $j --prune --replace | p; $OV apply clocks $j | jq -c 'map_values(length)'; $OV set news "
         "g:sys --at @1924419609 --speed 5 $j | p; $OV add news --in 1d $j | jq -c '.left[0] | .from == .to'; $OV "
         "apply --json; $SIM --fault 2:-1:5 $OV set bin --in 1d $j; $OV list | grep -c '^[ug]:'",
         R"({"added":[["g:bin",4,null,1924419600,1001]],"changed":[["u:nobody",3,1924419600,1924419600,0]],)"
         R"("deleted":[["u:news",null,1924419600,null,null]],"left":[],"failed":[]})"
         "\n"
         R"({"added":1,"changed":0,"deleted":0,"left":1,"failed":0})"
         "\n"
         R"({"added":[["g:sys",null,null,1924419609,5]],"changed":[["news",null,1924419600,1924419609,5]],)"
         R"("deleted":[],"left":[],"failed":[]})"
         "\ntrue\n2\n" ERROR "--json goes with --dry-run\n" AND_ERROR
         "an error occurred while executing this request, error = 5\n= 0"},
        // A clock whose time nobody may set must not stop the others from being applied.
        {"$OV add sys --epoch 253402329599 --speed 1000 >out; sleep 0.1; $OV save | grep -c '^# u:sys'", "1\n= 0"},
        // A long file is applied right, also a second time.
        {"getent group | sed '1d; s/:.*//; s/^/g:/' >groups; { cat groups; echo games; } | sed 's/$/ --speed 2/' "
         ">many; $OV apply - --prune <many >out; $OV list | sed -n 's/^\\([gu]:[^ ]*\\).*/\\1/p' >listed; echo u:games "
         ">>groups; cmp groups listed && [ $(grep -c . groups) -gt 35 ] && $OV apply - <many",
         "ovuser: report: standard input: nothing to change\n= 0"},
        // The superuser refuses a file that others may write. An ordinary user may apply a file of their own.
        {"for file in '65534 600' '0 620' '65534 602'; do chown ${file% *} clocks; chmod ${file#* } clocks; $OV apply "
         "clocks; done; mkfifo fifo; $OV apply fifo; $OV apply none; echo $?; $OV apply none none; echo '--in 1d' | "
         "$NOBODY $OV apply - | tail -n 1",
         "5\n" SUMMARY("standard input", "1", "0", "0", "0", "0") ERROR
         "clocks: others than root may write it: chown root clocks\n" AND_ERROR
         "clocks: others than root may write it: chmod go-w clocks\n" AND_ERROR
         "clocks: others than root may write it: chown root clocks && chmod go-w clocks\n" AND_ERROR
         "fifo: not a regular file; - is standard input\n" AND_ERROR "none: No such file or directory\n" AND_ERROR
         "apply takes one file\n= 0"},
    });
}

TEST_F(Utility, AppliesNothingWhereALineIsWrong)
{
    write_private(folder / "wrong", "g:bin --in 1d\ng:2 --in 1d\nu:bin --at 2030\nu:bin g:games --in 1d\n"
                                    "user:bin --in 1d\nu:bin --nonsense\n--in 1d\nu:'bin\nu:bin\\\n"
                                    "u:bin --in 1d --json\n\"\\u:\\\"\" --in 1d\nu:bin --epoch 5");
    expect({
        {"$OV apply wrong 2>&1 | grep ^ovuser:.error; $OV list | grep -c bin; printf '\\357\\273\\277u:bin --in "
         "1d\\r\\n\\0\\0\\nu:ux --in 1d\\r\\nu:bin\\033 --in 1d' | $OV apply -",
         "ovuser: error: wrong:2: g:2 has a clock on line 1 already\n"
         "ovuser: error: wrong:3: Illegal virtual clock, invalid date format\n"
         "ovuser: error: wrong:4: a line is for one clock\n"
         "ovuser: error: wrong:5: incorrect/non-existent username, or uid user:bin passed in\n"
         "ovuser: error: wrong:6: unrecognized option '--nonsense'\n"
         "ovuser: error: wrong:7: add whom? root has no clock; write u:USER, g:GROUP or p:PID\n"
         "ovuser: error: wrong:8: a quote is not closed\n"
         "ovuser: error: wrong:9: nothing follows the backslash\n"
         "ovuser: error: wrong:10: --help, --dry-run, --json and --replace are not for a line of a file\n"
         "ovuser: error: wrong:11: incorrect/non-existent username, or uid \\u:\" passed in\n"
         "ovuser: error: wrong:12: --epoch '5' is out of range: it must be from 1970-01-01 09:00:00 UTC to 10000-01-01 "
         "07:59:59 UTC\n"
         "ovuser: error: wrong: nothing has been changed\n0\n" ERROR
         "standard input: a byte order mark at its beginning: save it as UTF-8 without one\n" AND_ERROR
         "standard input:1: DOS line ends: sed -i 's/\\r$//' takes them out\n" AND_ERROR
         "standard input:2: a control character, \\000\n" AND_ERROR
         "standard input:4: a control character, \\033\n" AND_ERROR
         "standard input:3: incorrect/non-existent username, or uid ux passed in\n" AND_ERROR
         "standard input: nothing has been changed\n= 2"},
    });
}

// Save, reset and apply restore the clocks, whatever their names. Those of missing owners and processes become
// comments.
TEST_F(Utility, SavesWhatItApplies)
{
    if (!can_mount())
        GTEST_SKIP() << "needs a mount namespace";
    write_private(folder / "people",
                  "o'd d:x:4321:1::/:/bin/sh\nb\033d:x:4322:1::/:/bin/sh\ngone:x:4323:1::/:/bin/sh\n");
    write_private(folder / "keep", "mount --bind passwd /etc/passwd; $OV add 4321 4322 gone p:$$ $FREEZE >out\n"
                                   "$OV add nobody --epoch 1924419600 --speed -1000 --rewind >out\n"
                                   "$OV add g:bin --epoch 1924419600 --speed FROZEN >out\n"
                                   "grep -v gone passwd >left; cat left >passwd; $OV save >saved\n"
                                   "$OV apply - --prune --dry-run --json <saved | jq -c '[.failed[].identity]'\n"
                                   "sed '1d; $d; s/p:[0-9]*/p:PID/' saved; $OV apply - --prune <saved | tail -n 1\n"
                                   "$OV reset >out; $OV apply - <saved | tail -n 1; grep -v '^#' saved >before\n"
                                   "$OV save | grep -v '^#' | cmp - before && echo same");
    const std::string christmas = " # 2030-12-25T09:00:00+00:00\n";
    expect({
        {"cat /etc/passwd people >passwd; chmod 644 passwd; unshare -m sh ./keep",
         "[\"u:4323\"]\nu:'o'\\''d d' --epoch 1924419600 --speed frozen" + christmas +
             "u:4322 --epoch 1924419600 --speed frozen" + christmas + "# u:4323 --epoch 1924419600 --speed frozen" +
             christmas + "# p:PID --epoch 1924419600 --speed frozen" + christmas +
             "u:nobody --epoch 1924419600 --speed -1000 --rewind" + christmas +
             "g:bin --epoch 1924419600 --speed FROZEN" + christmas +
             SUMMARY("standard input", "0", "0", "1", "4", "1") SUMMARY(
                 "standard input", "4", "0", "0", "0",
                 "0") "same\n" ERROR "u:4323 does not exist any more: only 'ovuser reset' takes its clock away\n= 0"},
    });
}
