#!/bin/sh
# The built files: exported names, needed libraries, size, and headers that C accepts.
# Usage: library.sh SOURCE_FOLDER BUILD_FOLDER C_COMPILER BUILD_TYPE
set -eu
export LC_ALL=C
source=$1 build=$2 cc=$3 status=0
complain() { echo "$1"; status=1; }
names() { nm -D --defined-only "$build/$1" | awk '{ sub("@.*", "", $3); print $3 }' | sort -u; }

declared=$(sed -n 's/^OV_API .*[ *]\([A-Za-z_]*\)(.*/\1/p' "$source/include/ov_helper.h" | sort -u)
documented=$(sed -n 's/^\.F[no] \([A-Za-z_]*\).*/\1/p' "$source/man/ov_helper.3" | sort -u)
[ "$declared" = "$(names libov_helper.so)" ] || complain "exported: $(names libov_helper.so)"
[ "$declared" = "$documented" ] || complain "in ov_helper.3: $documented"
[ "$(echo $declared)" = "adjust_virtime_for_rewind check_rc clock_speed_string deleteGroupClock deleteUserClock \
get_uid_from_pid get_username id_string is_leap_year is_pid_alive ov_get_num_from_cmd ov_next_clock ov_preview_request \
ov_process_numbers ov_process_refined ov_process_request ov_read_time ov_refine_clock ov_refined_clock ovuser_list_user parse_Xtime \
parse_reltime parse_speed parse_uid print_header \
zyn_get_container_ID zyn_get_usr_high_mark zyn_parse_time zyn_parse_tm_time zynov_reset_vc" ] ||
    complain "declared: $declared"
release=$(sed -n 's/.*OV_VERSION "\(.*\)"/\1/p; s/.*OV_RELEASE "\(.*\)"/\1/p' "$source/base/version.h" | paste -sd.)
grep -qx "version: $release" "$source/ansible/galaxy.yml" &&
    grep -qx "version = \"$release\"" "$source/python/pyproject.toml" || complain "ansible/ and python/ are not of $release"
readelf -d "$build/libov_helper.so" | grep -q 'SONAME.*libov_helper\.so\.12\]' || complain "another SONAME"
for file in libov_helper.so ovuser libzynov_sim.so; do
    needed=$(readelf -d "$build/$file" | sed -n 's/.*(NEEDED).*\[\(lib.*\)\]/\1/p') # ARM names the loader too
    [ "$needed" = libc.so.6 ] || complain "$file needs: $needed"
    readelf -dW "$build/$file" | grep -q 'FLAGS_1.*NOW' && readelf -lW "$build/$file" | grep -q RELRO &&
        nm -D "$build/$file" | grep -q __stack_chk_fail &&
        [ "$(objdump -d "$build/$file" | grep -cE 'endbr64|paciasp')" -gt 9 ] || complain "$file is not hardened"
done

[ "$4" != Release ] || [ "$(size "$build/libov_helper.so" | awk 'NR == 2 { print $4 }')" -lt 45056 ] ||
    complain "libov_helper.so is too large"

names libzynov_sim.so | grep -v '^__st[ao].*_sim_originals' >"$build/interposed" # hidden, and listed all the same
libc=$(ldd "$build/libzynov_sim.so" | sed -n 's/.*libc\.so\.6 => \([^ ]*\).*/\1/p')
strangers=$(nm -D --defined-only "$libc" | sed 's/.* //; s/@.*//' | sort -u | comm -13 - "$build/interposed")
[ -z "$strangers" ] || complain "stands in for what the C library has not: $strangers"

echo '#include "ov_helper.h"
#include <stddef.h>
#define IN(record, offset, field) typedef char record##_##field##_at_##offset[offsetof(record, field) == offset ? 1 : -1]
#define AT(offset, field) IN(ov_request, offset, field)
#define CLOCK(offset, field) IN(ov_clock, offset, field)
AT(0, operation); AT(4, speed); AT(8, time_form); AT(12, rel_mode); AT(16, rewind); AT(20, id_count); AT(24, id_kind);
AT(64, id_text); AT(144, abs_time); AT(152, x_date); AT(160, rel_minutes); AT(168, rel_hours); AT(176, rel_days);
AT(184, rel_years); AT(192, rel_origin); AT(200, virtime); typedef char whole[sizeof(ov_request) == 208 ? 1 : -1];
CLOCK(0, kind); CLOCK(4, id); CLOCK(8, value); CLOCK(16, origin); CLOCK(24, speed); CLOCK(28, mode); CLOCK(32, rewind);
CLOCK(36, slot); CLOCK(40, owner); CLOCK(48, owner_group); CLOCK(56, named); CLOCK(60, name); CLOCK(1084, undecided);
CLOCK(1088, begun); typedef char clock_whole[sizeof(ov_clock) == 1112 ? 1 : -1];
int main(void) { return check_rc(OV_ROOT_IDENTITY) != 2; }' |
    "$cc" -std=c99 -pedantic -Wall -Wextra -Werror -I"$source/include" -x c - -o "$build/c99" -L"$build" -lov_helper
LD_LIBRARY_PATH="$build" "$build/c99" || complain "a C program does not run"

# What programs in C++ write, with and without const.
for standard in c++98 c++20; do
    echo '#include "ov_helper.h"
int main() {
    int64_t (*parse)(const tm *, const char **) = zyn_parse_tm_time;
    tm none = tm();
    char *name = get_username(OV_PROCESS, 7), *speed = clock_speed_string(1), *why = NULL, **no_slot = NULL;
    const char *same = NULL;
    int64_t values = parse(&none, &same) + zyn_parse_tm_time(&none, &why) + zyn_parse_tm_time(&none, no_slot);
    values += zyn_parse_tm_time(&none, NULL) + zyn_parse_tm_time(&none, 0);
#if __cplusplus >= 201103
    values += zyn_parse_tm_time(&none, nullptr);
#endif
    return values != 0 || why == NULL || why != same || *name + *speed != 55 + 82;
}' | "$cc" -std=$standard -pedantic -Wall -Wextra -Werror -I"$source/include" -x c++ - -o "$build/$standard" \
        -L"$build" -lov_helper
    LD_LIBRARY_PATH="$build" "$build/$standard" || complain "a program in $standard does not run"
done

# As the kernel module compiles it.
echo '#include "contract/clock.h"' | "$cc" -ffreestanding -std=gnu11 -Wall -Wextra -Wdeclaration-after-statement -Werror \
    -I"$source" -fsyntax-only -x c - || complain "contract/clock.h is not plain C"

for other in __BYTE_ORDER__=4321:little-endian __SIZEOF_POINTER__=4:64-bit; do
    "$cc" -D"${other%:*}" -fsyntax-only -w -x c++ "$source/base/machine.h" 2>&1 |
        grep -q "Orvane runs on ${other#*:} machines only" || complain "not refused: $other"
done
exit $status
