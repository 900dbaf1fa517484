#!/usr/bin/env bash
# Installs what is missing, builds the programs (release preset) and runs the main job on a fresh
# simulated machine under build/main-job:
#   1. shows the machine as it starts;
#   2. blank: kestrine-peer blank holds the pipe and starts kestrine --save, which blanks the
#      displays and hands the document over; the peer holds it; shows the machine, now dark;
#   3. unblank: kestrine-peer unblank holds the pipe and starts kestrine --restore, which takes
#      the held document and writes the ramps back; the peer ends with the tool's verdict (how
#      many displays were written back and validated); shows the machine as it was;
#   4. a restore that fails: a second blank, then a display fault (kestrine-sim) that makes the
#      second display refuse its ramp; unblank says so and ends with 3, the document stays held;
#      with the fault gone, unblank --from brings the display back;
#   5. shows the peer's history, where each document stays with the verdicts noted.
# Every step shows what the peer printed and, condensed (each distinct line once, with how many
# times it came), what the tool logged; the full output and the tool's log files are kept in
# build/main-job and their paths printed. The terminal output stays at about 150 lines. A step
# that ends otherwise than expected ends the job with a non-zero status.
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

logs=$job/logs
mkdir -p "$logs"

# condensed LOG: the tool's log lines that tell what happened on the displays, as level and
# message, each distinct one once with how often it came (a failing restore pass repeats about
# every 100 ms until the request's second is up).
condensed() {
    sed -n 's/^\[[^]]*\] [^ ]* *-\{0,1\}[0-9]* *[^ ]* *[0-9]* *<\([A-Z]*\)> *-\{0,1\}[0-9]* *\(.*\)$/\1 \2/p' "$1" |
        grep -E 'Got action|Request to|validat|Failed to (set|restore|create)|action complete' |
        awk '!($0 in count) { order[++n] = $0 } { count[$0]++ }
             END { for (i = 1; i <= n; i++) printf "    %3dx %s\n", count[order[i]], order[i] }'
}

# peer NAME STATUS COMMAND [ARG...]: runs kestrine-peer COMMAND, which starts kestrine with its log
# in $logs/NAME; shows the tool's log condensed, then what the peer printed, its verdict last;
# keeps the peer's output in $job/kestrine-peer-NAME.txt. Fails unless the peer ends with STATUS.
peer() {
    local name=$1 expected=$2 status=0 output=$job/kestrine-peer-$1.txt
    shift 2
    note "kestrine-peer $* --store $store --logfile $logs/$name"
    "$bin/kestrine-peer" "$@" --store "$store" --logfile "$logs/$name" </dev/null >"$output" 2>&1 || status=$?
    note "what the tool logged in $(ls "$logs/$name"_*.txt), in short:"
    condensed "$(ls "$logs/$name"_*.txt | tail -n 1)"
    note "what the peer printed:"
    summarise <"$output"
    note "kestrine-peer $1 ended with status $status; all it printed: $output"
    [[ $status -eq $expected ]] || die "kestrine-peer $* (expected status $expected)"
}

# displays PICTURE: the simulated displays, and a picture of them drawn through their ramps.
displays() {
    "$bin/kestrine-sim" show --png "$job/$1" | sed -n '/^Displays:/,/^$/{/^$/!p}'
}

section "The machine before: a fresh simulated machine ($KESTRINE_SIM_ROOT)"
"$bin/kestrine-sim" reset >/dev/null
displays before.png

section "Blank: kestrine-peer starts kestrine --save, which darkens the displays and sends the document"
peer save 0 blank

section "The machine dark"
displays dark.png

section "Unblank: kestrine-peer starts kestrine --restore, sends the document back, reads the verdict"
peer restore 0 unblank

section "The machine after"
displays after.png

section 'A restore that fails: \\.\DISPLAY2 refuses every ramp (kestrine-sim display 2 fault set-fails 31)'
peer save-again 0 blank
held=$(grep -o 'held as #[0-9]*' "$job/kestrine-peer-save-again.txt" | tr -dc 0-9)
"$bin/kestrine-sim" display 2 fault set-fails 31 >/dev/null
peer failing-restore 3 unblank
displays failed.png
note "with the fault cleared, unblank --from $held serves the held document again"
"$bin/kestrine-sim" display 2 fault clear >/dev/null
peer restore-again 0 unblank --from "$held"
displays back.png

section "The peer's history: each document stays, with the verdicts noted, for unblank --from"
"$bin/kestrine-peer" history --store "$store" || die "kestrine-peer history"

section "Done"
note "the machine, the peer's store, the programs' full output and pictures of the displays"
note "(before.png, dark.png, after.png, failed.png, back.png) are in $job"
