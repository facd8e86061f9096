#!/usr/bin/env python3
"""Lets the plug-in and its peers do the same work, compares what they answer leaf by leaf, and then times them.

usage: compare.py PROGRAMS RESULT [ROUNDS]

PROGRAMS is the folder of the built peers. RESULT is written as JSON: processor seconds of the whole work, by peer and
measure, the fastest of all rounds: a shared machine makes rounds slower, and none faster. Any answer that differs ends
it before anything is timed.
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as etree
from decimal import Decimal

HERE = pathlib.Path(__file__).parent
OPENCONFIG = "{http://openconfig.net/yang/optical-amplfier}"
DECIMAL_CONTAINERS = ("actual-gain", "actual-gain-tilt", "input-power-c-band", "output-power-c-band")
IDENTITIES = ("type", "amp-mode", "gain-range")
TURNS = 5  # every program has its turn, then all have their next


def commands(programs):
    python = ["/usr/bin/python3", str(HERE / "translate.py")]  # Debian's, which has Debian's lxml
    return {"plugin": [programs / "plugin_peer"], "platform": [programs / "platform_peer"],
            "libyang": [programs / "libyang_peer"], "libxslt": [programs / "xslt_peer"],
            "lxml": [*python, "lxml"], "ElementTree": [*python, "ElementTree"]}


def canonical(path, value):
    """One form for what the model takes as the same value."""
    steps = path.split("/")
    if len(steps) > 2 and steps[-2] in DECIMAL_CONTAINERS:
        return str(Decimal(value).normalize())
    if steps[-1] in IDENTITIES:
        return value.rpartition(":")[2]
    return value


def leaves_of_lines(text):
    for line in text.splitlines():
        amplifier, path, value = line.split("\t")
        yield (amplifier, path), canonical(path, value)


def leaves_of_xml(text):
    def leaves(element, path):
        for child in element:
            below = path + "/" + child.tag.removeprefix(OPENCONFIG)
            if len(child) == 0:
                yield below, child.text or ""
            else:
                yield from leaves(child, below)

    for entry in etree.fromstring(text).iter(OPENCONFIG + "amplifier"):
        amplifier = entry.findtext(OPENCONFIG + "name")
        for path, value in leaves(entry, ""):
            yield (amplifier, path), canonical(path, value)


def answers(command, data, folder):
    """The leaves of every node."""
    subprocess.run([*command, data, "answers", folder], check=True)
    texts = [file.read_text() for file in sorted(folder.iterdir())]
    return [dict((leaves_of_xml if text.startswith("<") else leaves_of_lines)(text)) for text in texts]


def check_answers(peers, data, folder):
    """How many leaves there are; ends the program when two peers differ."""
    expected = answers(peers["plugin"], data, folder / "plugin")
    for peer, command in peers.items():
        found = answers(command, data, folder / peer)
        if len(found) != len(expected):
            sys.exit(f"{peer} answers {len(found)} nodes, the plug-in {len(expected)}")
        for node, (ours, theirs) in enumerate(zip(expected, found)):
            for leaf in sorted(ours.keys() | theirs.keys()):
                if ours.get(leaf) != theirs.get(leaf):
                    sys.exit(f"node {node}, {' '.join(leaf)}: the plug-in says {ours.get(leaf)}, "
                             f"{peer} says {theirs.get(leaf)}")
    return sum(map(len, expected))


def time_all(peers, data, rounds):
    seconds = {peer: {} for peer in peers}
    for _ in range(TURNS):
        for peer, command in peers.items():
            run = subprocess.run([*command, data, "time", str(rounds)], check=True, stdout=subprocess.PIPE)
            for measure, times in json.loads(run.stdout).items():
                seconds[peer].setdefault(measure, []).extend(times)
    return {peer: {measure: min(times) for measure, times in measures.items()}
            for peer, measures in seconds.items()}


def main():
    peers = commands(pathlib.Path(sys.argv[1]))
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 10
    with tempfile.TemporaryDirectory() as folder:
        data = pathlib.Path(folder) / "data"
        subprocess.run([sys.executable, HERE / "make_nodes.py", data], check=True)
        leaves = check_answers(peers, data, pathlib.Path(folder))
        result = {"leaves": leaves, "seconds": time_all(peers, data, rounds)}
    pathlib.Path(sys.argv[2]).write_text(json.dumps(result, indent=4) + "\n")


if __name__ == "__main__":
    main()
