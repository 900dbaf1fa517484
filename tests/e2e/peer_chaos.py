#!/usr/bin/env python3
"""Chaos rounds for kestrine-peer on a private simulated machine.

Each round runs blank, unblank, receive or send, sometimes two peers at once, with random
kill -9 of the peer or the tool, random display faults and a store that randomly refuses writes.
After every round: every document a peer reported as received is still there byte for byte, the
held document is never older than a good document received after it, and `unblank --from` of the
last good document restores every display word for word.

    peer_chaos.py BIN_DIR [--rounds N] [--seed S]
"""
import argparse, json, os, random, re, shutil, signal, subprocess, sys, tempfile, time

def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin")
    parser.add_argument("--rounds", type=int, default=200)
    parser.add_argument("--seed", type=int, default=None)
    args = parser.parse_args()
    seed = args.seed if args.seed is not None else random.randrange(1 << 32)
    print(f"chaos: seed {seed} (replay with --seed {seed})", flush=True)
    rng = random.Random(seed)
    root = tempfile.mkdtemp(prefix="kestrine-chaos-")
    try:
        Chaos(args.bin, root, rng).run(args.rounds)
    finally:
        shutil.rmtree(root, ignore_errors=True)

class Chaos:
    def __init__(self, bin_dir, root, rng):
        self.bin, self.root, self.rng = bin_dir, root, rng
        self.env = dict(os.environ, KESTRINE_SIM_ROOT=os.path.join(root, "sim"))
        self.store = os.path.join(root, "sim", "peer")
        self.records = os.path.join(self.store, "records")
        self.faults = 0
        self.received = {}  # where a reported document lives -> its bytes
        self.pids = os.path.join(root, "tool.pids")
        self.tool = self.script("tool", f'echo $$ >> "{self.pids}"\nexec "{bin_dir}/kestrine" "$@"')
        self.sabotage = self.script("sabotage", f'echo $$ >> "{self.pids}"\n"{bin_dir}/kestrine" "$@"\n'
                                    f'status=$?\nmv "{self.records}" "{self.records}.away"; touch "{self.records}"\nexit $status')

    def script(self, name, body):
        path = os.path.join(self.root, name)
        with open(path, "w") as f:
            f.write("#!/bin/sh\n" + body + "\n")
        os.chmod(path, 0o755)
        return path

    def sim(self, *args):
        return subprocess.run([f"{self.bin}/kestrine-sim", *args], env=self.env, check=True,
                              capture_output=True, text=True).stdout

    def peer(self, *args, limit_kb=None):
        argv = [f"{self.bin}/kestrine-peer", *args, "--keep", "100000",
                "--connect-timeout", "1", "--transfer-timeout", "2"]
        if limit_kb:
            argv = ["/bin/sh", "-c", f"ulimit -f {limit_kb}; trap '' XFSZ; exec \"$0\" \"$@\"", *argv]
        return subprocess.Popen(argv, env=self.env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def ramps(self):
        return [json.loads(self.sim("display", str(n), "dump")) for n in range(1, self.displays + 1)]

    def run(self, rounds):
        self.displays = self.rng.choice([1, 2])
        self.sim("reset", "--displays", str(self.displays))
        for n in range(1, self.displays + 1):
            self.sim("display", str(n), "ramp", self.rng.choice(["identity", "linear"]))
        self.truth = self.ramps()
        started = time.monotonic()
        for number in range(1, rounds + 1):
            try:
                self.round()
                self.check()
            except Exception as failure:
                print(f"chaos: round {number} failed: {failure}", flush=True)
                sys.exit(1)
        print(f"chaos: {rounds} rounds, {self.faults} faults injected, {len(self.received)} documents "
              f"received, invariant held ({time.monotonic() - started:.1f} s)", flush=True)

    def fault(self):
        self.faults += 1
        return True

    def round(self):
        rng = self.rng
        self.faulted = rng.random() < 0.2 and self.fault()
        if self.faulted:
            self.sim("display", str(rng.randint(1, self.displays)), "fault", "set-fails", "31")
        action = rng.choice(["blank", "blank", "unblank", "unblank", "receive", "send"])
        extra = ["--force"] if rng.random() < 0.3 else []
        limit = 8 if action in ("blank", "receive") and rng.random() < 0.1 and self.fault() else None
        tool = self.sabotage if action == "blank" and rng.random() < 0.1 and self.fault() else self.tool
        open(self.pids, "w").close()
        peers = [self.peer(action, *extra, *(["--tool", tool] if action in ("blank", "unblank") else []),
                           limit_kb=limit)]
        # A second peer stays out of sabotaged rounds: the sabotage stands for an outside hand
        # that moves the store away, which would outlive a killed first peer.
        if tool != self.sabotage and rng.random() < 0.15 and self.fault():
            peers.append(self.peer(rng.choice(["blank", "unblank", "history"]), "--tool", self.tool))
        direct = None
        if action in ("receive", "send"):
            pipe = os.path.join(self.root, "sim", "pipes", "kestrinepipe")
            deadline = time.monotonic() + 2
            while not os.path.isdir(pipe) and peers[0].poll() is None and time.monotonic() < deadline:
                time.sleep(0.005)
            direct = subprocess.Popen(["/bin/sh", self.tool, "--save" if action == "receive" else "--restore"],
                                      env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if rng.random() < 0.25 and self.fault():
            time.sleep(rng.uniform(0, 0.3))
            victims = [peers[0].pid] + [int(p) for p in open(self.pids).read().split()]
            try:
                os.kill(rng.choice(victims), signal.SIGKILL)
            except ProcessLookupError:
                pass
        for process in peers:
            self.note(process.communicate(timeout=30)[0])
        if direct:
            direct.wait(timeout=30)
        self.settle()

    def note(self, output):
        """Remembers every document the peer said it received, as it is stored now."""
        for match in re.finditer(r"received (\d+) bytes, (?:held|that are no complete document: kept) as #(\d+)", output):
            path = os.path.join(self.records, match.group(2) + ".record")
            document = open(path, "rb").read().split(b"\n", 1)[1]
            if len(document) != int(match.group(1)):
                raise AssertionError(f"#{match.group(2)} holds {len(document)} bytes, not {match.group(1)}")
            self.received[path] = document
        for match in re.finditer(r"the document was written to (\S+) instead", output):
            self.received[match.group(1)] = open(match.group(1), "rb").read()

    def settle(self):
        """Waits for tools that outlived a killed peer, clears faults, repairs a sabotaged store."""
        for pid in open(self.pids).read().split():
            while os.path.exists(f"/proc/{pid}") and "Z" not in open(f"/proc/{pid}/stat").read().split()[2]:
                time.sleep(0.01)
        for n in range(1, self.displays + 1 if self.faulted else 1):
            self.sim("display", str(n), "fault", "clear")
        if os.path.isfile(self.records):
            os.remove(self.records)
            os.rename(self.records + ".away", self.records)

    def check(self):
        for path, document in self.received.items():
            content = open(path, "rb").read() if os.path.exists(path) else None
            if content is not None and path.endswith(".record"):
                content = content.split(b"\n", 1)[1]
            if content != document:
                raise AssertionError(f"{path} changed or went missing")
        history = json.loads(subprocess.run([f"{self.bin}/kestrine-peer", "history", "--json"], env=self.env,
                                            check=True, capture_output=True, text=True).stdout)
        held = [r["id"] for r in history if r["state"] == "held"]
        good = [r["id"] for r in history if r["state"] != "damaged"]
        if len(held) > 1 or (held and max(good) > held[0]):
            raise AssertionError(f"held {held} is older than a good document received after it")
        last_good = None
        for record in reversed(history):
            path = os.path.join(self.records, f"{record['id']}.record")
            try:
                gammas = json.loads(open(path, "rb").read().split(b"\n", 1)[1])["GammaBlanking"]
            except (ValueError, KeyError, TypeError):
                continue
            if [{c: g["initialGammas"][c] for c in ("red", "green", "blue")} for g in gammas] == self.truth:
                last_good = record["id"]
                break
        if last_good is None:
            return
        restore = subprocess.run([f"{self.bin}/kestrine-peer", "unblank", "--from", str(last_good)],
                                 env=self.env, capture_output=True, text=True)
        if restore.returncode != 0 or self.ramps() != self.truth:
            raise AssertionError(f"unblank --from {last_good} did not restore every word: {restore.stdout[-500:]}")

if __name__ == "__main__":
    main()
