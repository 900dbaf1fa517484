#!/usr/bin/env python3
"""Soak run: N save/restore cycles through `kestrine-peer blank` / `unblank` on a simulated
machine with 4 displays. Before a cycle a random display fault is switched on (about one cycle in
four) or every fault is cleared and each display gets a fresh random ramp. After every fault-free
cycle each word of each display must be back; fault cycles only have to end. At the end it prints
the cycles, the faults, the words compared, the mismatches, the peak resident set of the tool,
and the open descriptors of the peer (counted while it serves the tool) and the entries of the
machine's directory (sockets and files left behind), first and last, which must not grow.

usage: bench/soak.py [BUILD_DIR] [--cycles N] [--seed S]   (default build/release, 1000, 1)
Exits non-zero on a mismatch, a failed fault-free cycle or growth.
"""
import argparse
import json
import os
import random
import stat
import subprocess
import sys
import tempfile

DISPLAYS = 4
WORDS = 768
FAULTS = [["get-fails"], ["set-fails", "31"], ["no-dc"], ["off"], ["alter-readback", "3"],
          ["changing"]]

# Stands in for the tool: runs it under peak_rss, keeps the figures, exits with its status.
WRAPPER = """#!/bin/sh
exec "$SOAK_PEAK_RSS" --to "$SOAK_RSS_LOG" "$SOAK_TOOL" "$@"
"""


class Machine:
    def __init__(self, bin_dir, env):
        self.bin_dir = bin_dir
        self.env = env

    def sim(self, *args):
        return subprocess.run([os.path.join(self.bin_dir, "kestrine-sim"), *args], env=self.env,
                              check=True, capture_output=True, text=True).stdout

    def set_ramp(self, display, words, scratch):
        path = os.path.join(scratch, "ramp.json")
        with open(path, "w") as out:
            json.dump({"red": words[:256], "green": words[256:512], "blue": words[512:]}, out)
        self.sim("display", str(display), "ramp-file", path)

    def ramp(self, display):
        dump = json.loads(self.sim("display", str(display), "dump"))
        return dump["red"] + dump["green"] + dump["blue"]

    def peer(self, store, wrapper, action):
        """Runs `kestrine-peer ACTION`: (exit status, descriptors of the peer while it served)."""
        argv = [os.path.join(self.bin_dir, "kestrine-peer"), action, "--store", store, "--tool",
                wrapper]
        if action == "blank":
            argv.append("--force")  # a fault cycle may leave its document unused
        peer = subprocess.Popen(argv, env=self.env, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True)
        first = peer.stdout.readline()
        descriptors = None
        if "listening" in first:
            try:
                descriptors = len(os.listdir(f"/proc/{peer.pid}/fd"))
            except FileNotFoundError:
                pass
        peer.communicate()
        return peer.returncode, descriptors


def random_ramp(rng):
    """A ramp that a save accepts: its last green word is bright enough to count as stable."""
    words = [rng.randrange(65536) for _ in range(WORDS)]
    words[511] = rng.randrange(16383, 65536)
    return words


def entries(root):
    return sum(len(files) + len(dirs) for _, dirs, files in os.walk(root))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", nargs="?", default="build/release")
    parser.add_argument("--cycles", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    bin_dir = os.path.abspath(os.path.join(args.build, "bin"))
    rng = random.Random(args.seed)

    with tempfile.TemporaryDirectory(prefix="kestrine-soak-") as scratch:
        root = os.path.join(scratch, "sim")
        store = os.path.join(scratch, "store")
        wrapper = os.path.join(scratch, "tool.sh")
        rss_log = os.path.join(scratch, "rss.txt")
        with open(wrapper, "w") as out:
            out.write(WRAPPER)
        os.chmod(wrapper, os.stat(wrapper).st_mode | stat.S_IXUSR)
        env = dict(os.environ, KESTRINE_SIM_ROOT=root, SOAK_RSS_LOG=rss_log,
                   SOAK_PEAK_RSS=os.path.join(bin_dir, "peak_rss"),
                   SOAK_TOOL=os.path.join(bin_dir, "kestrine"))
        machine = Machine(bin_dir, env)
        machine.sim("reset", "--displays", str(DISPLAYS))

        faults = compared = mismatches = failed_cycles = 0
        faulty = set()
        peer_fds = []
        root_entries = []
        for cycle in range(args.cycles):
            if rng.random() < 0.25:
                display = rng.randrange(1, DISPLAYS + 1)
                machine.sim("display", str(display), "fault", *rng.choice(FAULTS))
                faulty.add(display)
                faults += 1
                expected = None
            else:
                for display in sorted(faulty):
                    machine.sim("display", str(display), "fault", "clear")
                faulty.clear()
                expected = {d: random_ramp(rng) for d in range(1, DISPLAYS + 1)}
                for display, words in expected.items():
                    machine.set_ramp(display, words, scratch)

            blank, blank_fds = machine.peer(store, wrapper, "blank")
            unblank, unblank_fds = machine.peer(store, wrapper, "unblank")
            peer_fds += [n for n in (blank_fds, unblank_fds) if n is not None]
            root_entries.append(entries(root))
            if expected is None:
                continue
            if blank != 0 or unblank != 0:
                failed_cycles += 1
                print(f"cycle {cycle}: blank {blank}, unblank {unblank}", file=sys.stderr)
            for display, words in expected.items():
                got = machine.ramp(display)
                compared += WORDS
                wrong = sum(1 for a, b in zip(words, got) if a != b)
                if wrong:
                    print(f"cycle {cycle}: display {display}: {wrong} words differ",
                          file=sys.stderr)
                mismatches += wrong

        with open(rss_log) as log:
            peaks = [int(line.split()[1]) for line in log if line.strip()]
        # A leak raises every later sample; a descriptor the peer holds for a moment (its store
        # lock, a record being written) only raises one, so the halves are compared by their least.
        half = len(peer_fds) // 2
        grew = (half and min(peer_fds[half:]) > min(peer_fds[:half])) \
            or root_entries[-1] > root_entries[0]
        print(f"cycles {args.cycles}, faults {faults}, fault-free cycles failed {failed_cycles}")
        print(f"words compared {compared}, mismatches {mismatches}")
        print(f"tool runs {len(peaks)}, peak RSS of the tool {max(peaks)} KiB "
              f"(first run {peaks[0]} KiB, last {peaks[-1]} KiB)")
        print(f"peer descriptors while serving: first {peer_fds[0] if peer_fds else '-'}, "
              f"max {max(peer_fds) if peer_fds else '-'}, last {peer_fds[-1] if peer_fds else '-'}")
        print(f"sim machine entries: first {root_entries[0]}, max {max(root_entries)}, "
              f"last {root_entries[-1]}")
        print("growth: " + ("YES" if grew else "none"))
        return 1 if mismatches or failed_cycles or grew else 0


if __name__ == "__main__":
    sys.exit(main())
