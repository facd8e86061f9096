#!/usr/bin/env python3
"""A translation in Python, with lxml or with the standard library's ElementTree.

usage: translate.py LIBRARY DATA answers FOLDER
       translate.py LIBRARY DATA time ROUNDS

LIBRARY is lxml or ElementTree; the rest is as in peer_main.cpp. Which leaf becomes which is looked up by tag.
"""
import json
import pathlib
import sys
import time

OPENCONFIG = "{http://openconfig.net/yang/optical-amplfier}"
OTS = "{http://korvex.example/ns/yang/Korvex-controller-orvo8-ots-oper}"
PM = "{http://korvex.example/ns/yang/Korvex-pmengine-oper}"
PORTS = f"{OTS}ots-oper/{OTS}ots-ports/{OTS}ots-port"
HISTORIES = (f"{PM}performance-management-history/{PM}global/{PM}periodic/{PM}optics-history/"
             f"{PM}optics-port-histories/{PM}optics-port-history")
INSTANCE = (f"{PM}optics-second30-history/{PM}optics-second30-optics-histories/{PM}optics-second30-optics-history/"
            f"{PM}optics-second30-optics-time-line-instances/{PM}optics-second30-optics-time-line-instance")


def whole_units(hundredths):
    return f"{int(hundredths) / 100:.2f}"


def inverted(value):
    return "false" if value == "true" else "true"


def gain_range(value):
    return "LOW_GAIN_RANGE" if value == "amplifier-gain-range-normal" else "HIGH_GAIN_RANGE"


# Leaf of a port: the container and leaf of the state that it becomes, and its conversion.
PORT_RULES = {
    OTS + "ampli-gain": ("actual-gain", "instant", whole_units),
    OTS + "ampli-tilt": ("actual-gain-tilt", "instant", whole_units),
    OTS + "ampli-gain-range-config-val": (None, "gain-range", gain_range),
    OTS + "osri-config-val": (None, "enabled", inverted),
    OTS + "receive-power": ("input-power-c-band", "instant", whole_units),
    OTS + "receive-power-dbm": ("input-power-c-band", "instant", whole_units),
    OTS + "transmit-power": ("output-power-c-band", "instant", whole_units),
    OTS + "transmit-power-dbm": ("output-power-c-band", "instant", whole_units),
}
QUANTITIES = {
    PM + "opt": "output-power-c-band",
    PM + "ampli-gain": "actual-gain",
    PM + "ampli-gain-tilt": "actual-gain-tilt",
}
STATISTICS = {PM + "minimum": "min", PM + "average": "avg", PM + "maximum": "max"}


class Translator:
    def __init__(self, etree):
        self.etree = etree

    def parse(self, text):
        return self.etree.fromstring(text)

    def print(self, answer):
        return self.etree.tostring(answer)

    def translate(self, native, records):
        root = self.etree.Element(OPENCONFIG + "optical-amplifier")
        amplifiers = self.etree.SubElement(root, OPENCONFIG + "amplifiers")
        histories = {history.findtext(PM + "name"): history for history in native.iterfind(HISTORIES)}
        for port in native.iterfind(PORTS):
            name = port.findtext(OTS + "name")
            self.add_amplifier(amplifiers, name, port.find(OTS + "ots-info"), histories[name].find(INSTANCE), records)
        return root

    def add(self, parent, tag, text):
        self.etree.SubElement(parent, OPENCONFIG + tag).text = text

    def add_amplifier(self, amplifiers, port, info, instance, records):
        _, slot, _, number = port.split("/")
        other = "1" if number == "0" else "0"
        name = f"0/{slot}-AMP-{'PRE' if number == '0' else 'BST'}"
        entry = self.etree.SubElement(amplifiers, OPENCONFIG + "amplifier")
        self.add(entry, "name", name)
        state = self.etree.SubElement(entry, OPENCONFIG + "state")
        self.add(state, "name", name)
        self.add(state, "type", "EDFA")
        self.add(state, "amp-mode", "CONSTANT_GAIN")
        self.add(state, "ingress-port", f"0/{slot}-OtsCtrl-0/{other}")
        self.add(state, "egress-port", f"0/{slot}-OtsCtrl-0/{number}")

        leaves = {}
        for leaf in info.iter():
            rule = PORT_RULES.get(leaf.tag)
            if rule is not None:
                container, tag, convert = rule
                leaves.setdefault(container, {})[tag] = convert(leaf.text)
        for quantity in instance:
            container = QUANTITIES.get(quantity.tag)
            if container is not None:
                for statistic in quantity:
                    leaves.setdefault(container, {})[STATISTICS[statistic.tag]] = statistic.text.strip()
        powers = records[f"Ots0_{slot}_0_{other}"]
        leaves["input-power-c-band"].update(zip(("min", "avg", "max"), map(str.strip, powers)))
        for container, values in leaves.items():
            parent = state if container is None else self.etree.SubElement(state, OPENCONFIG + container)
            for tag, value in values.items():
                self.add(parent, tag, value)


def read_nodes(data):
    """Text of each node, and its records by controller."""
    texts = [b"<data>" + file.read_bytes() + b"</data>" for file in sorted(data.glob("*.xml"))]
    records = [{} for _ in texts]
    for line in (data / "records.tsv").read_text().splitlines():
        node, controller, *powers = line.split("\t")
        records[int(node)][controller] = powers
    return texts, records


def timed(work, rounds):
    seconds = []
    work()  # warms up
    for _ in range(rounds):
        start = time.process_time()
        results = work()
        seconds.append(time.process_time() - start)
        del results
    return seconds


def main():
    library, data, action, argument = sys.argv[1:]
    if library == "lxml":
        from lxml import etree
    else:
        import xml.etree.ElementTree as etree
    translator = Translator(etree)
    texts, records = read_nodes(pathlib.Path(data))

    def from_text():
        return [translator.print(translator.translate(translator.parse(text), known))
                for text, known in zip(texts, records)]

    if action == "answers":
        folder = pathlib.Path(argument)
        folder.mkdir(parents=True, exist_ok=True)
        for node, answer in enumerate(from_text()):
            (folder / f"{node:03}").write_bytes(answer)
        return
    parsed = [translator.parse(text) for text in texts]

    def from_parsed():
        return [translator.translate(native, known) for native, known in zip(parsed, records)]

    rounds = int(argument)
    print(json.dumps({"parsed": timed(from_parsed, rounds), "text": timed(from_text, rounds)}))


if __name__ == "__main__":
    main()
