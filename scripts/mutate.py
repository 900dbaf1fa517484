#!/usr/bin/env python3
"""Mutation sampler: how many small faults in the product code do the tests catch?

Puts one small fault at a time into a C++ source file of the product (a comparison flipped, a
constant moved by one, a call statement left out, true for false, && for ||, a negation dropped),
rebuilds the debug build (incrementally), runs the tests but the chaos rounds
(ctest -LE '^chaos$', stopping at the first failure; a test past 60 s fails: a mutant that hangs)
and restores the file, always, also on Ctrl+C. Each mutant is printed as KILLED (a test failed), SURVIVED (every test passed) or
NO-BUILD (it does not compile), with file:line and the change; the summary gives the score per
folder: killed / (killed + survived).

    python3 scripts/mutate.py [--seed S] [--count N] [--build-dir DIR] [--list] [--pick I ...]
                              [--replay REPORT] [FOLDER ...]

`--pick` runs only the sample's mutants of those numbers (as printed, [I/N]): after new tests, the
survivors of a run are tried again without the rest. The sample depends only on the seed and the
product files, so it stays the same while only tests change. `--replay REPORT` tries again the
survivors an earlier run printed, each on the line that now reads as its line did then (GONE
when no line does), also after the product code changed.

FOLDERs default to the product's: app blanking library logging common tools/peer. Tests, fuzz
targets, benchmarks and the simulated machine (platform/sim, tools/sim) are never mutated. Run
it on a clean checkout after `cmake --preset debug -B build/debug`: it takes about half a minute per
mutant. Not part of CI.
"""
import argparse, os, random, re, signal, subprocess, sys, time
from collections import Counter, defaultdict

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_FOLDERS = ["app", "blanking", "library", "logging", "common", "tools/peer"]
NEVER = ("tests", "fuzz", "bench", "platform/sim", "tools/sim", "build")

# (name, pattern, replacement); a pattern's group 1 is what gets replaced, None: by the number + 1.
OPERATORS = (
    [(f"{old} to {new}", f"({re.escape(old)})", new) for old, new in
     [("==", "!="), ("!=", "=="), (">=", ">"), ("<=", "<"), ("&&", "||"), ("||", "&&")]] +
    [(f"{old} to {new}", rf"(?<=\s)({old})(?=\s)", new) for old, new in [(">", ">="), ("<", "<=")]] +
    [(f"{old} to {new}", rf"\b({old})\b", new) for old, new in
     [("true", "false"), ("false", "true"), ("TRUE", "FALSE"), ("FALSE", "TRUE")]] +
    [("negation dropped", r"(?<![!=<>])(!)(?=[A-Za-z_(])", ""),
     ("constant plus one", r"(?<![\w.])(\d+)(?![\w.'])", None)])
# A statement that is only a call: `name(...);`, `object.name(...);`, `object->name(...);`.
CALL_STATEMENT = re.compile(r"^(\s*)((?:[A-Za-z_][\w:]*(?:\.|->))*[A-Za-z_][\w:]*\(.*\);)\s*$")


def code_mask(line):
    """True for each character of the line that is code: not in a string, a character literal
    or a // comment."""
    mask, quote, i = [], None, 0
    while i < len(line):
        c = line[i]
        if quote:
            mask.append(False)
            if c == "\\":
                mask.append(False)
                i += 1
            elif c == quote:
                quote = None
        elif c in "\"'" and not (c == "'" and i > 0 and line[i - 1].isdigit()):
            quote = c
            mask.append(False)
        elif line.startswith("//", i):
            mask.extend([False] * (len(line) - i))
            break
        else:
            mask.append(True)
        i += 1
    return mask[:len(line)]


def balanced(statement):
    depth = 0
    for c in statement:
        depth += {"(": 1, ")": -1}.get(c, 0)
        if depth < 0:
            return False
    return depth == 0


def sites(path):
    """Every mutant of one file: (line number, column, operator name, old text, new text)."""
    found = []
    in_block = False
    with open(path, encoding="utf-8", errors="replace") as f:
        lines = f.read().split("\n")
    for number, line in enumerate(lines, 1):
        stripped = line.strip()
        if in_block:
            in_block = "*/" not in line
            continue
        if stripped.startswith("/*"):
            in_block = "*/" not in stripped
            continue
        if not stripped or stripped.startswith(("#", "//", "*", "static_assert")):
            continue
        mask = code_mask(line)
        for name, pattern, replacement in OPERATORS:
            for match in re.finditer(pattern, line):
                start, end = match.span(1)
                if not all(mask[start:end]):
                    continue
                old = match.group(1)
                new = str(int(old) + 1) if replacement is None else replacement
                found.append((number, start, name, old, new))
        call = CALL_STATEMENT.match(line)
        previous = next((l.strip() for l in reversed(lines[:number - 1]) if l.strip()), "{")
        if (call and not re.match(r"\s*(return|delete|throw|case|if|while|for|switch)\b", line)
                and all(mask[len(call.group(1)):]) and balanced(call.group(2))
                and (previous.endswith((";", "{", "}", ":")) or previous.startswith("//"))):
            found.append((number, len(call.group(1)), "call left out", call.group(2), ";"))
    return found


def product_files(folders):
    files = []
    for folder in folders:
        for directory, _, names in os.walk(os.path.join(ROOT, folder)):
            relative = os.path.relpath(directory, ROOT)
            if any(relative == n or relative.startswith(n + os.sep) for n in NEVER):
                continue
            files += [os.path.join(relative, n) for n in sorted(names) if n.endswith((".cpp", ".h"))]
    return sorted(files)


def top_folder(path, folders):
    return max((f for f in folders if path.startswith(f.rstrip("/") + "/")), key=len, default=path.split("/")[0])


class Restorer:
    """Puts the mutated file back, whatever ends the run."""
    def __init__(self):
        self.path, self.original = None, None
        for sig in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(sig, self.interrupted)

    def apply(self, path, text):
        with open(path, "rb") as f:
            self.original = f.read()
        self.path = path
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)

    def restore(self):
        if self.path:
            with open(self.path, "wb") as f:
                f.write(self.original)
            self.path = None

    def interrupted(self, signum, _frame):
        self.restore()
        print(f"\nmutate: stopped by signal {signum}; the file was restored", flush=True)
        sys.exit(130)


def run(argv, timeout):
    try:
        return subprocess.run(argv, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return "timeout"


SURVIVOR = re.compile(r"^\[(\d+)/\d+\] SURVIVED (\S+):(\d+) (.+?): (.*)  ->  (.*)  \(\d+ s\)$")


def replayed(report):
    """The survivors of an earlier run, from its printed report, each placed in today's file: the
    line that reads as the mutated one did, nearest to where it was; None where it is gone."""
    jobs = []
    for text in open(report, encoding="utf-8"):
        match = SURVIVOR.match(text.rstrip("\n"))
        if not match:
            continue
        index, path, number, name, before, after = match.groups()
        lines = open(os.path.join(ROOT, path), encoding="utf-8").read().split("\n")
        found = [i for i, line in enumerate(lines, 1) if line.strip() == before]
        at = min(found, key=lambda i: abs(i - int(number)), default=None)
        mutated = None if at is None else lines[at - 1][:len(lines[at - 1]) - len(lines[at - 1].lstrip())] + after
        jobs.append((int(index), path, at or int(number), name, mutated))
    return jobs


def sampled(args, folders, built):
    files = [p for p in product_files(folders) if p.endswith(".h") or built is None or p in built]
    population = [(path, *site) for path in files for site in sites(os.path.join(ROOT, path))]
    sample = random.Random(args.seed).sample(population, min(args.count, len(population)))
    print(f"mutate: seed {args.seed}, {len(sample)} of {len(population)} mutants in {', '.join(folders)}", flush=True)
    jobs = []
    for index, (path, number, column, name, old, new) in enumerate(sample, 1):
        with open(os.path.join(ROOT, path), encoding="utf-8") as f:
            line = f.read().split("\n")[number - 1]
        jobs.append((index, path, number, name, line[:column] + new + line[column + len(old):]))
    return jobs


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("folders", nargs="*", default=DEFAULT_FOLDERS)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--count", type=int, default=10)
    parser.add_argument("--build-dir", default="build/debug")
    parser.add_argument("--jobs", type=int, default=int(os.environ.get("KESTRINE_JOBS", 2)))
    parser.add_argument("--test-timeout", type=int, default=900, help="seconds for one suite run")
    parser.add_argument("--test-jobs", type=int, default=4, help="tests run at once (most wait, few compute)")
    parser.add_argument("--list", action="store_true", help="only print the sampled mutants")
    parser.add_argument("--pick", type=int, nargs="+", default=None, metavar="I", help="run only these of the sample")
    parser.add_argument("--replay", metavar="REPORT", help="run again the survivors a printed report lists")
    args = parser.parse_args()
    if args.seed is None:
        args.seed = random.randrange(1 << 32)
    folders = [f.rstrip("/") for f in args.folders]
    build = os.path.join(ROOT, args.build_dir)
    ninja = os.path.join(build, "build.ninja")
    if not args.list and not os.path.isfile(ninja):
        sys.exit(f"mutate: {args.build_dir} is not configured (cmake --preset debug -B {args.build_dir})")
    # A source file the build does not compile (a Windows-only one) would only make survivors.
    built = open(ninja).read() if os.path.isfile(ninja) else None
    jobs = replayed(args.replay) if args.replay else sampled(args, folders, built)
    if args.replay:
        print(f"mutate: {len(jobs)} survivors of {args.replay}, tried again", flush=True)

    restorer = Restorer()
    outcomes = defaultdict(Counter)
    try:
        for index, path, number, name, mutated in jobs:
            if args.pick is not None and index not in args.pick:
                continue
            with open(os.path.join(ROOT, path), encoding="utf-8") as f:
                lines = f.read().split("\n")
            if mutated is None:
                outcome, where = "GONE", f"{path}:{number} {name}: the line is no longer there"
            else:
                where = f"{path}:{number} {name}: {lines[number - 1].strip()}  ->  {mutated.strip()}"
            if args.list or mutated is None:
                print(f"[{index}/{len(jobs)}] {'' if args.list else outcome + ' '}{where}", flush=True)
                if not args.list:
                    outcomes[top_folder(path, folders)][outcome] += 1
                continue
            started = time.monotonic()
            lines[number - 1] = mutated
            restorer.apply(os.path.join(ROOT, path), "\n".join(lines))
            try:
                if run(["cmake", "--build", build, "--parallel", str(args.jobs)], 1800) != 0:
                    outcome = "NO-BUILD"
                else:
                    status = run(["ctest", "--test-dir", build, "-LE", "^chaos$", "--stop-on-failure",
                                  "-j", str(args.test_jobs), "--timeout", "60"], args.test_timeout)
                    outcome = "SURVIVED" if status == 0 else "KILLED"
                    if outcome == "KILLED":
                        where += "  [" + failed_tests(build) + "]"
            finally:
                restorer.restore()
            outcomes[top_folder(path, folders)][outcome] += 1
            print(f"[{index}/{len(jobs)}] {outcome:8} {where}  ({time.monotonic() - started:.0f} s)", flush=True)
    finally:
        restorer.restore()
    if args.list:
        return
    print("mutate: rebuilding the unmutated tree", flush=True)
    run(["cmake", "--build", build, "--parallel", str(args.jobs)], 1800)
    total = Counter()
    print(f"{'folder':14} {'killed':>6} {'survived':>8} {'no-build':>8} {'gone':>5}  score")
    for folder in sorted(outcomes):
        c = outcomes[folder]
        total.update(c)
        print(summary_line(folder, c))
    print(summary_line("all", total))


def failed_tests(build):
    """The tests the last suite run failed, as ctest noted them (number:name)."""
    try:
        with open(os.path.join(build, "Testing", "Temporary", "LastTestsFailed.log")) as f:
            return ", ".join(line.strip().split(":", 1)[-1] for line in f if line.strip())
    except OSError:
        return "a suite run that did not end"


def summary_line(name, c):
    built = c["KILLED"] + c["SURVIVED"]
    score = f"{100 * c['KILLED'] / built:.0f}%" if built else "-"
    return f"{name:14} {c['KILLED']:>6} {c['SURVIVED']:>8} {c['NO-BUILD']:>8} {c['GONE']:>5}  {score}"


if __name__ == "__main__":
    main()
