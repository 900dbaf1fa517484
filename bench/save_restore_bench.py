#!/usr/bin/env python3
"""Times whole runs of `kestrine --save` and `kestrine --restore` on a fresh simulated machine
with 1, 4 and 16 displays, against `kestrine-peer receive` / `send`, and prints each beside the
floor that the save's own waits set (three reads and two 50 ms sleeps per display) and the peak
memory of the kestrine process.

usage: bench/save_restore_bench.py [BUILD_DIR] [--runs N]   (default build/release, 5 runs)
"""
import os
import statistics
import subprocess
import sys
import tempfile
import time

SLEEPS_PER_DISPLAY_MS = 2 * 50


def measure(bin_dir, argv, env):
    """Runs argv under peak_rss: (wall seconds, peak resident KiB, exit status)."""
    out = subprocess.run([os.path.join(bin_dir, "peak_rss")] + argv, env=env, check=True,
                         capture_output=True, text=True).stdout.split()
    return float(out[0]), int(out[1]), int(out[2])


def wait_for_pipe(peer):
    line = peer.stdout.readline()
    if "listening" not in line:
        raise RuntimeError("peer did not start: " + line)


def one_cycle(bin_dir, env):
    peer = subprocess.Popen([os.path.join(bin_dir, "kestrine-peer"), "receive"], env=env,
                            stdout=subprocess.PIPE, text=True)
    wait_for_pipe(peer)
    save = measure(bin_dir, [os.path.join(bin_dir, "kestrine"), "--save"], env)
    peer.wait()
    peer = subprocess.Popen([os.path.join(bin_dir, "kestrine-peer"), "send"], env=env,
                            stdout=subprocess.PIPE, text=True)
    wait_for_pipe(peer)
    restore = measure(bin_dir, [os.path.join(bin_dir, "kestrine"), "--restore"], env)
    peer.wait()
    if save[2] != 0 or restore[2] != 0:
        raise RuntimeError(f"kestrine failed: save {save[2]}, restore {restore[2]}")
    return save, restore


def main():
    args = [a for a in sys.argv[1:] if not a.startswith("--")]
    runs = 5
    if "--runs" in sys.argv:
        runs = int(sys.argv[sys.argv.index("--runs") + 1])
        args = [a for a in args if a != str(runs)]
    build = args[0] if args else "build/release"
    bin_dir = os.path.join(build, "bin")
    print(f"kestrine save/restore on the sim ({bin_dir}, median of {runs} runs)")
    print(f"{'displays':>8} {'save ms':>9} {'floor ms':>9} {'ratio':>6} {'restore ms':>11} "
          f"{'peak KiB save':>14} {'peak KiB restore':>17}")
    for displays in (1, 4, 16):
        with tempfile.TemporaryDirectory(prefix="kestrine-bench-") as root:
            env = dict(os.environ, KESTRINE_SIM_ROOT=root)
            saves, restores = [], []
            for _ in range(runs):
                subprocess.run([os.path.join(bin_dir, "kestrine-sim"), "reset", "--displays",
                                str(displays)], env=env, check=True)
                save, restore = one_cycle(bin_dir, env)
                saves.append(save)
                restores.append(restore)
            save_ms = statistics.median(s[0] for s in saves) * 1000
            restore_ms = statistics.median(r[0] for r in restores) * 1000
            floor_ms = displays * SLEEPS_PER_DISPLAY_MS
            print(f"{displays:>8} {save_ms:>9.1f} {floor_ms:>9} {save_ms / floor_ms:>6.3f} "
                  f"{restore_ms:>11.1f} {max(s[1] for s in saves):>14} "
                  f"{max(r[1] for r in restores):>17}")


if __name__ == "__main__":
    main()
