#!/usr/bin/env python3
"""Times `ocamp get` of one leaf from start to exit, beside yanglint parsing and printing the same answer.

usage: command_bench.py OCAMP RESULT [RUNS]

Both have their turn in every run. RESULT is written as JSON: milliseconds, the fastest of all runs, and the ratio.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

TREE = pathlib.Path(__file__).resolve().parent.parent
LEAF = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state/actual-gain/instant"
WARM_UP = 3


def milliseconds(command):
    quiet = [(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, os.environ, file_actions=quiet)
    _, status = os.waitpid(process, 0)
    end = time.perf_counter()
    if status != 0:
        sys.exit(f"{' '.join(command)}: ended with {os.waitstatus_to_exitcode(status)}")
    return (end - start) * 1000


def main():
    ocamp = str(pathlib.Path(sys.argv[1]).resolve())
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 100
    with tempfile.TemporaryDirectory() as folder:
        node, answer = f"{folder}/node", f"{folder}/answer.json"
        subprocess.run([ocamp, "node", "init", node, "--from", TREE / "examples/node"], check=True,
                       stdout=subprocess.DEVNULL)
        get = [ocamp, "get", "--node", node, LEAF]
        with open(answer, "wb") as file:
            subprocess.run(get, check=True, stdout=file)
        yanglint = [shutil.which("yanglint"), "-f", "json", "-t", "get", "-p", str(TREE / "yang"),
                    str(TREE / "yang/openconfig-optical-amplifier.yang"), answer]
        times = {"ocamp": [], "yanglint": []}
        for _ in range(WARM_UP + runs):
            times["ocamp"].append(milliseconds(get))
            times["yanglint"].append(milliseconds(yanglint))
    fastest = {command: min(all_times[WARM_UP:]) for command, all_times in times.items()}
    result = {"milliseconds": fastest, "ratio": fastest["ocamp"] / fastest["yanglint"], "runs": runs}
    pathlib.Path(sys.argv[2]).write_text(json.dumps(result, indent=4) + "\n")


if __name__ == "__main__":
    main()
