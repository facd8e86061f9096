"""Lines and branches that tests have run, by room, out of what count.py has written; lists the branches that stay open and that no class of
tests/coverage/open_branches.txt explains. Knows nothing of how they were counted."""

import argparse
import collections
import json
import pathlib
import re
import sys

EXPLAINED = pathlib.Path(__file__).resolve().parent / "open_branches.txt"
# Percent of lines and branches that a room is held to; branches that are explained count as taken.
GOALS = {"oc-amplifier": (100.0, 100.0), "platform": (95.0, 90.0), "server": (95.0, 90.0), "line": (95.0, 90.0)}


class Classes:
    """The explanations, a line each: `FOLDER: N: what the line of the source looks like -- why`, for up to N open branches of
    such a line."""

    def __init__(self, text):
        self.classes = []
        for number, line in enumerate(text.splitlines(), 1):
            if not line or line.startswith("#"):
                continue
            parts = re.fullmatch(r"(\S+): (\d+): (.*\S) -- (.*\S)", line)
            if parts is None:
                raise ValueError(f"line {number} is not FOLDER: COUNT: PATTERN -- REASON")
            self.classes.append((parts[1], int(parts[2]), re.compile(parts[3]), line))
        self.used = collections.Counter()

    def explain(self, file, text, count):
        for place, most, pattern, line in self.classes:
            if file.startswith(place) and count <= most and pattern.search(text):
                self.used[line] += 1
                return True
        return False

    def unused(self):
        return [line for *_, line in self.classes if not self.used[line]]


class Room:
    def __init__(self):
        self.lines = self.lines_run = self.branches = self.taken = self.explained = 0
        self.open = []  # file, line, how many of how many branches, text

    def percents(self):
        return (100.0 * self.lines_run / max(self.lines, 1), 100.0 * self.taken / max(self.branches, 1),
                100.0 * (self.taken + self.explained) / max(self.branches, 1))


def rooms_of(files, source, classes):
    rooms = collections.defaultdict(Room)
    for file in files:
        name = file["file"]
        room = rooms[name.partition("/")[0]]
        texts = (source / name).read_text().splitlines()
        for line in file["lines"]:
            room.lines += 1
            room.lines_run += line["count"] > 0
            branches = line["branches"]
            taken = sum(count > 0 for count in branches)
            room.branches += len(branches)
            room.taken += taken
            if taken == len(branches):
                continue
            text = texts[line["line_number"] - 1].strip()
            if classes.explain(name, text, len(branches) - taken):
                room.explained += len(branches) - taken
            else:
                room.open.append((name, line["line_number"], len(branches) - taken, len(branches), text))
    return rooms


def run(options):
    classes = Classes(options.explained.read_text())
    rooms = rooms_of(json.loads(options.report.read_text())["files"], options.source, classes)
    print(f"{'room':14} {'lines':>6} {'run':>6} {'%':>6} {'branches':>9} {'taken':>6} {'%':>6} {'explained':>10} {'%':>6}")
    wrong = []
    for name, room in sorted(rooms.items()):
        lines, taken, held = room.percents()
        print(f"{name:14} {room.lines:6} {room.lines_run:6} {lines:6.1f} {room.branches:9} {room.taken:6} {taken:6.1f} "
              f"{room.explained:10} {held:6.1f}")
        goals = GOALS.get(name)
        if goals and (lines < goals[0] or held < goals[1]):
            wrong.append(f"{name}: {lines:.1f} % of lines and {held:.1f} % of branches; {goals[0]} and {goals[1]} are wanted")
        if options.list or goals == (100.0, 100.0):
            for file, number, missing, branches, text in room.open:
                print(f"open: {file}:{number}: {missing} of {branches}: {text}")
    wrong += [f"{options.explained.name}: explains no open branch: {line}" for line in classes.unused()
              if line.partition("/")[0].partition(":")[0] in rooms]
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("report", type=pathlib.Path, help="what count.py has written")
    parser.add_argument("--list", action="store_true", help="list open branches of every room")
    parser.add_argument("--source", type=pathlib.Path, default=pathlib.Path("."), help="the tree (default: this one)")
    parser.add_argument("--explained", type=pathlib.Path, default=EXPLAINED)
    try:
        sys.exit(run(parser.parse_args()))
    except (OSError, ValueError) as error:
        sys.exit(f"coverage: {error}")
