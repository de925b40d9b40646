// Whom a command names, and what becomes of each of them.
#include "tests/utility.h"

static const std::string frozen = " has been added with a Frozen virtual clock: " CHRISTMAS;

TEST_F(Utility, KnowsWhoIsNamed)
{
    expect({
        {"for who in u:4294967297 u:-4294967295 g:-1 4294967295 99999999999999999999 p:0 p:$(cat "
         "/proc/sys/kernel/pid_max)0 u: g: ''; do $OV add \"$who\" --in 1d; done 2>&1 | "
         "grep -cE 'number of a (user|group|process) is from|names nobody: an unset'; $OV delete u:4294967294",
         "10\n" ERROR "incorrect/non-existent username, or uid 4294967294 passed in\n= 2"},
        {"$OV add --in 1d; $OV delete", ERROR "add whom? root has no clock; write u:USER, g:GROUP or p:PID\n" AND_ERROR
                                              "delete whom? root has no clock; write u:USER, g:GROUP or p:PID\n= 2"},
        // A process whose number is no user's.
        {"sleep 9 >&- & while getent passwd $! >/dev/null; do sleep 9 >&- & done; for who in user:bin bin,sys 09:00 "
         "staff $!; do $OV add bin $who --in 1d; done 2>&1 | grep hint | sed s/$!/N/; kill $!; $OV delete bin",
         HINT "did you mean u:bin?\n" HINT "identities are separated by blanks, not by commas\n" HINT
              "a time of two words is quoted: '2030-12-25 09:00'\n" HINT "did you mean the group, g:staff?\n" HINT
              "did you mean the process, p:N?\n! ovuser: warning: Specified id does not have a virtual clock\n= 4"},
    });
}

TEST_F(Utility, TellsOfEachOfMany)
{
    expect({
        {"$OV add bin sys sync games man lp mail news uucp proxy g:bin g:sys $FREEZE | grep -c 'added with a Frozen'; "
         "$OV add g:bin bin daemon $FREEZE",
         "12\novuser: report: g:bin already has a virtual clock\novuser: uid 2 already has a virtual clock\n"
         "ovuser: uid 1" +
             frozen + "= 0"},
        {"$OV delete bin nobody daemon 2>&1", "ovuser: report: Virtual clock for uid 2 has been deleted\n"
                                              "ovuser: warning: nobody: Specified id does not have a virtual clock\n"
                                              "ovuser: report: Virtual clock for uid 1 has been deleted\n= 4"},
        {"$SIM --fault 1:-1:28 $OV add g:nogroup bin $FREEZE",
         "ovuser: uid 2" + frozen +
             ERROR "g:nogroup: an error occurred while executing this request, error = 28\n" HINT
                   "there is no room for another clock: 'ovuser list' shows them, 'ovuser delete' makes room\n= 5"},
        {"$NOBODY sh -c 'sleep 9 & ./ovuser add p:$$ nobody p:$! $FREEZE; ./ovuser delete nobody; ./ovuser delete p:$! "
         "bin; kill $!' 2>&1 | sed 's/pid [0-9]*/pid N/'",
         "ovuser: pid N" + frozen + "ovuser: uid 65534" + frozen + "ovuser: pid N" + frozen +
             "ovuser: report: Virtual clock for uid 65534 has been deleted\n" AND_ERROR
             "bin: Non-root user can not modify OV setting for others.\n= 0"},
    });
}

TEST_F(Utility, SetsAnew)
{
    const std::string lost = "! ovuser: error: an error occurred while executing this request, error = 5\n";
    expect({
        {"$OV add bin $FREEZE --rewind; $OV set bin g:bin --speed -2 --dry-run | sed '4,$s/virtual.*/.../'",
         "ovuser: uid 2" + frozen +
             "        The date will rewind at midnight.\novuser: report: bin would be given a 2 times slower virtual "
             "clock: Wed Dec 25 09:00:00 2030 (1924419600 seconds since the epoch)\n        The date would rewind at "
             "midnight.\n        It would replace a Frozen virtual clock: Wed Dec 25 09:00:00 2030 (1924419600 seconds "
             "since the epoch)\novuser: report: g:bin would be given a 2 times slower ...\n        It has no clock "
             "now.\n= 0"},
        {"$OV set bin --speed 1000; $OV set bin --no-rewind --speed frozen | cut -d ' ' -f 2-9; $OV add bin --replace "
         "$FREEZE",
         "ovuser: uid 2 has been added with a 1000 times faster virtual clock: " CHRISTMAS
         "        The date will rewind at midnight.\nuid 2 has been added with a Frozen\novuser: uid 2" +
             frozen + "= 0"},
        {"$OV set bin --epoch 5; $SIM --fault 6:-1:5 $OV set bin --at now --speed 2; $OV list | grep bin",
         "u:bin      Frozen                    " CHRISTMAS
         "! ovuser: error: Illegal virtual clock, must not be before Thu Jan 1 01:00:00 1970\nyou specified @5, it is "
         "Thu Jan  1 00:00:05 1970\n\n" AND_ERROR "an error occurred while executing this request, error = 5\n"
         "ovuser: warning: bin has its former clock again\n= 0"},
        {"$SIM --fault 6:-1:5,7:-1:5 $OV set bin --at now; $OV delete bin",
         lost + "ovuser: warning: bin has lost its clock, which was --epoch 1924419600 --speed 0\n"
                "ovuser: warning: Specified id does not have a virtual clock\n= 4"},
        // Of a clock that the caller does not see only the value can be kept.
        {"sleep 9 & $OV add p:$! $FREEZE >/dev/null; $NOBODY $OV set p:$! --speed 2 2>&1 | sed s/$!/N/; $NOBODY $OV "
         "set "
         "p:$! --at @1924419601 --speed FROZEN | cut -d ' ' -f 4-; kill $!",
         AND_ERROR "p:N has a clock that you may not see: give a time\n"
                   "has been added with a FROZEN virtual clock: Wed Dec 25 09:00:01 2030\n= 0"},
        {"$OV reset >/dev/null; $OV add bin $FREEZE >/dev/null; $SIM --fault 1:-1:1 $OV reset; $OV reset",
         "ovuser: report: All Orvane users have been reset to the system clock successfully.\n" ERROR
         "clocks that the reset has left: 1\n= 0"},
        {"$SIM --fault 2:-1:5 $OV reset 2>&1 | head -n 1; env -u LD_PRELOAD ./ovuser set bin --speed 2 --dry-run | "
         "tail -n 1",
         AND_ERROR
         "whether the reset has left clocks cannot be told\n        Whether it has a clock now cannot be told: "
         "No such file or directory.\n= 0"},
    });
}
