#!/bin/sh
# Runs a Windows program under Wine's 64-bit loader: the emulator of the Windows build, so that
# ctest and test discovery run the .exe files. Keeps Wine quiet and away from ~/.wine.
#   scripts/wine-run.sh PROGRAM.exe [ARGS...]
# Defaults (each kept if already set): WINEPREFIX=<repository>/build/wine-prefix, WINEDEBUG=-all,
# WINEDLLOVERRIDES that switch off the crash debugger and the Mono/Gecko installers.
here=$(CDPATH='' cd -- "$(dirname -- "$0")" && pwd)
: "${WINEPREFIX:=$(dirname -- "$here")/build/wine-prefix}"
: "${WINEDEBUG:=-all}"
: "${WINEDLLOVERRIDES:=winedbg.exe=d;mscoree=d;mshtml=d}"
export WINEPREFIX WINEDEBUG WINEDLLOVERRIDES
# Without an X server Wine has no display driver: display checks that need one skip, saying why.
if [ -z "${DISPLAY:-}" ]; then
    : "${KESTRINE_DISPLAY_SKIP:=no X server (DISPLAY is not set), so Wine has no display driver}"
    export KESTRINE_DISPLAY_SKIP
fi
loader=${KESTRINE_WINE_LOADER:-/usr/lib/wine/wine64}
if [ ! -x "$loader" ]; then
    echo "wine-run.sh: $loader not found (install the packages wine and wine64)" >&2
    exit 127
fi
exec "$loader" "$@"
