#!/usr/bin/env bash
# The Windows build end to end under Wine: kestrine.exe against kestrine-peer.exe over the real
# named pipe, the exit statuses, the document's form, the log file with the rotation time read
# from Wine's registry, and the loader refusing Wine's unsigned dxva2.dll.
# With an X server ($DISPLAY, tests/wine/xorg-dummy.sh) the displays are its outputs: the save
# reads the screen's ramps, Wine refuses the all-zero ramp so every blank pass fails, the restore
# validates word for word, and a save after a change of the screen's gamma records it. Without one
# Wine has no gamma support, every ramp read and write fails, and the scenario checks that the
# program says so and goes on; the display checks are then reported as skipped (status 77).
#   tests/wine/wine_scenario.sh BIN_DIR
set -uo pipefail

bin=$1
source "$(dirname -- "${BASH_SOURCE[0]}")/checks.sh"
xorg="$here/xorg-dummy.sh"
if [[ -n ${DISPLAY:-} ]] && xrandr >/dev/null 2>&1; then
    displays=$(xrandr | grep -c ' connected')
    echo "X server $DISPLAY with $displays outputs"
    bash "$xorg" gamma 1:1:1 >/dev/null
    trap 'bash "$xorg" gamma 1:1:1 >/dev/null; rm -rf "$work"' EXIT
else
    displays=0
    skipped=${KESTRINE_DISPLAY_SKIP:-no X server (DISPLAY is not set)}
    echo "skipped: the display checks on an X server: $skipped"
fi
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
check "the peer reads the failed blank from the tool's log" contains "$work/blank.out" "the tool's verdict: blank FAILED"
if [[ $displays -ne 0 ]]; then
    check "and names the refusal with its fix" contains "$work/blank.out" "the system refused the dark ramp for \\\\.\\DISPLAY1"
    check "the fix names GdiIcmGammaRange" contains "$work/blank.out" "/v GdiIcmGammaRange /t REG_DWORD /d 256"
fi
log=$(ls "$logs"/save_*.txt 2>/dev/null | head -n 1)
check "a log file was written" test -n "$log"
if [[ -n $log ]]; then
    tr -d '\r' <"$log" >"$work/save.log"
    check "it opens with the header" test "$(head -c 6 "$work/save.log")" = "Thread"
    check "the rotation time came from the registry" contains "$work/save.log" "Setting log rotation time to: 5 mins"
    check "Wine's dxva2.dll is refused" contains "$work/save.log" "failed to load dxva2 library: "
    if [[ $displays -eq 0 ]]; then
        check "ramp reads fail and are said to" contains "$work/save.log" "GetDeviceGammaRamp() FAILED"
    else
        check "no ramp read fails" test "$(grep -c 'GetDeviceGammaRamp() FAILED' "$work/save.log")" = 0
        check "the all-zero ramp is refused on \\\\.\\DISPLAY1" contains "$work/save.log" "Failed to set gamma ramp for \\\\.\\DISPLAY1 display"
        check "and the pass says so" contains "$work/save.log" "Failed to set blanking gamma ramps for one or more displays"
    fi
    check "the blank request fails and is said to" contains "$work/save.log" "Request to blank failed"
    check "the action completes" contains "$work/save.log" "Kestrine action successful, closing utility"
fi
# document_holds WHAT: the newest document in the peer's history has its form and records WHAT:
# "linear" (no ramp could be read), "identity" (the screen's ramp at gamma 1) or "gamma" (green at
# gamma 1, red and blue not).
document_holds() {
    python3 - "$work/store/records" "$1" "$displays" <<'PY'
import json, pathlib, sys
what, displays = sys.argv[2], int(sys.argv[3])
newest = max(pathlib.Path(sys.argv[1]).glob("*.record"), key=lambda p: int(p.stem))
text = newest.read_text(encoding="ascii").split("\n", 1)[1]  # after the record's header
assert text.startswith("{") and text.endswith("}\n") and not text.endswith("\n\n"), "framing"
assert "\t\"GammaBlanking\" : \n" in text, "styled writer"
doc = json.loads(text)
assert list(doc) == ["GammaBlanking"], doc.keys()
assert displays == 0 or len(doc["GammaBlanking"]) == displays, len(doc["GammaBlanking"])
for display in doc["GammaBlanking"]:
    assert display["initialGammasSaved"] is True
    ramp = display["initialGammas"]
    for channel in ("red", "green", "blue"):
        # linear: every read failed on an untouched buffer, so the linear ramp was saved instead.
        identity = [(255 if what == "linear" else 257) * i for i in range(256)]
        same = ramp[channel] == identity
        assert same == (what != "gamma" or channel == "green"), (channel, ramp[channel][:8])
PY
}
if [[ $displays -eq 0 ]]; then
    check "the document has its form and the linear ramp" document_holds linear
else
    check "the document has its form and the screen's identity ramps" document_holds identity
fi

echo "== restore through the peer"
wine reg delete "$key" /f >/dev/null 2>&1
# Without an X server no ramp can be written back: the peer says so and ends with 3.
check "peer unblank gives $([[ $displays -eq 0 ]] && echo 3 || echo 0)" test \
    "$(status_of kestrine-peer.exe unblank --store "$store" --logfile "$(winpath "$logs")\\restore")" = "$([[ $displays -eq 0 ]] && echo 3 || echo 0)"
if [[ $displays -eq 0 ]]; then
    check "and says the restore failed" contains "$work/out" "restore FAILED, 0 of "
else
    check "and reports every display of the X server validated" contains "$work/out" "verdict on document #1: $displays of $displays validated"
fi
log=$(ls "$logs"/restore_*.txt 2>/dev/null | head -n 1)
if [[ -n $log ]]; then
    tr -d '\r' <"$log" >"$work/restore.log"
    check "without the key the log says so" contains "$work/restore.log" "Failed to open registry key: SOFTWARE\\Norvalis\\VelmoAgent"
    if [[ $displays -eq 0 ]]; then
        for attempt in 0 1 2 3 4; do
            check "restore attempt $attempt is logged" contains "$work/restore.log" "Failed to restore device gamma ramp! (attempt = $attempt)"
        done
    else
        check "every display is restored and validated at the first attempt" test \
            "$(grep -c 'Restored initial device gamma ramps and successfully validated restoration' "$work/restore.log")" = "$displays"
        check "no restore attempt fails" test "$(grep -c 'Failed to restore' "$work/restore.log")" = 0
    fi
    check "the restore action completes" contains "$work/restore.log" "Restore action complete"
else
    check "a restore log file was written" false
fi
if [[ $displays -eq 0 ]]; then
    check "the document stays held" contains "$work/store/records/1.record" "kestrine-peer-record 1 held"
else
    check "the document was served" contains "$work/store/records/1.record" "kestrine-peer-record 1 served"
fi

echo "== the tool's output through the peer's pipes"
win kestrine-peer.exe unblank --store "$store" --from 1
check "the tool's lines are relayed as they come" contains "$work/out" "[tool] "
check "and are the tool's own" contains "$work/out" "Got action restore"
win kestrine-peer.exe history --store "$store" --show 1
check "history --show keeps them with the record" contains "$work/out" "Got action restore"

if [[ $displays -ne 0 ]]; then
    echo "== save after the screen's gamma is set to 0.8:1:1.2"
    bash "$xorg" gamma 0.8:1:1.2 >/dev/null
    check "peer blank gives 0" test "$(status_of kestrine-peer.exe blank --store "$store")" = 0
    check "the document differs from the identity in red and blue only" document_holds gamma
fi

finish
if [[ $displays -eq 0 ]]; then
    echo "skipped the display checks on an X server: $skipped"
    exit 77
fi
