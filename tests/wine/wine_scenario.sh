#!/usr/bin/env bash
# The Windows build end to end under Wine: kestrine.exe against kestrine-peer.exe over the real
# named pipe, the exit statuses, the document's form, the log file with the rotation time read
# from Wine's registry, and the loader refusing Wine's unsigned dxva2.dll.
# Wine has no gamma support without an X server, so every ramp read and write fails here: the
# scenario checks that the program says so and goes on, not that a display changed.
#   tests/wine/wine_scenario.sh BIN_DIR
set -uo pipefail

bin=$1
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
run="$here/../../scripts/wine-run.sh"
work=$(mktemp -d /tmp/kestrine-wine-XXXXXX)
trap 'rm -rf "$work"' EXIT
failures=0

check() {  # check DESCRIPTION COMMAND...
    if "${@:2}"; then echo "ok   $1"; else echo "FAIL $1"; failures=$((failures + 1)); fi
}
contains() { grep -qF -- "$2" "$1"; }
# win PROGRAM ARGS...: runs a Windows program, output without carriage returns in $work/out.
win() {
    "$run" "$bin/$1" "${@:2}" </dev/null >"$work/out.raw" 2>&1
    local status=$?
    tr -d '\r' <"$work/out.raw" >"$work/out"
    return $status
}
status_of() { win "$@"; echo $?; }
winpath() { winepath -w "$1" 2>/dev/null; }

store=$(winpath "$work/store")
logs="$work/logs"
mkdir -p "$work/store" "$logs"
key='HKLM\SOFTWARE\Norvalis\VelmoAgent'

echo "== command line"
check "--version gives 0" test "$(status_of kestrine.exe --version)" = 0
check "no arguments give 1" test "$(status_of kestrine.exe)" = 1
check "--save --restore give 1" test "$(status_of kestrine.exe --save --restore)" = 1
check "and name the exclusion" contains "$work/out" "Mutually exclusive argument already set!"

echo "== no peer"
check "--save without a peer gives 255" test "$(status_of kestrine.exe --save)" = 255
check "with error code 2" contains "$work/out" "general error: Unable to open pipe client with error code 2"

echo "== save through the peer, with a log file and a rotation time in the registry"
wine reg add "$key" /v VelmoLogRotationTime /t REG_SZ /d 5 /f >/dev/null 2>&1
check "peer blank gives 0" test "$(status_of kestrine-peer.exe blank --store "$store" --logfile "$(winpath "$logs")\\save")" = 0
cp "$work/out" "$work/blank.out"
check "the tool was started by the peer" contains "$work/blank.out" "started"
check "the document is held" contains "$work/blank.out" "until a restore has used it"
log=$(ls "$logs"/save_*.txt 2>/dev/null | head -n 1)
check "a log file was written" test -n "$log"
if [[ -n $log ]]; then
    tr -d '\r' <"$log" >"$work/save.log"
    check "it opens with the header" test "$(head -c 6 "$work/save.log")" = "Thread"
    check "the rotation time came from the registry" contains "$work/save.log" "Setting log rotation time to: 5 mins"
    check "Wine's dxva2.dll is refused" contains "$work/save.log" "failed to load dxva2 library: "
    check "ramp reads fail and are said to" contains "$work/save.log" "GetDeviceGammaRamp() FAILED"
    check "the blank request fails and is said to" contains "$work/save.log" "Request to blank failed"
    check "the action completes" contains "$work/save.log" "Kestrine action successful, closing utility"
fi
check "the document has its form" python3 - "$work/store/records/1.record" <<'PY'
import json, sys
text = open(sys.argv[1], encoding="ascii").read().split("\n", 1)[1]  # after the record's header
assert text.startswith("{") and text.endswith("}\n") and not text.endswith("\n\n"), "framing"
assert "\t\"GammaBlanking\" : \n" in text, "styled writer"
doc = json.loads(text)
assert list(doc) == ["GammaBlanking"], doc.keys()
for display in doc["GammaBlanking"]:
    assert display["initialGammasSaved"] is True
    ramp = display["initialGammas"]
    for channel in ("red", "green", "blue"):
        # Every read failed on an untouched buffer: the linear ramp was saved instead.
        assert ramp[channel] == [255 * i for i in range(256)], channel
PY

echo "== restore through the peer"
wine reg delete "$key" /f >/dev/null 2>&1
check "peer unblank gives 0" test "$(status_of kestrine-peer.exe unblank --store "$store" --logfile "$(winpath "$logs")\\restore")" = 0
log=$(ls "$logs"/restore_*.txt 2>/dev/null | head -n 1)
if [[ -n $log ]]; then
    tr -d '\r' <"$log" >"$work/restore.log"
    check "without the key the log says so" contains "$work/restore.log" "Failed to open registry key: SOFTWARE\\Norvalis\\VelmoAgent"
    for attempt in 0 1 2 3 4; do
        check "restore attempt $attempt is logged" contains "$work/restore.log" "Failed to restore device gamma ramp! (attempt = $attempt)"
    done
    check "the restore action completes" contains "$work/restore.log" "Restore action complete"
else
    check "a restore log file was written" false
fi
check "the document was served" contains "$work/store/records/1.record" "kestrine-peer-record 1 served"

echo
if [[ $failures -ne 0 ]]; then
    echo "$failures checks failed"
    exit 1
fi
echo "all checks passed"
