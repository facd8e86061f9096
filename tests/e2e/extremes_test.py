#!/usr/bin/env python3
"""Hands every door of ocamp inputs of 100,000 levels, of a million members and of texts of ten megabytes.

usage: extremes_test.py OCAMP EXAMPLE_NODE EXAMPLE_LINE

Each is taken, or refused with the status and the error that the table says, on a stack of 512 KiB and within the memory
that the table allows, and the node afterwards is what it was before. Prints the memory that each took.

Wide inputs have a million well-formed members, so that they get past the first one: where a reader refuses them by their
number, the error says so.
"""
import json
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

LEVELS, MEMBERS, LENGTH = 100_000, 1_000_000, 10_000_000
# Amplifiers of an edit are mapped one by one, and so are users: a tenth, as a million take ten times as long and as much.
AMPLIFIERS = USERS = MEMBERS // 10
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


def keyed(entry, count=MEMBERS):
    """That many entries of a list, each with a key of its own."""
    return (entry.format(number=number) for number in range(count))


def line_with(example, **members):
    """The example's text with members put in at its start; JSON's own reader would not take 100,000 levels."""
    inside = ", ".join(f'"{name}": {value}' for name, value in members.items())
    return example.replace("{", "{" + inside + ", ", 1)


def line_of_many_nodes(example):
    line = json.loads(example)
    line["nodes"] = "NODES"
    nodes = ",".join(keyed('{{"name":"n{number}","slots":[{{"slot":1}}]}}'))
    return json.dumps(line).replace('"NODES"', f"[{nodes}]")


def doors(node, example_line):
    """Rows of: door, what is extreme, words of the command, what makes its input, most memory in MB, and how it ends:
    status, and words of its error; no words: it is taken."""
    edit = ["edit", "--node", node, "-"]
    subtree = ["get", "--node", node, "--filter", "-"]
    native = ["native", "put", "--node", node, "-"]
    sysdb = ["sysdb", "put", "--node", node, "/oper/inventory/", "extreme", "-"]
    line = ["line", "init", f"{node}-line", "--from", "-"]
    users = ["user", "list", "--node", node]
    nested_array = lambda: "[" * LEVELS + "]" * LEVELS
    nested_object = lambda: '{"a": ' * LEVELS + "1" + "}" * LEVELS
    nested_elements = lambda: "<a>" * LEVELS + "</a>" * LEVELS
    objects = lambda: "[" + ",".join(["{}"] * MEMBERS) + "]"
    members = lambda: "{" + ",".join(f'"{i}":0' for i in range(MEMBERS)) + "}"
    tokens = lambda: "[" + ",".join(['{"type":"bool","value":true}'] * MEMBERS) + "]"
    text = lambda: "x" * LENGTH
    named = "<amplifiers><amplifier><name>{}</name></amplifier></amplifiers>"
    entries = lambda: "".join(["<amplifiers>", *keyed("<amplifier><name>0/1-AMP-{number}</name></amplifier>", AMPLIFIERS),
                               "</amplifiers>"])
    user = '{{"name":"u{number}","role":"reader","password":"","keys":[]}}'
    word = "x" * 120_000  # as long as an argument can be
    return [
        ("edit, XML", "levels", edit, lambda: config(nested_elements()), 100, 2, "nested more than 200 levels deep"),
        ("edit, XML", "members", edit, lambda: config("<amplifiers>" + "<amplifier/>" * MEMBERS + "</amplifiers>"), 900,
         1, "names no entry, expected the key 'name'"),
        ("edit, XML", "keyed members", edit, lambda: config(entries()), 400, 1, "the native model refuses it"),
        ("edit, XML", "length", edit, lambda: config(named.format(text())), 200, 1, "the native model refuses it"),
        ("edit, XML", "cut short", edit, lambda: config(entries())[:-LEVELS], 900, 2, "not well-formed XML"),
        ("edit, JSON", "levels", edit, lambda: document('"a": ' + nested_object()),
         100, 2, "nested more than 200 levels deep"),
        ("edit, JSON", "levels of arrays", edit, lambda: document('"a": ' + nested_array()),
         100, 2, "nested more than 200 levels deep"),
        ("edit, JSON", "members", edit, lambda: document(f'"amplifiers": {{"amplifier": {objects()}}}'),
         900, 1, "names no entry, expected the key 'name'"),
        ("edit, JSON", "keyed members", edit,
         lambda: document('"amplifiers": {"amplifier": ['
                          + ",".join(keyed('{{"name": "0/1-AMP-{number}"}}', AMPLIFIERS)) + "]}"), 400, 1, "the native model refuses it"),
        ("edit, JSON", "members of one", edit, lambda: document(f'"amplifiers": {members()}'),
         900, 1, "/amplifiers/0: the model has no such node"),
        ("edit, JSON", "length", edit,
         lambda: document(f'"amplifiers": {{"amplifier": [{{"name": "{text()}"}}]}}'), 200, 1, "the native model refuses it"),
        ("filter", "levels", subtree, lambda: f"<filter>{nested_elements()}</filter>",
         100, 2, "nested more than 200 levels deep"),
        ("filter", "members", subtree, lambda: "<filter>" + "<a/>" * MEMBERS + "</filter>", 900, 0, ""),
        ("filter", "length", subtree, lambda: f"<filter><a>{text()}</a></filter>", 200, 0, ""),
        ("path", "levels", ["get", "--node", node, "/a" * 60_000], str, 50, 2, "no node 'a' at the top"),
        ("path", "length", ["get", "--node", node, f"{AMPLIFIER}[name='{word}']"], str, 50, 0, ""),
        ("value", "length", ["set", "--node", node, f"{AMPLIFIER}[name='0/1-AMP-PRE']/config/target-gain", word], str,
         50, 1, "Invalid decimal64 value"),
        ("native document", "levels", native, lambda: f"<a xmlns='{NATIVE}'>{nested_elements()}</a>",
         100, 2, "nested more than 200 levels deep"),
        ("native document", "members", native, lambda: native_list(MEMBERS),
         1200, 2, "1000000 nodes beside one another"),
        ("native document", "length", native, lambda: native_list(1, text()), 200, 2, "Unsatisfied length"),
        ("record", "levels", sysdb, nested_object, 100, 2, "nested deeper than 40"),
        ("record", "members", sysdb, lambda: f'{{"name": "r", "version": [1, 0], "tokens": {tokens()}}}',
         900, 2, "record of 3000031 bytes, expected at most 1048576"),
        ("record", "members of one", sysdb, members, 200, 2, "more than 500 members"),
        ("record", "length", sysdb, lambda: f'{{"name": "{text()}", "version": [1, 0], "tokens": []}}',
         200, 2, "at most 255 bytes, found 10000000 bytes"),
        ("line", "levels", line, lambda: line_with(example_line, extreme=nested_array()),
         100, 2, "nested deeper than 16"),
        ("line", "members", line, lambda: line_of_many_nodes(example_line),
         900, 2, "$.nodes: expected an array of 1 to 1000 members, found 1000000"),
        ("line", "members of one", line, lambda: line_with(example_line, extreme=members()),
         200, 2, "more than 500 members"),
        ("line", "length", line, lambda: line_with(example_line, extreme=f'"{text()}"'),
         200, 2, "unknown member \"extreme\""),
        ("users", "levels", users, lambda: f'{{"version": {nested_array()}, "users": []}}',
         100, 1, "nested deeper than 8"),
        ("users", "keyed members", users, lambda: '{"version": 1, "users": [' + ",".join(keyed(user, USERS)) + "]}",
         300, 0, ""),
        ("users", "members of one", users, members, 200, 1, "more than 500 members"),
        ("users", "length", users, lambda: f'{{"version": 1, "users": [{{"name": "{text()}"}}]}}',
         200, 1, "user name 'xxx"),
    ]


def limit_stack():
    resource.setrlimit(resource.RLIMIT_STACK, (STACK, STACK))


def run(words, make_input, source):
    """Exit status (negative: the signal), standard error, most memory in MB, seconds of processor time. The input is in
    `source`, and given on standard input."""
    # What this program holds when it starts another one would count as memory of that one.
    source.write_text(make_input())
    with source.open() as given, tempfile.TemporaryFile("w+") as err:
        child = subprocess.Popen(words, stdin=given, stdout=subprocess.DEVNULL, stderr=err, preexec_fn=limit_stack)
        _, status, used = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        err.seek(0)
        return child.returncode, err.read(), used.ru_maxrss / 1024, used.ru_utime + used.ru_stime


def faults_of(ended, error, memory, most, status, words):
    """What is not as its row says."""
    if ended != status:
        yield f"expected status {status}"
    if words not in error or (words != "") != error.startswith("ocamp: "):
        yield f"expected '{words}'"
    if len(error) > 2000:
        yield f"says {len(error)} bytes"
    if memory > most:
        yield f"takes more than {most} MB"


def main():
    ocamp, example_node, example_line = sys.argv[1:4]
    failed = False
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        node = str(folder / "node")
        subprocess.run([ocamp, "node", "init", node, "--from", example_node], check=True)
        users = folder / "node" / "server" / "users.json"
        users.parent.mkdir(mode=0o700)
        users.touch(mode=0o600)
        read = [ocamp, "get", "--node", node]
        before = subprocess.run(read, check=True, capture_output=True).stdout
        for door, extreme, words, make_input, most, expected, said in doors(node, pathlib.Path(example_line).read_text()):
            source = users if door == "users" else folder / "input"
            status, error, memory, seconds = run([ocamp, *words], make_input, source)
            faults = list(faults_of(status, error, memory, most, expected, said))
            failed |= bool(faults)
            print(f"{door:16} {extreme:17} status {status}  {memory:5.0f} MB {seconds:6.2f} s  {'; '.join(faults)}", flush=True)
            print(f"    {error.strip()[:200]}", flush=True)
        if subprocess.run(read, check=True, capture_output=True).stdout != before:
            failed = True
            print("the node is not what it was")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
