#!/usr/bin/env bash
# Every Win32 function that kestrine.exe and kestrine-peer.exe import from kernel32, user32,
# gdi32, advapi32, wintrust and crypt32 for our own code is called at least once under Wine by
# our own modules while the Windows tests run. The import list is read from the built programs.
#   tests/wine/import_coverage.sh trace BIN_DIR LOG_DIR
#       prepares the Wine prefix ($WINEPREFIX) so that relay tracing covers only the calls that
#       the programs of BIN_DIR make (minus their calls into msvcrt), and empties LOG_DIR. Then run
#       the tests with KESTRINE_WINE_LOADER=tests/wine/relay-loader.sh, KESTRINE_RELAY_LOG_DIR=LOG_DIR.
#   tests/wine/import_coverage.sh check BIN_DIR BUILD_DIR OBJDUMP NM CXX [LOG_DIR]
#       reads the traces and fails on an imported function of our code that was never called.
#       An import is our code's when an object file of BUILD_DIR (tests left out) refers to it;
#       the others come with the compiler's runtime (start-up code, winpthreads, libgcc,
#       libstdc++), which calls them or not as it needs: each one not called is listed with the
#       runtime library that imports it. LOG_DIR defaults to $KESTRINE_RELAY_LOG_DIR; with
#       neither the check is skipped (status 77).
# A forwarded import counts as called when its target is (kernel32's EnterCriticalSection is
# traced as ntdll.RtlEnterCriticalSection); forwards are read from the prefix's own DLLs.
set -uo pipefail

mode=$1 bin=$2
wine_reg() { "$(dirname -- "${BASH_SOURCE[0]}")/../../scripts/wine-run.sh" reg "$@" >/dev/null 2>&1; }
key='HKCU\Software\Wine\Debug'

if [[ $mode == trace ]]; then
    log_dir=$3
    rm -rf "$log_dir" && mkdir -p "$log_dir" || exit 1
    # Our programs: the two we ship, the conformance checks and trust_check, all linked with the
    # same platform/windows forwarders. Not the test library, which calls what it likes.
    modules=$(cd "$bin" && ls -- *.exe 2>/dev/null | tr '\n' ';')
    # The prefix's default RelayFromExclude would make Wine ignore RelayFromInclude.
    wine_reg delete "$key" /v RelayFromExclude /f
    wine_reg add "$key" /v RelayFromInclude /t REG_SZ /d "${modules%;}" /f &&
        wine_reg add "$key" /v RelayExclude /t REG_SZ /d 'msvcrt.*' /f || exit 1
    echo "relay tracing prepared for: ${modules%;}"
    exit 0
fi

build=$3 objdump=$4 nm=$5 cxx=$6
log_dir=${7:-${KESTRINE_RELAY_LOG_DIR:-}}
if [[ -z $log_dir ]]; then
    echo "skipped: no relay traces (run the Windows tests with tests/wine/relay-loader.sh first," \
        "as scripts/run-tests.sh does)"
    exit 77
fi
system32=${WINEPREFIX:-$(dirname -- "${BASH_SOURCE[0]}")/../../build/wine-prefix}/drive_c/windows/system32
runtime=()
for library in crt2.o libmingw32.a libmingwex.a libmsvcrt.a libwinpthread.a libgcc.a libgcc_eh.a libstdc++.a; do
    runtime+=("$("$cxx" -print-file-name="$library")")
done
python3 - "$objdump" "$nm" "$system32" "$log_dir" "$build" "$bin/kestrine.exe" "$bin/kestrine-peer.exe" \
    -- "${runtime[@]}" <<'PY'
import functools, pathlib, re, subprocess, sys

objdump, nm, system32, log_dir, build = sys.argv[1:6]
programs = sys.argv[6:sys.argv.index("--")]
runtime_libraries = sys.argv[sys.argv.index("--") + 1:]
CHECKED = {"kernel32", "user32", "gdi32", "advapi32", "wintrust", "crypt32"}
# Wine's kernel32 never relays these (its exports are marked -norelay), so no trace can show them.
UNTRACEABLE = {"GetCurrentProcess", "GetCurrentProcessId", "GetCurrentThread", "GetCurrentThreadId"}

def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout

def imports(path):
    found, dll = set(), None
    for line in run(objdump, "-p", path).splitlines():
        if m := re.match(r"\s*DLL Name: (\S+)\.dll$", line, re.I):
            dll = m.group(1).lower()
        elif dll in CHECKED and (m := re.match(r"\t[0-9a-f]+\t +\d+ +(\w+)$", line)):
            found.add((dll, m.group(1)))
    return found

def imported_by(*paths):  # the functions that object files or archives import through __imp_
    return set(re.findall(r"\b__imp_(\w+)", run(nm, "-u", *paths))) if paths else set()

runtime_imports = functools.lru_cache(None)(imported_by)

forwards = {}  # dll -> {name: "dll.name" it forwards to}, read from the prefix's own DLLs
def forward_of(dll, name):
    if dll not in forwards:
        text = run(objdump, "-p", str(pathlib.Path(system32) / f"{dll}.dll"))
        index = {m.group(1): f"{m.group(2).lower()}.{m.group(3)}" for m in re.finditer(
            r"^\t\[ *(\d+)\] \+base\[ *\d+\] +\w+ Forwarder RVA -- (\S+)\.(\w+)$", text, re.M)}
        table = text.split("[Ordinal/Name Pointer] Table", 1)[-1]
        forwards[dll] = {m.group(2): index[m.group(1)]
                         for m in re.finditer(r"^\t\[ *(\d+)\] (\w+)$", table, re.M) if m.group(1) in index}
    return forwards[dll].get(name)

traces = list(pathlib.Path(log_dir).glob("*.calls"))
called = {line.strip().lower() for trace in traces for line in trace.open() if line.strip()}

def was_called(dll, name, hops=3):
    if f"{dll}.{name}".lower() in called:
        return True
    target = forward_of(dll, name) if hops else None
    return bool(target) and was_called(*target.split(".", 1), hops - 1)

# Our code's imports are those that an object file of this build (tests left out) refers to;
# the others come with the compiler's runtime libraries and are called or not as they need.
ours = imported_by(*[str(p) for p in pathlib.Path(build).rglob("*.obj") if "tests" not in p.parts])
wanted = sorted(set().union(*(imports(p) for p in programs)))
never = [(dll, name) for dll, name in wanted if not was_called(dll, name)]
for dll, name in never:
    if name in UNTRACEABLE:
        print(f"not traceable, Wine does not relay it: {dll}.{name}")
    elif name in ours:
        print(f"NEVER CALLED: {dll}.{name}")
    else:
        users = [pathlib.Path(lib).name for lib in runtime_libraries if name in runtime_imports(lib)]
        print(f"not called, imported by the runtime ({', '.join(users) or 'another library'}): {dll}.{name}")
missing = [name for _, name in never if name in ours and name not in UNTRACEABLE]
print(f"{len(traces)} traced processes; {sum(name in ours for _, name in wanted)} of the imports are"
      f" our code's, {sum(name not in ours for _, name in wanted)} the runtime's")
print(f"{len(wanted) - len(never)} of {len(wanted)} imported functions called under Wine"
      f" ({len(missing)} of our code's never called)")
sys.exit(1 if missing or not traces else 0)
PY
