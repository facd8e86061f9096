#!/usr/bin/env python3
"""The schema of line descriptions says what ocamp takes: it takes the examples, and both refuse what is spoiled.

    schema_test.py OCAMP EXAMPLES MAKE_LINE
"""
import copy
import json
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

ocamp, examples, make_line = sys.argv[1:]
schema = json.loads((pathlib.Path(examples) / "line.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
example = json.loads((pathlib.Path(examples) / "three-sites.json").read_text())


def is_taken(line):
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run([ocamp, "line", "init", f"{folder}/line", "--from", "-"], input=json.dumps(line),
                              capture_output=True, text=True)
        assert done.returncode in (0, 2), done
        return done.returncode == 0


def set_at(path, value):
    def spoil(line):
        at = line
        for step in path[:-1]:
            at = at[step]
        at[path[-1]] = value
    return spoil


def drop_at(path):
    def spoil(line):
        at = line
        for step in path[:-1]:
            at = at[step]
        del at[path[-1]]
    return spoil


SLOT = ["nodes", 1, "slots", 0]
SPOILED = [
    set_at(["colour"], "red"), drop_at(["name"]), set_at(["name"], ""), set_at(["name"], 5), set_at(["name"], "a\x1b[2J"), drop_at(["spans"]),
    set_at(["start"], -1), set_at(["measurement-noise-db"], 2), set_at(["directions"], []),
    set_at(["directions", 0, "order"], "up"), set_at(["directions", 0, "channels", "count"], 193),
    set_at(["directions", 0, "channels", "count"], 0.5), set_at(["directions", 0, "channels", "power-dbm"], "loud"),
    set_at(["amplifier-types"], []), set_at(["nodes"], []), set_at(["nodes", 1, "name"], "../up"),
    set_at(["nodes", 1, "name"], "a" * 65), set_at(["nodes", 1, "slots"], []), set_at(SLOT + ["slot"], 4),
    set_at(SLOT + ["slot"], 1.5), set_at(SLOT + ["sends"], "east"), drop_at(SLOT + ["direction"]),
    set_at(SLOT + ["booster", "colour"], "red"), set_at(SLOT + ["booster"], {}), set_at(SLOT + ["booster"], 5),
    set_at(SLOT + ["booster", "gain-db"], 41), set_at(SLOT + ["booster", "gain-range-db"], [1]),
    set_at(SLOT + ["booster", "tilt-db"], 6), set_at(SLOT + ["booster", "input-loss-db"], -1),
    set_at(SLOT + ["booster", "loss-threshold-dbm"], -40), set_at(SLOT + ["booster", "tilt-slope"], 3),
    set_at(SLOT + ["booster", "noise-figure-db"], 21), set_at(SLOT + ["booster", "maximum-output-dbm"], 31),
    set_at(SLOT + ["supervisory-power-dbm"], 11), set_at(["spans", 0, "length-km"], 501),
    drop_at(["spans", 0, "loss-db-per-km"]), set_at(["spans", 0, "connector-loss-db"], [0.5]),
    set_at(["spans", 0, "drift-db"], 4), set_at(["spans", 0, "colour"], "red"),
]

for line in (example, json.loads(subprocess.run([make_line, "3"], capture_output=True, check=True).stdout)):
    validator.validate(line)
    assert is_taken(line), line["name"]
faults = 0
for number, spoil in enumerate(SPOILED):
    line = copy.deepcopy(example)
    spoil(line)
    verdicts = {"schema": validator.is_valid(line), "ocamp": is_taken(line)}
    if any(verdicts.values()):
        print(f"spoiled line {number} is taken: {verdicts}", file=sys.stderr)
        faults += 1
sys.exit(faults != 0)
