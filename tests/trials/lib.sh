# Sourced by the trials that are shell scripts. Each trial prints what it finds, a line for each:
#     reads WAY SECONDS               the time since the epoch, however it is asked for
#     waits WAY MILLISECONDS          how long a wait of one second took in real time, by /proc/uptime
#     waits-by-clock WAY MILLISECONDS the same of a program that looks at the clock by itself: a frozen one never ends it
#     idle WAY PERCENT                of a CPU, of a server that has nothing to do
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

# WAY SESSION: its processes have two seconds to do nothing in; a tick is a hundredth of a second.
idle() {
    before=$(ticks_of_session "$2")
    sleep 2
    echo "idle $1 $((($(ticks_of_session "$2") - before) / 2))"
}

# WAY COMMAND...
is() {
    way=$1
    shift
    if "$@" >/dev/null 2>&1; then echo "is $way yes"; else echo "is $way no"; fi
}

# WAY COMMAND...: holds in the real present, and at no other time.
is_at_present() {
    way=$1
    shift
    "$@" >/dev/null 2>&1 && present=yes || present=no
    [ "$CLOCK" != none ] || { echo "is $way $present" && return; }
    [ $present = no ] && echo "is $way yes" || echo "is $way no"
}

# A certificate of now, for a day: own.pem and own.key.
make_certificate() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=trial -days 1 \
        -addext subjectAltName=IP:127.0.0.1 -keyout own.key -out own.pem 2>/dev/null
}
