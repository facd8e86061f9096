"""Runs fuzz targets until each has had its share of processor time, and tells what each of them tried.

Processor time and not time, so that a figure says the same of a busy machine and of a quiet one. A target runs in
rounds, as libFuzzer itself only knows time: fuzz.py BUILD SECONDS TARGET...
"""

import os
import re
import resource
import subprocess
import sys

LONGEST_ROUND_S = 60
INPUTS = re.compile(r"stat::number_of_executed_units:\s*(\d+)")


def used_by_children():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def run_round(build, target, seconds):
    """One run of a target: how many inputs it tried. Ends this program where it found something."""
    corpus = os.path.join(build, "corpus", target)
    os.makedirs(corpus, exist_ok=True)
    ran = subprocess.run(
        [
            os.path.join(build, "bin", target),
            f"-max_total_time={seconds}",
            "-max_len=4096",
            "-print_final_stats=1",
            f"-dict=tests/fuzz/{target}.dict",
            f"-artifact_prefix={build}/",
            corpus,
            f"tests/fuzz/corpus/{target}",
        ],
        stderr=subprocess.PIPE,
        text=True,
        errors="replace",
        check=False,
    )
    inputs = INPUTS.search(ran.stderr)
    if ran.returncode != 0 or not inputs:
        sys.exit(f"{ran.stderr}\nfuzz.py: {target} ended with status {ran.returncode}: what it found is in {build}/")
    return int(inputs.group(1))


def fuzz(build, target, seconds):
    """The inputs that a target tried in at least `seconds` of processor time, and that time."""
    start, inputs, used = used_by_children(), 0, 0.0
    while used < seconds:
        inputs += run_round(build, target, max(1, min(LONGEST_ROUND_S, round(seconds - used))))
        used = used_by_children() - start
    return inputs, used


def main(build, seconds, targets):
    all_inputs, all_used = 0, 0.0
    print("| target | inputs tried | processor time |\n|---|---:|---:|", flush=True)
    for target in targets:
        inputs, used = fuzz(build, target, seconds)
        print(f"| `{target}` | {inputs:,} | {used:,.0f} s |", flush=True)
        all_inputs, all_used = all_inputs + inputs, all_used + used
    print(f"| all | {all_inputs:,} | {all_used:,.0f} s |", flush=True)


if __name__ == "__main__":
    main(sys.argv[1], float(sys.argv[2]), sys.argv[3:])
