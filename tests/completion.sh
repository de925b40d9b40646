#!/bin/bash
# What bash offers after the beginning of a command line.
# Usage: completion.sh SOURCE_FOLDER BUILD_FOLDER
export LC_ALL=C
. "$1/completion/ovuser" && . "$1/completion/zynov-sim" || exit
status=0
compopt() { [[ $2 == filenames ]] && asked='(quoted)'; }
offered() { # sorted, on one line
    COMP_LINE=$1 COMP_POINT=${#1} COMPREPLY=() asked=
    read -ra COMP_WORDS <<<"${1//=/ = }"
    [[ $1 == *[\ =] ]] && COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    $(complete -p "${COMP_WORDS[0]}" | sed 's/.*-F \([^ ]*\).*/\1/')
    printf '%s\n' $asked "${COMPREPLY[@]}" | sort -u | paste -sd ' '
}
expect() { [[ $(offered "$1") == $2 ]] || { echo "behind '$1': $(offered "$1")"; status=1; }; }
expect 'ovuser ' '--help --version add apply delete help list reset run save set show'
for subcommand in add set run delete list show save apply reset; do
    expect "ovuser $subcommand --" "$("$2/ovuser" $subcommand --help | grep -Eo -- '--[a-z-]+' |
        cat - <(echo --help) | sort -u | paste -sd ' ')"
done
for option in $(offered 'ovuser add --') $(offered 'ovuser list --') $(offered 'ovuser run --') $(offered 'ovuser apply --') --version; do # and the manual knows them all
    grep -q "Fl.* ${option#-}\>" "$1/man/ovuser.8" || { echo "ovuser.8 lacks $option"; status=1; }
done
expect 'zynov-sim --' "$("$2/zynov-sim" --help | grep -Eo -- '--[a-z-]+' | sort -u | paste -sd ' ')"
getent() { command getent "$@" && echo 'zz;exit${IFS}3:x:12345:'; } # a name that the shell would run
for word in u:zz 'g:zz\;e' zz; do
    eval "offer=$(offered "ovuser add $word")"
    [[ $offer == 'zz;exit${IFS}3' ]] || { echo "behind '$word': $offer"; status=1; }
done
# LINE;WHAT IS OFFERED, as a pattern
while IFS=';' read -r line pattern; do
    expect "$line" "$pattern"
done <<END
ovuser add ;g: p: u:
ovuser delete u:nobod;nobody
ovuser list g:;* daemon *
ovuser add p:$$;$$
ovuser add daemo;daemon
ovuser add u:nobody --speed ;frozen
ovuser add u:nobody --speed=f;frozen
ovuser add u:nobody --at ;
ovuser add u:nobody --at '2030-12-25 no;
ovuser reset ;
ovuser apply /etc/pass;(quoted) */etc/passwd*
ovuser run --at 2030-12-25T09:00 --user nobod;nobody
ovuser run --rewind bas;*bash*
ovuser run --speed 2 -- bash base;
zynov-sim --state=/etc/pass;(quoted) */etc/passwd*
zynov-sim --shared --state /etc/pass;*/etc/passwd*
zynov-sim --state x --shared base;(quoted) * basename *
END
exit $status
