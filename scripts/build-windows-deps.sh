#!/usr/bin/env bash
# Builds the third-party libraries of the Windows build with the mingw-w64 toolchain into a
# private prefix, from the same Debian versions that the Linux build uses:
#   jsoncpp, googletest   Debian source packages (apt-get source), static libraries
#   fmt, TCLAP            header-only: the installed Debian headers are copied
# Nothing is rebuilt while the stamp in the prefix matches the installed versions and this recipe.
#
#   scripts/build-windows-deps.sh [PREFIX]     default: build/windows-deps/prefix
#
# The source packages need a deb-src entry for the release's main archive; the script adds one
# (as root) when apt has none. Needs: dpkg-dev, cmake, ninja-build, g++-mingw-w64-x86-64 and the
# Debian packages libjsoncpp-dev libgtest-dev libfmt-dev libtclap-dev (their versions are used).
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
toolchain=$root/cmake/mingw-w64-x86_64.cmake
prefix=${1:-${KESTRINE_WINDOWS_DEPS:-$root/build/windows-deps/prefix}}
mkdir -p "$prefix"
prefix=$(cd -- "$prefix" && pwd)
work=$(dirname -- "$prefix")
sources=$work/sources
builds=$work/build
stamp=$prefix/.kestrine-deps
jobs=${KESTRINE_JOBS:-2}

say() { printf '[windows-deps] %s\n' "$*"; }
die() { printf '[windows-deps] error: %s\n' "$*" >&2; exit 1; }

# Version of the Debian source package behind an installed binary package.
source_version() {
    dpkg-query -W -f '${source:Version}' "$1" 2>/dev/null || die "package $1 is not installed (run scripts/setup-debian.sh)"
}

for tool in dpkg-source cmake ninja x86_64-w64-mingw32-g++-posix; do
    command -v "$tool" >/dev/null || die "$tool not found (run scripts/setup-debian.sh)"
done

jsoncpp_version=$(source_version libjsoncpp-dev)
gtest_version=$(source_version libgtest-dev)
fmt_version=$(source_version libfmt-dev)
tclap_version=$(source_version libtclap-dev)
recipe=$(cat "${BASH_SOURCE[0]}" "$toolchain" | sha256sum | cut -c1-16)
wanted="libjsoncpp $jsoncpp_version
googletest $gtest_version
fmtlib $fmt_version
tclap $tclap_version
recipe $recipe"

# One build at a time per prefix.
exec 9>"$work/.lock"
flock 9

if [[ -f $stamp && "$(cat "$stamp")" == "$wanted" ]]; then
    say "up to date in $prefix"
    exit 0
fi
say "building into $prefix"
rm -rf "$prefix" "$builds"
mkdir -p "$prefix" "$builds" "$sources"

# --- deb-src entry -------------------------------------------------------------------------
have_source_index() {
    apt-cache showsrc --only-source libjsoncpp 2>/dev/null | grep -q '^Package:'
}

# Prints "URI<TAB>SIGNED-BY" of the configured archive that carries CODENAME main.
configured_archive() {
    local codename=$1 file
    for file in /etc/apt/sources.list.d/*.sources; do
        [[ -f $file ]] || continue
        awk -v codename="$codename" '
            function flush() {
                if (types ~ /(^| )deb( |$)/ && (" " suites " ") ~ (" " codename " ") &&
                    (" " comps " ") ~ / main / && uri != "" && !done) {
                    print uri "\t" signed; done = 1
                }
                types = suites = comps = uri = signed = ""
            }
            /^[ \t]*#/ { next }
            /^[ \t]*$/ { flush(); next }
            { key = tolower($1); sub(/:$/, "", key); $1 = ""; sub(/^ +/, "") }
            key == "types" { types = $0 }
            key == "suites" { suites = $0 }
            key == "components" { comps = $0 }
            key == "uris" { split($0, u, " "); uri = u[1] }
            key == "signed-by" { signed = $0 }
            END { flush() }' "$file"
    done
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [[ -f $file ]] || continue
        awk -v codename="$codename" '
            $1 == "deb" {
                i = 2; opts = ""
                if ($2 ~ /^\[/) { while (i <= NF) { opts = opts " " $i; if ($i ~ /\]$/) { i++; break } i++ } }
                uri = $i; suite = $(i + 1); main = 0
                for (j = i + 2; j <= NF; j++) if ($j == "main") main = 1
                if (suite == codename && main) {
                    signed = ""
                    if (match(opts, /signed-by=[^] ]+/)) signed = substr(opts, RSTART + 10, RLENGTH - 10)
                    print uri "\t" signed; exit
                }
            }' "$file"
    done
}

add_source_entry() {
    local codename uri signed entry
    codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
    [[ -n $codename ]] || die "cannot tell the Debian release from /etc/os-release"
    [[ $(id -u) -eq 0 ]] || die "apt has no deb-src entry for $codename main; run this script as root once to add it"
    IFS=$'\t' read -r uri signed < <(configured_archive "$codename" | head -n1) || true
    uri=${uri:-http://deb.debian.org/debian}
    entry=/etc/apt/sources.list.d/kestrine-deb-src.sources
    say "adding the deb-src entry $uri $codename main ($entry)"
    {
        echo "Types: deb-src"
        echo "URIs: $uri"
        echo "Suites: $codename"
        echo "Components: main"
        if [[ -n ${signed:-} ]]; then echo "Signed-By: $signed"; fi
    } >"$entry"
    # Fetch the index of this entry only; the other lists stay as they are.
    apt-get update -qq -o Dir::Etc::SourceList="$entry" -o Dir::Etc::SourceParts=- \
        -o APT::Get::List-Cleanup=0 >/dev/null
}

if ! have_source_index; then
    add_source_entry
    have_source_index || die "apt still has no source index for libjsoncpp"
fi

# --- source packages -----------------------------------------------------------------------
apt_user=()
if [[ $(id -u) -eq 0 ]]; then apt_user=(-o APT::Sandbox::User=root); fi

# unpack PACKAGE VERSION: prints the directory of the unpacked source tree.
unpack() {
    local package=$1 version=$2 upstream dsc dir
    upstream=${version#*:}
    dsc=$sources/${package}_${upstream}.dsc
    if [[ ! -f $dsc ]]; then
        say "downloading the source package $package $version" >&2
        (cd "$sources" && apt-get source -qq --download-only "${apt_user[@]}" "$package=$version" >/dev/null) ||
            die "apt-get source $package=$version failed"
    fi
    dir=$builds/$package-src
    dpkg-source --no-check -x "$dsc" "$dir" >/dev/null 2>&1 || die "dpkg-source -x $dsc failed"
    echo "$dir"
}

# cross_build NAME SOURCE-DIR CMAKE-OPTIONS...
cross_build() {
    local name=$1 src=$2
    shift 2
    say "building $name"
    cmake -S "$src" -B "$builds/$name" -G Ninja -Wno-dev \
        -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DKESTRINE_WINDOWS_DEPS="$prefix" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" \
        -DBUILD_SHARED_LIBS=OFF "$@" >"$builds/$name.log" 2>&1 ||
        { cat "$builds/$name.log" >&2; die "configuring $name failed"; }
    cmake --build "$builds/$name" -j "$jobs" >>"$builds/$name.log" 2>&1 ||
        { tail -n 60 "$builds/$name.log" >&2; die "building $name failed"; }
    cmake --install "$builds/$name" >>"$builds/$name.log" 2>&1 ||
        { tail -n 30 "$builds/$name.log" >&2; die "installing $name failed"; }
}

jsoncpp_src=$(unpack libjsoncpp "$jsoncpp_version")
cross_build jsoncpp "$jsoncpp_src" \
    -DBUILD_STATIC_LIBS=ON -DBUILD_OBJECT_LIBS=OFF \
    -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
    -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DJSONCPP_WITH_CMAKE_PACKAGE=ON -DJSONCPP_WITH_EXAMPLE=OFF

gtest_src=$(unpack googletest "$gtest_version")
cross_build googletest "$gtest_src" -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON -Dgtest_build_tests=OFF

# --- header-only libraries -----------------------------------------------------------------
say "copying the fmt $fmt_version and TCLAP $tclap_version headers"
for dir in fmt tclap; do
    [[ -d /usr/include/$dir ]] || die "/usr/include/$dir missing"
    mkdir -p "$prefix/include"
    cp -R "/usr/include/$dir" "$prefix/include/"
done

printf '%s\n' "$wanted" >"$stamp"
rm -rf "$builds"
say "done"
