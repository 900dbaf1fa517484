#!/usr/bin/env python3
"""Times whole runs of `kestrine --save` and `kestrine --restore` of the Windows build under Wine
on an X server (the dummy driver's outputs) beside the same runs of the Linux build on a fresh
simulated machine with as many displays, each against `kestrine-peer receive` / `send`.

Under Wine the all-zero ramp is refused, so every save waits out its blank request; on the sim the
blank succeeds. A save's own floor is three reads and two 50 ms sleeps per display.

usage: bench/wine_save_restore_bench.py [SIM_BUILD_DIR] [WINDOWS_BUILD_DIR] [--runs N]
       (defaults build/release, build/windows, 5 runs)
Uses $DISPLAY if set, else starts Xorg with tests/wine/xorg-dummy.sh for the run and stops it.
Wine runs in $WINEPREFIX (default build/wine-prefix) with a wineserver kept up for the runs.
"""
import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
XORG = os.path.join(ROOT, "tests", "wine", "xorg-dummy.sh")
WINE_RUN = os.path.join(ROOT, "scripts", "wine-run.sh")


def timed(argv, env):
    """Runs argv to its end: (wall seconds, exit status)."""
    started = time.monotonic()
    status = subprocess.run(argv, env=env, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL).returncode
    return time.monotonic() - started, status


def one_cycle(program, env):
    """One save and one restore, each beside a peer that receives or sends the document."""
    times = []
    for action, transfer in (("--save", "receive"), ("--restore", "send")):
        peer = subprocess.Popen(program("kestrine-peer") + [transfer], env=env,
                                stdout=subprocess.PIPE, text=True)
        line = peer.stdout.readline()
        if "listening" not in line:
            raise RuntimeError("peer did not start: " + line)
        elapsed, status = timed(program("kestrine") + [action], env)
        peer.wait()
        if status != 0:
            raise RuntimeError(f"kestrine {action} gave {status}")
        times.append(elapsed)
    return times


def medians(program, env, runs, before_each):
    saves, restores = [], []
    for _ in range(runs):
        before_each()
        save, restore = one_cycle(program, env)
        saves.append(save)
        restores.append(restore)
    return statistics.median(saves) * 1000, statistics.median(restores) * 1000


def start_x(state):
    out = subprocess.run(["bash", XORG, "start", state], capture_output=True, text=True)
    if out.returncode != 0:
        sys.exit("Xorg could not start: " + out.stdout.strip())
    return out.stdout.strip().split("DISPLAY=")[-1]


def main():
    parser = argparse.ArgumentParser(description="Save and restore under Wine on X and on the sim")
    parser.add_argument("sim_build", nargs="?", default="build/release")
    parser.add_argument("windows_build", nargs="?", default="build/windows")
    parser.add_argument("--runs", type=int, default=5)
    args = parser.parse_args()
    runs = args.runs
    sim_bin = os.path.join(args.sim_build, "bin")
    win_bin = os.path.join(args.windows_build, "bin")
    with tempfile.TemporaryDirectory(prefix="kestrine-wine-bench-") as work:
        env = dict(os.environ)
        env.setdefault("WINEPREFIX", os.path.join(ROOT, "build", "wine-prefix"))
        env.setdefault("WINEDEBUG", "-all")
        own_x = not env.get("DISPLAY")
        if own_x:
            env["DISPLAY"] = start_x(os.path.join(work, "xorg"))
        try:
            subprocess.run(["wineserver", "-p"], env=env, check=True)
            # Wine's background processes keep the output they were started with: never a pipe.
            subprocess.run(["wine", "cmd", "/c", "exit", "0"], env=env, check=True,
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL)
            displays = int(subprocess.run("xrandr | grep -c ' connected'", shell=True, env=env,
                                          capture_output=True, text=True).stdout)
            reset_gamma = lambda: subprocess.run(["bash", XORG, "gamma", "1:1:1"], env=env,
                                                 check=True, capture_output=True)
            wine = medians(lambda name: [WINE_RUN, os.path.join(win_bin, name + ".exe")], env,
                           runs, reset_gamma)
            sim_env = dict(os.environ, KESTRINE_SIM_ROOT=os.path.join(work, "sim"))
            reset_sim = lambda: subprocess.run(
                [os.path.join(sim_bin, "kestrine-sim"), "reset", "--displays", str(displays)],
                env=sim_env, check=True, capture_output=True)
            sim = medians(lambda name: [os.path.join(sim_bin, name)], sim_env, runs, reset_sim)
        finally:
            subprocess.run(["wineserver", "-k"], env=env)
            if own_x:
                subprocess.run(["bash", XORG, "stop", os.path.join(work, "xorg")])
    print(f"kestrine save/restore, whole process, median of {runs} runs, {displays} displays")
    print(f"{'where':<28} {'save ms':>9} {'restore ms':>11}")
    print(f"{'Windows build, Wine on X':<28} {wine[0]:>9.1f} {wine[1]:>11.1f}")
    print(f"{'Linux build, sim':<28} {sim[0]:>9.1f} {sim[1]:>11.1f}")


if __name__ == "__main__":
    main()
