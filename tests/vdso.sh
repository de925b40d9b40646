#!/bin/sh
# The vDSO must not depend on what a program under it lacks, and a compiler could add: relocations, a C library, other
# segments. It is copied into programs as it is in the file. Usage: vdso.sh FILE
set -eu
export LC_ALL=C
vdso=$1 status=0
complain() { echo "$1"; status=1; }

readelf -rW "$vdso" | grep -q 'no relocations' || complain "it has relocations"
sections=$(readelf -SW "$vdso" | sed -n 's/^ *\[ *[0-9]*\] \(\.[a-z._]*\) .*/\1/p')
for section in $sections; do
    case $section in
    .hash | .gnu.hash | .dynsym | .dynstr | .gnu.version | .gnu.version_d | .dynamic | .rodata | .note* | \
        .eh_frame_hdr | .eh_frame | .text | .shstrtab) ;;
    *) complain "it has a section $section" ;;
    esac
done
segments=$(readelf -lW "$vdso" | sed -n 's/^  \(LOAD\|DYNAMIC\|TLS\|GNU_STACK\)  *\(0x[0-9a-f]*\) \(0x[0-9a-f]*\) .* \(R[W ]*E*\)[ E]* 0x.*/\1 \2 \3 \4/p')
[ "$(echo "$segments" | grep -c LOAD)" = 1 ] || complain "it has other than one segment to load"
echo "$segments" | grep -q '^LOAD 0x0*0 0x0*0 R E' || complain "it does not load as it lies in the file: $segments"
echo "$segments" | grep '^DYNAMIC' | grep -q W && complain "a program may write to its dynamic section"
# musl looks the names up in DT_HASH, glibc in either; both want this version.
readelf -dW "$vdso" | grep -q '(HASH)' || complain "it has no DT_HASH"
readelf -dW "$vdso" | grep -q 'SONAME.*linux-vdso.so.1' || complain "it has another SONAME"
readelf -dW "$vdso" | grep -q NEEDED && complain "it needs a library"
readelf --dyn-syms -W "$vdso" | grep -v '^ *0:' | grep -q ' UND ' && complain "it leaves a name undefined"
for name in clock_gettime gettimeofday time clock_getres getcpu; do
    readelf --dyn-syms -W "$vdso" | grep -q " __vdso_$name@@LINUX_2.6$" || complain "it has no __vdso_$name"
done
objdump -d "$vdso" | grep -qE '%[xyz]mm[0-9]|%fs:' && complain "it uses vector registers, or a thread's own memory"
exit $status
