#!/usr/bin/env bash
# Starts a Windows program under Wine with relay tracing and keeps, of the trace, only the names
# of the functions called: each "DLL.Function" once, in KESTRINE_RELAY_LOG_DIR/<process>.calls.
# What the program itself writes to stderr passes through. Used by scripts/wine-run.sh as
# KESTRINE_WINE_LOADER; the Wine prefix's registry says whose calls are traced
# (tests/wine/import_coverage.sh trace).
#   KESTRINE_RELAY_LOG_DIR=DIR tests/wine/relay-loader.sh PROGRAM.exe [ARGS...]
set -uo pipefail

log=${KESTRINE_RELAY_LOG_DIR:?names the directory for the traces}/$$.calls
# Programs that this one starts inherit WINEDEBUG, and their trace comes through the same stream.
export WINEDEBUG=-all,+relay
# A trace line ends a line of its own but may follow a part of a line that the program wrote
# without its end: that part is held and passes through with the rest of its line, in one
# write, so that it cannot be torn apart by what the program writes to stdout meanwhile (awk
# writes to its own buffered stream, /dev/fd/2: its /dev/stderr writes a line's end apart).
/usr/lib/wine/wine64 "$@" 2> >(awk -v out="$log" -v err=/dev/fd/2 '
    match($0, /[0-9a-f][0-9a-f][0-9a-f][0-9a-f]:(Call|Ret|Starting|trace:relay)/) {
        held = held substr($0, 1, RSTART - 1)
        trace = substr($0, RSTART + 5)
        if (trace ~ /^Call [A-Za-z0-9_]+\.[^ (]+\(/) {
            name = substr(trace, 6, index(trace, "(") - 6)
            if (!(name in seen)) { seen[name] = 1; print name >>out; fflush(out) }
        }
        next
    }
    { print held $0 >err; fflush(err); held = "" }
    END { if (held != "") printf "%s", held >err }')
