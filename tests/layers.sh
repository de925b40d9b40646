#!/bin/sh
# The shape of the sources: a folder includes itself and what the table below lists for it, includes form no circle, and
# files and functions are short. Usage: layers.sh SOURCE_FOLDER
set -eu
export LC_ALL=C
cd "$1"
sources=$(find ./* -path ./build -prune -o \( -name '*.cc' -o -name '*.h' -o -name '*.c' \) -print | sed 's,^\./,,')

# FOLDER: what it may include besides itself. A folder lists only those above it in the table, so there is no circle.
# An exclamation mark allows an include for now.
cat >"${TMPDIR:-/tmp}/layers.$$" <<'END'
include:
base:
contract:
timespec: include base contract
identity: include base
control: include base contract identity
engine: include base contract timespec identity control
module: contract
ovuser: include base
simulator/raw: base
simulator/table: base contract simulator/raw
simulator/process: base simulator/raw simulator/table
simulator/vdso: base simulator/raw simulator/table simulator/process
simulator/libc: base contract simulator/raw simulator/table simulator/process simulator/vdso
simulator/launcher: base simulator/raw simulator/table simulator/process simulator/vdso
END
trap 'rm -f "${TMPDIR:-/tmp}/layers.$$"' EXIT

# A source and its header are one: includes of the source count for the circles, too.
awk '
    function folder(path) { sub("/[^/]*$", "", path); return path }
    function stem(path) { sub("[.][a-z]*$", "", path); return path }
    function complain(what) { print what; status = 1 }
    FILENAME ~ /layers[.][0-9]*$/ {
        sub(":", "", $1)
        known[$1] = 1
        for (i = 2; i <= NF; ++i) {
            later = sub("!", "", $i)
            if (!later && !($i in known))
                complain($1 "/ lists " $i "/, which does not lie below it")
            allowed[$1, $i] = 1
        }
        next
    }
    FNR == 1 { longest = FILENAME ~ /^tests/ ? 50 : 60; begin = 0 }
    FNR == 351 { complain(FILENAME " has more than 350 lines") }
    /^[{]$/ { begin = FNR }
    /^[}]$/ {
        if (begin != 0 && FNR - begin > longest + 1)
            complain(FILENAME ":" begin ": a function of " FNR - begin - 1 " lines")
        begin = 0
    }
    /^#include "/ {
        split($0, quoted, "\"")
        to = quoted[2] ~ "/" ? quoted[2] : quoted[2] == "ov_helper.h" ? "include/ov_helper.h" : folder(FILENAME) "/" quoted[2]
        from = folder(FILENAME)
        if (from in known && from != folder(to) && !((from, folder(to)) in allowed))
            complain(FILENAME " includes " to)
        if (stem(FILENAME) != stem(to))
            edges[stem(FILENAME) " " stem(to)] = 1
    }
    END {
        for (edge in edges)
            print edge | "tsort >/dev/null"
        exit close("tsort >/dev/null") != 0 || status
    }' "${TMPDIR:-/tmp}/layers.$$" $sources
