"""A line whose nodes are served by NETCONF, as ncclient sees it from outside. See line_client.py for the environment."""

import os
import signal
import unittest

from line_client import NODES, ServedLineTest, ocamp, reading, set_gain
from lxml import etree
from ncclient.transport.errors import AuthenticationError


class ServedLine(ServedLineTest):
    speed = 10

    def test_a_gain_raised_through_netconf_moves_the_power_downstream(self):
        near, far = self.connect("site-1"), self.connect("terminal-b")
        before = reading(far, "0/1-AMP-PRE", "input-power-c-band")
        set_gain(near, "0/1-AMP-PRE", "18.4")
        # 1 dB more than the example has, give and take the noise of two readings.
        self.wait_for(
            lambda: 0.8 < reading(far, "0/1-AMP-PRE", "input-power-c-band") - before < 1.2,
            "the power downstream is not 1 dB higher",
        )

    def test_events_are_notified_and_seconds_are_not(self):
        client = self.connect("site-3")
        client.create_subscription()
        second = self.second()
        self.wait_for(lambda: self.second() > second + 4, "line time does not move")
        ocamp("line", "event", self.line, "cut", "site-1/site-2")
        self.wait_for(
            lambda: reading(client, "0/1-AMP-PRE", "output-power-c-band") == -40, "the amplifier is not shut down"
        )
        told, timeout = [], 60
        while (notification := client.take_notification(timeout=timeout)) is not None:
            content = etree.fromstring(notification.notification_xml.encode())[1]
            if etree.QName(content).localname != "netconf-session-start":
                told.append(content)
                timeout = 1
        self.assertEqual([etree.QName(content).localname for content in told], ["line-event"])
        self.assertEqual(told[0].find("{*}event").text, "cut site-1/site-2")
        self.assertGreater(int(told[0].find("{*}second").text), second)

    def test_a_card_that_is_pulled_is_a_change_of_the_configuration_that_clients_see(self):
        client = self.connect("site-2")
        client.create_subscription()
        ocamp("line", "event", self.line, "pull", "site-2", "1")
        names = []
        # In either order: the change may be seen while the second is still being written into the nodes behind.
        while not {"netconf-config-change", "line-event"} <= set(names):
            notification = client.take_notification(timeout=60)
            self.assertIsNotNone(notification, "told so far: %s" % names)
            names.append(etree.QName(etree.fromstring(notification.notification_xml.encode())[1]).localname)

    def test_users_are_those_of_the_line_and_a_signal_reads_them_anew(self):
        with self.assertRaises(AuthenticationError):
            self.connect("site-1", "wrong horse")
        ocamp("user", "passwd", "--node", self.line, "ada", text="another horse\n")
        self.process.send_signal(signal.SIGHUP)
        self.wait_for(lambda: self.logged().count(" reloaded ") == len(NODES), "the users are not read anew")
        self.assertTrue(self.connect("site-2", "another horse").connected)
        self.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.process.wait(60), 0)


LEAF = "/optical-amplifier/amplifiers/amplifier[name='%s']/config/%s"
SCRIPT = "\n".join(
    [
        "90 set site-1 " + LEAF % ("0/1-AMP-PRE", "target-gain") + " 18.4",
        "91 set site-2 " + LEAF % ("0/2-AMP-BST", "target-gain-tilt") + " 0.7",
        "92 set site-2 " + LEAF % ("0/1-AMP-PRE", "enabled") + " false",
        "93 set site-3 " + LEAF % ("0/1-AMP-PRE", "target-gain") + " 99",
        "94 cut site-1/site-2 west",
        "96 set site-2 " + LEAF % ("0/1-AMP-PRE", "enabled") + " true",
    ]
)


class EditsAtLineTimes(ServedLineTest):
    speed = 10

    @property
    def options(self):
        self.script = os.path.join(self.folder, "script")
        with open(self.script, "w") as script:
            script.write(SCRIPT)
        return ("--netconf-base", "0", "--gnmi-base", "0", "--insecure", "--script", self.script, "--until", "101")

    def test_a_served_line_comes_to_the_same_values_as_one_that_is_not(self):
        client = self.connect("site-1")
        client.create_subscription()
        changed = ""
        while "target-gain" not in changed:
            notification = client.take_notification(timeout=60)
            self.assertIsNotNone(notification, changed)
            if "netconf-config-change" in notification.notification_xml:
                changed = notification.notification_xml
        told = self.process.communicate(timeout=60)[0]
        self.assertEqual(self.process.returncode, 0)
        self.assertRegex(told, "second 93: 'set site-3 .*' is refused: .*invalid-value")
        alone = os.path.join(self.folder, "alone")
        ocamp("line", "init", alone, "--from", os.environ["EXAMPLE_LINE"])
        ocamp("line", "run", alone, "--speed", "max", "--until", "101", "--script", self.script)
        for node in NODES:
            served, other = [ocamp("native", "get", "--node", os.path.join(line, "nodes", node)) for line in (self.line, alone)]
            self.assertEqual(served, other, node)
            self.assertIn("ampli-gain", served)


if __name__ == "__main__":
    unittest.main()
