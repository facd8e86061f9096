#!/usr/bin/env python3
"""What a running line takes: processor time, memory and files of 'ocamp line run' at speed 1, by the number of nodes.

    bench/line_load.py [--ocamp build/bin/ocamp] [--seconds 60] [NODES...]
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

here = pathlib.Path(__file__).resolve().parent
arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("--ocamp", default=here.parent / "build" / "bin" / "ocamp", type=pathlib.Path)
arguments.add_argument("--seconds", default=60, type=int, help="of line time, at speed 1")
arguments.add_argument("nodes", nargs="*", type=int, default=[1, 10, 100, 300])
options = arguments.parse_args()


def measure(nodes):
    with tempfile.TemporaryDirectory() as folder:
        line = f"{folder}/line"
        description = subprocess.run([sys.executable, here.parent / "scripts" / "make_line.py", str(nodes)],
                                     capture_output=True, check=True).stdout
        subprocess.run([options.ocamp, "line", "init", line, "--from", "-"], input=description, check=True,
                       stdout=subprocess.DEVNULL)
        begin = time.monotonic()
        process = subprocess.Popen([options.ocamp, "line", "run", line, "--until", str(options.seconds)],
                                   stdout=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        assert process.returncode == 0, process.returncode
        elapsed = time.monotonic() - begin
        used = usage.ru_utime + usage.ru_stime
        return used / options.seconds, usage.ru_maxrss / 1024, elapsed


print("| nodes | amplifiers | processor time a second | of one core | memory | a run of "
      f"{options.seconds} s took |")
print("|---|---|---|---|---|---|")
for nodes in options.nodes:
    used, memory, elapsed = measure(nodes)
    print(f"| {nodes} | {6 * nodes} | {1000 * used:.1f} ms | {100 * used:.1f} % | {memory:.0f} MB | {elapsed:.1f} s |",
          flush=True)
