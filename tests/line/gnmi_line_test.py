"""A line whose nodes are served by gNMI and NETCONF at once, as grpcio and ncclient see it from outside.

The folder of gNMI's test client comes from the environment, GNMI_CLIENT, with what that wants; see line_client.py for the
rest.
"""

import os
import sys
import unittest

from line_client import OC, ServedLineTest, amplifier, ocamp, set_gain
from lxml import etree

sys.path.insert(0, os.environ["GNMI_CLIENT"])
from gnmi_client import Client, Leaves, pb, subscription, update  # noqa: E402

STATE = "/optical-amplifier/amplifiers/amplifier[name=%s]/state"
OUTPUT = STATE + "/output-power-c-band/instant"


class GnmiLineTest(ServedLineTest):
    options = ("--netconf-base", "0", "--gnmi-base", "0", "--insecure")

    def gnmi(self, node):
        client = Client(self.ports["gnmi"][node], user="ada")
        self.addCleanup(client.close)
        return client

    def watch(self, node, *paths, seconds=60):
        """A stream of changes, after what there was at first."""
        request = subscription(*paths, mode=pb.SubscriptionList.STREAM)
        for one in request.subscribe.subscription:
            one.mode = pb.ON_CHANGE
        return Leaves(self.gnmi(node).subscribe([request], timeout=seconds)).until_sync()


class ChangesAreSeen(GnmiLineTest):
    speed = 8

    def test_a_gain_raised_through_netconf(self):
        leaf = OUTPUT % "0/1-AMP-PRE"
        seen = self.watch("terminal-b", leaf)
        before = seen[leaf].double_val
        set_gain(self.connect("site-1"), "0/1-AMP-PRE", "18.4")
        seen.until(lambda leaves: 0.8 < leaves[leaf].double_val - before < 1.2)

    def test_a_gain_raised_through_gnmi(self):
        leaf = OUTPUT % "0/1-AMP-PRE"
        seen = self.watch("terminal-b", leaf)
        before = seen[leaf].double_val
        config = "/optical-amplifier/amplifiers/amplifier[name=0/1-AMP-PRE]/config/target-gain"
        self.gnmi("site-1").set(update=[update(config, json_ietf_val=b'"18.4"')])
        seen.until(lambda leaves: 0.8 < leaves[leaf].double_val - before < 1.2)

    def test_a_cut_and_its_repair(self):
        leaf = OUTPUT % "0/1-AMP-BST"
        behind, before = self.watch("site-3", leaf), self.watch("site-1", leaf)
        ocamp("line", "event", self.line, "cut", "site-1/site-2")
        behind.until(lambda leaves: leaves[leaf].double_val == -40)
        # Ahead of the cut, where an eastward amplifier stands, the light still is.
        self.assertGreater(before[leaf].double_val, 10)
        ocamp("line", "event", self.line, "repair", "site-1/site-2")
        behind.until(lambda leaves: leaves[leaf].double_val > 13.5)

    def test_losses_pumps_and_channels(self):
        client = self.connect("site-2")
        client.create_subscription()
        received = (STATE + "/input-power-c-band/instant") % "0/1-AMP-PRE"
        sent = OUTPUT % "0/1-AMP-BST"
        seen = self.watch("site-2", received, sent)
        happened = []

        def see(words, leaf, expected):
            """The event moves the leaf to that many dB off what it is now."""
            before = seen[leaf].double_val
            happened.append(words)
            ocamp("line", "event", self.line, *words.split())
            seen.until(lambda leaves: abs(leaves[leaf].double_val - before - expected) < 0.3)

        see("add-loss site-1/site-2 3 east", received, -3)
        see("add-loss site-1/site-2 0 east", received, 3)
        # The booster sends 14 dBm of at most 21.
        full = seen[sent].double_val
        happened.append("pump-failure site-2 0/1-AMP-BST 10")
        ocamp("line", "event", self.line, *happened[-1].split())
        seen.until(lambda leaves: abs(leaves[sent].double_val - 11) < 0.3)
        see("pump-repair site-2 0/1-AMP-BST", sent, full - seen[sent].double_val)
        # 20 channels instead of 40.
        see("channels east 20", received, -3)
        told = []
        while len(told) < len(happened):
            notification = client.take_notification(timeout=60)
            self.assertIsNotNone(notification, told)
            content = etree.fromstring(notification.notification_xml.encode())[1]
            if etree.QName(content).localname == "line-event":
                told.append(content.find("{*}event").text)
        self.assertEqual(told, happened)

    def test_a_card_that_is_pulled(self):
        leaf = OUTPUT % "0/1-AMP-BST"
        seen = self.watch("site-2", leaf)
        ocamp("line", "event", self.line, "pull", "site-2", "1")
        seen.until(lambda leaves: leaf in leaves.deleted)
        ocamp("line", "event", self.line, "insert", "site-2", "1")
        seen.until(lambda leaves: leaf in leaves)


class Seconds:
    """What a stream of changes told, second by second."""

    def __init__(self, leaves):
        self.leaves = leaves
        self.time = 0
        self.readings = []  # leaves with numbers when all of a second had been told
        self.closing = []  # whether statistics changed with it

    def take(self):
        told = self.leaves.take().update
        names = {one.path.elem[-1].name for one in told.update}
        if "instant" in names and told.timestamp > self.time:
            self.time = told.timestamp
            self.readings.append({})
            self.closing.append(False)
        if self.readings:
            self.readings[-1] = {leaf: value.double_val for leaf, value in self.leaves.items()}
            self.closing[-1] |= bool(names & {"min", "avg", "max"})

    def intervals(self):
        """Those between two changes of the statistics: the readings of each."""
        # Of the last second more may come.
        ends = [i for i in range(len(self.closing) - 2) if self.closing[i] and not self.closing[i + 1]]
        return [self.readings[first + 1 : last + 1] for first, last in zip(ends, ends[1:])]


class HistoriesAreTrue(GnmiLineTest):
    # Slow enough that a stream hardly misses a second; from just before the end of an interval.
    speed = 2.5
    begin = 58

    def statistics_by_netconf(self):
        """Statistics of all amplifiers of site-2: number by path."""
        reply = self.client.get(("subtree", amplifier("", "").replace("<name></name>", "<name/><state/>")))
        found = {}
        for one in etree.fromstring(reply.xml.encode()).iter("{%s}amplifier" % OC):
            for leaf in one.find("{*}state"):
                for kind in leaf:
                    names = [etree.QName(node).localname for node in (leaf, kind)]
                    if names[1] != "instant":
                        found["/".join([STATE % one.findtext("{*}name"), *names])] = float(kind.text)
        return found

    def adjoining_intervals(self, seconds):
        """A minute of which the stream saw every second, and what ncclient read when each half of it was over."""
        by_netconf = []
        while True:
            # A machine that stands still may make a stream miss a second: of such an interval nothing can be said.
            self.assertLess(len(by_netconf), 12, "the stream missed a second of nearly every interval")
            seconds.take()
            intervals = seconds.intervals()
            if len(intervals) > len(by_netconf):
                by_netconf.append(self.statistics_by_netconf())
                if [len(interval) for interval in intervals[-2:]] == [30, 30]:
                    return list(zip(intervals, by_netconf))[-2:]

    def test_a_minutes_intervals_are_minimum_average_and_maximum_of_what_a_stream_saw(self):
        self.client = self.connect("site-2")
        seconds = Seconds(self.watch("site-2", "/optical-amplifier/amplifiers/amplifier[name=*]/state", seconds=300))
        for interval, by_netconf in self.adjoining_intervals(seconds):
            statistics = interval[-1]
            self.assertEqual(
                by_netconf,
                {leaf: value for leaf, value in statistics.items() if leaf.rsplit("/", 1)[1] in ("min", "avg", "max")},
            )
            compared = 0
            for leaf in statistics:
                if not leaf.endswith("/instant") or leaf.replace("/instant", "/avg") not in statistics:
                    continue
                values = [reading[leaf] for reading in interval]
                told = [statistics[leaf.replace("/instant", "/" + name)] for name in ("min", "avg", "max")]
                self.assertAlmostEqual(told[0], min(values), places=6, msg=leaf)
                self.assertAlmostEqual(told[1], sum(values) / len(values), delta=0.0051, msg=leaf)
                self.assertAlmostEqual(told[2], max(values), places=6, msg=leaf)
                compared += 1
            # Four amplifiers with input, output, gain and tilt.
            self.assertEqual(compared, 4 * 4)


if __name__ == "__main__":
    unittest.main()
