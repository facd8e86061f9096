#!/usr/bin/env python3
"""Writes docs/performance.md and its plots from what the benchmarks found.

usage: report.py FIGURES DOCS

FIGURES holds plugin.json and node.json (Google Benchmark), command.json, netconf.json, gnmi.json, peers.json, memory.json
(GoogleTest) and instructions.txt. scripts/bench.sh makes all of them.
"""
import collections
import json
import pathlib
import platform
import subprocess
import sys

import plots

MESSAGES = ("off", "debug", "trace")
STAGES = (("database", "open, lock the database"), ("parse", "read, parse native data"), ("to_native", "ox walk"),
          ("look_up", "native look-up"), ("to_openconfig", "xo walks"), ("put_together", "put together"),
          ("filter", "filter"), ("apply", "apply"), ("check", "check"), ("print", "print"), ("commit", "commit"))
PEERS = (("libyang", "libyang, lyd_new_path"), ("libxslt", "libxslt, stylesheet"), ("lxml", "Python, lxml"),
         ("ElementTree", "Python, ElementTree"))


def table(header, rows):
    lines = [header, ["---"] + ["---:"] * (len(header) - 1), *rows]
    return "\n".join("| " + " | ".join(map(str, line)) + " |" for line in lines) + "\n"


def ratio(value):
    return f"{value:.2f}" if value < 10 else f"{value:.0f}"


def runs_of(file):
    """Every run of a Google Benchmark file by the benchmark's name. A benchmark that reports an error ends it all."""
    runs = collections.defaultdict(list)
    every = json.loads(file.read_text())["benchmarks"]
    for run in sorted(every, key=lambda run: run["family_index"]):  # they ran in no order
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            runs[run["run_name"]].append(run)
    return runs


class Plugin:
    """Seconds of the plug-in's work and of its calls alone, by (work, size, messages)."""

    def __init__(self, file):
        self.plug_in, self.limit, self.calls = {}, {}, {}
        for name, runs in runs_of(file).items():
            work, size, messages, side = name.split("/")
            key = (work, int(size), messages)
            seconds = min(run["cpu_time"] for run in runs) * 1e-9
            (self.plug_in if side == "plugin" else self.limit)[key] = seconds
            if side == "limit":
                self.calls[key] = round(runs[0]["calls"])

    def works(self, start):
        return list(dict.fromkeys(work for work, _, _ in self.plug_in if work.startswith(start)))

    def sizes(self, work):
        return sorted({size for name, size, _ in self.plug_in if name == work})

    def ratio(self, key):
        return self.plug_in[key] / self.limit[key]

    def rows(self, works, sizes=None):
        for work in works:
            for size in sizes or self.sizes(work):
                off = (work, size, "off")
                yield [f"`{work}`" + (f" ({size:,})" if len(self.sizes(work)) > 1 else ""), self.calls[off] or "none",
                       plots.in_words(self.limit[off]) if self.calls[off] else "",
                       *(plots.in_words(self.plug_in[work, size, messages]) for messages in MESSAGES),
                       ratio(self.ratio(off)) if self.calls[off] else ""]


ROW_HEADER = ["work", "calls", "calls alone", "plug-in", "debug log on", "trace on", "plug-in / calls alone"]


def write_growth(plugin, docs):
    lines, rows = {}, []
    for work in plugin.works("answer_"):
        sizes = plugin.sizes(work)
        lines[work.removeprefix("answer_")] = [[(size, seconds[work, size, "off"] / size) for size in sizes]
                                               for seconds in (plugin.plug_in, plugin.limit)]
        each = [plugin.plug_in[work, size, "off"] / size for size in sizes]
        grown = [figure for size, figure in zip(sizes, each) if size >= 10]
        rows.append([f"`{work}`", *map(plots.in_words, each), f"{max(grown) / min(grown) - 1:.0%}"])
    (docs / "growth.svg").write_text(plots.growth("Cost of one entry by the number of entries", lines))
    sizes = plugin.sizes(plugin.works("answer_")[0])
    return ("## Growth\n\nTime of one entry in answers of so many entries, messages off. The last column is how far "
            "the dearest lies above the cheapest from 10 entries on.\n\n"
            + table(["answer", *(f"{size:,}" for size in sizes), "spread"], rows) + "\n![growth](growth.svg)\n")


def write_peers(peers, docs):
    seconds = peers["seconds"]
    ours = {"parsed": seconds["plugin"]["parsed"], "text": seconds["platform"]["text"]}
    groups = {"parsed native form to own result": [("oc-amplifier: plug-in", ours["parsed"])],
              "native text to OpenConfig text": [("oc-amplifier: whole node", ours["text"])]}
    rows = []
    for peer, name in PEERS:
        for (_, group), measure in zip(groups.items(), ("parsed", "text")):
            group.append((name, seconds[peer][measure]))
        rows.append([name, *(text for measure in ("parsed", "text")
                             for text in (plots.in_words(seconds[peer][measure]),
                                          ratio(seconds[peer][measure] / ours[measure])))])
    rows.insert(0, ["oc-amplifier", plots.in_words(ours["parsed"]), "1", plots.in_words(ours["text"]), "1"])
    title = "1,000 OTS ports and 1,000 port histories to OpenConfig"
    (docs / "peers.svg").write_text(plots.bars(title, groups))
    return ("## Peers\n\nThe work is 1,000 OTS ports with gain, tilt, range, enable and lane powers, and 1,000 port "
            "histories, to the OpenConfig state of their amplifiers. A node has three slots, so these are the ports of "
            "167 nodes, each answered by itself, with an input-power record for every port. All answers are compared "
            f"leaf by leaf before anything is timed: {peers['leaves']:,} leaves, each the same for all.\n\n"
            "- *Parsed*: from the parsed native form to the result in each one's own form. On this side that is the "
            "plug-in on a platform that keeps what is written and does nothing else.\n"
            "- *Text*: from native XML to OpenConfig XML. On this side that is the node's whole read: the native data, "
            "which was validated when the node came to hold it, is parsed with its values checked, the request is "
            "mapped, the answer is cut and checked. No peer has a request, or validates; libyang alone checks values.\n\n"
            "The input-power records come as a ready table to all peers, and from the system database here. Processor "
            "time.\n\n"
            + table(["", "parsed", "times oc-amplifier", "text", "times oc-amplifier"], rows)
            + "\n![peers](peers.svg)\n")


def stage_shares(run_list):
    """The stages of a benchmark's fastest run and what lies between them, in seconds."""
    fastest = min(run_list, key=lambda run: run["real_time"])
    shares = [(words, fastest[stage]) for stage, words in STAGES]
    return shares + [("between", max(0.0, fastest["real_time"] * 1e-9 - sum(seconds for _, seconds in shares)))]


def write_node(node, docs):
    names = {"get/amplifier/real_time": "get, one amplifier", "get/tree/real_time": "get, whole tree",
             "edit/real_time": "edit"}
    rows = {words: stage_shares(node[name]) for name, words in names.items()}
    (docs / "stages.svg").write_text(plots.stacked("Where the time of a read and an edit goes", rows))
    header = ["stage", *rows]
    lines = [[words, *(f"{plots.in_words(shares[number][1])}" if shares[number][1] else ""
                       for shares in rows.values())] for number, (words, _) in enumerate(next(iter(rows.values())))]
    lines.append(["all", *(plots.in_words(sum(seconds for _, seconds in shares)) for shares in rows.values())])
    return ("## The whole node\n\nReads and an edit of the example node in one process, wall-clock time. `ox` walks "
            "map the request to native, `xo` walks native data to OpenConfig; an edit reads the configuration before and "
            "after.\n\n" + table(header, lines) + "\n![stages](stages.svg)\n")


def largest_stage(node, name):
    shares = stage_shares(node[name])
    words, seconds = max(shares, key=lambda share: share[1])
    return f"{words}, {seconds / sum(part for _, part in shares):.0%}"


def write_ratios(plugin, node, command, peers):
    walks = plugin.works("request_") + plugin.works("answer_")
    rows = [[f"`{work}`", ratio(plugin.ratio((work, 1, 'off'))),
             ratio(plugin.ratio((work, 1000, 'off'))) if 1000 in plugin.sizes(work) else ""] for work in walks]
    seconds = peers["seconds"]
    versus = [[name, ratio(seconds[peer]["parsed"] / seconds["plugin"]["parsed"]),
               ratio(seconds[peer]["text"] / seconds["platform"]["text"])] for peer, name in PEERS]
    return ("## Ratios\n\nWalks of the plug-in against their platform calls alone, messages off:\n\n"
            + table(["walk", "one entry", "1,000 entries"], rows)
            + "\nTimes that a peer takes longer for the same work:\n\n"
            + table(["peer", "parsed form", "text to text"], versus)
            + "\nOthers:\n\n"
            + table(["", ""], [["`ocamp get` of one leaf against yanglint with the same answer",
                                ratio(command["ratio"])],
                               ["largest stage of a get of one amplifier",
                                largest_stage(node, "get/amplifier/real_time")],
                               ["largest stage of an edit", largest_stage(node, "edit/real_time")]]))


def write_plugin(plugin):
    return ("## The plug-in alone\n\nOn a platform whose calls do as little as they can and still answer right. *Calls "
            "alone* are the same calls with ready-made arguments, made from a record without the plug-in; above 10 "
            "entries the record of 10 is gone through as often as it takes. Messages are taken and dropped.\n\n"
            "Names and look-ups:\n\n" + table(ROW_HEADER, plugin.rows(plugin.works("name_")))
            + "\n" + table(ROW_HEADER, plugin.rows(["compare_path", "check_request_type"]))
            + "\nRequests:\n\n" + table(ROW_HEADER, plugin.rows(plugin.works("request_")))
            + "\nAnswers, by the number of entries:\n\n" + table(ROW_HEADER, plugin.rows(plugin.works("answer_"))))


def write_memory(memory, instructions):
    used = [int(value) for suite in memory["testsuites"] for test in suite["testsuite"] for name, value in test.items()
            if name.startswith("stack_bytes")]
    return ("## Memory\n\nThe deepest of these walks takes "
            f"{max(used):,} bytes of stack, its platform calls included. The plug-in allocates nothing: every block "
            "comes from a call of the platform that gives one. Tests of label `cost` hold both.\n\n"
            "## Instructions\n\nCounted under callgrind, with string functions for the least of processors, answers of "
            f"ten entries:\n\n```text\n{instructions.strip()}\n```\n")


def write_command(command):
    both, faults = command["milliseconds"], command["faults"]
    return ("## The command\n\nFrom process start to exit, the fastest of "
            f"{command['runs']} runs in turn: `ocamp get` of one leaf takes {both['ocamp']:.1f} ms, `yanglint` parsing "
            f"and printing the same answer with the same module {both['yanglint']:.1f} ms. The one takes "
            f"{faults['ocamp']:.0f} page faults, the other {faults['yanglint']:.0f}.\n")


def write_netconf(netconf):
    rows = [(run["sessions"], run["requests_per_second"], f"{run['median_ms']:.2f}", f"{run['p99_ms']:.2f}")
            for run in netconf["netconf"]]
    idle = netconf["idle"]
    return ("## NETCONF\n\nReads of the configuration of one amplifier over SSH, each session asking again as soon as "
            "it has its answer; client and server share the machine.\n\n"
            + table(("sessions", "requests/s", "median, ms", "99th percentile, ms"), rows)
            + f"\n{idle['sessions']} sessions that ask nothing took {idle['processor_ms']} ms of processor time in "
            f"{idle['seconds']} s, and {idle['kib_per_session']} KiB of memory each.\n")


def write_gnmi(gnmi):
    rows = [(f"Gets of one leaf a second, {run['connections']} at a time", f"{run['per_second']:.0f}, median "
             f"{run['median_ms']:.1f} ms, 99th percentile {run['p99_ms']:.1f} ms") for run in gnmi["gets"]]
    latency, foreign, streams = gnmi["latency"], gnmi["foreign_latency"], gnmi["streams"]
    rows += [("from sending a Set of a native leaf to the update on a stream, both at the client",
              f"median {latency['median_ms']:.1f} ms, 99th percentile {latency['p99_ms']:.1f} ms"),
             (f"from the start of `ocamp edit` ({foreign['command_median_ms']:.0f} ms) to the update on a stream",
              f"median {foreign['median_ms']:.0f} ms, 99th percentile {foreign['p99_ms']:.0f} ms"),
             *((f"{run['streams']} streams that sample the whole model every 100 ms, {run['offered_per_second']:,} updates/s",
                f"{run['updates_per_second']:,.0f} updates/s, {run['microseconds_each']:.1f} us of the server each, "
                f"{100 * run['processor_share']:.0f} % of a core, the clients {100 * run['reader_share']:.0f} %")
               for run in gnmi["samples"]),
             (f"{streams['streams']:,} idle streams on 10 connections",
              f"{streams['bytes_each'] / 1024:.0f} KiB each, {100 * streams['idle_processor_share']:.1f} % of a core"),
             ("end of the server with these behind it", f"{gnmi['stop_seconds']:.2f} s")]
    return ("## gNMI\n\nThe client is Debian's grpcio, in Python, and shares the machine with the server.\n\n"
            + table(("what", "figure"), rows))


def write_line(alone, served, streams):
    return ("## The line\n\nA simulated line at speed 1, six amplifiers a node, without clients:\n\n" + alone
            + "\nThe same with a NETCONF and a gNMI port a node, to which nobody connects:\n\n" + served
            + "\nThe same ports with a gNMI stream a node that samples six output powers each second; the clients share "
            "the machine. An update is due whole seconds after the first one of its stream was read:\n\n" + streams)


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


def conditions():
    facts = dict(line.split(":", 1) for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines() if ":" in line)
    model = {name.strip(): value.strip() for name, value in facts.items()}.get("model name", platform.machine())
    cores = output_of("nproc")
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    compiler = output_of("c++", "--version").splitlines()[0]
    commit = output_of("git", "rev-parse", "--short", "HEAD")
    if output_of("git", "status", "--porcelain", "--untracked-files=no", "--", ".", ":!docs"):
        commit += " with changes"
    return f"Measured on {cores} cores of {model}, {system}, {compiler}, release build of commit {commit}."


def main():
    figures, docs = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    plugin, node = Plugin(figures / "plugin.json"), runs_of(figures / "node.json")
    command, netconf, peers, memory = (json.loads((figures / f"{name}.json").read_text())
                                       for name in ("command", "netconf", "peers", "memory"))
    line = [(figures / f"{name}.txt").read_text() for name in ("line", "line-served", "line-streams")]
    parts = ["# Performance\n\nMade by `scripts/bench.sh`; do not edit. Times are those of the fastest of several runs, "
             "on both sides of each ratio: a virtual machine makes runs slower at its whim, and none faster.\n\n"
             + conditions() + "\n",
             write_ratios(plugin, node, command, peers), write_peers(peers, docs), write_growth(plugin, docs),
             write_node(node, docs), write_command(command), write_netconf(netconf),
             write_gnmi(json.loads((figures / "gnmi.json").read_text())), write_line(*line), write_plugin(plugin),
             write_memory(memory, (figures / "instructions.txt").read_text())]
    (docs / "performance.md").write_text("\n".join(parts))
    print(parts[1])


if __name__ == "__main__":
    main()
