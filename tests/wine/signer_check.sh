#!/usr/bin/env bash
# The loader's signer check on Wine's own wintrust and crypt32: a Monitor Configuration library
# of our own (test-dxva2.dll), signed with throw-away certificates by scripts/sign-release.sh,
# lies beside a copy of kestrine.exe as dxva2.dll, one case at a time, and the peer runs a save.
# Each case checks the tool's exact lines and, through the library's load marker, that only the
# accepted file was loaded to run, by its full path.
# Where Wine departs from Windows: it accepts a signature whose root is not among the machine's
# trusted roots, so the "good" case passes here without the test root being trusted, where
# Windows would refuse it with CERT_E_UNTRUSTEDROOT; the loader's unit tests check that refusal
# on the sim.
#   tests/wine/signer_check.sh BIN_DIR
set -uo pipefail

bin=$1
source "$(dirname -- "${BASH_SOURCE[0]}")/checks.sh"
winpath() { winepath -w "$1" 2>/dev/null; }

make_certificates "$work/certs" microsoft="Microsoft Test Signer" other="Contoso Test Signer"
check "the test certificates are made" test -s "$work/certs/other.crt"
sign() {  # sign NAME CERT: a copy of the test library signed with that certificate
    cp "$bin/test-dxva2.dll" "$work/$1.dll"
    bash "$here/../../scripts/sign-release.sh" --cert "$work/certs/$2.crt" --key "$work/certs/$2.key" \
        --chain "$work/certs/root.crt" --files "$work/$1.dll" >/dev/null
}
sign good microsoft && sign other other
cp "$work/good.dll" "$work/changed.dll"
printf 't' | dd of="$work/changed.dll" bs=1 seek=78 conv=notrunc 2>/dev/null  # DOS stub text
cp "$bin/test-dxva2.dll" "$work/unsigned.dll"
check "the copies are signed" osslsigncode verify -CAfile "$work/certs/root.crt" -in "$work/other.dll"

mkdir -p "$work/app" "$work/store"
cp "$bin/kestrine.exe" "$work/app/"
app=$(winpath "$work/app")
store=$(winpath "$work/store")
export KESTRINE_LOAD_MARKER
KESTRINE_LOAD_MARKER=$(winpath "$work/loaded")
refused="; Failed to read embedded signature. Library signature not validated! Reading embedded signature of"
# Rows: the file beside the tool (none: Wine's own System32 dxva2.dll), then the lines the tool
# must log as LEVEL CODE MESSAGE, {path} standing for the library's full path. The accepted
# library is loaded; for all others one line more says that the blanker goes on without it.
rows=(
    "good|DEBUG 0 Successfully loaded {path}"
    "other|ERROR 0 Failed to match subject name Contoso Test Signer Against provided regex for library {path}"
    "changed|ERROR 0 The file {path} is untrusted Error code -2146869232$refused {path} failed"
    "unsigned|ERROR 0 The file {path} is not signed.$refused {path} failed"
    "none|ERROR 0 The file C:\\windows\\system32\\dxva2.dll is not signed.$refused C:\\windows\\system32\\dxva2.dll failed"
)
for row in "${rows[@]}"; do
    case=${row%%|*} line=${row#*|}
    echo "== dxva2.dll beside the tool: $case"
    rm -f "$work/app/dxva2.dll" "$work/loaded"
    [[ $case == none ]] || cp "$work/$case.dll" "$work/app/dxva2.dll"
    "$run" "$bin/kestrine-peer.exe" blank --force --store "$store" --tool "$app\\kestrine.exe" \
        </dev/null 2>&1 | tr -d '\r' >"$work/$case.out"
    check "the save through the peer ends with 0" test "${PIPESTATUS[0]}" -eq 0
    # The tool's log lines as LEVEL CODE MESSAGE.
    sed -nE 's/^.*\[Category +[0-9]+, +([A-Z]+) +\] +(-?[0-9]+) : (.*)$/\1 \2 \3/p' \
        "$work/$case.out" >"$work/$case.lines"
    check "it logs: ${line//\{path\}/$app\\dxva2.dll}" grep -qxF -- "${line//\{path\}/$app\\dxva2.dll}" "$work/$case.lines"
    if [[ $case == good ]]; then
        check "no other line mentions the library" test "$(grep -ciE 'dxva2|signature|signed' "$work/$case.lines")" = 1
        check "the library's code ran from that path" test "$(cat "$work/loaded" 2>/dev/null)" = "$app\\dxva2.dll"
    else
        check "and the blanker goes on without it" grep -qxF -- \
            "DEBUG 0 failed to load dxva2 library: Signature validation against subject name failed" "$work/$case.lines"
        check "no code of the refused library ran" test ! -e "$work/loaded"
    fi
done
echo "note: Wine accepted the good signature although its root is not trusted; Windows would" \
    "refuse it (CERT_E_UNTRUSTEDROOT), as the loader's unit tests check on the sim"
finish
