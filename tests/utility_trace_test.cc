// What the system's log records of changes.
#include "tests/utility.h"

TEST_F(Utility, TellsTheLogOfChanges)
{
    if (!can_mount())
        GTEST_SKIP() << "needs a mount namespace";
    // Runs a script whose /dev/log is a socket, and reads that afterwards; its queue takes eleven lines.
    const std::string listen =
        "mkdir -p dev; : >dev/null; rm -f dev/log; cat >listen <<'END'\nuse Socket; socket(S, AF_UNIX, SOCK_DGRAM, 0); "
        "bind(S, sockaddr_un('dev/log')); chmod(0666, qw(dev/null dev/log)); system(qw(unshare -m sh -c), qq(mount "
        "--bind dev /dev; $ARGV[0])); while (defined recv(S, $m, 9999, MSG_DONTWAIT)) {$m =~ "
        "s/^<(\\d+)>.*?ovuser\\[\\d+\\]: /<$1> /; $m =~ s/p:\\d+/p:PID/; $m =~ s/ login=\\S+// if @ARGV == 1; print "
        "\"$m\\n\" }\nEND\nperl listen ";
    const std::string clock = " time=2030-12-25T09:00:00+00:00 epoch=1924419600 speed=0 rewind=";
    expect({
        {listen + "'{ $OV add g:bin $FREEZE --rewind; $OV add g:bin --in 1d; $OV delete g:bin; $OV delete g:bin; $OV "
                  "run $FREEZE true; $OV add g:bin --in 1d --dry-run; $OV list; $NOBODY $OV reset; $OV add p:$$ "
                  "$FREEZE; $OV set p:$$ --descendants; $OV reset; $NOBODY $OV add bin $FREEZE; $NOBODY $OV delete "
                  "nobody bin; $NOBODY $OV add bin --in 1d --dry-run; $OV add g:bin --in; } >out 2>&1'",
         "<85> add for=g:2(bin)" + clock +
             "yes by=0(root) result=done\n<85> delete for=g:2(bin) by=0(root) result=done\n"
             "<85> add for=p:PID of=0(root)" +
             clock +
             "no descendants=yes by=0(root) result=done\n<85> delete for=p:PID of=0(root) by=0(root) result=done\n"
             "<85> reset for=all by=65534(nobody) result=error: Only root can reset all the OV users.\n"
             "<85> add for=p:PID of=0(root)" +
             clock +
             "no by=0(root) result=done\n<85> set for=p:PID of=0(root) descendants=yes by=0(root) result=done\n"
             "<85> reset for=all by=0(root) result=done\n<85> add for=u:2(bin)" +
             clock +
             "no by=65534(nobody) result=error: Non-root user can not modify OV setting for others.\n"
             "<85> delete for=u:2(bin) by=65534(nobody) result=error: Non-root user can not modify OV setting for "
             "others.\n= 0"},
        // The log shows control characters visibly, and names the login user and the failure.
        {"printf 'a\\033\\342\\200\\256b:x:4321:1::/:/bin/sh\\n' | cat /etc/passwd - >passwd; { echo 1 "
         ">/proc/self/loginuid; } 2>out; who=$(getent passwd $(cat /proc/self/loginuid) | cut -d : -f 1); " +
             listen +
             "'mount --bind passwd /etc/passwd; $SIM --fault 1:-1:5 $OV add 4321 $FREEZE' login 2>out | sed "
             "\"s/login=${who:--} /login=WHO /\"",
         "<85> add for=u:4321(a\\033\\u202eb)" + clock +
             "no by=0(root) login=WHO result=error: an error occurred while executing this request, error = 5\n= 0"},
        // The log records the time that the changed user sees from then on.
        {listen + "'$NOBODY $OV add --offset --days 9999 >out' | sed 's/.*epoch=//; s/ .*//' | { read time; echo "
                  "$(((time - $(date +%s) + 3600) / 86400)); }",
         "9999\n= 0"},
        // The log may lack a listener, or a reader, for whom nobody waits twice.
        {"seq 5001 5100 | sed 's,.*,u&:x:&:1::/:,' >many; " + listen +
             "'for i in 1 2 3 4 5 6 7; do $OV run --in 1d true; done; mount --bind many /etc/passwd; timeout 60 $OV "
             "add $(seq 5001 5100) --in 1d >out || echo late' | wc -l; rm dev/log; unshare -m sh -c "
             "'mount --bind dev /dev; $OV run --in 1d true'",
         "11\n= 0"},
    });
}
