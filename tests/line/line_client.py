"""A line that is served, for tests, and its nodes as ncclient sees them.

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


def netconf(port, password=PASSWORD):
    return manager.connect(
        host="127.0.0.1",
        port=port,
        username="ada",
        password=password,
        hostkey_verify=False,
        look_for_keys=False,
        allow_agent=False,
        timeout=60,
    )


def reading(client, name, leaf):
    """What an amplifier reads now."""
    reply = client.get(("subtree", amplifier(name, "<state><%s><instant/></%s></state>" % (leaf, leaf))))
    return float(etree.fromstring(reply.xml.encode()).find(".//{*}" + leaf + "/{*}instant").text)


def set_gain(client, name, gain):
    config = amplifier(name, "<config><target-gain>%s</target-gain></config>" % gain)
    client.edit_config(target="running", config='<config xmlns="%s">%s</config>' % (NC, config))


class ServingTest(unittest.TestCase):
    """A folder, and a program that serves what is in it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.log = open(self.folder + "/log", "w+")
        self.addCleanup(self.log.close)

    def start(self, *arguments):
        self.process = subprocess.Popen(
            [os.environ["OCAMP"], *arguments], stdout=subprocess.PIPE, stderr=self.log, text=True
        )
        self.addCleanup(self.end)

    def logged(self):
        with open(self.log.name) as log:
            return log.read()

    def next_line(self):
        return self.process.stdout.readline().rstrip("\n")

    def end(self):
        if self.process.poll() is None:
            # One that is killed is gone at once, but writes no counts of what it has run.
            self.process.send_signal(signal.SIGTERM if "OCAMP_COUNTS" in os.environ else signal.SIGKILL)
        self.process.wait()
        self.process.stdout.close()

    def connect_to(self, port, password=PASSWORD):
        client = netconf(port, password)
        self.addCleanup(self.leave, client)
        return client

    @staticmethod
    def leave(client):
        try:
            client.close_session()
        except Exception:  # the server may be gone already
            pass

    def wait_for(self, condition, what):
        end = time.monotonic() + 60
        while not condition():
            if time.monotonic() > end:
                self.fail(what)
            time.sleep(0.2)


class ServedLineTest(ServingTest):
    """A line of its own for each test, past the ramps of the start. Its nodes are served with `options`."""

    options = ("--netconf-base", "0")
    speed = 4
    begin = 30  # second of line time that it is served from

    def setUp(self):
        super().setUp()
        self.line = os.path.join(self.folder, "line")
        ocamp("line", "init", self.line, "--from", os.environ["EXAMPLE_LINE"])
        ocamp("user", "add", "--node", self.line, "ada", "--role", "admin", text=PASSWORD + "\n")
        ocamp("line", "run", self.line, "--speed", "max", "--until", str(self.begin))
        self.start("line", "run", self.line, "--speed", str(self.speed), *self.options)
        self.ports = {}  # by protocol, then node
        for name in NODES:
            node, *addresses = self.next_line().split()
            self.assertEqual(node, name + ":")
            for address in addresses:
                protocol, _, port = address.partition("=127.0.0.1:")
                self.ports.setdefault(protocol, {})[name] = int(port)
        self.assertEqual(self.next_line(), "second %d: 5 nodes run" % self.begin)

    def second(self):
        return int(ocamp("line", "show", self.line).split("(second ")[1].split(")")[0])

    def connect(self, node, password=PASSWORD):
        return self.connect_to(self.ports["netconf"][node], password)
