#!/usr/bin/env bash
# Installs what is missing, builds the programs (release preset) and runs the main job on a fresh
# simulated machine under build/main-job:
#   1. shows the machine as it starts;
#   2. blank: kestrine-peer blank holds the pipe and starts kestrine --save, which blanks the
#      displays and hands the document over; the peer holds it; shows the machine, now dark;
#   3. unblank: kestrine-peer unblank holds the pipe and starts kestrine --restore, which takes
#      the held document and writes the ramps back; shows the machine as it was;
#   4. shows the peer's history, where the served document stays.
# Every step shows what the programs themselves printed, in a section of its own; the lines in
# which kestrine logs the document it receives are cut to the first and last line of each chunk
# (the full output of each kestrine-peer run, with the tool's, is kept in build/main-job and
# its path printed). The terminal output stays at about 150 lines. A failing step ends the job
# with a non-zero status.
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

# quietly LOG COMMAND...: runs a chatty step with its output in LOG, shown (its end) only when
# the step fails.
quietly() {
    local log=$1
    shift
    if ! "$@" >"$log" 2>&1; then
        tail -n 40 "$log"
        return 1
    fi
}

# summarise: the output of the programs with each document chunk that the tool logged as
# `Received "..."` cut to its first and last lines and a count of the lines between.
summarise() {
    awk '
        function flush() {
            if (n > 2) printf "        [... %d more lines of this chunk ...]\n", n - 2
            if (n > 1) { sub(/^[ \t]+/, "", last); print "        " last }
            n = 0
        }
        /^[0-9]+ \*> \[/ || /^kestrine-peer: / { flush() }
        n > 0 { n++; last = $0; next }
        / : Received "/ { print; n = 1; next }
        { print }
        END { flush() }'
}

# --- set-up and build ----------------------------------------------------------------------------
rm -rf "$job"
mkdir -p "$job"
section "Set-up"
if [[ ${KESTRINE_SKIP_SETUP:-0} != 1 ]]; then
    bash scripts/setup-debian.sh || die "installing the missing packages"
fi

section "Build ($preset)"
started=$SECONDS
quietly "$job/configure.log" cmake --preset "$preset" -B "$build_dir" -Wno-dev || die "configure $preset"
quietly "$job/build.log" cmake --build "$build_dir" --parallel "$jobs" \
    --target kestrine kestrine-peer kestrine-sim || die "build $preset"
note "kestrine, kestrine-peer and kestrine-sim built in $((SECONDS - started)) s ($job/build.log)"

# --- the job -------------------------------------------------------------------------------------
export KESTRINE_SIM_ROOT=$job/sim
store=$job/store

# peer COMMAND: runs kestrine-peer COMMAND, which starts kestrine itself; shows what both printed,
# with the document's chunks summarised, and keeps all of it in $job/kestrine-peer-COMMAND.txt.
# Fails when the peer failed.
peer() {
    local status=0 output=$job/kestrine-peer-$1.txt
    note "kestrine-peer $1 --store $store"
    "$bin/kestrine-peer" "$1" --store "$store" </dev/null >"$output" 2>&1 || status=$?
    summarise <"$output"
    note "kestrine-peer $1 ended with status $status; all it and the tool printed: $output"
    [[ $status -eq 0 ]] || die "kestrine-peer $1"
}

# displays PICTURE: the simulated displays, and a picture of them drawn through their ramps.
displays() {
    "$bin/kestrine-sim" show --png "$job/$1" | sed -n '/^Displays:/,/^$/{/^$/!p}'
}

section "The machine before: a fresh simulated machine ($KESTRINE_SIM_ROOT)"
"$bin/kestrine-sim" reset >/dev/null
"$bin/kestrine-sim" show --png "$job/before.png"

section "Blank: kestrine-peer starts kestrine --save, which darkens the displays and sends the document"
peer blank

section "The machine dark"
displays dark.png

section "Unblank: kestrine-peer starts kestrine --restore and sends the document back"
peer unblank

section "The machine after"
displays after.png

section "The peer's history: the document stays, served, for unblank --from"
"$bin/kestrine-peer" history --store "$store" || die "kestrine-peer history"

section "Done"
note "the machine, the peer's store, the programs' full output and pictures of the displays"
note "(before.png, dark.png, after.png) are in $job"
