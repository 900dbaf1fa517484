#!/usr/bin/env bash
# Every Win32 function that kestrine.exe and kestrine-peer.exe import from kernel32, user32,
# gdi32, advapi32, wintrust and crypt32 is called at least once under Wine by our own modules
# while the Windows tests run. The import list is read from the built programs each time.
#   tests/wine/import_coverage.sh trace BIN_DIR LOG_DIR
#       prepares the Wine prefix ($WINEPREFIX) so that relay tracing covers only the calls that
#       the modules of BIN_DIR make (minus their calls into msvcrt), and empties LOG_DIR. Then run
#       the tests with KESTRINE_WINE_LOADER=tests/wine/relay-loader.sh, KESTRINE_RELAY_LOG_DIR=LOG_DIR.
#   tests/wine/import_coverage.sh check BIN_DIR OBJDUMP [LOG_DIR]
#       reads the traces and fails on an imported function that was never called. LOG_DIR
#       defaults to $KESTRINE_RELAY_LOG_DIR; with neither the check is skipped (status 77).
# A forwarded import counts as called when its target is (kernel32's EnterCriticalSection is
# traced as ntdll.RtlEnterCriticalSection); forwards are read from the prefix's own DLLs.
set -uo pipefail

mode=$1 bin=$2
wine_reg() { "$(dirname -- "${BASH_SOURCE[0]}")/../../scripts/wine-run.sh" reg "$@" >/dev/null 2>&1; }
key='HKCU\Software\Wine\Debug'

if [[ $mode == trace ]]; then
    log_dir=$3
    rm -rf "$log_dir" && mkdir -p "$log_dir" || exit 1
    modules=$(cd "$bin" && ls -- *.exe *.dll 2>/dev/null | tr '\n' ';')
    # The prefix's default RelayFromExclude would make Wine ignore RelayFromInclude.
    wine_reg delete "$key" /v RelayFromExclude /f
    wine_reg add "$key" /v RelayFromInclude /t REG_SZ /d "${modules%;};dxva2.dll" /f &&
        wine_reg add "$key" /v RelayExclude /t REG_SZ /d 'msvcrt.*' /f || exit 1
    echo "relay tracing prepared for: ${modules%;}"
    exit 0
fi

objdump=$3
log_dir=${4:-${KESTRINE_RELAY_LOG_DIR:-}}
if [[ -z $log_dir ]]; then
    echo "skipped: no relay traces (run the Windows tests with tests/wine/relay-loader.sh first," \
        "as scripts/run-tests.sh does)"
    exit 77
fi
system32=${WINEPREFIX:-$(dirname -- "${BASH_SOURCE[0]}")/../../build/wine-prefix}/drive_c/windows/system32
python3 - "$objdump" "$system32" "$log_dir" "$bin/kestrine.exe" "$bin/kestrine-peer.exe" <<'PY'
import pathlib, re, subprocess, sys

objdump, system32, log_dir, programs = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3], sys.argv[4:]
CHECKED = {"kernel32", "user32", "gdi32", "advapi32", "wintrust", "crypt32"}
# Imported by the compiler's runtime (mingw-w64 start-up, winpthreads, libgcc's unwinder,
# libstdc++), not by our code; only called on some paths, so none of them is required.
RUNTIME = {
    "DeleteCriticalSection": "winpthreads and the start-up code free their locks only at exit",
    "InitializeCriticalSection": "start-up code; traced as ntdll when it runs",
    "EnterCriticalSection": "winpthreads' locks; traced as ntdll when it runs",
    "LeaveCriticalSection": "winpthreads' locks; traced as ntdll when it runs",
    "IsDBCSLeadByteEx": "libstdc++'s multibyte conversions, for double-byte code pages only",
    "RtlAddFunctionTable": "start-up code, for images without unwind tables of their own",
    "RtlCaptureContext": "libgcc's unwinder, only for an exception that is thrown",
    "RtlLookupFunctionEntry": "libgcc's unwinder, only for an exception that is thrown",
    "RtlUnwindEx": "libgcc's unwinder, only for an exception that is thrown",
    "RtlVirtualUnwind": "libgcc's unwinder, only for an exception that is thrown",
    "SetUnhandledExceptionFilter": "start-up code",
    "Sleep": "winpthreads' spin waits, only under contention",
    "SwitchToThread": "winpthreads' spin waits, only under contention",
    "TlsFree": "winpthreads, at thread and process exit",
    "UnhandledExceptionFilter": "start-up code, only for an exception nobody handles",
    "VirtualProtect": "start-up code's pseudo-relocations, only when the image has some",
    "VirtualQuery": "start-up code's pseudo-relocations, only when the image has some",
}

def dump(path):
    return subprocess.run([objdump, "-p", str(path)], capture_output=True, text=True, check=True).stdout

def imports(path):
    found, dll = set(), None
    for line in dump(path).splitlines():
        if m := re.match(r"\s*DLL Name: (\S+)\.dll$", line, re.I):
            dll = m.group(1).lower()
        elif dll in CHECKED and (m := re.match(r"\t[0-9a-f]+\t +\d+ +(\w+)$", line)):
            found.add((dll, m.group(1)))
    return found

forwards = {}  # "dll.name" -> the "dll.name" it forwards to
def forward_of(dll, name):
    if dll not in forwards:
        text, index = dump(system32 / f"{dll}.dll"), {}
        for m in re.finditer(r"^\t\[ *(\d+)\] \+base\[ *\d+\] +\w+ Forwarder RVA -- (\S+)\.(\w+)$", text, re.M):
            index[m.group(1)] = f"{m.group(2).lower()}.{m.group(3)}"
        table = text.split("[Ordinal/Name Pointer] Table", 1)[-1]
        forwards[dll] = {m.group(2): index[m.group(1)]
                         for m in re.finditer(r"^\t\[ *(\d+)\] (\w+)$", table, re.M) if m.group(1) in index}
    return forwards[dll].get(name)

called = set()
for trace in pathlib.Path(log_dir).glob("*.calls"):
    called.update(line.strip().lower() for line in trace.open() if line.strip())

def was_called(dll, name, hops=3):
    if f"{dll}.{name}".lower() in called:
        return True
    target = forward_of(dll, name) if hops else None
    return bool(target) and was_called(*target.split(".", 1), hops - 1)

wanted = sorted(set().union(*(imports(p) for p in programs)))
never = [(dll, name) for dll, name in wanted if not was_called(dll, name)]
excused = [(dll, name) for dll, name in never if name in RUNTIME]
missing = [(dll, name) for dll, name in never if name not in RUNTIME]
print(f"{len(called)} distinct functions called in {len(list(pathlib.Path(log_dir).glob('*.calls')))} traced processes")
for dll, name in excused:
    print(f"not called, imported by the runtime: {dll}.{name} ({RUNTIME[name]})")
for dll, name in missing:
    print(f"NEVER CALLED: {dll}.{name}")
print(f"{len(wanted) - len(never)} of {len(wanted)} imported functions called under Wine")
sys.exit(1 if missing or not called else 0)
PY
