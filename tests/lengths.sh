#!/bin/sh
# How long waits last under clocks of several speeds: see lengths.c. Runs in the folder of the built programs.
rm -f lengths.*
number=0
try() {
    number=$((number + 1))
    ./zynov-sim --state lengths.$number "$@" >>lengths.wrong 2>&1 &
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
