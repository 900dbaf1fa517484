#!/usr/bin/env bash
# An X server with the dummy video driver, so that Wine has displays with gamma ramps:
#   tests/wine/xorg-dummy.sh start STATE-DIR   starts Xorg on a free display number with
#       tests/wine/xorg-dummy.conf, turns on a second output beside the first, and prints
#       DISPLAY=:N on success; otherwise prints why it could not and exits non-zero.
#   tests/wine/xorg-dummy.sh stop STATE-DIR    stops the server that `start` left in STATE-DIR,
#       by its process id.
#   tests/wine/xorg-dummy.sh gamma R:G:B        gives the screen of $DISPLAY that gamma;
#       does nothing without DISPLAY.
# STATE-DIR keeps the process id and the server's log (xorg.log).
set -uo pipefail

here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
action=${1:-}
state=${2:-}
usage() { echo "usage: $0 start|stop STATE-DIR | gamma R:G:B" >&2; exit 2; }
[[ -n $action && -n $state ]] || usage

stop() {
    local pid
    pid=$(cat "$state/xorg.pid" 2>/dev/null) || return 0
    rm -f "$state/xorg.pid"
    # A pid file left by a run that was killed may name another process by now.
    [[ $(cat "/proc/$pid/comm" 2>/dev/null) == Xorg ]] || return 0
    kill "$pid" 2>/dev/null || return 0
    for _ in $(seq 50); do
        kill -0 "$pid" 2>/dev/null || return 0
        sleep 0.1
    done
    kill -KILL "$pid" 2>/dev/null
    return 0
}

# The first display number from 50 on with neither a lock file nor a socket.
free_display() {
    local n
    for n in $(seq 50 99); do
        [[ -e /tmp/.X$n-lock || -e /tmp/.X11-unix/X$n ]] || { echo "$n"; return 0; }
    done
    return 1
}

start() {
    command -v Xorg >/dev/null || { echo "Xorg is not installed"; return 1; }
    command -v xrandr >/dev/null || { echo "xrandr is not installed"; return 1; }
    local n pid
    n=$(free_display) || { echo "no free X display number in 50-99"; return 1; }
    Xorg ":$n" -config "$here/xorg-dummy.conf" -noreset -nolisten tcp \
        -logfile "$state/xorg.log" </dev/null >"$state/xorg.out" 2>&1 &
    pid=$!
    echo "$pid" >"$state/xorg.pid"
    for _ in $(seq 100); do
        if ! kill -0 "$pid" 2>/dev/null; then
            echo "Xorg :$n exited at start: $(cat "$state/xorg.out" "$state/xorg.log" 2>/dev/null | grep -m1 -E '^\(EE\) [^ ]')"
            rm -f "$state/xorg.pid"
            return 1
        fi
        DISPLAY=:$n xrandr >/dev/null 2>&1 && break
        sleep 0.1
    done
    if ! DISPLAY=:$n xrandr >/dev/null 2>&1; then
        echo "Xorg :$n did not answer within 10 s"
        stop
        return 1
    fi
    # The dummy driver connects one output; a second one takes a mode beside it.
    DISPLAY=:$n xrandr --addmode DUMMY1 1920x1080 >/dev/null 2>&1 &&
        DISPLAY=:$n xrandr --output DUMMY1 --mode 1920x1080 --right-of DUMMY0 >/dev/null 2>&1 ||
        echo "note: only one output (DUMMY1 could not be turned on)" >&2
    echo "DISPLAY=:$n"
}

# Wine reads and sets the screen's gamma of the XFree86-VidMode extension (what xgamma sets), not
# the RandR gamma of each output (what xrandr --gamma sets): one gamma for all outputs.
gamma() {
    [[ -n ${DISPLAY:-} ]] || { echo "no X display: no gamma to set"; return 0; }
    local red green blue
    IFS=: read -r red green blue <<<"$1"
    xgamma -quiet -rgamma "$red" -ggamma "$green" -bgamma "$blue" && echo "screen gamma $1"
}

case $action in
start) mkdir -p "$state" && start ;;
stop) stop ;;
gamma) gamma "$state" ;;
*) usage ;;
esac
