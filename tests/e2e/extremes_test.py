#!/usr/bin/env python3
"""Hands every door of ocamp inputs of 100,000 levels, of a million members and of texts of ten megabytes.

usage: extremes_test.py OCAMP EXAMPLE_NODE EXAMPLE_LINE

Each is taken or refused with one error that says what and where, on a stack of 512 KiB and within the memory that the
table allows, and the node afterwards is what it was before. Prints the memory that each took.
"""
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

LEVELS, MEMBERS, LENGTH = 100_000, 1_000_000, 10_000_000
STACK = 512 * 1024
OPENCONFIG = "openconfig-optical-amplifier:optical-amplifier"
NATIVE = "http://korvex.example/ns/yang/Korvex-ifmgr-cfg"
AMPLIFIER = "/optical-amplifier/amplifiers/amplifier"


def config(inside):
    return ('<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><optical-amplifier xmlns='
            f'"http://openconfig.net/yang/optical-amplfier">{inside}</optical-amplifier></config>')


def document(inside):
    return f'{{"{OPENCONFIG}": {{{inside}}}}}'


def native_list(entries, name="Ots0/1/0/0"):
    entry = f"<interface-configuration><active>act</active><interface-name>{name}</interface-name></interface-configuration>"
    return f"<interface-configurations xmlns='{NATIVE}'>{entry * entries}</interface-configurations>"


def line_with(example, **members):
    """The example's text with members put in at its start; JSON's own reader would not take 100,000 levels."""
    inside = ", ".join(f'"{name}": {value}' for name, value in members.items())
    return example.replace("{", "{" + inside + ", ", 1)


def doors(node, example_line):
    """Rows of: door, what is extreme, words of the command, what makes its input, most memory in MB."""
    edit = ["edit", "--node", node, "-"]
    subtree = ["get", "--node", node, "--filter", "-"]
    native = ["native", "put", "--node", node, "-"]
    sysdb = ["sysdb", "put", "--node", node, "/oper/inventory/", "extreme", "-"]
    line = ["line", "init", f"{node}-line", "--from", "-"]
    nested_array = lambda: "[" * LEVELS + "]" * LEVELS
    nested_object = lambda: '{"a": ' * LEVELS + "1" + "}" * LEVELS
    nested_elements = lambda: "<a>" * LEVELS + "</a>" * LEVELS
    objects = lambda: "[" + ",".join(["{}"] * MEMBERS) + "]"
    members = lambda: "{" + ",".join(f'"{i}":0' for i in range(MEMBERS)) + "}"
    entries = lambda: "<amplifiers>" + "<amplifier/>" * MEMBERS + "</amplifiers>"
    text = lambda: "x" * LENGTH
    named = "<amplifiers><amplifier><name>{}</name></amplifier></amplifiers>"
    word = "x" * 120_000  # as long as an argument can be
    return [
        ("edit, XML", "levels", edit, lambda: config(nested_elements()), 100),
        ("edit, XML", "members", edit, lambda: config(entries()), 900),
        ("edit, XML", "length", edit, lambda: config(named.format(text())), 200),
        ("edit, XML", "cut short", edit, lambda: config(entries())[:LENGTH], 900),
        ("edit, JSON", "levels", edit, lambda: document('"a": ' + nested_object()), 100),
        ("edit, JSON", "levels of arrays", edit, lambda: document('"a": ' + nested_array()), 100),
        ("edit, JSON", "members", edit, lambda: document(f'"amplifiers": {{"amplifier": {objects()}}}'), 900),
        ("edit, JSON", "members of one", edit, lambda: document(f'"amplifiers": {members()}'), 900),
        ("edit, JSON", "length", edit,
         lambda: document(f'"amplifiers": {{"amplifier": [{{"name": "{text()}"}}]}}'), 200),
        ("filter", "levels", subtree, lambda: f"<filter>{nested_elements()}</filter>", 100),
        ("filter", "members", subtree, lambda: "<filter>" + "<a/>" * MEMBERS + "</filter>", 900),
        ("filter", "length", subtree, lambda: f"<filter><a>{text()}</a></filter>", 200),
        ("path", "levels", ["get", "--node", node, "/a" * 60_000], str, 50),
        ("path", "length", ["get", "--node", node, f"{AMPLIFIER}[name='{word}']"], str, 50),
        ("value", "length", ["set", "--node", node, f"{AMPLIFIER}[name='0/1-AMP-PRE']/config/target-gain", word], str, 50),
        ("native document", "levels", native, lambda: f"<a xmlns='{NATIVE}'>{nested_elements()}</a>", 100),
        ("native document", "members", native, lambda: native_list(MEMBERS), 1200),
        ("native document", "length", native, lambda: native_list(1, text()), 200),
        ("record", "levels", sysdb, nested_object, 100),
        ("record", "members", sysdb, lambda: f'{{"name": "r", "version": [1, 0], "tokens": {objects()}}}', 900),
        ("record", "members of one", sysdb, members, 200),
        ("record", "length", sysdb, lambda: f'{{"name": "{text()}"}}', 200),
        ("line", "levels", line, lambda: line_with(example_line, extreme=nested_array()), 100),
        ("line", "members", line, lambda: line_with(example_line, extreme=objects()), 900),
        ("line", "members of one", line, lambda: line_with(example_line, extreme=members()), 200),
        ("line", "length", line, lambda: line_with(example_line, extreme=f'"{text()}"'), 200),
    ]


def limit_stack():
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, STACK))


def run(words, make_input, folder):
    """Exit status (negative: the signal), standard error, most memory in MB, seconds of processor time."""
    source = folder / "input"
    # What this program holds when it starts another one would count as memory of that one.
    source.write_text(make_input())
    with source.open() as given, (folder / "err").open("w+") as err:
        child = subprocess.Popen(words, stdin=given, stdout=subprocess.DEVNULL, stderr=err, preexec_fn=limit_stack)
        _, status, used = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        err.seek(0)
        return child.returncode, err.read(), used.ru_maxrss / 1024, used.ru_utime + used.ru_stime


def main():
    ocamp, example_node, example_line = sys.argv[1:4]
    failed = False
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        node = str(folder / "node")
        subprocess.run([ocamp, "node", "init", node, "--from", example_node], check=True)
        read = [ocamp, "get", "--node", node]
        before = subprocess.run(read, check=True, capture_output=True).stdout
        for door, extreme, words, make_input, most in doors(node, pathlib.Path(example_line).read_text()):
            status, error, memory, seconds = run([ocamp, *words], make_input, folder)
            faults = [fault for fault, found in (
                (f"ended with {status}", status not in (0, 1, 2)),
                ("says nothing", status != 0 and not error.startswith("ocamp")),
                (f"says {len(error)} bytes", len(error) > 2000),
                (f"takes more than {most} MB", memory > most)) if found]
            failed |= bool(faults)
            print(f"{door:16} {extreme:17} status {status}  {memory:5.0f} MB {seconds:6.2f} s  {'; '.join(faults)}", flush=True)
            print(f"    {error.strip()[:200]}", flush=True)
        if subprocess.run(read, check=True, capture_output=True).stdout != before:
            failed = True
            print("the node is not what it was")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
