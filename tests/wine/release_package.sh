#!/usr/bin/env bash
# The Windows release package: cpack makes kestrine-VERSION-win64.zip from this build, with both
# programs stripped and their symbols in .debug files beside the zip; each program carries its
# version resource and manifest; unpacked, both run under Wine: --version agrees with the
# resource, and a save and a restore go through the packaged peer and the packaged tool.
#   tests/wine/release_package.sh BUILD_DIR VERSION OBJDUMP OBJCOPY
set -uo pipefail

build=$1 version=$2 objdump=$3 objcopy=$4
source "$(dirname -- "${BASH_SOURCE[0]}")/checks.sh"

name=kestrine-$version-win64
echo "== cpack"
cpack --config "$build/CPackConfig.cmake" -B "$work/out" >"$work/cpack.out" 2>&1
check "cpack succeeds" test $? -eq 0
cat "$work/cpack.out"
check "the zip is made" test -f "$work/out/$name.zip"
mkdir "$work/unpacked"
(cd "$work/unpacked" && cmake -E tar xf "$work/out/$name.zip")
dir=$work/unpacked/$name
for file in LICENSE README.md docs/peer-protocol.md docs/display-state-document.md \
    docs/display-state-document.schema.json docs/logging.md docs/windows-deployment.md; do
    check "the zip holds $file" test -s "$dir/$file"
done

for program in kestrine kestrine-peer; do
    exe=$dir/$program.exe
    echo "== $program.exe"
    check "its size is printed before and after stripping" grep -qE \
        "^-- $program\\.exe: [0-9]+ bytes before stripping, [0-9]+ after" "$work/cpack.out"
    check "its symbols lie beside the zip" test -s "$work/out/$program.exe.debug"
    "$objdump" -p -h -t "$exe" >"$work/$program.dump" 2>&1
    check "it is stripped" contains "$work/$program.dump" "no symbols"
    check "it names its .debug file" contains "$work/$program.dump" ".gnu_debuglink"
    check "it has a version resource" grep -qE "^ *[0-9a-f]+ +Entry: ID: 0x000010," "$work/$program.dump"
    check "it has a manifest" grep -qE "^ *[0-9a-f]+ +Entry: ID: 0x000018," "$work/$program.dump"
    "$objcopy" -O binary --only-section=.rsrc "$exe" "$work/$program.rsrc"
    check "the resource and the manifest say what they should" python3 - "$work/$program.rsrc" \
        "$program.exe" "$version" <<'PY'
import re, sys
data = open(sys.argv[1], "rb").read()
text = data.decode("utf-16-le", errors="replace")
def value(key):
    found = re.search(key + "\0+([^\0]+)\0", text)
    return found.group(1) if found else None
expected = {"ProductName": "Kestrine tool", "FileVersion": sys.argv[3],
            "ProductVersion": sys.argv[3], "OriginalFilename": sys.argv[2]}
for key, want in expected.items():
    assert value(key) == want, (key, value(key))
for key in ("CompanyName", "LegalCopyright", "FileDescription"):
    assert value(key), key
for piece in (b'level="asInvoker"', b'uiAccess="false"', b"{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",
              b">UTF-8</activeCodePage>"):
    assert piece in data, piece
PY
done

echo "== the packaged programs under Wine"
win() {  # win OUTPUT PROGRAM ARGS...: runs a packaged program; output without carriage returns
    "$run" "$dir/$2" "${@:3}" </dev/null 2>&1 | tr -d '\r' >"$work/$1"
    return "${PIPESTATUS[0]}"
}
win tool.version kestrine.exe --version
check "kestrine.exe --version ends with 0" test $? -eq 0
check "and prints major.minor of the resource's version" grep -qE "version: ${version%.*}\$" "$work/tool.version"
win peer.version kestrine-peer.exe --version
check "kestrine-peer.exe --version ends with 0" test $? -eq 0
check "and prints the resource's version" grep -qE "version: $version\$" "$work/peer.version"

mkdir "$work/store"
store=$(winepath -w "$work/store" 2>/dev/null)
win blank.out kestrine-peer.exe blank --store "$store"
check "blank through the packaged peer ends with 0" test $? -eq 0
check "and started the packaged tool" grep -qF "$name\\kestrine.exe" "$work/blank.out"
check "the peer holds the document" contains "$work/store/records/1.record" '"GammaBlanking"'
# The peer's verdict needs the tool's lines, read here from its log file. Without an X server Wine
# writes no ramp back: the restore fails, the peer ends with 3 and the document stays held.
mkdir "$work/logs"
if [[ -n ${DISPLAY:-} ]] && xrandr >/dev/null 2>&1; then restored=0 state=served; else restored=3 state=held; fi
win unblank.out kestrine-peer.exe unblank --store "$store" --logfile "$(winepath -w "$work/logs" 2>/dev/null)\\restore"
check "unblank through the packaged peer ends with $restored" test $? -eq "$restored"
check "the record is $state after the verdict" contains "$work/store/records/1.record" "kestrine-peer-record 1 $state"

finish
