"""All that a line shows, seen and done from outside by one client: by ncclient or by grpcio.

GNMI_CLIENT, the folder of gNMI's test client, comes from the environment; see line_client.py for the rest.
"""

import os
import sys
import time
import unittest

import line_client
from line_client import NODES, ServedLineTest, ocamp
from lxml import etree

sys.path.insert(0, os.environ["GNMI_CLIENT"])
import gnmi_client  # noqa: E402

INTERVAL = 30  # seconds of line time
PRE, BST, WEST_PRE, WEST_BST = "0/1-AMP-PRE", "0/1-AMP-BST", "0/2-AMP-PRE", "0/2-AMP-BST"
SITES = NODES[1:-1]
# The amplifiers in the order of the light.
EAST = [("terminal-a", BST)] + [(site, name) for site in SITES for name in (PRE, BST)] + [("terminal-b", PRE)]
WEST = [("terminal-b", BST)] + [(site, name) for site in reversed(SITES) for name in (WEST_PRE, WEST_BST)]
WEST += [("terminal-a", PRE)]
INPUT, OUTPUT, GAIN, TILT = "input-power-c-band", "output-power-c-band", "actual-gain", "actual-gain-tilt"
MOST_SENT = {PRE: 18, BST: 21}  # dBm, as the example is built
DARK = -40
NOTICE = 8  # intervals ahead that an event is given, some seconds of the clock
# dB: five times the error of a difference of two averages over an interval, 0.008 dB, and their rounding. Noise that
# amplifiers behind add and that does not rise with the signal takes some thousandths, too.
AVERAGE_NOISE = 0.05
READING_NOISE = 0.2  # the same of one reading


class ByNetconf:
    def __init__(self, test):
        self.clients = {node: test.connect(node) for node in NODES}

    def states(self, node):
        reply = self.clients[node].get(("subtree", line_client.amplifier("", "").replace("<name></name>", "<name/><state/>")))
        found = {}
        for amplifier in etree.fromstring(reply.xml.encode()).iter("{%s}amplifier" % line_client.OC):
            for leaf in amplifier.find("{*}state"):
                for kind in leaf:
                    place = (node, amplifier.findtext("{*}name"))
                    found[place, etree.QName(leaf).localname, etree.QName(kind).localname] = float(kind.text)
        return found

    def set(self, node, name, leaf, value):
        content = line_client.amplifier(name, "<config><%s>%s</%s></config>" % (leaf, value, leaf))
        config = '<config xmlns="%s">%s</config>' % (line_client.NC, content)
        self.clients[node].edit_config(target="running", config=config)


class ByGnmi:
    def __init__(self, test):
        self.clients = {node: gnmi_client.Client(test.ports["gnmi"][node], user="ada") for node in NODES}
        for client in self.clients.values():
            test.addCleanup(client.close)

    def states(self, node):
        amplifiers = self.clients[node].value("/optical-amplifier/amplifiers")["openconfig-optical-amplifier:amplifier"]
        found = {}
        for amplifier in amplifiers:
            for leaf, content in amplifier["state"].items():
                for kind, value in content.items() if isinstance(content, dict) else ():
                    found[(node, amplifier["name"]), leaf, kind] = float(value)
        return found

    def set(self, node, name, leaf, value):
        where = (gnmi_client.AMPLIFIER % name) + "/config/" + leaf
        text = value if leaf == "enabled" else '"%s"' % value
        self.clients[node].set(update=[gnmi_client.update(where, json_ietf_val=text.encode())])


class WholeLine:
    speed = 60
    # Of both protocols, whoever asks: the line is the same.
    options = ("--netconf-base", "0", "--gnmi-base", "0", "--insecure")

    def wait_for_second(self, second):
        while (left := second - self.second()) > 0:
            time.sleep(left / self.speed)

    def states(self):
        """What all amplifiers read: number by (node, name), leaf, and instant, avg, min or max."""
        return {key: value for node in NODES for key, value in self.client.states(node).items()}

    def after_a_whole_interval(self):
        """The states when the latest interval began after this, and after gains had time to move."""
        self.wait_for_second(((self.second() + 5) // INTERVAL + 2) * INTERVAL)
        return self.states()

    def assert_rise(self, before, after, expected):
        """Averages have risen by that many dB: `expected` by (node, name) and leaf."""
        for (place, leaf), rise in expected.items():
            told = after[place, leaf, "avg"] - before[place, leaf, "avg"]
            self.assertAlmostEqual(told, rise, delta=AVERAGE_NOISE, msg="%s %s" % (place, leaf))

    def assert_dark(self, states, places, kind):
        for place in places:
            self.assertEqual(states[place, OUTPUT, kind], DARK, place)

    def wait_until_reading(self, node, name, leaf, value):
        key = (node, name), leaf, "instant"
        self.wait_for(
            lambda: abs(self.client.states(node)[key] - value) < READING_NOISE, "%s does not read %s" % (key, value)
        )

    def powers(self):
        return [(place, leaf) for place in EAST + WEST for leaf in (INPUT, OUTPUT)]

    def check_gain(self):
        raised = EAST.index(("site-1", PRE))
        downstream = [(EAST[raised], OUTPUT)] + [(place, leaf) for place in EAST[raised + 1 :] for leaf in (INPUT, OUTPUT)]
        before = self.states()
        self.client.set(*EAST[raised], "target-gain", "18.4")
        one_more = self.after_a_whole_interval()
        self.assert_rise(before, one_more, {power: 1 if power in downstream else 0 for power in self.powers()})

        # Far more than the amplifier can send: what it sends stays at its most, and all behind it with it.
        self.client.set(*EAST[raised], "target-gain", "25.0")
        most = self.after_a_whole_interval()
        risen = MOST_SENT[PRE] - before[EAST[raised], OUTPUT, "avg"]
        self.assertAlmostEqual(most[EAST[raised], OUTPUT, "avg"], MOST_SENT[PRE], delta=AVERAGE_NOISE)
        self.assertLess(most[EAST[raised], GAIN, "avg"], 25 - 1)
        for place, leaf in downstream:
            self.assertLess(most[place, OUTPUT, "avg"], MOST_SENT[place[1]] + AVERAGE_NOISE, place)
            expected = min(before[place, leaf, "avg"] + risen, MOST_SENT[place[1]])
            # Each amplifier behind is close to its own limit.
            self.assertAlmostEqual(most[place, leaf, "avg"], expected, delta=0.1, msg="%s %s" % (place, leaf))
        self.client.set(*EAST[raised], "target-gain", "26.0")
        self.assert_rise(most, self.after_a_whole_interval(), {power: 0 for power in self.powers()})
        self.client.set(*EAST[raised], "target-gain", "17.4")

    def check_enabled_and_tilt(self):
        before = self.after_a_whole_interval()
        self.client.set("site-2", PRE, "target-gain-tilt", "-1.5")
        self.wait_until_reading("site-2", PRE, TILT, -1.5)
        self.client.set("site-2", PRE, "enabled", "false")
        behind = EAST[EAST.index(("site-2", PRE)) :]
        for node, name in behind:
            self.wait_until_reading(node, name, OUTPUT, DARK)
        self.client.set("site-2", PRE, "enabled", "true")
        self.client.set("site-2", PRE, "target-gain-tilt", "0.0")
        for node, name in behind:
            self.wait_until_reading(node, name, OUTPUT, before[(node, name), OUTPUT, "avg"])
        self.wait_until_reading("site-2", PRE, TILT, 0)

    def check_cut(self):
        before = self.after_a_whole_interval()
        # Given for the first second of an interval: if anything behind sent light in a second after, it would show in
        # the highest power of that interval.
        cut = (self.second() // INTERVAL + NOTICE) * INTERVAL
        ocamp("line", "event", self.line, "cut", "site-1/site-2", "--at", str(cut))
        self.assertLess(self.second(), cut, "the cut came too late to be told by an interval")
        self.wait_for_second(cut + INTERVAL)
        dark = self.states()
        behind = EAST[EAST.index(("site-2", PRE)) :] + WEST[WEST.index(("site-1", WEST_PRE)) :]
        self.assert_dark(dark, behind, "max")
        self.assert_dark(dark, behind, "instant")
        ahead = {power: 0 for power in self.powers() if power[0] not in behind}
        self.assertEqual(len(ahead) // 2 + len(behind), len(EAST + WEST))
        self.assert_rise(before, dark, ahead)
        ocamp("line", "event", self.line, "repair", "site-1/site-2")
        # One after the other, each with its ramp.
        self.wait_for_second(self.second() + INTERVAL)
        self.assert_rise(before, self.after_a_whole_interval(), {power: 0 for power in self.powers()})

    def test_gains_interlocks_and_cuts(self):
        self.client = self.make_client(self)
        self.check_gain()
        self.check_enabled_and_tilt()
        self.check_cut()


class WholeLineByNetconf(WholeLine, ServedLineTest):
    make_client = ByNetconf


class WholeLineByGnmi(WholeLine, ServedLineTest):
    make_client = ByGnmi


if __name__ == "__main__":
    unittest.main()
