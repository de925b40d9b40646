// Whom a command names, and its result for each of them.
#include "tests/utility.h"

#define STAYS " already has a virtual clock; left as it is: 'ovuser set' gives it anew\n"

TEST_F(Utility, KnowsWhoIsNamed)
{
    expect({
        {"for who in u:4294967297 u:-4294967295 g:-1 4294967295 99999999999999999999 p:0 p:$(cat "
         "/proc/sys/kernel/pid_max)0 u: g: ''; do $OV add \"$who\" --in 1d; done 2>&1 | "
         "grep -cE 'number of a (user|group|process) is from|names nobody: an unset'; $OV delete u:4294967294",
         "10\n" ERROR "incorrect/non-existent username, or uid 4294967294 passed in\n= 2"},
        // A process whose number is no user's.
        {"sleep 99 >&- & while getent passwd $! >/dev/null; do sleep 99 >&- & done; for who in user:bin bin,sys 09:00 "
         "staff $!; do $OV add bin $who --in 1d; done 2>&1 | grep hint | sed s/$!/N/; kill $!; $OV delete bin",
         HINT "did you mean u:bin?\n" HINT "identities are separated by blanks, not by commas\n" HINT
              "a time of two words is quoted: --at '2030-12-25 09:00'\n" HINT "did you mean the group, g:staff?\n" HINT
              "did you mean the process, p:N?\n! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
    });
}

TEST_F(Utility, TellsOfEachOfMany)
{
    expect({
        {"$OV add bin sys sync games man lp mail news uucp proxy g:bin g:sys $FREEZE | grep -c ': given .* Frozen'; "
         "$OV add g:bin bin daemon $FREEZE",
         "12\n" REPORT "g:bin (2)" STAYS REPORT "u:bin (2)" STAYS GIVEN("u:daemon (1)", "Frozen") "= 0"},
        {"$OV delete bin nobody daemon 2>&1",
         DELETED("u:bin (2)") "ovuser: warning: nobody: Specified id does not have a virtual clock\n" DELETED(
             "u:daemon (1)") "= 4"},
        {"$SIM --fault 1:-1:28 $OV add g:nogroup bin $FREEZE", GIVEN("u:bin (2)", "Frozen") ERROR
         "g:nogroup: an error occurred while executing this request, error = 28\n" HINT
         "there is no room for another clock: 'ovuser list' shows them, 'ovuser delete' makes room\n= 5"},
        {"$NOBODY sh -c 'sleep 99 & ./ovuser add p:$$ nobody p:$! $FREEZE; ./ovuser delete nobody; ./ovuser delete "
         "p:$! bin; kill $!' 2>&1 | sed 's/p:[0-9]*/p:N/'",
         GIVEN("p:N", "Frozen") GIVEN("u:nobody (65534)", "Frozen") GIVEN("p:N", "Frozen") DELETED("u:nobody (65534)")
             AND_ERROR "bin: Non-root user can not modify OV setting for others.\n" AND_ERROR
                       "nothing has been changed for any of them\n= 0"},
    });
}

TEST_F(Utility, SetsAnew)
{
    const std::string lost = "! ovuser: error: an error occurred while executing this request, error = 5\n";
    expect({
        {"$OV add bin $FREEZE --rewind; $OV set bin g:bin --speed -2 --dry-run | sed 's/given [^ ]* /given /'; $OV add "
         "bin $FREEZE --dry-run",
         GIVEN("u:bin (2)", "Frozen, rewinding at midnight") REPORT
         "u:bin (2): would be set anew, 2030-12-25T09:00:00+00:00, 2 times slower, rewinding at midnight; has "
         "2030-12-25T09:00:00+00:00, Frozen, rewinding at midnight\n" REPORT
         "g:bin (2): would be given 2 times slower; has no clock now\n" REPORT
         "u:bin (2): would be given 2030-12-25T09:00:00+00:00, Frozen; but has 2030-12-25T09:00:00+00:00, Frozen, "
         "rewinding at midnight, which would stay\n= 0"},
        {"$OV set bin --speed 1000; $OV set bin --no-rewind --speed frozen | cut -d ' ' -f 3-6; $OV add bin --replace "
         "$FREEZE | cut -d ' ' -f 3-8",
         REPORT "u:bin (2): set anew, 2030-12-25T09:00:00+00:00, 1000 times faster, rewinding at midnight; was "
                "2030-12-25T09:00:00+00:00, Frozen, rewinding at midnight\nu:bin (2): set anew,\n"
                "u:bin (2): set anew, 2030-12-25T09:00:00+00:00, Frozen;\n= 0"},
        {"$SIM --fault 6:-1:5 $OV set bin --at now --speed 2; $OV list | grep bin",
         "u:bin      Frozen                    " CHRISTMAS ERROR
         "an error occurred while executing this request, error = 5\n"
         "ovuser: warning: bin has its former clock again\n= 0"},
        {"$SIM --fault 4:-1:5,7:-1:5 $OV set bin --at now; $OV list | grep -c bin",
         "1\n" + lost + "ovuser: warning: bin has its former clock again\n= 0"},
        {"p=p:$$; $OV add $p $FREEZE --descendants >out; $SIM --fault 7:-1:5 $OV set $p --speed 2 2>out; $OV list "
         "--json | jq -c '.[] | select(.kind == \"process\") | [.speed, .descendants]'",
         "[0,true]\n= 0"},
        {"$SIM --fault 6:-1:5,7:-1:5 $OV set bin --at now; $OV delete bin",
         lost + "ovuser: warning: bin has lost its clock, which was --epoch 1924419600 --speed 0\n"
                "ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        {"$OV add bin $FREEZE >/dev/null; $SIM --fault 1:-1:5 $OV set bin --speed 7",
         ERROR "bin has a clock that cannot be read: Input/output error\n= 5"},
        // For a clock that the caller cannot see, only the value can be kept.
        {"sleep 99 & $OV add p:$! $FREEZE >/dev/null; $NOBODY $OV set p:$! --speed 2 2>&1 | sed s/$!/N/; $NOBODY $OV "
         "set p:$! --at @1924419601 --speed FROZEN | cut -d ' ' -f 4-; kill $!",
         AND_ERROR "p:N has a clock that you may not see: give a time\n"
                   "given 2030-12-25T09:00:01+00:00, FROZEN\n= 0"},
        {"$OV reset >/dev/null; $OV add bin $FREEZE >/dev/null; $SIM --fault 1:-1:1 $OV reset; $OV reset",
         "ovuser: report: All Orvane users have been reset to the system clock successfully.\n" ERROR
         "clocks that the reset has left: 1\n" HINT
         "the kernel module lets only the superuser of the host do this, or the owner of the process\n= 0"},
        {"$SIM --fault 2:-1:5 $OV reset 2>&1 | head -n 1; env -u LD_PRELOAD ./ovuser set bin --speed 2 --dry-run | "
         "cut -d ';' -f 2",
         AND_ERROR "whether the reset has left clocks cannot be told\n whether it has a clock now cannot be told: No "
                   "such file or directory\n= 0"},
    });
}
