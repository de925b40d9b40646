// Messages about wrong command lines.
#include "tests/utility.h"

static const std::string range = " is out of range: it must be from 1970-01-01 09:00:00 UTC (1970-01-01 10:00:00 CET) "
                                 "to 10000-01-01 07:59:59 UTC (10000-01-01 08:59:59 CET)\n";
static const std::string identity = "an identity is a word of its own: u:USER, g:GROUP or p:PID\n";
static const Steps turns = {
    // Subcommands.
    {"rm bin", "did you mean delete?"},
    {"delete all", "'ovuser reset' deletes all clocks"},
    {"delete --all", "'ovuser reset' deletes all clocks"},
    {"list -a", "without an identity, 'ovuser list' lists all clocks"},
    {"save ''", "ovuser: error: '': No such file or directory\n= 5"},
    {"lsit", "did you mean list?"},
    {"freeze bin", "did you mean set --speed frozen?"},
    {"u:bin --at now", "a subcommand comes first: ovuser set u:bin ..."},
    {"--at now", "a subcommand comes first: ovuser set --at ..."},
    {"nonsense", "nonsense is not a subcommand; 'ovuser --help' lists them\n"},
    // Options.
    {"add bin -at now", "did you mean --at?"},
    {"add bin --rate 2", "did you mean --speed?"},
    {"add bin --rewnd", "did you mean --rewind?"},
    {"add p:1 --children", "did you mean --descendants?"},
    {"apply -n", "did you mean --dry-run?"},
    {"delete -g bin", identity},
    {"delete --nonsense", "unrecognized option '--nonsense'\n= 2"},
    {"add bin --days 1 --days 2", "--days is given twice"},
    {"add bin --in 1d --speed 2 --speed 3", "--speed is given twice"},
    {"add bin --in 1d --rewind --no-rewind", "--rewind and --no-rewind cannot be given together"},
    {"run --user bin --user sys --in 1d true", "--user is given twice"},
    {"run --user bin --daemons --in 1d true", "--daemons and --user cannot be given together"},
    {"run --alone --daemons --in 1d true", "--alone and --daemons cannot be given together"},
    {"add bin --in 1d --descendants", "--descendants is for processes, p:PID; the clock of a user reaches all of its"},
    {"list --watch=x", "--watch takes seconds from 0.05 to 86400, not 'x'\n= 2"},
    {"list --watch 0", "--watch takes seconds from 0.05 to 86400, not '0'\n= 2"},
    {"list --watch=nan", "--watch takes seconds from 0.05 to 86400, not 'nan'\n= 2"},
    {"add bin --speed 0.5", "--speed 60 is 60 times faster, --speed -60 is 60 times slower\n= 3"},
    // Times.
    {"add bin", "add needs a time; 'ovuser add --help' lists the ways to give it\n= 2"},
    {"add bin 2030-12-25 09:00", "a time is given by an option: --at '2030-12-25 09:00'"},
    {"add bin 2030-12-25 09:00 --speed 2", "a date is given by an option: --date 2030-12-25, or --at '2030-"},
    {"run 2d date", "a distance is given by an option, in quotes where it has several words: --in 2d"},
    {"add --at Wed Dec 25 09:00:00 2030 bin", "a time of several words is quoted: --at 'Wed Dec 25 09:00:00 2030'"},
    {"add bin --at 2030/1/5T9:00", "each number has all its digits: --at '2030-01-05T09:00'"},
    {"add bin --at 9:00", "a time of day needs a date: --at '20"},
    {"add bin --at 2030-12-25", "write --at '2030-12-25 00:00', or --date 2030-12-25 for the present time of day"},
    {"add bin --at '1d 2h'", "a distance from now is given by an option: --in '1d 2h'"},
    {"add bin --at tomorrow", "a distance from now is given by an option: --in 1d"},
    {"set bin frozen", "a speed is given by an option: --speed frozen"},
    {"set bin 60", "a speed is given by an option: --speed 60"},
    {"add bin --at noon", "and times as 'ovuser list' prints them\n= 4"},
    {"add bin --date 2030-12-32", "--date takes YYYY-MM-DD or MMDDYYYY\n= 4"},
    {"add bin --in '1d 1d'", "--in takes a span such as '2d 3h' or -90m, in y, w, d, h, m or s, not '1d 1d'\n= 4"},
    {"add bin --epoch x", "--epoch takes a whole number from 32400 to 253402329599, not 'x'\n= 4"},
    {"add bin --epoch 32399", "--epoch '32399'" + range + "= 4"},
    {"add bin --epoch 99999999999999999999", "--epoch '99999999999999999999'" + range},
    {"add bin --at @253402329600", "--at '@253402329600'" + range},
    {"add bin --date 12311969", "--date '12311969'" + range},
    {"add bin --years -99 --days 1", "--years '-99' --days '1'" + range},
    {"add bin --in '-1d 5s' -o 100", "--in '-1d 5s' --origin '100'" + range},
    {"add bin --in 8000y", "--in '8000y'" + range},
    {"set sys --speed frozen", "sys: what its clock shows by now is out of range: give a time\n= 4"},
    // Whom.
    {"add --in 1d", "add whom? root has no clock; write u:USER, g:GROUP or p:PID\n= 2"},
    {"add bin carl --in 1d", "nothing has been changed for any of them\n= 2"},
    {"add games bin u:5 --in 1d", "u:5 is given twice\novuser: error: nothing has been changed for any of them\n= 2"},
    {"reset bin", "reset takes no identities\n= 2"},
    {"apply - <names", "standard input:1: an identity of 70002 characters names nobody\n"},
};

TEST_F(Utility, LeadsBackFromWrongTurns)
{
    shell("printf 'u:%070000d --in 1d\\n' 0 >names; $OV add bin $FREEZE; $OV add sys --epoch 253402329599 --speed "
          "1000; sleep 0.1",
          "$SIM");
    for (const auto &[words, expected] : turns) {
        const std::string seen = shell("TZ=CET-1 $OV " + words + " 2>&1", "$SIM");
        EXPECT_NE(seen.find(expected), std::string::npos) << words << "\n" << seen;
    }
    if (!fs::exists("/etc/orvane/clocks")) {
        const std::string seen = shell("$OV apply <names", "$SIM");
        EXPECT_NE(seen.find("standard input is read where it is named: ovuser apply -\n"), std::string::npos) << seen;
    }
    EXPECT_EQ(shell("$OV list --json | jq -c '[.[] | .name, .speed]'", "$SIM"),
              "[\"bin\",0,\"sys\",1000]\n= 0"); // nothing was executed
}
