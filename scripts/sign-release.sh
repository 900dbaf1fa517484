#!/usr/bin/env bash
# Signs the Windows programs with an Authenticode code-signing certificate (osslsigncode).
#
#   scripts/sign-release.sh [SIGNING] BUILD_DIR [PACKAGE_DIR]
#       makes the release zip of a Windows build (cpack) with kestrine.exe and kestrine-peer.exe
#       signed: cpack strips them, this script signs them, then cpack zips them. The zip and the
#       programs' .debug files land in PACKAGE_DIR (default: BUILD_DIR).
#   scripts/sign-release.sh [SIGNING] --files FILE...
#       signs PE files in place (cpack calls this through packaging/SignPrograms.cmake).
#
# SIGNING, each option with the environment variable it defaults to:
#   --pfx FILE            KESTRINE_SIGN_PFX            certificate, key and chain in one PKCS#12 file
#   --cert FILE           KESTRINE_SIGN_CERT           or the certificate (PEM or DER) ...
#   --key FILE            KESTRINE_SIGN_KEY            ... and its private key
#   --chain FILE          KESTRINE_SIGN_CHAIN          further certificates to embed (the issuers)
#   --password-file FILE  KESTRINE_SIGN_PASSWORD_FILE  the password of the PFX or of the key
#   --timestamp URL       KESTRINE_SIGN_TIMESTAMP      an RFC 3161 time-stamping server, so that
#                                                      the signature outlives the certificate
# The password is read from a file so that it shows in no process list.
set -uo pipefail

pfx=${KESTRINE_SIGN_PFX:-} cert=${KESTRINE_SIGN_CERT:-} key=${KESTRINE_SIGN_KEY:-}
chain=${KESTRINE_SIGN_CHAIN:-} password_file=${KESTRINE_SIGN_PASSWORD_FILE:-}
timestamp=${KESTRINE_SIGN_TIMESTAMP:-}
fail() { echo "sign-release.sh: $*" >&2; exit 1; }

files_mode=0
while [[ $# -gt 0 ]]; do
    case $1 in
        --pfx | --cert | --key | --chain | --password-file | --timestamp)
            [[ $# -ge 2 ]] || fail "$1 needs a value"
            case $1 in
                --pfx) pfx=$2 ;; --cert) cert=$2 ;; --key) key=$2 ;; --chain) chain=$2 ;;
                --password-file) password_file=$2 ;; --timestamp) timestamp=$2 ;;
            esac
            shift 2 ;;
        --files) files_mode=1; shift; break ;;
        -h | --help) sed -n '2,/^set /p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
        -*) fail "unknown option $1 (--help lists them)" ;;
        *) break ;;
    esac
done

command -v osslsigncode >/dev/null || fail "osslsigncode is not installed (apt-get install osslsigncode)"
if [[ -n $pfx && ( -n $cert || -n $key ) ]]; then
    fail "give either --pfx or --cert with --key, not both"
elif [[ -z $pfx && ( -z $cert || -z $key ) ]]; then
    fail "no certificate: give --pfx FILE, or --cert FILE with --key FILE"
fi
for file in "$pfx" "$cert" "$key" "$chain" "$password_file"; do
    [[ -z $file || -r $file ]] || fail "cannot read $file"
done
# Full paths: cpack hands them on to the signing step.
absolute() { [[ -z $1 ]] || realpath -- "$1"; }
pfx=$(absolute "$pfx") cert=$(absolute "$cert") key=$(absolute "$key") chain=$(absolute "$chain")
password_file=$(absolute "$password_file")

if [[ -n $pfx ]]; then signer=(-pkcs12 "$pfx"); else signer=(-certs "$cert" -key "$key"); fi
[[ -z $chain ]] || signer+=(-ac "$chain")
[[ -z $password_file ]] || signer+=(-readpass "$password_file")
[[ -z $timestamp ]] || signer+=(-ts "$timestamp")

if [[ $files_mode == 1 ]]; then
    [[ $# -gt 0 ]] || fail "--files needs at least one file"
    for file in "$@"; do
        # SHA-256 digests; the program name is what Windows shows in its prompts.
        if ! osslsigncode sign "${signer[@]}" -h sha256 -n "Kestrine tool" -in "$file" \
            -out "$file.signed" >"$file.sign-log" 2>&1; then
            cat "$file.sign-log" >&2
            rm -f "$file.signed" "$file.sign-log"
            fail "could not sign $file"
        fi
        mv -f "$file.signed" "$file" && rm -f "$file.sign-log" || fail "could not replace $file"
        echo "-- signed $(basename -- "$file")${timestamp:+, time-stamped by $timestamp}"
    done
    exit 0
fi

[[ $# -ge 1 && $# -le 2 ]] || fail "usage: sign-release.sh [SIGNING] BUILD_DIR [PACKAGE_DIR] (--help)"
build=$1 out=${2:-$1}
config=$build/CPackConfig.cmake
[[ -f $config ]] || fail "$config not found: configure and build the windows preset first"
grep -q SignPrograms.cmake "$config" ||
    fail "$build packs without signing (not a Windows build, or configured before signing existed)"
# cpack runs packaging/SignPrograms.cmake, which calls this script with --files and these settings.
export KESTRINE_SIGN_PFX=$pfx KESTRINE_SIGN_CERT=$cert KESTRINE_SIGN_KEY=$key \
    KESTRINE_SIGN_CHAIN=$chain KESTRINE_SIGN_PASSWORD_FILE=$password_file \
    KESTRINE_SIGN_TIMESTAMP=$timestamp
cpack --config "$config" -B "$out"
