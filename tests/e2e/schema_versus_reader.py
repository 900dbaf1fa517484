#!/usr/bin/env python3
"""Gives hostile display state documents to the JSON Schema and to the tool's own reader.

    schema_versus_reader.py PROBE SCHEMA DOCUMENT_PAGE

The schema's verdict: the bytes decode as JSON (as Python's json reads bytes, which also takes a
byte-order mark and UTF-16) and the value passes the schema. The reader's verdict, from PROBE
(document_reader_probe on a fresh simulated machine with \\\\.\\DISPLAY1 and \\\\.\\DISPLAY2): the
run went on, "Failed to parse input" was not logged, and every saved entry that names one of the
machine's displays is held word for word, while no other display is held as saved. A case whose
verdicts differ must name a limit that DOCUMENT_PAGE lists in bold; every other case must agree.
"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

DISPLAYS = ["\\\\.\\DISPLAY1", "\\\\.\\DISPLAY2"]
IDENTITY = [257 * i for i in range(256)]


def entry(name=DISPLAYS[0], ramp=IDENTITY, saved=True, **changes):
    value = {"displayName": name, "initialGammas": {"red": ramp, "green": ramp, "blue": ramp},
             "initialGammasSaved": saved}
    value.update(changes)
    return value


def doc(*entries, **keys):
    return {"GammaBlanking": list(entries) or [entry()], **keys}


def text(value, before="", after=""):
    return (before + json.dumps(value) + after).encode("utf-8")


def with_key(raw):
    """The good document with one more root key written as raw JSON text."""
    return text(doc(), after="")[:-1] + b', "extra": ' + raw.encode("utf-8") + b"}"


GOOD = doc(entry(), entry(DISPLAYS[1]))
MONITOR = {"name": DISPLAYS[0], "description": "Monitor", "initialBlankingState": 1,
           "position": {"bottom": 1080, "left": 0, "right": 1920, "top": 0}}
DEEP = "[" * 1001 + "]" * 1001
# (case, bytes on the wire, what they mean, the named limit where the two verdicts differ)
CASES = [
    ("as the tool writes it", text(GOOD), GOOD, None),
    ("unknown keys and UTF-8 text", with_key('{"n": 1e300, "s": "caf\\u00e9 \u00e9"}'), doc(), None),
    ("monitors as written", text(doc(initialMonitors=[MONITOR])), doc(), None),
    ("no display on the machine", text({"GammaBlanking": None}), {"GammaBlanking": None}, None),
    ("unsaved entry of zeros", text(doc(entry(ramp=[0] * 256, saved=False))), doc(entry(saved=False)), None),
    ("byte-order mark", text(GOOD, before="\ufeff"), GOOD, "byte-order mark"),
    ("UTF-16", json.dumps(GOOD).encode("utf-16-le"), GOOD, "encoding"),
    ("deep unknown key", with_key(DEEP), doc(), "depth"),
    ("deep known key", text({"GammaBlanking": [0]}).replace(b"[0]", DEEP.encode()), doc(), None),
    ("number out of range", with_key("1e400"), doc(), "number range"),
    ("lone surrogate", with_key('"\\ud800"'), doc(), "surrogates"),
    ("over 1 MiB", with_key('"' + "x" * 1048576 + '"'), doc(), "size"),
    ("zero byte", text(GOOD)[:40] + b"\0" + text(GOOD)[40:], GOOD, None),
    ("comments", text(GOOD, before="// kept by the peer\n"), GOOD, "comments"),
    ("text after the document", text(GOOD, after=" trailing"), GOOD, "text after the document"),
    ("saved all-zero ramp", text(doc(entry(ramp=[0] * 256))), doc(entry(ramp=[0] * 256)), "dark saved ramp"),
    ("saved dim ramp", text(doc(entry(ramp=[40] * 256))), doc(entry(ramp=[40] * 256)), "dark saved ramp"),
    ("word above 65535", text(doc(entry(ramp=[65536] * 256))), doc(entry(ramp=[65536] * 256)), None),
    ("negative word", text(doc(entry(ramp=[-1] * 256))), doc(entry(ramp=[-1] * 256)), None),
    ("fraction word", text(doc(entry(ramp=[16384.5] * 256))), doc(entry(ramp=[16384.5] * 256)), None),
    ("true as a word", text(doc(entry(ramp=[True] * 256))), doc(entry(ramp=[True] * 256)), None),
    ("255 words", text(doc(entry(ramp=IDENTITY[:255]))), doc(entry(ramp=IDENTITY[:255])), None),
    ("flag missing", text({"GammaBlanking": [{k: v for k, v in entry().items() if k != "initialGammasSaved"}]}),
     doc(entry(saved=False)), "missing flag"),
    ("name of no display", text(doc(entry(name="\\\\.\\DISPLAY" + "9" * 30))), doc(entry(saved=False)),
     "unknown display"),
    ("same name twice", text(doc(entry(), entry(ramp=[65535] * 256))), doc(entry(), entry(ramp=[65535] * 256)),
     "same name twice"),
    ("empty object", text({}), {}, "nothing to restore"),
    ("empty list", text({"GammaBlanking": []}), {"GammaBlanking": []}, "nothing to restore"),
    ("root array", text([GOOD]), GOOD, None),
    ("long monitor name", text(doc(initialMonitors=[dict(MONITOR, name="M" * 32)])), doc(), "monitor entries"),
    ("monitor name a number", text(doc(initialMonitors=[dict(MONITOR, name=5)])), doc(), "monitor entries"),
    ("negative coordinate", text(doc(initialMonitors=[dict(MONITOR, position={"left": -1})])), doc(), None),
    ("monitors as a number", text(doc(initialMonitors=3)), doc(), "monitor entries"),
    ("monitors as an object", text(doc(initialMonitors={"a": MONITOR})), doc(), None),
    ("entry that is a number", text({"GammaBlanking": [5]}), {}, None),
    ("empty document", b"", {}, "nothing to restore"),
]


def schema_takes(validator, raw):
    try:
        value = json.loads(raw)
    except (ValueError, RecursionError):
        return False
    return validator.is_valid(value)


def words(channels):
    return [[(type(w), w) for w in channels[c]] for c in ("red", "green", "blue")]


def reader_takes(meant, verdict):
    if "aborted" in verdict or verdict["parseFailed"]:
        return False
    held = {e["displayName"]: e for e in (verdict["held"]["GammaBlanking"] or [])}
    entries = meant.get("GammaBlanking") if isinstance(meant, dict) else None
    saved = [e for e in entries or [] if e.get("initialGammasSaved") is True and e["displayName"] in held]
    if len({e["displayName"] for e in saved}) != len(saved):
        return False
    for name, kept in held.items():
        wanted = next((e for e in saved if e["displayName"] == name), None)
        if kept["initialGammasSaved"] != (wanted is not None):
            return False
        if wanted and words(kept["initialGammas"]) != words(wanted["initialGammas"]):
            return False
    return True


def main():
    probe, schema_path, page_path = sys.argv[1:4]
    sys.setrecursionlimit(10000)
    validator = jsonschema.Draft202012Validator(json.loads(pathlib.Path(schema_path).read_text("utf-8")))
    page = pathlib.Path(page_path).read_text("utf-8")
    with tempfile.TemporaryDirectory() as root:
        files = []
        for number, (_, raw, _, _) in enumerate(CASES):
            files.append(pathlib.Path(root, f"{number}.json"))
            files[-1].write_bytes(raw)
        env = dict(os.environ, KESTRINE_SIM_ROOT=os.path.join(root, "sim"))
        lines = subprocess.run([probe, *map(str, files)], env=env, check=True, capture_output=True,
                               text=True, timeout=100).stdout.splitlines()
    if len(lines) != len(CASES):
        sys.exit(f"the probe answered {len(lines)} of {len(CASES)} documents")
    failed = 0
    verdicts = {case[0]: json.loads(line) for case, line in zip(CASES, lines)}
    for case, raw, meant, limit in CASES:
        verdict = verdicts[case]
        schema, reader = schema_takes(validator, raw), reader_takes(meant, verdict)
        problem = None
        if limit is None and schema != reader:
            problem = "the schema and the reader disagree and no limit is named"
        elif limit is not None and schema == reader:
            problem = f"named as the limit '{limit}', yet both verdicts agree"
        elif limit is not None and f"**{limit}**" not in page:
            problem = f"the limit '{limit}' is not listed in {pathlib.Path(page_path).name}"
        failed += problem is not None
        detail = verdict.get("aborted", "parse failed" if verdict["parseFailed"] else "read")
        print(f"{'FAIL' if problem else 'ok  '} {case}: schema {'takes' if schema else 'refuses'}, "
              f"reader {'takes' if reader else 'refuses'} ({detail}){': ' + problem if problem else ''}")
    # A bad monitor entry fails the read after the gamma part was taken, and that part stands.
    kept = verdicts["negative coordinate"].get("held", {}).get("GammaBlanking") or []
    if not any(e["displayName"] == DISPLAYS[0] and e["initialGammasSaved"] for e in kept):
        failed += 1
        print("FAIL negative coordinate: the gamma part read before the monitors was not kept")
    print(f"{len(CASES) - failed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


main()
