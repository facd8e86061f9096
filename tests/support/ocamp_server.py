"""A server on a fresh example node for tests: made, started, killed, started again. Knows no protocol.

Programs and the example come from the environment: OCAMP, OCAMPD, EXAMPLE_NODE.
"""

import os
import re
import select
import signal
import subprocess
import tempfile
import time
import unittest

PASSWORD = "correct horse"
USERS = {"ada": "admin", "olga": "operator", "rita": "reader"}
# What ends a server that nobody needs any more. One that is killed is gone at once, but writes no counts of what it has run.
PUT_AWAY = signal.SIGTERM if "OCAMP_COUNTS" in os.environ else signal.SIGKILL


class Server:
    """One ocampd in front of the node that serves a protocol at `port`; options as on its command line."""

    def __init__(self, node, protocol, *options):
        self.node = node
        self.protocol = protocol
        self.options = options
        self.start()

    def start(self, *more):
        self.log = open(self.node + ".log", "ab")
        self.process = subprocess.Popen(
            [os.environ["OCAMPD"], "--node", self.node, "--" + self.protocol, "127.0.0.1:0", *self.options, *more],
            stdout=subprocess.PIPE, stderr=self.log,
        )
        readable, _, _ = select.select([self.process.stdout], [], [], 60)
        line = self.process.stdout.readline().decode() if readable else ""
        if not line.startswith("ready"):
            raise RuntimeError("no server: %r, %s" % (line, self.read_log()))
        self.ports = {name: int(port) for name, port in re.findall(r"(\w+)=\S+:(\d+)", line)}
        self.port = self.ports[self.protocol]

    def reload(self):
        """SIGHUP; the users have been read anew then."""
        known = self.read_log().count(" reloaded")
        self.process.send_signal(signal.SIGHUP)
        deadline = time.time() + 60
        while self.read_log().count(" reloaded") == known:
            if time.time() > deadline:
                raise RuntimeError("no reload: " + self.read_log())
            time.sleep(0.01)

    def end(self, number=signal.SIGKILL):
        """The status; the log is whole then."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        status = self.process.wait(60)
        self.process.stdout.close()
        self.log.close()
        return status

    def put_away(self):
        if self.process.poll() is None:
            self.end(PUT_AWAY)

    def read_log(self):
        with open(self.node + ".log", errors="replace") as log:
            return log.read()

    def memory(self):
        """Resident, in bytes."""
        with open("/proc/%d/status" % self.process.pid) as status:
            return next(int(line.split()[1]) * 1024 for line in status if line.startswith("VmRSS"))


def ocamp(*arguments, input=None):
    return subprocess.run(
        [os.environ["OCAMP"], *arguments], input=input, capture_output=True, text=True, check=True
    ).stdout


def make_node(folder):
    node = os.path.join(folder, "node")
    ocamp("node", "init", node, "--from", os.environ["EXAMPLE_NODE"])
    for user, role in USERS.items():
        ocamp("user", "add", "--node", node, user, "--role", role, input=PASSWORD + "\n")
    return node


class ServerTest(unittest.TestCase):
    """A test with a node and a server of its own."""

    protocol = None  # its name, in the subclass
    options = ()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.node = make_node(folder.name)
        self.server = Server(self.node, self.protocol, *self.options)
        self.addCleanup(lambda: self.server.put_away())
