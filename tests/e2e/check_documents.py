#!/usr/bin/env python3
"""Checks every display state document kept by the end-to-end tests against the JSON Schema.

    check_documents.py SCHEMA DIRECTORY

Fails when the schema is not valid, when a document breaks it, or when no document was kept
(the end-to-end tests did not run with KESTRINE_E2E_DOCUMENTS set). Uses python3-jsonschema.
"""
import json
import pathlib
import sys

import jsonschema

schema = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
documents = sorted(pathlib.Path(sys.argv[2]).glob("*.json"))
failures = 0
for path in documents:
    errors = list(validator.iter_errors(json.loads(path.read_text(encoding="ascii"))))
    for error in errors:
        # A message about a whole ramp would quote all of it: name the broken keyword instead.
        reason = error.message if len(error.message) < 160 else f"fails {error.validator} {error.validator_value}"
        print(f"FAIL {path.name}: {'/'.join(map(str, error.absolute_path))}: {reason}")
    if not errors:
        print(f"ok   {path.name}")
    failures += bool(errors)
if not documents:
    sys.exit(f"no documents in {sys.argv[2]}: run the end-to-end tests first")
sys.exit(1 if failures else 0)
