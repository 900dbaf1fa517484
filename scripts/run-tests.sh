#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test:
#   1. the Linux debug build (sim): every ctest test (unit, conformance, e2e);
#   2. the Linux release build in full (tests and benchmarks at -O3): every ctest test but the
#      peer's chaos rounds, which the debug run already takes;
#   3. the unit tests under AddressSanitizer+UBSan (built with clang, so that clang builds every
#      target too) and under ThreadSanitizer (GCC);
#   4. the fuzz targets (clang, libFuzzer), each a short while on its committed corpus;
#   5. the Windows cross build: every ctest test of its build directory (conformance checks,
#      Windows scenarios, the signer check, the signed release package) under Wine, with a
#      private Wine prefix and relay tracing of our modules' calls; then import_coverage.
#   6. the source tree: `git status --porcelain` must list nothing that was not there before the
#      tests (a test that writes into the tree counts as one failure, with the paths).
# Goes on after a failed section where it can, exits non-zero if anything failed, and ends with
# the line "N passed, N failed" (tests over all ctest runs; a failed set-up, configure or
# build step counts as one failure).
#
# Environment:
#   KESTRINE_BUILD_ROOT   where the build directories go (default: build/ of the repository)
#   KESTRINE_JOBS         parallel jobs for builds and ctest (default 2)
#   KESTRINE_SANITIZERS   0 skips the asan and tsan runs (default 1)
#   KESTRINE_WINDOWS      0 skips the Windows build and the Wine runs (default 1)
#   KESTRINE_FUZZ         0 skips the fuzz targets (default 1); KESTRINE_FUZZ_SECONDS is the time
#                         of each target (default 20)
#   KESTRINE_SKIP_SETUP   1 skips scripts/setup-debian.sh
set -uo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root" || exit 1
build_root=${KESTRINE_BUILD_ROOT:-$root/build}
mkdir -p "$build_root"
build_root=$(cd -- "$build_root" && pwd)
jobs=${KESTRINE_JOBS:-2}
started=$SECONDS

passed=0
failed=0
problems=()

section() { printf '\n==== %s ====\n' "$*"; }
note() { printf -- '--- %s\n' "$*"; }
problem() {
    problems+=("$1")
    failed=$((failed + 1))
    note "FAILED: $1"
}

# step NAME COMMAND...: runs one set-up, configure or build step; a failure counts as one.
step() {
    local name=$1 t0=$SECONDS
    shift
    note "$name"
    if "$@"; then
        note "$name: done in $((SECONDS - t0)) s"
        return 0
    fi
    problem "$name"
    return 1
}

# quiet COMMAND...: runs a chatty command, showing its output only when it fails.
quiet() {
    local log rc
    log=$(mktemp "$build_root/.step-output.XXXXXX")
    "$@" >"$log" 2>&1
    rc=$?
    if [[ $rc -ne 0 ]]; then cat "$log"; fi
    rm -f "$log"
    return $rc
}

# run_ctest NAME BUILD-DIR PARALLEL [CTEST-ARGS...]: runs ctest and adds its counts to the totals.
run_ctest() {
    local name=$1 dir=$2 parallel=$3 t0=$SECONDS out rc line total bad
    shift 3
    out=$(mktemp "$build_root/.ctest-output.XXXXXX")
    ctest --test-dir "$dir" --output-on-failure --timeout 300 -j "$parallel" "$@" 2>&1 | tee "$out"
    rc=${PIPESTATUS[0]}
    line=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$out" | tail -n 1)
    rm -f "$out"
    if [[ $line =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
        bad=${BASH_REMATCH[1]}
        total=${BASH_REMATCH[2]}
    else
        bad=0
        total=0
    fi
    passed=$((passed + total - bad))
    failed=$((failed + bad))
    if [[ $total -eq 0 ]]; then
        problem "$name: no tests ran"
    elif [[ $rc -ne 0 && $bad -eq 0 ]]; then
        problem "$name: ctest exited with $rc"
    elif [[ $bad -ne 0 ]]; then
        problems+=("$name: $bad of $total tests failed")
    fi
    note "$name: $((total - bad)) passed, $bad failed in $((SECONDS - t0)) s"
}

# linux_suite PRESET [CTEST-ARGS...]: configures and builds a Linux preset, then runs its tests
# (all of them, or those the ctest arguments select, such as -L '^unit$').
linux_suite() {
    local preset=$1 dir=$build_root/$1
    shift
    section "Linux $preset build"
    step "configure $preset" quiet cmake --preset "$preset" -B "$dir" -Wno-dev || return
    step "build $preset" cmake --build "$dir" --parallel "$jobs" || return
    section "Linux $preset tests"
    run_ctest "$preset" "$dir" "$jobs" "$@"
}

# --- set-up ------------------------------------------------------------------------------------
section "Set-up"
if [[ ${KESTRINE_SKIP_SETUP:-0} != 1 ]]; then
    if ! step "install missing packages" bash scripts/setup-debian.sh; then
        printf '\n%d passed, %d failed\n' "$passed" "$failed"
        exit 1
    fi
fi

# What git reports before the tests, so that a file a test writes into the source tree shows.
tree_before=$(git status --porcelain 2>/dev/null) || tree_before=unknown

# --- Linux ---------------------------------------------------------------------------------------
linux_suite debug
# The optimiser's warnings (GCC at -O3) only show in a release build; its tests take seconds.
# The peer's chaos rounds drive the programs as processes, which the debug run already does.
linux_suite release -LE '^chaos$'

if [[ ${KESTRINE_SANITIZERS:-1} != 0 ]]; then
    ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1} \
        linux_suite asan -L '^unit$'
    TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1 second_deadlock_stack=1} \
        linux_suite tsan -L '^unit$'
fi

# --- fuzz targets --------------------------------------------------------------------------------
# Each target counts as one test: it passes when it ran its time without a failing input.
fuzz_suite() {
    local dir=$build_root/fuzz target t0
    section "Fuzz targets"
    if ! command -v clang++ >/dev/null; then
        note "clang++ is not installed: fuzz targets left out"
        return
    fi
    step "configure fuzz" quiet cmake --preset fuzz -B "$dir" -Wno-dev || return
    step "build fuzz" cmake --build "$dir" --target kestrine_fuzzers --parallel "$jobs" || return
    for target in fuzz_display_document fuzz_capabilities fuzz_rotation_time fuzz_pipe_reader \
        fuzz_peer_store; do
        t0=$SECONDS
        if KESTRINE_BUILD_ROOT=$build_root quiet bash scripts/fuzz.sh "$target" \
            "${KESTRINE_FUZZ_SECONDS:-20}"; then
            passed=$((passed + 1))
            note "$target: no failing input in $((SECONDS - t0)) s"
        else
            problem "fuzz target $target"
        fi
    done
}
if [[ ${KESTRINE_FUZZ:-1} != 0 ]]; then
    fuzz_suite
fi

# --- Windows -------------------------------------------------------------------------------------
wine_server_up=0
stop_wine() {
    if [[ $wine_server_up == 1 ]]; then
        wineserver -k >/dev/null 2>&1 || true
        wine_server_up=0
    fi
}

# An X server with the dummy video driver gives Wine displays with gamma ramps; without it the
# display checks skip, saying why (tests/wine/xorg-dummy.sh).
xorg_state=$build_root/xorg
stop_xorg() { bash tests/wine/xorg-dummy.sh stop "$xorg_state"; }
start_xorg() {
    local out
    if out=$(bash tests/wine/xorg-dummy.sh start "$xorg_state"); then
        export DISPLAY=${out##*DISPLAY=}
        unset KESTRINE_DISPLAY_SKIP
        note "Xorg (dummy driver) on display $DISPLAY: $(DISPLAY=$DISPLAY xrandr | grep -c ' connected') outputs"
    else
        unset DISPLAY
        export KESTRINE_DISPLAY_SKIP="Xorg could not start: $out"
        note "display checks skipped: $KESTRINE_DISPLAY_SKIP"
    fi
}
trap 'stop_wine; stop_xorg' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Starts a persistent wineserver on the private prefix and creates the prefix on first use, so
# that no test waits for Wine's background processes (they hold the output pipe of the first
# program that starts them).
start_wine() {
    mkdir -p "$WINEPREFIX"
    wineserver -p || return
    wine_server_up=1
    local t0=$SECONDS
    [[ -f $WINEPREFIX/system.reg ]] || note "creating the Wine prefix $WINEPREFIX"
    wine cmd /c exit 0 </dev/null >/dev/null 2>&1 || return
    note "Wine ready in $((SECONDS - t0)) s"
}

if [[ ${KESTRINE_WINDOWS:-1} != 0 ]]; then
    windows_dir=$build_root/windows
    deps_prefix=$build_root/windows-deps/prefix
    export WINEPREFIX=$build_root/wine-prefix
    export WINEDEBUG=-all
    export WINEDLLOVERRIDES="winedbg.exe=d;mscoree=d;mshtml=d"
    section "Windows build (mingw-w64)"
    if step "cross-build the libraries" bash scripts/build-windows-deps.sh "$deps_prefix" &&
        step "configure windows" quiet cmake --preset windows -B "$windows_dir" -Wno-dev \
            -DKESTRINE_WINDOWS_DEPS="$deps_prefix" &&
        step "build windows" cmake --build "$windows_dir" --parallel "$jobs"; then
        section "Windows tests under Wine"
        start_xorg
        if step "start Wine" start_wine; then
            # One at a time: under Wine every test process shares one machine (registry keys,
            # pipe names), where on the sim each has a root of its own. With Wine's relay tracing
            # of our own modules' calls (a few seconds more), after which import_coverage checks
            # that every Win32 function our code imports was called.
            relay_dir=$build_root/wine-relay
            if step "prepare relay tracing" quiet bash tests/wine/import_coverage.sh trace \
                "$windows_dir/bin" "$relay_dir"; then
                KESTRINE_WINE_LOADER=$root/tests/wine/relay-loader.sh KESTRINE_RELAY_LOG_DIR=$relay_dir \
                    run_ctest windows "$windows_dir" 1 -E '^import_coverage$'
                KESTRINE_RELAY_LOG_DIR=$relay_dir \
                    run_ctest "windows imports" "$windows_dir" 1 -V -R '^import_coverage$'
            else
                run_ctest windows "$windows_dir" 1 -E '^import_coverage$'
            fi
        fi
        stop_wine
        stop_xorg
    fi
fi

# --- the source tree ------------------------------------------------------------------------------
# No test writes into the source tree: after the tests `git status --porcelain` must be as empty
# as before (with local changes, it must list nothing new).
section "Source tree"
if [[ $tree_before == unknown ]]; then
    note "not a git checkout: left out"
else
    left=$(comm -13 <(printf '%s\n' "$tree_before" | sort) <(git status --porcelain | sort) | sed '/^$/d')
    [[ -n $tree_before ]] && note "the tree had local changes before the tests; only new entries count"
    if [[ -n $left ]]; then
        printf '%s\n' "$left"
        problem "the tests left files in the source tree (above)"
    else
        passed=$((passed + 1))
        note "the tests left the source tree as they found it"
    fi
fi

# --- summary -------------------------------------------------------------------------------------
section "Summary"
for item in "${problems[@]}"; do
    note "$item"
done
note "total time $((SECONDS - started)) s"
printf '%d passed, %d failed\n' "$passed" "$failed"
[[ $failed -eq 0 ]]
