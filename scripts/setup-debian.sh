#!/usr/bin/env bash
# Installs what the build and the tests need on Debian 12 (bookworm), only what is missing:
# one apt-get update, then one apt-get install. Non-interactive; as root, or through sudo -n.
#
#   scripts/setup-debian.sh
#
# Wine: only the 64-bit loader is needed (the Windows programs are 64-bit console programs), so
# no i386 architecture is added and recommended packages (wine32 among them) are left out.
set -euo pipefail

packages=(
    # Linux build and tests
    cmake ninja-build g++ pkg-config python3
    libgtest-dev libgmock-dev libbenchmark-dev
    libtclap-dev libjsoncpp-dev libfmt-dev libpng-dev libspdlog-dev
    # clang: the asan build, the clang-debug preset and the fuzz targets (libFuzzer and the
    # sanitizer runtimes)
    clang libclang-rt-14-dev
    # Windows cross build: compiler, and dpkg-source for the libraries built from source packages
    g++-mingw-w64-x86-64 dpkg-dev
    # Windows programs under Wine
    wine wine64
    # An X server with gamma ramps for the Windows display checks under Wine (dummy video driver)
    xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils
    # Authenticode signatures: the release's programs (scripts/sign-release.sh) and the throw-away
    # certificates of the signer and release checks
    osslsigncode openssl
    # the end-to-end documents checked against their JSON Schema
    python3-jsonschema
)

say() { printf '[setup] %s\n' "$*"; }

if [[ -r /etc/os-release ]]; then
    codename=$(. /etc/os-release && echo "${ID:-}:${VERSION_CODENAME:-}")
    [[ $codename == debian:bookworm ]] || say "warning: made for Debian bookworm, this is $codename"
fi

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [[ $status == "install ok installed" ]] || missing+=("$package")
done

if [[ ${#missing[@]} -eq 0 ]]; then
    say "all ${#packages[@]} packages present"
    exit 0
fi
say "missing: ${missing[*]}"

run_as_root=()
if [[ $(id -u) -ne 0 ]]; then
    if command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
        run_as_root=(sudo -n)
    else
        say "error: installing needs root; run as root: apt-get install --no-install-recommends ${missing[*]}" >&2
        exit 1
    fi
fi

log=$(mktemp "${TMPDIR:-/tmp}/kestrine-setup.XXXXXX")
trap 'rm -f "$log"' EXIT
apt() {
    if ! "${run_as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y \
        -o Dpkg::Use-Pty=0 -o Dpkg::Options::=--force-confdef -o Dpkg::Options::=--force-confold \
        "$@" </dev/null >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        say "error: apt-get $1 failed" >&2
        exit 1
    fi
}

say "apt-get update"
apt update
say "installing ${#missing[@]} packages (and their dependencies)"
started=$SECONDS
apt install --no-install-recommends "${missing[@]}"
say "installed in $((SECONDS - started)) s"
