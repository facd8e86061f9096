"""A line whose nodes are served, as ncclient sees it from outside. Runs on a line of its own.

Programs and the description come from the environment: OCAMP, EXAMPLE_LINE.
"""

import os
import signal
import subprocess
import tempfile
import time
import unittest

from lxml import etree
from ncclient import manager
from ncclient.transport.errors import AuthenticationError

NC = "urn:ietf:params:xml:ns:netconf:base:1.0"
OC = "http://openconfig.net/yang/optical-amplfier"
PASSWORD = "correct horse"
NODES = ["terminal-a", "site-1", "site-2", "site-3", "terminal-b"]


def ocamp(*arguments, text=None):
    return subprocess.run(
        [os.environ["OCAMP"], *arguments], input=text, capture_output=True, text=True, check=True
    ).stdout


def amplifier(name, content):
    return (
        '<optical-amplifier xmlns="%s"><amplifiers><amplifier><name>%s</name>%s</amplifier></amplifiers>'
        "</optical-amplifier>" % (OC, name, content)
    )


class ServedLine(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.line = os.path.join(folder.name, "line")
        ocamp("line", "init", self.line, "--from", os.environ["EXAMPLE_LINE"])
        ocamp("user", "add", "--node", self.line, "ada", "--role", "admin", text=PASSWORD + "\n")
        self.log = open(folder.name + "/log", "w+")
        self.addCleanup(self.log.close)
        # Past the ramps of the start.
        ocamp("line", "run", self.line, "--speed", "max", "--until", "30")
        self.process = subprocess.Popen(
            [os.environ["OCAMP"], "line", "run", self.line, "--speed", "4", "--netconf-base", "0"],
            stdout=subprocess.PIPE,
            stderr=self.log,
            text=True,
        )
        self.addCleanup(self.end)
        self.ports = {}
        for name in NODES:
            line = self.next_line()
            self.assertTrue(line.startswith(name + ": netconf=127.0.0.1:"), line)
            self.ports[name] = int(line.rsplit(":", 1)[1])
        self.assertEqual(self.next_line(), "second 30: 5 nodes run")

    def next_line(self):
        return self.process.stdout.readline().rstrip("\n")

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def connect(self, node, password=PASSWORD):
        client = manager.connect(
            host="127.0.0.1",
            port=self.ports[node],
            username="ada",
            password=password,
            hostkey_verify=False,
            look_for_keys=False,
            allow_agent=False,
            timeout=60,
        )
        self.addCleanup(self.leave, client)
        return client

    @staticmethod
    def leave(client):
        try:
            client.close_session()
        except Exception:  # the server may be gone already
            pass

    @staticmethod
    def power(client, name, leaf):
        reply = client.get(("subtree", amplifier(name, "<state><%s><instant/></%s></state>" % (leaf, leaf))))
        return float(etree.fromstring(reply.xml.encode()).find(".//{*}" + leaf + "/{*}instant").text)

    def wait_for(self, condition, what):
        end = time.monotonic() + 60
        while not condition():
            if time.monotonic() > end:
                self.fail(what)
            time.sleep(0.2)

    def test_a_gain_raised_through_netconf_moves_the_power_downstream(self):
        near, far = self.connect("site-1"), self.connect("terminal-b")
        before = self.power(far, "0/1-AMP-PRE", "input-power-c-band")
        config = amplifier("0/1-AMP-PRE", "<config><target-gain>18.4</target-gain></config>")
        near.edit_config(target="running", config='<config xmlns="%s">%s</config>' % (NC, config))
        # 1 dB more than the example has, give and take the noise of two readings.
        self.wait_for(
            lambda: 0.8 < self.power(far, "0/1-AMP-PRE", "input-power-c-band") - before < 1.2,
            "the power downstream is not 1 dB higher",
        )

    def test_events_are_notified_and_seconds_are_not(self):
        client = self.connect("site-3")
        client.create_subscription()
        second = int(ocamp("line", "show", self.line).split("(second ")[1].split(")")[0])
        time.sleep(2)
        ocamp("line", "event", self.line, "cut", "site-1/site-2")
        self.wait_for(
            lambda: self.power(client, "0/1-AMP-PRE", "output-power-c-band") == -40, "the amplifier is not shut down"
        )
        told = []
        while (notification := client.take_notification(timeout=1)) is not None:
            content = etree.fromstring(notification.notification_xml.encode())[1]
            if etree.QName(content).localname != "netconf-session-start":
                told.append(content)
        self.assertEqual([etree.QName(content).localname for content in told], ["line-event"])
        self.assertEqual(told[0].find("{*}event").text, "cut site-1/site-2")
        self.assertGreater(int(told[0].find("{*}second").text), second)

    def test_a_card_that_is_pulled_is_a_change_of_the_configuration_that_clients_see(self):
        client = self.connect("site-2")
        client.create_subscription()
        time.sleep(1)
        ocamp("line", "event", self.line, "pull", "site-2", "1")
        names = []
        while "netconf-config-change" not in names:
            notification = client.take_notification(timeout=30)
            self.assertIsNotNone(notification, "told so far: %s" % names)
            names.append(etree.QName(etree.fromstring(notification.notification_xml.encode())[1]).localname)
        self.assertIn("line-event", names)

    def test_users_are_those_of_the_line_and_a_signal_reads_them_anew(self):
        with self.assertRaises(AuthenticationError):
            self.connect("site-1", "wrong horse")
        ocamp("user", "passwd", "--node", self.line, "ada", text="another horse\n")
        self.process.send_signal(signal.SIGHUP)
        time.sleep(1)
        self.assertTrue(self.connect("site-2", "another horse").connected)
        self.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.process.wait(10), 0)


if __name__ == "__main__":
    unittest.main()
