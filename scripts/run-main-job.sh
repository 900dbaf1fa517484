#!/usr/bin/env bash
# Installs what is missing, builds the programs (release preset) and runs the main job on a fresh
# simulated machine under build/main-job:
#   1. shows the machine as it starts;
#   2. save: kestrine-peer receive holds the pipe, kestrine --save blanks the displays and hands
#      the document over, the peer stores it; shows the machine;
#   3. restore: kestrine-peer send holds the pipe with the stored document, kestrine --restore
#      takes it and writes the ramps back; shows the machine.
# Every step reports what the programs themselves reported; a failing step ends the job with a
# non-zero status.
#
# Environment: KESTRINE_BUILD_ROOT (default build/), KESTRINE_JOBS (default 2),
# KESTRINE_PRESET (default release), KESTRINE_SKIP_SETUP=1 skips scripts/setup-debian.sh.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
build_root=${KESTRINE_BUILD_ROOT:-$root/build}
mkdir -p "$build_root"
build_root=$(cd -- "$build_root" && pwd)
preset=${KESTRINE_PRESET:-release}
jobs=${KESTRINE_JOBS:-2}
build_dir=$build_root/$preset
bin=$build_dir/bin
job=$build_root/main-job

section() { printf '\n==== %s ====\n' "$*"; }
note() { printf -- '--- %s\n' "$*"; }
die() { printf -- '--- FAILED: %s\n' "$*" >&2; exit 1; }

# --- set-up and build ----------------------------------------------------------------------------
section "Set-up"
if [[ ${KESTRINE_SKIP_SETUP:-0} != 1 ]]; then
    bash scripts/setup-debian.sh || die "installing the missing packages"
fi

section "Build ($preset)"
log=$(mktemp "$build_root/.configure.XXXXXX")
if ! cmake --preset "$preset" -B "$build_dir" -Wno-dev >"$log" 2>&1; then
    cat "$log"
    rm -f "$log"
    die "configure $preset"
fi
rm -f "$log"
cmake --build "$build_dir" --parallel "$jobs" --target kestrine kestrine-peer kestrine-sim ||
    die "build $preset"

# --- the job -------------------------------------------------------------------------------------
rm -rf "$job"
mkdir -p "$job"
export KESTRINE_SIM_ROOT=$job/sim
store=$job/store

peer_pid=
stop_peer() {
    if [[ -n $peer_pid ]] && kill -0 "$peer_pid" 2>/dev/null; then
        kill "$peer_pid" 2>/dev/null || true
        wait "$peer_pid" 2>/dev/null || true
    fi
    peer_pid=
}
trap stop_peer EXIT

# start_peer LOG ARGS...: starts kestrine-peer in the background and waits until it listens.
start_peer() {
    local peer_log=$1 tries=0
    shift
    "$bin/kestrine-peer" "$@" >"$peer_log" 2>&1 </dev/null &
    peer_pid=$!
    until grep -q 'listening on' "$peer_log"; do
        if ! kill -0 "$peer_pid" 2>/dev/null; then
            cat "$peer_log"
            wait "$peer_pid" || true
            peer_pid=
            die "kestrine-peer $1 ended before it listened"
        fi
        tries=$((tries + 1))
        [[ $tries -le 100 ]] || { cat "$peer_log"; die "kestrine-peer $1 did not listen within 10 s"; }
        sleep 0.1
    done
}

# finish_peer LOG: waits for the peer, shows what it said, fails when it failed.
finish_peer() {
    local peer_log=$1 status=0
    wait "$peer_pid" || status=$?
    peer_pid=
    cat "$peer_log"
    [[ $status -eq 0 ]] || die "kestrine-peer ended with status $status"
}

# run_tool ACTION: runs kestrine with the action against the waiting peer.
run_tool() {
    local status=0
    note "kestrine --$1"
    "$bin/kestrine" "--$1" </dev/null || status=$?
    note "kestrine --$1 ended with status $status"
    [[ $status -eq 0 ]] || die "kestrine --$1"
}

section "A fresh simulated machine ($KESTRINE_SIM_ROOT)"
"$bin/kestrine-sim" reset
"$bin/kestrine-sim" show

section "Save: blank the displays, the peer keeps the document"
start_peer "$job/receive.log" receive --store "$store"
run_tool save
finish_peer "$job/receive.log"
"$bin/kestrine-sim" show

section "Restore: the peer hands the document back, the displays come back"
start_peer "$job/send.log" send --store "$store"
run_tool restore
finish_peer "$job/send.log"
"$bin/kestrine-sim" show

section "Done"
note "the machine, the peer's store and the logs are in $job"
