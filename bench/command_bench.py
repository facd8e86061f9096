#!/usr/bin/env python3
"""Times `ocamp get` of one leaf from start to exit, beside yanglint parsing and printing the same answer.

usage: command_bench.py OCAMP RESULT [RUNS]

Both have their turn in every run. ocamp and its plug-in are copied first, as an installation does it: what a linker has
just written lies in the system's page cache in smaller pieces, which takes longer to map. RESULT is written as JSON:
milliseconds, the fastest of all runs, their ratio, and the page faults of a run.
"""
import collections
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
LEAF = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain/instant"
WARM_UP = 3


Run = collections.namedtuple("Run", "milliseconds faults")


def timed(command):
    quiet = [(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, os.environ, file_actions=quiet)
    _, status, usage = os.wait4(process, 0)
    end = time.perf_counter()
    if status != 0:
        sys.exit(f"{' '.join(command)}: ended with {os.waitstatus_to_exitcode(status)}")
    return Run((end - start) * 1000, usage.ru_minflt)


def installed(program, folder):
    """A copy of ocamp with its plug-in."""
    plug_in = program.parent.parent / "lib/liboc-amplifier.so"
    for file in program, plug_in:
        place = pathlib.Path(folder) / file.parent.name
        subprocess.run(["install", "-D", "-t", place, file], check=True)
    return f"{folder}/{program.parent.name}/{program.name}"


def main():
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 100
    with tempfile.TemporaryDirectory() as folder:
        ocamp = installed(pathlib.Path(sys.argv[1]).resolve(), folder)
        node, answer = f"{folder}/node", f"{folder}/answer.json"
        subprocess.run([ocamp, "node", "init", node, "--from", TREE / "examples/node"], check=True,
                       stdout=subprocess.DEVNULL)
        get = [ocamp, "get", "--node", node, LEAF]
        with open(answer, "wb") as file:
            subprocess.run(get, check=True, stdout=file)
        yanglint = [shutil.which("yanglint"), "-f", "json", "-t", "get", "-p", str(TREE / "yang"),
                    str(TREE / "yang/openconfig-optical-amplifier.yang"), answer]
        taken = {"ocamp": [], "yanglint": []}
        for _ in range(WARM_UP + runs):
            taken["ocamp"].append(timed(get))
            taken["yanglint"].append(timed(yanglint))
    fastest = {command: min(run.milliseconds for run in all_runs[WARM_UP:]) for command, all_runs in taken.items()}
    faults = {command: statistics.median(run.faults for run in all_runs) for command, all_runs in taken.items()}
    result = {"milliseconds": fastest, "ratio": fastest["ocamp"] / fastest["yanglint"], "faults": faults, "runs": runs}
    pathlib.Path(sys.argv[2]).write_text(json.dumps(result, indent=4) + "\n")


if __name__ == "__main__":
    main()
