#!/usr/bin/env python3
"""Twenty tasks as a new user would do them, with two versions of ocamp: how many commands each takes, and how many lines
there are to read. Prints the table of docs/tasks.md.

usage: tasks.py EARLIER_OCAMP OCAMP

A task is two lists of command lines, those that the earlier version needs and those that this one does. They are run with
bash, each list on a fresh example node in the folder "node"; what they print on either channel is what there is to read.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

EXAMPLE = pathlib.Path(__file__).resolve().parent.parent / "examples/node"
LIST = "/optical-amplifier/amplifiers/amplifier"
GAIN = f"{LIST}[name='0/2-AMP-BST']/config/target-gain"
TILT = f"{LIST}[name='0/2-AMP-BST']/config/target-gain-tilt"
ACTUAL = f"{LIST}[name='0/1-AMP-PRE']/state/actual-gain"
PORT = "/ots-oper/ots-ports/ots-port[name='Ots0/1/0/0']/ots-info/ampli-gain"


def document(config):
    return ('{"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": '
            f'[{{"name": "0/2-AMP-BST", "config": {config}}}]}}}}}}')


def edit(config, command="edit"):
    return f"echo '{document(config)}' | ocamp {command} --node node -"


# Makes the node anew from a changed copy of the example.
def remade(change):
    return ["cp -r example changed", f"sed -i {change} changed/native/ots.json", "ocamp node init again --from changed"]


TASKS = [
    ("Learn what there is", ["ocamp --help"], ["ocamp --help"]),
    ("Read a gain, the command mistyped",
     ["ocamp gte", f'ocamp get --node node "{ACTUAL}"'],
     ["ocamp gte", f'ocamp get --node node "{ACTUAL}"']),
    ("Read a gain, an option mistyped",
     [f'ocamp get --node node --fromat xml "{ACTUAL}"', "ocamp get --help",
      f'ocamp get --node node --format xml "{ACTUAL}"'],
     [f'ocamp get --node node --fromat xml "{ACTUAL}"', f'ocamp get --node node --format xml "{ACTUAL}"']),
    ("Read a gain, the option put first",
     [f'ocamp --node node get "{ACTUAL}"', f'ocamp get --node node "{ACTUAL}"'],
     [f'ocamp --node node get "{ACTUAL}"']),
    ("Read a gain without knowing the amplifier's name",
     ["ocamp get --node node", f'ocamp get --node node "{ACTUAL}"'],
     # What the tabulator key shows.
     [f'ocamp complete --node node "{LIST}["', f'ocamp get --node node "{ACTUAL}"']),
    ("Read all target gains, with a wildcard",
     [f"ocamp get --node node \"{LIST}[name='*']/config/target-gain\"", "ocamp get --help",
      f'ocamp get --node node "{LIST}/config/target-gain"'],
     [f"ocamp get --node node \"{LIST}[name='*']/config/target-gain\""]),
    ("Read by a path with its module in front",
     [f'ocamp get --node node "openconfig-optical-amplifier:{ACTUAL}"', f'ocamp get --node node "{ACTUAL}"'],
     [f'ocamp get --node node "openconfig-optical-amplifier:{ACTUAL}"']),
    ("Read in a format that there is not",
     [f'ocamp get --node node --format yaml "{ACTUAL}"', "ocamp get --help",
      f'ocamp get --node node --format json "{ACTUAL}"'],
     [f'ocamp get --node node --format yaml "{ACTUAL}"', f'ocamp get --node node --format json "{ACTUAL}"']),
    ("Set a target gain",
     ["ocamp edit --help", edit('{"target-gain": "15.5"}'), f'ocamp get --node node --config "{GAIN}"'],
     [f'ocamp set --node node "{GAIN}" 15.5']),
    ("Set a target gain that the node rounds, and notice",
     [edit('{"target-gain": "15.56"}'), f'ocamp get --node node --config "{GAIN}"'],
     [f'ocamp set --node node "{GAIN}" 15.56']),
    ("Take a tilt away",
     ["ocamp edit --help", edit('{"@target-gain-tilt": {"ietf-netconf:operation": "delete"}}'),
      f'ocamp get --node node --config "{TILT}"'],
     [f'ocamp rm --node node "{TILT}"']),
    ("Try an edit without making it",
     [edit('{"target-gain": "15.56"}', "explain edit")],
     [edit('{"target-gain": "15.56"}', "edit --dry-run")]),
    ("Save everything and write it back",
     ["ocamp get --node node --format xml > saved.xml", "ocamp edit --node node saved.xml",
      "ocamp get --node node --config --format xml > saved.xml",
      "sed 's/^<data/<config/; s/^<.data/<\\/config/' saved.xml | ocamp edit --node node -"],
     ["ocamp get --node node --format xml | ocamp edit --node node -"]),
    ("Find the tag of a refusal in a script",
     [edit('{"target-gain": "80"}') + " 2>&1 | sed 's/.*\\[\\(.*\\)\\].*/\\1/'"],
     [f"ocamp set --json --node node \"{GAIN}\" 80 2>&1 | python3 -c 'import json, sys; "
      "print(json.load(sys.stdin)[\"error\"][\"tag\"])'"]),
    ("Alter a measured native value",
     remade("'s/1750/1725/'"), [f'ocamp native set --node node "{PORT}" 1725']),
    ("Take a measured native value away",
     remade("'/\"ampli-gain\": 1750,/d'"), [f'ocamp native rm --node node "{PORT}"']),
    ("Write the node out as documents",
     ["mkdir saved saved/native saved/sysdb", "ocamp native get --node node > saved/native/all.json",
      "ocamp sysdb list --node node",
      "ocamp sysdb list --node node | while read -r point item; do ocamp sysdb get --node node $point $item "
      "> saved/sysdb/$(echo $item | tr / _); done"],
     ["ocamp node export --node node saved"]),
    ("Make a node of an example with a README in it",
     ["echo note > example/native/README.md", "ocamp node init again --from example",
      "rm example/native/README.md", "ocamp node init again --from example"],
     ["echo note > example/native/README.md", "ocamp node init again --from example"]),
    ("Look at a gain three times",
     [f'for i in 1 2 3; do ocamp get --node node "{ACTUAL}"; done'],
     [f'ocamp watch --node node --count 3 --interval 0.1 "{ACTUAL}"']),
    ("See how a gain went in the intervals before",
     ["ocamp native get --node node \"/performance-management-history/global/periodic/optics-history/"
      "optics-port-histories/optics-port-history[name='Ots0/1/0/0']\""],
     [f'ocamp history --node node "{ACTUAL}"']),
]


def count(program, commands):
    """Lines that the commands print."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder)
        (path / "bin").mkdir()
        (path / "bin/ocamp").symlink_to(pathlib.Path(program).resolve())
        shutil.copytree(EXAMPLE, path / "example")
        environment = {**os.environ, "PATH": f"{path}/bin:{os.environ['PATH']}"}
        environment.pop("OCAMP_NODE", None)
        run = lambda command: subprocess.run(["bash", "-c", command], cwd=path, env=environment, text=True,
                                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False).stdout
        run("ocamp node init node --from example")
        return sum(len(run(command).splitlines()) for command in commands)


def main():
    earlier, now = sys.argv[1:]
    print("| task | commands before | now | lines before | now |\n|---|---|---|---|---|")
    sums = [0, 0, 0, 0]
    for title, before, after in TASKS:
        row = [len(before), len(after), count(earlier, before), count(now, after)]
        sums = [one + other for one, other in zip(sums, row)]
        print(f"| {title} | " + " | ".join(map(str, row)) + " |")
    print("| **all** | " + " | ".join(map(str, sums)) + " |")


main()
