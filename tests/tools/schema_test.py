#!/usr/bin/env python3
"""usage: schema_test.py CONFIG_FOLDER. The JSON Schemas of the coefficient files against the samples
and against what known-bad/expected.txt says of the broken ones."""

import json
import pathlib
import sys

import jsonschema

config = pathlib.Path(sys.argv[1])
failures = []


def schema_of(kind):
    schema = json.loads((config / f"schema/voice_channel_{kind}_coef.schema.json").read_text())
    jsonschema.Draft7Validator.check_schema(schema)
    return jsonschema.Draft7Validator(schema)


validators = {kind: schema_of(kind) for kind in ("mixing", "delay")}


def problems(path, kind):
    """What an editor with the schema would underline; text that is no JSON counts, too."""
    try:
        document = json.loads(path.read_text())
    except json.JSONDecodeError as error:
        return [str(error)]
    return [error.message for error in validators[kind].iter_errors(document)]


samples = [*config.glob("*.json"), *config.glob("samples/*.json")]
for path in samples:
    kind = "mixing" if "mixing" in path.name else "delay"
    failures += [f"{path.name}: {problem}" for problem in problems(path, kind)]
    if not problems(path, "delay" if kind == "mixing" else "mixing"):
        failures.append(f"{path.name}: the other kind's schema accepts it")

broken = 0
for line in (config / "known-bad/expected.txt").read_text().splitlines():
    if line.startswith("#"):
        continue
    name, _, _, expected = [column.strip() for column in line.split("|")[:4]]
    found = problems(config / "known-bad" / name, name.split("/")[0])
    if expected not in ("accepts", "rejects") or (expected == "rejects") != bool(found):
        failures.append(f"{name}: {expected} expected, the schema finds {found}")
    broken += 1

largest = json.loads((config / "voice_channel_mixing_coef.json").read_text())
for weight, rounds_to_a_float in ((3.4028235e38, True), (3.4028236e38, False)):
    largest["MixingWeighting"][0]["Parameters"][0] = weight
    if validators["mixing"].is_valid(largest) != rounds_to_a_float:
        failures.append(f"weight {weight}: accepted or not, against what the library does")

print(f"{len(samples)} samples, {broken} broken files")
if len(samples) < 5 or broken < 60:
    failures.append("too few files")
for failure in failures:
    print(failure)
sys.exit(1 if failures else 0)
