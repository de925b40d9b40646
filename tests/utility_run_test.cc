// Commands that have a clock while they run.
#include "tests/utility.h"

#define CHRISTMAS_SECOND "1924419600\n"

TEST_F(Utility, RunsACommandWithAClock)
{
    expect({
        // The clock exists from the first instruction to the last; alone, a child of the command has none.
        {"$OV run $FREEZE ./probe; $NOBODY $OV run --alone $FREEZE -- sh -c 'sh -c \"date +%s\"; exec date +%s'; $OV "
         "list | grep -c p:",
         CHRISTMAS_SECOND "real\n" CHRISTMAS_SECOND "0\n= 1"},
        // The clock's owner, and the user whom the command runs as.
        {"$OV run --group bin $FREEZE sh -c 'date +%s; id -g; id -rg; id -u'; $OV list | grep -c g:bin",
         CHRISTMAS_SECOND "2\n2\n0\n0\n= 1"},
        {"USER=x setpriv --groups=5 $OV run --user=news $FREEZE sh -c 'sh -c \"date +%s\"; id -ru; id -G; echo $HOME "
         "$USER $LOGNAME'",
         CHRISTMAS_SECOND "9\n9\n/var/spool/news news news\n= 0"},
        // The command inherits nothing of the utility's: descriptors, a variable, a signal disposition.
        {"echo 'opendir D, q(/proc/self/fd); print join(q( ), sort(readdir(D)), @ENV{POSIXLY_CORRECT}, qq(\\n)); exit "
         "6' >see; for command in 'perl see' 'grep SigIgn /proc/self/status'; do POSIXLY_CORRECT=1 perl -e 'close "
         "STDERR; $SIG{CHLD} = q(IGNORE); system(@ARGV[4 .. $#ARGV]); exec @ARGV' $OV run --speed 2 $command >seen; "
         "echo $?; uniq -c seen; done | cut -c -9",
         "6\n      2 .\n0\n      2 S\n= 0"},
    });
}

TEST_F(Utility, PassesAClockOn)
{
    const std::string shown = "jq -c '.[] | [.descendants, .speed]'; ";
    expect({
        {"$OV run $FREEZE $OV list --json | " + shown + "$OV run --alone $FREEZE $OV list --json | " + shown,
         "[true,0]\n[false,0]\n= 0"},
        // Anybody's command, also that of a container's root, and what it leaves running.
        {"unshare -r true 2>&- && as='unshare -r'; for as in '' \"$NOBODY\" \"$as\"; do $as $OV run $FREEZE sh -c "
         "'(date +%s); sh -c \"date +%s; exit 7\"'; echo $?; done",
         CHRISTMAS_SECOND CHRISTMAS_SECOND "7\n" CHRISTMAS_SECOND CHRISTMAS_SECOND
                                           "7\n" CHRISTMAS_SECOND CHRISTMAS_SECOND "7\n= 0"},
        {"mkfifo d e; try() { $OV run $1 $FREEZE sh -c 'echo $$ >p; (read line <d; date +%s >e) &'; $2 p:$(cat p); "
         "echo "
         ">d; cat e; }; try '' :; try --daemons :; try --daemons \"$OV delete\" | sed s/p:[0-9]*/p:N/",
         "real\n" CHRISTMAS_SECOND DELETED("p:N") "real\n= 0"},
        // By whose clock a grandchild lives. An ordinary user may not see that.
        {"mkfifo f g; $OV run $FREEZE sh -c '((echo >f; read x <g) & read x <f; ./ovuser show p:$! --json | jq -c "
         "\".[] | [.lives_by, .generations, .kept_by, .clock.epoch, .clock.descendants]\"; ./ovuser show p:$! | sed -n "
         "\"s/p:.*p:[0-9]*//p\"; $0 ./ovuser show p:$! | cut -c 13-; echo >g; wait); true' \"$NOBODY\"",
         "[\"ancestor\",2,\"simulator\",1924419600,true]\n, 2 generations up\nno clock that you may see\n= 0"},
        // A running process; what it is passed on to can be set alone, and stays when the clock is replaced or saved:
        // a child that was there before has the new clock, too.
        {"mkfifo h i; p=p:$$; $OV add $p $FREEZE >out; $OV set $p --descendants --dry-run --json | jq -c '.changed[0] "
         "| [.from.descendants, .to.descendants, .to.epoch]'; $OV list --json | " +
             shown +
             "$OV set $p --descendants | cut -d: -f5-; (read x <h; date +%Y >i) & $OV set $p --epoch 2222222222 "
             "--speed 2 2>&1 >out; echo >h; cat i; $OV list --json | " +
             shown + "$OV save | grep -c '^# p:.* --speed 2 --descendants #'; $OV show $p | grep reaches",
         "[false,true,1924419600]\n[false,0]\n has 2030-12-25T09:00:00+00:00, Frozen, passed on to its descendants\n"
         "2040\n[true,2]\n1\n  reaches   its descendants\n= 0"},
        // A module that cannot do that runs the command all the same; any other failure does not.
        {"{ $SIM --fault 2:-1:25 $OV run $FREEZE date +%s; $SIM --fault 2:-1:12 $OV run $FREEZE date +%s; $SIM "
         "--fault 2:-1:25 $OV add p:$$ $FREEZE --descendants; $OV list | grep -c p:; } 2>&1 | sed s/p:[0-9]*/p:N/",
         "ovuser: warning: the processes that it starts keep the real time: this kernel module passes no clock "
         "on\n" CHRISTMAS_SECOND AND_ERROR "p:N: its descendants keep the real time: Cannot allocate memory\n" //
         GIVEN("p:N", "Frozen") AND_ERROR
         "p:N: its descendants keep the real time: this kernel module passes no clock on\n1\n= 0"},
    });
}

TEST_F(Utility, EndsAsTheCommandDid)
{
    expect({
        {"for end in 'exit 7' 'kill -9 $$' 'kill -SEGV $$'; do $OV run --speed 2 sh -c \"$end\"; echo $?; done 2>&-; "
         "perl -e 'system(qw(./ovuser run --speed 2 sh -c), q(kill $$)); print $? & 127'",
         "7\n137\n139\n15= 0"},
        {"$OV run --speed 2 ./none; echo $?; $OV run --speed 2 ./table; echo $?",
         "127\n126\n" ERROR "./none: No such file or directory\n" AND_ERROR "./table: Permission denied\n= 0"},
        // Nothing runs if the owner has a clock already, is not allowed one, or is unclear from the words.
        {"$OV add news $FREEZE >/dev/null; for fails in '--speed 2 --user news' '--speed 2 --user root' '--group 2 "
         "--user 9' '--speed 2 --group bi' --help=no; do $OV run $fails echo ran; echo $?; done; $NOBODY $OV run "
         "--speed 2 --group nogroup echo ran; echo $?; $OV run --speed 2 --user news echo ran 2>&-; echo $?; $OV run "
         "--speed 2; $OV list | grep -c news",
         "125\n125\n125\n125\n125\n125\n125\n1\n" ERROR "u:news (9) already has a virtual clock\n" HINT
         "perhaps of a run that was killed: 'ovuser list u:news' shows it, 'ovuser delete u:news' takes it "
         "away\n" AND_ERROR "uid '0' (root user) or gid '0' (root group) is not allowed\n" AND_ERROR
         "--group and --user cannot be given together\n" AND_ERROR
         "incorrect/non-existent groupname, or gid bi passed in\n" AND_ERROR
         "option '--help' doesn't allow an argument\n" AND_ERROR "only root can run a command as another user or "
         "group\n" AND_ERROR "run needs a command; 'ovuser run --help' says more\n= 0"},
        // The clock of an earlier process of the same number does no harm.
        {"$SIM --fault 1:-1:17 $OV run $FREEZE date +%s; $SIM --fault 8:-1:5 $OV run --group bin $FREEZE true",
         CHRISTMAS_SECOND ERROR "g:bin: an error occurred while executing this request, error = 5\n" HINT
                                "its clock is left: 'ovuser delete g:bin' takes it away\n= 5"},
        // A clock that somebody else gave meanwhile stays.
        {"mkfifo -m 666 up go; for speed in 1000 3; do $OV reset >out; $OV run --user sys --in 1d --speed $speed sh -c "
         "'echo >up; read x <go; sleep 1.2; exit 4' & read x <up; [ $speed = 1000 ] || $OV set sys --speed 1000 >out; "
         "echo >go; wait $!; echo $? $($OV list | grep -c sys); done",
         "4 0\n4 1\n! ovuser: warning: u:sys (3) has been given another clock meanwhile, which stays\n= 0"},
    });
}

TEST_F(Utility, HandsSignalsOn)
{
    expect({
        // Signals for the utility reach the command.
        {"mkfifo line; $OV run --group bin $FREEZE sh -c 'trap \"echo usr1\" USR1; trap \"exit 3\" TERM; echo >line; "
         "while :; do sleep "
         "0.05; done' & read x <line; kill -USR1 $!; kill $!; wait $!; echo $?; $OV list | grep -c g:",
         "usr1\n3\n0\n= 1"},
        // The utility stops and continues with the command, once, whether alone or with the whole job.
        {"perl -e 'for $sign (1, -1) { $p = fork; if (!$p) { setpgrp; exec qw(./ovuser run --speed 2 perl -e), "
         "q($SIG{CONT} = sub { ++$n }; kill STOP => $$; select(undef, undef, undef, 0.3); exit $n) } waitpid($p, 2); "
         "kill CONT => $sign * $p; waitpid($p, 0); print $? >> 8 }'",
         "11= 0"},
        // Signals of the terminal reach the command once.
        {"echo '$SIG{INT} = sub { ++$n }; open L, q(>line); close L; select(undef, undef, undef, 0.05) until $n; "
         "select(undef, undef, undef, 0.3); print $n' >counts; { timeout 200 cat line; printf '\\003'; } | script -qec "
         "'exec ./ovuser run --speed 2 perl counts' /dev/null",
         "^C1= 0"},
    });
}

// A command run as another user gets none of root's terminal, open files and variables.
TEST_F(Utility, KeepsWhatIsRootsFromAUser)
{
    const std::string at_terminal = "on() { timeout 200 script -qec \"sh ./$1 $2\" /dev/null </dev/null | "
                                    "sed 's/\\^@//; s/\\r//; s,\\(pts/\\).*,\\1,'; }\n";
    std::ofstream(folder / "names") << "tty; $OV run --user news $FREEZE $1 tty; exec </dev/null\n"
                                       "$OV run --user news $FREEZE $1 sh -c ': </dev/tty' >out 2>&1 || echo none\n";
    std::ofstream(folder / "modes") << "stty rows 33; tty >which; stty -a >before; $OV run --user news $FREEZE "
                                       "sh -c 'stty size; kill -9 $$'; echo $?; stty -a | cmp - before\n";
    std::ofstream(folder / "keys") << "$OV run --user news $FREEZE perl counts; echo $?\n";
    expect({
        {at_terminal + "on names | sort | uniq -c | tr -s ' '; on names --no-pty",
         " 2 /dev/pts/\n 1 none\n/dev/pts/\n/dev/pts/\n= 0"},
        {"export FOO=1 BAR=2 USER=root; exec 7<script; for kept in '' --keep-fds --preserve-env "
         "--preserve-env=FOO,USER; do $OV run --user news $FREEZE $kept sh -c 'echo $(ls /proc/self/fd | grep -c 7) "
         "$FOO $BAR $USER $HOME $SHELL'; done",
         "0 news /var/spool/news /usr/sbin/nologin\n1 news /var/spool/news /usr/sbin/nologin\n"
         "0 1 2 news /var/spool/news /usr/sbin/nologin\n0 1 root /var/spool/news /usr/sbin/nologin\n= 0"},
        // The command's terminal takes the size, keys and end from the caller's, which is restored.
        {at_terminal + "on modes", "33 0\nKilled\n137\n= 0"},
        {"rm -f line; mkfifo -m 666 line; echo '$SIG{INT} = sub { ++$n }; open L, q(>line); close L; select(undef, "
         "undef, undef, 0.05) until $n; select(undef, undef, undef, 0.3); print qq($n\\n)' >counts; { timeout 200 cat "
         "line; printf '\\003'; } | script -qec 'sh ./keys' /dev/null | tr -d '\\r'",
         "^C1\n0\n= 0"},
        // The utility stops and continues with the command.
        {"perl -e '$p = fork; if (!$p) { setpgrp; exec qw(./ovuser run --user news --speed 2 perl -e), q($SIG{CONT} = "
         "sub { ++$n }; kill STOP => $$; select(undef, undef, undef, 0.3); exit $n) } waitpid($p, 2); kill CONT => $p;"
         "waitpid($p, 0); print $? >> 8'",
         "1= 0"},
    });
}

// A signal ends the utility at once before the command begins.
TEST_F(Utility, EndsBeforeItBegins)
{
    expect(
        {{"echo 'use Fcntl; open L, q(+<table); $l = pack(q(ssx4qqix4), 1, 0, 0, 0, 0); fcntl(L, 37, $l) or die;"
          "system(q(timeout -s INT -k 60 0.5 ./ovuser run --user news --speed 2 echo ran; echo $?))' >hold; perl hold; "
          "$OV list | grep -c news",
          "124\n0\n= 1"}});
}
