#!/bin/sh
# How long waits last under clocks of several speeds: see lengths.c. Runs in the folder of the built programs.
rm -f lengths.*
number=0
# The machine seems to have been suspended for a day, where that can be.
woken='unshare -T --boottime 86400'
$woken true 2>/dev/null || woken=
try() {
    number=$((number + 1))
    $woken ./zynov-sim --state lengths.$number "$@" >>lengths.wrong 2>&1 &
}
try --intervals tests/lengths none 1000 1000
try --intervals tests/lengths 60 24000 400
try --intervals tests/lengths 1000 400000 400
try --intervals tests/lengths -4 1000 4000
try --intervals tests/lengths 0 1000 1000
try --intervals tests/lengths 1 3600000 3600 1000
wait
cat lengths.wrong
[ ! -s lengths.wrong ]
