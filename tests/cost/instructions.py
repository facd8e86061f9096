#!/usr/bin/env python3
"""Counts the instructions of the main walks and compares them with instructions.json beside this file.

usage: instructions.py VALGRIND WALK_COST COMPILER [--accept]

A walk that takes over 3 % more instructions than are kept there fails, and so does one of which an entry of a large
answer takes over 10 % more than one of a small answer. --accept keeps the new figures instead.
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile

KEPT = pathlib.Path(__file__).with_name("instructions.json")
COUNTED_ROUNDS = 20  # as in walk_cost.cpp
TOLERANCE = 0.03
ENTRIES, MANY_ENTRIES = 10, 100  # of a list, as in walk_cost.cpp
GROWTH_TOLERANCE = 0.1

# What the plug-in's functions are there for, the first pattern that their name holds. The C library's count for those
# that call it.
RULES = (("look-ups", "compare_path|check_request_type"),
         ("names, database", "position_of|print_amplifier|print_controller|ampli_key|ots_ctrl_key|swap_controller|"
                             "convert_amplifier_key|check_controller_name|sysdb_|database|read_field|_in_bag|convert_bag|"
                             "convert_field|convert_first|replace_first|listing_holds"),
         ("walk", r"[Ww]alk|fn=ymap_(?!\w+_(cont|list|leaf)_lvla|\w+duck_map)"),
         ("select fields", "select_field"),
         ("handlers", "_(cont|list|leaf)_lvla_|duck_map"),
         ("keys, lists", "key_to_|list_(cfg_)?to_|add_amplifier|may_hold|wanted_"),
         ("values", ""))


def count(valgrind, program):
    """Instructions of one walk, or of its platform calls alone, by name; and a walk's own by rule."""
    with tempfile.TemporaryDirectory() as folder:
        # String functions for the least of processors, so that the figures do not depend on the machine.
        environment = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX2,-AVX,-SSE4_2,-SSSE3,-BMI2,-ERMS"}
        run = subprocess.run([valgrind, "--tool=callgrind", "--compress-strings=no", "--compress-pos=no",
                              f"--callgrind-out-file={folder}/out", program],
                             env=environment, stderr=subprocess.PIPE, text=True)
        if run.returncode != 0:
            sys.exit(f"{program} under callgrind ended with {run.returncode}:\n{run.stderr}")
        counts, own = {}, {}
        for dump in pathlib.Path(folder).iterdir():
            text = dump.read_text()
            name = re.search(r"^desc: Trigger: Client Request: (.+)$", text, re.M)
            if name:
                counts[name[1]] = round(int(re.search(r"^(?:summary|totals): (\d+)", text, re.M)[1]) / COUNTED_ROUNDS)
                own[name[1]] = own_by_rule(text)
        return counts, own


def own_by_rule(dump):
    """What the plug-in and the C library on its behalf take in one round, by rule, from a dump of callgrind's."""
    taken = dict.fromkeys((rule for rule, _ in RULES), 0)
    file = called_file = function = ""
    is_call = False
    for line in dump.splitlines():
        if line.startswith("ob="):
            file = called_file = line
        elif line.startswith("fn="):
            function = line
        elif line.startswith("cob="):
            called_file = line
        elif line.startswith("calls="):
            is_call = True
        elif re.match(r"\d+ \d+$", line):
            if "liboc-amplifier" in file and (not is_call or "libc.so" in called_file):
                rule = next(rule for rule, pattern in RULES if re.search(pattern, function))
                taken[rule] += int(line.split()[1])
            if is_call:
                is_call, called_file = False, file
    return {rule: round(count / COUNTED_ROUNDS) for rule, count in taken.items()}


def check_growth(counts):
    """Compares what an entry takes in an answer of few and of many."""
    grows = False
    print(f"\n{'instructions of one entry':32}{f'of {ENTRIES}':>10}{f'of {MANY_ENTRIES}':>10}{'change':>9}")
    for name, many in sorted(counts.items()):
        if not name.endswith(" of many"):
            continue
        name = name.removesuffix(" of many")
        one_of_few, one_of_many = counts[name] / ENTRIES, many / MANY_ENTRIES
        change = one_of_many / one_of_few - 1
        grows |= change > GROWTH_TOLERANCE
        print(f"{name:32}{one_of_few:10.0f}{one_of_many:10.0f}{change:9.1%}")
    return grows


def print_account(counts, own):
    """Prints where a walk's instructions go that are not the platform's."""
    print(f"\n{'instructions of the plug-in':32}" + "".join(f"{rule:>17}" for rule, _ in RULES) + f"{'platform':>12}")
    for name, rules in sorted(own.items()):
        if " " not in name:
            print(f"{name:32}" + "".join(f"{count:17}" for count in rules.values()) +
                  f"{counts[name] - sum(rules.values()):12}")


def main():
    valgrind, program, compiler = sys.argv[1:4]
    counts, own = count(valgrind, program)
    walks = {name: figure for name, figure in sorted(counts.items()) if " " not in name}
    if "--accept" in sys.argv[4:]:
        KEPT.write_text(json.dumps({"compiler": compiler, "instructions": walks}, indent=4) + "\n")
        print(f"{KEPT}: written")
        return
    kept = json.loads(KEPT.read_text())
    if walks.keys() != kept["instructions"].keys():
        sys.exit(f"The walks are others than those in {KEPT.name}. To accept: scripts/accept_cost.sh")
    failed = False
    print(f"{'instructions of one walk':32}{'kept':>10}{'now':>10}{'change':>9}{'calls alone':>13}{'ratio':>7}")
    for name, now in walks.items():
        before, calls = kept["instructions"][name], counts[name + " calls"]
        change = now / before - 1
        failed |= change > TOLERANCE
        mark = "  too many" if change > TOLERANCE else ""
        print(f"{name:32}{before:10}{now:10}{change:9.1%}{calls:13}{now / calls:7.2f}{mark}")
    print_account(counts, own)
    if check_growth(counts):
        sys.exit(f"An entry of {MANY_ENTRIES} takes over {GROWTH_TOLERANCE:.0%} more instructions than one of {ENTRIES}.")
    if failed:
        sys.exit(f"A walk takes over {TOLERANCE:.0%} more instructions than {KEPT.name} keeps, which was counted with "
                 f"{kept['compiler']}; this is {compiler}. To accept the new figures: scripts/accept_cost.sh")


if __name__ == "__main__":
    main()
