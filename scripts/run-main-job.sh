#!/usr/bin/env bash
# Installs what is missing, builds the programs (release preset) and runs the main job on a fresh
# simulated machine under build/main-job:
#   1. shows the machine as it starts;
#   2. blank: kestrine-peer blank holds the pipe and starts kestrine --save, which blanks the
#      displays and hands the document over; the peer holds it; shows the machine, now dark;
#   3. unblank: kestrine-peer unblank holds the pipe and starts kestrine --restore, which takes
#      the held document and writes the ramps back; shows the machine as it was;
#   4. shows the peer's history, where the served document stays.
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

# peer COMMAND: runs kestrine-peer COMMAND, which starts kestrine itself; fails when it failed.
peer() {
    local status=0
    note "kestrine-peer $1"
    "$bin/kestrine-peer" "$1" --store "$store" </dev/null || status=$?
    note "kestrine-peer $1 ended with status $status"
    [[ $status -eq 0 ]] || die "kestrine-peer $1"
}

section "A fresh simulated machine ($KESTRINE_SIM_ROOT)"
"$bin/kestrine-sim" reset
"$bin/kestrine-sim" show --png "$job/before.png"

section "Blank: kestrine --save darkens the displays, the peer holds the document"
peer blank
"$bin/kestrine-sim" show --png "$job/dark.png"

section "Unblank: the peer hands the document back to kestrine --restore"
peer unblank
"$bin/kestrine-sim" show --png "$job/after.png"

section "The peer's history: the document stays, served, for unblank --from"
"$bin/kestrine-peer" history --store "$store" || die "kestrine-peer history"

section "Done"
note "the machine, the peer's store and pictures of the displays (before.png, dark.png,"
note "after.png) are in $job"
