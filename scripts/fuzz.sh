#!/usr/bin/env bash
# Runs one fuzz target for a given time on its committed corpus:
#   scripts/fuzz.sh TARGET SECONDS [LIBFUZZER-OPTION...]
# TARGET is a file name of fuzz/ without .cpp (fuzz_display_document, fuzz_capabilities,
# fuzz_rotation_time, fuzz_pipe_reader, fuzz_peer_store). Configures and builds the fuzz preset
# (clang) as needed. New inputs gather in build/fuzz-corpus/TARGET, kept between runs and never
# in the committed corpus; an input that fails lands in build/fuzz-findings/TARGET, and the
# script then exits non-zero. KESTRINE_BUILD_ROOT moves build/ elsewhere.
set -euo pipefail

if [[ $# -lt 2 ]]; then
    echo "usage: $0 TARGET SECONDS [LIBFUZZER-OPTION...]" >&2
    exit 2
fi
target=$1
seconds=$2
shift 2

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
build_root=${KESTRINE_BUILD_ROOT:-$root/build}
build=$build_root/fuzz
seeds=$root/fuzz/corpus/$target
if [[ ! -d $seeds ]]; then
    echo "$0: no corpus for $target in fuzz/corpus" >&2
    exit 2
fi
if [[ ! -f $build/build.ninja ]]; then
    (cd "$root" && cmake --preset fuzz -B "$build" -Wno-dev >/dev/null)
fi
cmake --build "$build" --target "$target" >/dev/null

work=$build_root/fuzz-corpus/$target
findings=$build_root/fuzz-findings/$target
mkdir -p "$work" "$findings"

# A whole document of two displays is about 8 KB written compactly; a capabilities input must be
# able to pass the 4096-byte limit.
case $target in
    fuzz_display_document) max_len=32768 ;;
    fuzz_capabilities) max_len=8200 ;;
    *) max_len=4096 ;;
esac
options=(-max_total_time="$seconds" -max_len="$max_len" -timeout=30 -print_final_stats=1
         -artifact_prefix="$findings/")
if [[ -f $root/fuzz/$target.dict ]]; then
    options+=(-dict="$root/fuzz/$target.dict")
fi
# The targets keep a simulated machine in a temporary directory; memory is faster where there.
if [[ -z ${TMPDIR:-} && -d /dev/shm && -w /dev/shm ]]; then
    export TMPDIR=/dev/shm
fi
exec "$build/bin/$target" "${options[@]}" "$@" "$work" "$seeds"
