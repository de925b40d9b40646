# Shell trials source this file. Each trial prints its findings, one a line:
#     reads WAY SECONDS               the time since the epoch
#     waits WAY MILLISECONDS          the real duration of a wait of one second, by /proc/uptime
#     waits-by-clock WAY MILLISECONDS the same, where the program itself reads the clock: a frozen clock never ends it
#     idle WAY PERCENT                the CPU share of an idle server
#     is WAY yes|no                   anything else that follows from the time
set -u

uptime_in_ms() {
    read -r uptime _ </proc/uptime
    uptime=${uptime%.*}${uptime#*.}0
}

reads() {
    echo "reads $1 $2"
}

# WAY COMMAND...
waits() {
    way=$1
    shift
    uptime_in_ms
    begin=$uptime
    "$@" >/dev/null 2>&1
    uptime_in_ms
    echo "waits $way $((uptime - begin))"
}

waits_by_clock() {
    way=$1
    shift
    waits "$way" timeout 6 "$@" | sed 's/^waits/waits-by-clock/'
}

ticks_of_session() {
    cat /proc/[0-9]*/stat 2>/dev/null | awk -v session="$1" '
        { sub(/.*\) /, "") } $4 == session { ticks += $12 + $13 } END { print ticks + 0 }'
}

# WAY SESSION: measures its processes for two idle seconds of real time; a tick is a hundredth of a second.
idle() {
    before=$(ticks_of_session "$2")
    uptime_in_ms
    begin=$uptime
    while [ $((uptime - begin)) -lt 2000 ]; do
        sleep 0.5
        uptime_in_ms
    done
    echo "idle $1 $((($(ticks_of_session "$2") - before) * 1000 / (uptime - begin)))"
}

# WAY COMMAND...
is() {
    way=$1
    shift
    if "$@" >/dev/null 2>&1; then echo "is $way yes"; else echo "is $way no"; fi
}

# WAY COMMAND...: succeeds only in the real present.
is_at_present() {
    way=$1
    shift
    "$@" >/dev/null 2>&1 && present=yes || present=no
    [ "$CLOCK" != none ] || { echo "is $way $present" && return; }
    [ $present = no ] && echo "is $way yes" || echo "is $way no"
}

# Makes a certificate that is valid from now for a day: own.pem and own.key.
make_certificate() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=trial -days 1 \
        -addext subjectAltName=IP:127.0.0.1 -keyout own.key -out own.pem 2>/dev/null
}
