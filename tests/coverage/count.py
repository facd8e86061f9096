"""Counts of lines and branches in a build folder, as gcov tells them, in one JSON file. Knows no goals.

A branch is one that the source decides. What the compiler makes for exceptions is none: the edge from each call to the clean-up,
decisions of the clean-up itself, and the search for who catches. Lines of braces alone are none either: many are passed by clean-ups only."""

import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

CATCH = re.compile(r"\s*}? ?catch \(.*")
BRACES_ONLY = re.compile(r"[\s{}()\[\];,]*")


def gcov(data):
    told = subprocess.run(["gcov", "--branch-probabilities", "--json-format", "--stdout", data.name], cwd=data.parent, check=True,
                          capture_output=True, text=True)
    return [json.loads(line) for line in told.stdout.splitlines()]


def decided(arcs, line_count, text):
    """The counts of those of a line's arcs in one function that are decisions. An arc that throws goes with the one before it:
    both leave the same call. Two arcs that were never reached, on a line that has run, belong to a clean-up after an exception, or
    to a condition that another one kept from being asked, which counts as open itself."""
    if CATCH.fullmatch(text):
        return []
    counts = []
    for arc in arcs:
        if arc["throw"]:
            if counts:
                counts.pop()
        else:
            counts.append(arc["count"])
    if line_count > 0 and len(counts) % 2 == 0:
        pairs = zip(counts[::2], counts[1::2])
        counts = [count for pair in pairs if any(pair) for count in pair]
    return counts


class Counts:
    """Sums over all objects that a source went into, and over the instances of a template."""

    def __init__(self, source, folders):
        self.source = source
        self.folders = tuple(folder.rstrip("/") + "/" for folder in folders)
        self.lines = collections.defaultdict(collections.Counter)  # by file: counts by line
        self.arcs = {}  # by file, line, and the place of its function: the arcs

    def add(self, file):
        name = os.path.normpath(file["file"])
        if name.startswith(str(self.source) + "/"):
            name = name[len(str(self.source)) + 1:]
        if not name.startswith(self.folders):
            return
        places = {function["name"]: (function["start_line"], function["start_column"]) for function in file["functions"]}
        for line in file["lines"]:
            number = line["line_number"]
            self.lines[name][number] += line["count"]
            known = self.arcs.setdefault((name, number, places.get(line.get("function_name"))), [])
            for index, arc in enumerate(line["branches"]):
                if index == len(known):
                    known.append({"count": 0, "throw": arc["throw"]})
                known[index]["count"] += arc["count"]

    def report(self):
        branches = collections.defaultdict(list)
        texts = {name: (self.source / name).read_text().splitlines() for name in self.lines}
        for (name, number, _), arcs in self.arcs.items():
            branches[name, number] += decided(arcs, self.lines[name][number], texts[name][number - 1])
        return {"files": [{"file": name,
                           "lines": [{"line_number": number, "count": count, "branches": branches[name, number]}
                                     for number, count in sorted(lines.items())
                                     if not BRACES_ONLY.fullmatch(texts[name][number - 1])]}
                          for name, lines in sorted(self.lines.items())]}


def run(options):
    counts = Counts(options.source.resolve(), options.folders)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for told in pool.map(gcov, sorted(options.build.resolve().rglob("*.gcno"))):
            for part in told:
                for file in part["files"]:
                    counts.add(file)
    options.report.write_text(json.dumps(counts.report()))


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("report", type=pathlib.Path, help="written")
    parser.add_argument("folders", nargs="+", help="of the tree that count")
    parser.add_argument("--source", type=pathlib.Path, default=pathlib.Path("."), help="the tree (default: this one)")
    try:
        run(parser.parse_args())
    except (OSError, ValueError, subprocess.CalledProcessError) as error:
        sys.exit(f"count: {error}")
