#!/usr/bin/env python3
"""Chaos rounds for kestrine-peer on a private simulated machine.

Before every save the displays that are lit get new ramps, unique to the round, so that a lost
document cannot hide behind an older one. Each round runs blank, unblank, receive or send, with
faults drawn from these kinds (each can be left out with --leave-out KIND):

  peer-kills      kill -9 of the peer at a random moment before, during or after the transfer
  tool-kills      kill -9 of the tool at a random moment
  stray-clients   a client that is not the peer's tool connects first and sends a well-formed
                  document of another machine (blank and unblank only: receive and send take
                  whichever client comes)
  display-faults  a display refuses every ramp that is set
  store-faults    the store refuses writes (a file size limit, or the records moved away)
  second-peers    a second peer runs at the same time

After every round:
  - every display that is dark has a kept record, a rescued file or a printed copy that brings
    back exactly the ramp it had before it went dark; the only excuses are a kill that landed
    between the tool's blank and the moment the peer had the whole document (which no peer can
    close) and a killed `receive`, whose tool a person started; such losses are counted, and the
    driver lights those displays again itself;
  - every lit display carries the ramp it had, or the ramp a document of this round (or the one
    held when it began) gives it: never a ramp of another round or of another client;
  - no kept document carries a ramp of another client;
  - every document a peer reported as received is still there byte for byte, and the held
    document is never older than a good document received after it.
When displays are dark and nothing is held, the driver takes the way back a person would
(`unblank --from ID`, or `send --in FILE` with the tool run by hand) and checks every word.

    peer_chaos.py BIN_DIR [--rounds N] [--seed S] [--leave-out KIND ...]
"""
import argparse, concurrent.futures, glob, json, os, random, re, shutil, signal, subprocess, sys, tempfile, time

# The store lock's patience (120 s) and a peer's own bounded steps after it.
PEER_LIMIT_SECONDS = 200

FAULT_KINDS = ("peer-kills", "tool-kills", "stray-clients", "display-faults", "store-faults",
               "second-peers")
CHANNELS = ("red", "green", "blue")
BEGIN, END = "-----BEGIN KESTRINE DISPLAY STATE DOCUMENT-----", "-----END KESTRINE DISPLAY STATE DOCUMENT-----"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin")
    parser.add_argument("--rounds", type=int, default=200)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--leave-out", nargs="+", default=[], choices=FAULT_KINDS, metavar="KIND",
                        help="fault kinds to leave out: " + ", ".join(FAULT_KINDS))
    args = parser.parse_args()
    seed = args.seed if args.seed is not None else random.randrange(1 << 32)
    kinds = [k for k in FAULT_KINDS if k not in args.leave_out]
    print(f"chaos: seed {seed} (replay with --seed {seed}), faults: {', '.join(kinds) or 'none'}",
          flush=True)
    root = tempfile.mkdtemp(prefix="kestrine-chaos-")
    try:
        Chaos(args.bin, root, random.Random(seed), set(kinds)).run(args.rounds)
    finally:
        shutil.rmtree(root, ignore_errors=True)


def words(ramp):
    return tuple(w for c in CHANNELS for w in ramp[c])


def describe(ramp):
    """A ramp's first words and what kind it is, enough to tell one document from another."""
    kind = ("dark" if not any(ramp) else
            "linear" if ramp == tuple(i * ramp[1] for _ in CHANNELS for i in range(256)) else "own")
    return f"{kind} {' '.join(map(str, ramp[:6]))} .. green[255] {ramp[511]}"


def new_ramp(rng):
    """A rising ramp per channel with its own curve and noise: never the identity, linear or zero."""
    ramp = {}
    for channel in CHANNELS:
        power, top = rng.uniform(0.5, 2.5), rng.randint(30000, 65535)
        ramp[channel] = [min(65535, int(top * (i / 255) ** power) + rng.randrange(32)) for i in range(256)]
    return ramp


def document_ramps(text):
    """{display name: ramp words} of the saved entries of a document, or None if it is not one."""
    try:
        entries = json.loads(text)["GammaBlanking"] or []
        return {e["displayName"]: words(e["initialGammas"]) for e in entries if e["initialGammasSaved"]}
    except (ValueError, KeyError, TypeError):
        return None


def record_document(path):
    with open(path, "rb") as f:
        return f.read().split(b"\n", 1)[1]


class Chaos:
    def __init__(self, bin_dir, root, rng, kinds):
        self.bin, self.root, self.rng, self.kinds = bin_dir, root, rng, kinds
        self.env = dict(os.environ, KESTRINE_SIM_ROOT=os.path.join(root, "sim"))
        self.store = os.path.join(root, "sim", "peer")
        self.records = os.path.join(self.store, "records")
        self.counts = dict.fromkeys(("faults", "peer kills", "tool kills", "stray clients",
                                     "ways back", "lost between blank and send",
                                     "restores before a save"), 0)
        self.killed, self.outputs, self.story, self.start = None, [], "", ""
        self.seen = set()   # paths of the documents found after the last round
        self.received = {}  # where a reported document lives -> its bytes
        self.printed = []   # paths of printed copies, saved by the driver
        self.foreign = set()
        self.pids = os.path.join(root, "tool.pids")
        kestrine = os.path.join(bin_dir, "kestrine")
        self.tool = self.script("tool", f'echo $$ >> "{self.pids}"\nexec "{kestrine}" "$@"')
        self.sabotage = self.script("sabotage", f'"{kestrine}" "$@" &\necho $! >> "{self.pids}"\n'
                                    f'wait $!\nstatus=$?\nmv "{self.records}" "{self.records}.away"; '
                                    f'touch "{self.records}"\nexit $status')

    def script(self, name, body):
        path = os.path.join(self.root, name)
        with open(path, "w") as f:
            f.write("#!/bin/sh\n" + body + "\n")
        os.chmod(path, 0o755)
        return path

    def run_program(self, *argv, check=True):
        return subprocess.run(argv, env=self.env, check=check, capture_output=True, text=True)

    def sim(self, *args):
        return self.run_program(f"{self.bin}/kestrine-sim", *args).stdout

    def name(self, n):
        return f"\\\\.\\DISPLAY{n}"

    def ramps(self):
        return {self.name(n): words(json.loads(self.sim("display", str(n), "dump")))
                for n in range(1, self.displays + 1)}

    def set_ramp(self, n, ramp):
        path = os.path.join(self.root, "ramp.json")
        with open(path, "w") as f:
            json.dump(ramp, f)
        self.sim("display", str(n), "ramp-file", path)

    def history(self):
        return json.loads(self.run_program(f"{self.bin}/kestrine-peer", "history", "--json").stdout)

    def chance(self, kind, probability):
        if kind in self.kinds and self.rng.random() < probability:
            self.counts["faults"] += 1
            return True
        return False

    def run(self, rounds):
        self.displays = self.rng.choice([1, 2])
        self.sim("reset", "--displays", str(self.displays))
        self.owed = self.ramps()  # each display's ramp as it was when last lit
        started = time.monotonic()
        for number in range(1, rounds + 1):
            try:
                self.round(number)
                self.check(number)
                if number % 100 == 0 and number < rounds:
                    print(f"chaos: {number} of {rounds} rounds passed ({time.monotonic() - started:.0f} s)",
                          flush=True)
            except AssertionError as failure:
                print(f"chaos: round {number} FAILED: {failure}", flush=True)
                print(f"chaos: round {number}: {self.story}", flush=True)
                self.report()
                sys.exit(1)
        counts = ", ".join(f"{v} {k}" for k, v in self.counts.items())
        print(f"chaos: {rounds} rounds on {self.displays} display(s), {counts}, {len(self.received)} "
              f"documents received; every dark display had its document "
              f"({time.monotonic() - started:.1f} s)", flush=True)

    def report(self):
        """What a failed round leaves to diagnose it: the state it began in, the ramp every document
        holds for each display next to the one owed, the peers' output and the tools' logs."""
        print(f"chaos: at the start: {self.start}", flush=True)
        for display, ramp in sorted(self.owed.items()):
            print(f"chaos: owed {display}: {describe(ramp)}", flush=True)
        try:
            now = self.ramps()
        except (subprocess.CalledProcessError, ValueError) as error:
            now = {"displays": str(error)}
        for display, ramp in sorted(now.items()):
            print(f"chaos: now {display}: {describe(ramp) if isinstance(ramp, tuple) else ramp}", flush=True)
        documents = sorted(self.documents(), key=lambda d: os.path.getmtime(d[1]))
        if len(documents) > 20:
            print(f"chaos: {len(documents) - 20} older documents not shown", flush=True)
        for where, _, ramps in documents[-20:]:
            held = ", ".join(f"{d}: {describe(r)}" for d, r in sorted(ramps.items()))
            print(f"chaos: {where} holds {held or 'no saved ramp'}", flush=True)
        for tag, output in enumerate(self.outputs):
            print(f"chaos: output of peer {tag}:\n{output[-3000:]}", flush=True)
        for log in sorted(glob.glob(os.path.join(self.logs, "**", "kestrine*"), recursive=True)):
            print(f"chaos: log {os.path.relpath(log, self.logs)}:\n{open(log, errors='replace').read()[-3000:]}",
                  flush=True)

    # One round -------------------------------------------------------------------------------

    def round(self, number):
        rng = self.rng
        now = self.ramps()
        dark = [d for d, r in now.items() if not any(r)]
        held = [r["id"] for r in self.history() if r["state"] == "held"]
        self.start = (f"dark {', '.join(dark) or 'none'}; held #{held[0] if held else 'none'}; "
                      f"processes still on this machine: {self.machine_processes() or 'none'}")
        # A restore of this round may bring back what the held document (or a new one) says.
        self.held_start = document_ramps(record_document(f"{self.records}/{held[0]}.record")) if held else None
        self.allowed = [self.held_start] if held else []
        action = rng.choice((["unblank", "send"] if dark else ["blank", "receive"]) * 3 +
                            ["blank", "unblank", "receive", "send"])
        self.action = action
        saving = action in ("blank", "receive")
        if saving:
            for n in range(1, self.displays + 1):
                if any(now[self.name(n)]):
                    ramp = new_ramp(rng)
                    self.set_ramp(n, ramp)
                    self.owed[self.name(n)] = words(ramp)
        self.faulted = self.chance("display-faults", 0.2)
        if self.faulted:
            self.sim("display", str(rng.randint(1, self.displays)), "fault", "set-fails", "31")
        extra = ["--force"] if rng.random() < 0.3 else []
        limit = 8 if saving and self.chance("store-faults", 0.1) else None
        tool = self.sabotage if action == "blank" and self.chance("store-faults", 0.1) else self.tool
        open(self.pids, "w").close()
        self.logs = os.path.join(self.root, "logs", str(number))
        peers, actions = [self.peer(action, extra, tool, "0", limit)], [action]
        # Beside receive and send the second peer only reads: its own pipe would take the tool that
        # the person runs by hand, which no peer can tell from a stray.
        if tool != self.sabotage and self.chance("second-peers", 0.15):
            second = ["blank", "unblank", "history"] if action in ("blank", "unblank") else ["history"]
            actions.append(rng.choice(second))
            peers.append(self.peer(actions[-1], [], self.tool, "1"))
        stray = None
        if action in ("blank", "unblank") and self.chance("stray-clients", 0.15):
            stray = self.stray()
        direct = None
        if action in ("receive", "send"):
            direct = self.direct_tool(peers[0], "--save" if saving else "--restore")
        self.killed, self.outputs, self.story = None, [], ""
        victims = [k for k in ("peer-kills", "tool-kills") if k in self.kinds]
        # The sabotaging wrapper stands for an outside hand that moves the store away, which would
        # outlive a killed peer; its rounds kill only the tool.
        if tool == self.sabotage and "peer-kills" in victims:
            victims.remove("peer-kills")
        if victims and rng.random() < 0.3:
            self.counts["faults"] += 1
            self.kill(rng.choice(victims), peers[0])
        self.story = (f"{action} {' '.join(extra)}" + (" with a file size limit" if limit else "") +
                      (" with the store moved away after the tool" if tool == self.sabotage else "") +
                      (f", a second peer" if len(peers) > 1 else "") + (", a stray client" if stray else "") +
                      (", a display refusing ramps" if self.faulted else "") +
                      (f", {self.killed} {self.kill_moment}" if self.killed else ""))
        # Every peer's output is read at once: a peer whose output is not read blocks on it and,
        # with the store lock held, makes the other wait out its patience. Past PEER_LIMIT_SECONDS
        # a peer is stuck, and the round fails with its story.
        with concurrent.futures.ThreadPoolExecutor(len(peers)) as readers:
            try:
                self.outputs = list(readers.map(
                    lambda peer: peer.communicate(timeout=PEER_LIMIT_SECONDS)[0], peers))
            except subprocess.TimeoutExpired as stuck:
                raise AssertionError(f"a peer still ran after {PEER_LIMIT_SECONDS} s: {' '.join(stuck.cmd)}")
        self.restored = bool({"unblank", "send"} & set(actions))
        if stray and stray.poll() is None:
            stray.kill()  # still waiting for a pipe that no peer will make now
        for process in (direct, stray):
            if process:
                process.wait(timeout=60)
        self.settle()
        for i, output in enumerate(self.outputs):
            self.note(output, number, i)

    def peer(self, action, extra, tool, tag, limit_kb=None):
        # Limits far above a save's few hundred milliseconds: on a busy machine a peer that gives
        # up on a slow tool would look like a lost document.
        logs = os.path.join(self.logs, f"peer{tag}")
        os.makedirs(logs)
        argv = [f"{self.bin}/kestrine-peer", action, *extra, "--keep", "100000",
                "--connect-timeout", "5", "--transfer-timeout", "10"]
        if action in ("blank", "unblank"):
            argv += ["--tool", tool, "--logfile", os.path.join(logs, "kestrine")]
        if limit_kb:
            argv = ["/bin/sh", "-c", f"ulimit -f {limit_kb}; trap '' XFSZ; exec \"$0\" \"$@\"", *argv]
        return subprocess.Popen(argv, env=self.env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                text=True)

    def wait_for_pipe(self, process):
        pipe = os.path.join(self.root, "sim", "pipes", "kestrinepipe")
        deadline = time.monotonic() + 2
        while not os.path.isdir(pipe) and process.poll() is None and time.monotonic() < deadline:
            time.sleep(0.002)

    def direct_tool(self, peer, action):
        """The tool run by hand beside `receive` or `send`."""
        self.wait_for_pipe(peer)
        logs = os.path.join(self.logs, "direct")
        os.makedirs(logs)
        return subprocess.Popen([self.tool, action, "--logfile", os.path.join(logs, "kestrine")],
                                env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def stray(self):
        """A client that is not the tool, with a well-formed document of another machine."""
        self.counts["stray clients"] += 1
        entries = []
        for n in range(1, self.displays + 1):
            ramp = new_ramp(self.rng)
            self.foreign.add(words(ramp))
            entries.append({"displayName": self.name(n), "initialGammas": ramp, "initialGammasSaved": True})
        path = os.path.join(self.logs, "stray.json")
        with open(path, "w") as f:
            json.dump({"GammaBlanking": entries}, f)
        return subprocess.Popen([f"{self.bin}/kestrine-stray-client", path, "2000"], env=self.env,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def kill(self, kind, peer):
        """Kills the peer or a tool soon after the start, while a tool runs its action (which
        covers its transfer), or at any moment up to well after the transfer."""
        rng = self.rng
        moment = rng.choice(["early", "in the action", "any time"])
        if moment == "in the action":
            deadline = time.monotonic() + 2
            while time.monotonic() < deadline and not self.tool_started():
                time.sleep(0.002)
        delay = rng.uniform(0, {"early": 0.05, "in the action": 0.15, "any time": 0.4}[moment])
        self.kill_moment = f"{moment}, +{delay:.3f} s"
        time.sleep(delay)
        if kind == "peer-kills":
            victims = [peer.pid]
        else:
            victims = [int(p) for p in open(self.pids).read().split()]
        if not victims:
            return
        try:
            os.kill(self.rng.choice(victims), signal.SIGKILL)
            self.killed = kind
            self.counts["peer kills" if kind == "peer-kills" else "tool kills"] += 1
        except ProcessLookupError:
            pass

    def tool_started(self):
        for log in glob.glob(os.path.join(self.logs, "*", "kestrine*")):
            if "Got action" in open(log, errors="replace").read():
                return True
        return False

    def note(self, output, number, tag):
        """Keeps what the peer said it received, and every printed copy."""
        for match in re.finditer(r"received (\d+) bytes, (?:held|that are no complete document: kept) as #(\d+)", output):
            path = os.path.join(self.records, match.group(2) + ".record")
            document = record_document(path)
            if len(document) != int(match.group(1)):
                raise AssertionError(f"#{match.group(2)} holds {len(document)} bytes, not {match.group(1)}")
            self.received[path] = document
        for match in re.finditer(r"the document was written to (\S+) instead", output):
            self.received[match.group(1)] = open(match.group(1), "rb").read()
        for i, copy in enumerate(re.findall(re.escape(BEGIN) + r"\n(.*?)\n" + re.escape(END), output, re.S)):
            path = os.path.join(self.root, f"printed-{number}-{tag}-{i}.json")
            with open(path, "w") as f:
                f.write(copy)
            self.printed.append(path)

    def machine_processes(self):
        """Live processes of this simulated machine (tools, peers, job keepers) other than the
        driver, found by the machine's root in their environment: "pid name" each."""
        mark = f"KESTRINE_SIM_ROOT={self.env['KESTRINE_SIM_ROOT']}".encode()
        found = []
        for entry in os.listdir("/proc"):
            if not entry.isdigit() or int(entry) == os.getpid():
                continue
            try:
                with open(f"/proc/{entry}/stat") as f:
                    stat = f.read()
                with open(f"/proc/{entry}/environ", "rb") as f:
                    environment = f.read().split(b"\0")
            except OSError:
                continue  # gone, or not ours to read
            name, state = stat[stat.index("(") + 1:stat.rindex(")")], stat[stat.rindex(")") + 2]
            if state != "Z" and mark in environment:
                found.append(f"{entry} {name}")
        return ", ".join(found)

    def settle(self):
        """Waits for every process of the round to end (a tool killed with its peer, the job's keeper
        that kills it), clears faults, repairs a sabotaged store. A tool that ran on into the next
        round would change displays behind that round's back."""
        deadline = time.monotonic() + 30
        while (left := self.machine_processes()) and time.monotonic() < deadline:
            time.sleep(0.01)
        if left:
            raise AssertionError(f"still running 30 s after the round: {left}")
        if self.faulted:
            for n in range(1, self.displays + 1):
                self.sim("display", str(n), "fault", "clear")
        away = self.records + ".away"
        if os.path.isdir(away):
            # A peer may have made the folder again between the move and the file put in its way.
            if os.path.isdir(self.records):
                for name in os.listdir(self.records):
                    os.rename(os.path.join(self.records, name), os.path.join(away, name))
                os.rmdir(self.records)
            elif os.path.exists(self.records):
                os.remove(self.records)
            os.rename(away, self.records)

    # The checks ------------------------------------------------------------------------------

    def documents(self):
        """(where, ramps) of every document kept anywhere: records, rescued files, printed copies."""
        found = [(f"record #{os.path.basename(p).split('.')[0]}", p, record_document(p))
                 for p in glob.glob(os.path.join(self.records, "*.record"))]
        found += [(p, p, open(p, "rb").read())
                  for p in glob.glob(self.store + "-rescued/*") + self.printed]
        return [(where, path, ramps) for where, path, text in found
                if (ramps := document_ramps(text)) is not None]

    def save_runs(self):
        """How each save run of the tool in this round ended, from its log file: sent (the whole
        document left the tool), unsent (the tool ran on but could not write it), failed (ended
        with an error, such as no pipe to connect to) or interrupted (killed before its end)."""
        ends = []
        for log in glob.glob(os.path.join(self.logs, "*", "kestrine*")):
            text = open(log, errors="replace").read()
            if "Got action save" in text:
                ends.append("unsent" if "failed to write" in text else "sent" if "Save action complete" in text
                            else "failed" if "general error" in text else "interrupted")
        return ends

    def check(self, number):
        documents = self.documents()
        for where, _, ramps in documents:
            if self.foreign & set(ramps.values()):
                raise AssertionError(f"{where} holds a document of another client (a stray's)")
        fresh = [ramps for where, path, ramps in documents if path not in self.seen]
        self.allowed += fresh
        self.seen = {path for _, path, _ in documents}
        lost = []
        for display, ramp in self.ramps().items():
            if ramp in self.foreign:
                raise AssertionError(f"{display} carries the ramp of another client's document")
            if any(ramp):
                if ramp != self.owed[display] and all(d.get(display) != ramp for d in self.allowed if d):
                    raise AssertionError(f"{display} carries a ramp of another round's document")
                self.owed[display] = ramp
            else:
                # A restore of this round may have put the held document's ramp on the display
                # before a save of the same round darkened it.
                wanted = {self.owed[display]}
                if self.held_start and self.restored and display in self.held_start:
                    wanted.add(self.held_start[display])
                if not any(d.get(display) in wanted for _, _, d in documents):
                    lost.append(display)
                    continue
                # When that restore came first, the save recorded the held ramp, not the one the
                # driver set: that is the ramp the display owes from now on.
                saved = {d.get(display) for d in fresh} & wanted
                if len(saved) == 1 and (ramp := saved.pop()) != self.owed[display]:
                    self.counts["restores before a save"] += 1
                    self.owed[display] = ramp
        if lost:
            self.excuse(lost)
        self.check_received()
        self.way_back(documents)
        shutil.rmtree(self.logs, ignore_errors=True)

    def excuse(self, lost):
        """Dark displays with no document: only a kill between blank and send excuses them."""
        ends = self.save_runs()
        # The tool killed in the middle of its save; the peer killed once the whole document had left
        # the tool; or the peer of `receive` killed, whose tool a person started and nothing ends.
        window = ((self.killed and "interrupted" in ends) or
                  (self.killed == "peer-kills" and ("sent" in ends or self.action == "receive")))
        if not window:
            raise AssertionError(
                f"{', '.join(lost)} dark and no kept, rescued or printed document brings back its "
                f"ramp (save runs of the tool: {', '.join(ends) or 'none'}; killed: {self.killed or 'nothing'})")
        self.counts["lost between blank and send"] += len(lost)
        for display in lost:
            n = int(display.rsplit("DISPLAY", 1)[1])
            flat = self.owed[display]
            self.set_ramp(n, {c: list(flat[i * 256:(i + 1) * 256]) for i, c in enumerate(CHANNELS)})

    def check_received(self):
        for path, document in self.received.items():
            content = open(path, "rb").read() if os.path.exists(path) else None
            if content is not None and path.endswith(".record"):
                content = content.split(b"\n", 1)[1]
            if content != document:
                raise AssertionError(f"{path} changed or went missing")
        history = self.history()
        held = [r["id"] for r in history if r["state"] == "held"]
        good = [r["id"] for r in history if r["state"] != "damaged"]
        if len(held) > 1 or (held and max(good) > held[0]):
            raise AssertionError(f"held {held} is older than a good document received after it")

    def way_back(self, documents):
        """Dark displays and nothing held: serve the document that has their ramps, as a person would."""
        now = self.ramps()
        dark = [d for d, r in now.items() if not any(r)]
        if not dark or any(r["state"] == "held" for r in self.history()):
            return
        source = next(((w, p) for w, p, d in documents if all(d.get(x) == self.owed[x] for x in dark)), None)
        if source is None:
            return  # each dark display has its document, but no single one has them all
        self.counts["ways back"] += 1
        where, path = source
        logs = os.path.join(self.logs, "way-back")
        os.makedirs(logs)
        if where.startswith("record #"):
            result = self.run_program(f"{self.bin}/kestrine-peer", "unblank", "--from", where[8:],
                                      "--tool", self.tool, "--logfile", os.path.join(logs, "kestrine"),
                                      check=False)
        else:
            peer = subprocess.Popen([f"{self.bin}/kestrine-peer", "send", "--in", path, "--connect-timeout", "5"],
                                    env=self.env, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            self.wait_for_pipe(peer)
            self.run_program(self.tool, "--restore", "--logfile", os.path.join(logs, "kestrine"), check=False)
            result = subprocess.CompletedProcess(peer.args, peer.wait(timeout=60), peer.communicate()[0])
        # The displays are the judge; the peer's status is what it could confirm from the tool.
        after = self.ramps()
        wrong = [d for d in dark if after[d] != self.owed[d]]
        if wrong:
            raise AssertionError(f"the way back through {where} left {', '.join(wrong)} without its ramp "
                                 f"(status {result.returncode}): {result.stdout[-500:]}")


if __name__ == "__main__":
    main()
