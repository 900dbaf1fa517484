#!/usr/bin/env bash
# The Windows release package: scripts/sign-release.sh has cpack make kestrine-VERSION-win64.zip
# from this build with a throw-away certificate and a local time-stamping server, both programs
# stripped, signed and time-stamped, their symbols in .debug files beside the zip; each program
# carries its version resource, its manifest and a signature by that certificate, which
# osslsigncode and Wine's WinVerifyTrust accept, and refuse once the file is changed; unpacked,
# both run under Wine: --version agrees with the resource, and a save and a restore go through
# the packaged peer and the packaged tool.
#   tests/wine/release_package.sh BUILD_DIR VERSION OBJDUMP OBJCOPY
set -uo pipefail

build=$1 version=$2 objdump=$3 objcopy=$4
source "$(dirname -- "${BASH_SOURCE[0]}")/checks.sh"

name=kestrine-$version-win64
echo "== cpack through scripts/sign-release.sh, with a PFX, its password and a time-stamping server"
certs=$work/certs
make_certificates "$certs" release="Kestrine Test Release Signer" tsa="Kestrine Test Time Stamps=timeStamping"
echo "throw-away $$" >"$work/password"
openssl pkcs12 -export -inkey "$certs/release.key" -in "$certs/release.crt" \
    -certfile "$certs/root.crt" -passout "file:$work/password" -out "$work/release.pfx"
# The time-stamping server: openssl ts behind a local HTTP server, ended with the test.
printf '%s\n' '[tsa]' 'default_tsa = local' '[local]' "serial = $certs/tsa.serial" \
    "signer_cert = $certs/tsa.crt" "signer_key = $certs/tsa.key" "certs = $certs/root.crt" \
    'signer_digest = sha256' 'default_policy = 1.2.3.4.1' 'digests = sha1, sha256, sha384, sha512' \
    'ess_cert_id_alg = sha256' >"$certs/tsa.cnf"
echo 01 >"$certs/tsa.serial"
coproc tsa { exec timeout 300 python3 "$here/time_stamp_server.py" "$certs/tsa.cnf"; }
read -r -t 10 port <&"${tsa[0]}"
bash "$here/../../scripts/sign-release.sh" --pfx "$work/release.pfx" --password-file "$work/password" \
    --timestamp "http://127.0.0.1:$port" "$build" "$work/out" >"$work/cpack.out" 2>&1
check "cpack succeeds" test $? -eq 0
kill "$tsa_PID" 2>/dev/null
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
    check "it is signed after stripping" grep -qx -- "-- signed $program.exe, time-stamped by http://127.0.0.1:$port" "$work/cpack.out"
    osslsigncode verify -CAfile "$certs/root.crt" -TSA-CAfile "$certs/root.crt" -in "$exe" >"$work/$program.verify" 2>&1
    check "osslsigncode finds the signature valid" test $? -eq 0
    check "and made by the test certificate" contains "$work/$program.verify" \
        "Subject: /CN=Kestrine Test Release Signer"
    check "with a valid time stamp" contains "$work/$program.verify" "Timestamp Server Signature verification: ok"
    cp "$exe" "$work/changed-$program.exe"
    printf 't' | dd of="$work/changed-$program.exe" bs=1 seek=78 conv=notrunc 2>/dev/null  # DOS stub text
    osslsigncode verify -CAfile "$certs/root.crt" -in "$work/changed-$program.exe" >/dev/null 2>&1
    check "a copy changed after signing is refused" test $? -ne 0
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
# Wine, unlike Windows, does not ask whether the test root is among the trusted roots.
trust() {  # trust OUTPUT FILE...: trust_check's verdicts on the files
    "$run" "$build/bin/trust_check.exe" "${@:2}" </dev/null 2>&1 | tr -d '\r' >"$work/$1"
    return "${PIPESTATUS[0]}"
}
trust trust.out "$(winepath -w "$dir/kestrine.exe" 2>/dev/null)" \
    "$(winepath -w "$dir/kestrine-peer.exe" 2>/dev/null)"
check "WinVerifyTrust accepts both packaged programs" test $? -eq 0
trust changed.out "$(winepath -w "$work/changed-kestrine.exe" 2>/dev/null)"
check "and refuses a changed copy (TRUST_E_BAD_DIGEST)" contains "$work/changed.out" \
    "is untrusted Error code -2146869232"
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
