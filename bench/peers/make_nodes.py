#!/usr/bin/env python3
"""Makes the native data that all peers translate: 1,000 OTS ports and 1,000 port histories.

usage: make_nodes.py FOLDER

A node has three slots, so the ports are those of 167 nodes: six each, four in the last. FOLDER/NNN.xml is what a node
holds natively, valid against the models in yang/. FOLDER/records.tsv is the system database of all nodes as a table:
node, controller, and the input power of its port (minimum, average, maximum). The seed is fixed.
"""
import pathlib
import random
import sys

PORTS = 1000
SLOTS = (1, 2, 3)
PORTS_OF_A_NODE = [(slot, port) for slot in SLOTS for port in (0, 1)]
NATIVE = "http://korvex.example/ns/yang/"
RANGES = ("amplifier-gain-range-normal", "amplifier-gain-range-ext-end-ed")


def lines(parts):
    return "\n".join(parts)


def printed(chance, hundredths):
    """A reading as a card prints it, with blanks that mean nothing."""
    return " " * chance.randrange(3) + f"{hundredths / 100:.2f}" + " " * chance.randrange(2)


def statistics(chance, average):
    spread = chance.randrange(40)
    return [printed(chance, average + step) for step in (-spread, 0, spread)]


def ots_port(chance, slot, port):
    lanes = []
    for direction, power in (("receive", chance.randrange(-2500, 0)), ("transmit", chance.randrange(-300, 2000))):
        first, second = chance.choice(((1, 0), (0, 1), (1, 1)))
        lanes += [f"            <{direction}-power>{power}</{direction}-power>"] * first
        lanes += [f"            <{direction}-power-dbm>{power}</{direction}-power-dbm>"] * second
    return f"""      <ots-port>
        <name>Ots0/{slot}/0/{port}</name>
        <ots-info>
          <total-rx-power>{chance.randrange(-2500, 0)}</total-rx-power>
          <ampli-tilt>{chance.randrange(-500, 500)}</ampli-tilt>
          <ampli-gain>{chance.randrange(0, 3500)}</ampli-gain>
          <ampli-gain-range>{RANGES[0]}</ampli-gain-range>
          <ampli-gain-range-config-val>{chance.choice(RANGES)}</ampli-gain-range-config-val>
          <osri>false</osri>
          <osri-config-val>{chance.choice(("true", "false"))}</osri-config-val>
          <lane-data>
{lines(lanes)}
          </lane-data>
        </ots-info>
      </ots-port>"""


def port_history(chance, slot, port):
    quantities = []
    for name, least, most in (("opt", -300, 2000), ("opr", -2500, 0), ("ampli-gain", 0, 3500),
                              ("ampli-gain-tilt", -500, 500)):
        minimum, average, maximum = statistics(chance, chance.randrange(least, most))
        quantities.append(f"""                      <{name}>
                        <minimum>{minimum}</minimum>
                        <average>{average}</average>
                        <maximum>{maximum}</maximum>
                      </{name}>""")
    return f"""          <optics-port-history>
            <name>Ots0/{slot}/0/{port}</name>
            <optics-second30-history>
              <optics-second30-optics-histories>
                <optics-second30-optics-history>
                  <number>1</number>
                  <optics-second30-optics-time-line-instances>
                    <optics-second30-optics-time-line-instance>
                      <number>1</number>
{lines(quantities)}
                    </optics-second30-optics-time-line-instance>
                  </optics-second30-optics-time-line-instances>
                </optics-second30-optics-history>
              </optics-second30-optics-histories>
            </optics-second30-history>
          </optics-port-history>"""


def native_text(chance, ports):
    return f"""<ots-oper xmlns="{NATIVE}Korvex-controller-orvo8-ots-oper">
  <ots-ports>
{lines(ots_port(chance, *port) for port in ports)}
  </ots-ports>
</ots-oper>
<performance-management-history xmlns="{NATIVE}Korvex-pmengine-oper">
  <global>
    <periodic>
      <optics-history>
        <optics-port-histories>
{lines(port_history(chance, *port) for port in ports)}
        </optics-port-histories>
      </optics-history>
    </periodic>
  </global>
</performance-management-history>
"""


def main():
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    chance = random.Random(20240513)
    left, node, records = PORTS, 0, []
    while left > 0:
        ports = PORTS_OF_A_NODE[:left]
        (folder / f"{node:03}.xml").write_text(native_text(chance, ports))
        for slot, port in PORTS_OF_A_NODE:
            powers = statistics(chance, chance.randrange(-2500, 0))
            records.append("\t".join([str(node), f"Ots0_{slot}_0_{port}", *powers]))
        left -= len(ports)
        node += 1
    (folder / "records.tsv").write_text("\n".join(records) + "\n")


if __name__ == "__main__":
    main()
