"""A single node that lives while it is served, as ncclient sees it. EXAMPLE_NODE comes from the environment, too; see
line_client.py for the rest."""

import os
import signal
import subprocess
import time
import unittest

from line_client import PASSWORD, ServingTest, ocamp, reading, set_gain


class LiveNode(ServingTest):
    def setUp(self):
        super().setUp()
        self.node = os.path.join(self.folder, "node")
        ocamp("node", "init", self.node, "--from", os.environ["EXAMPLE_NODE"])
        ocamp("user", "add", "--node", self.node, "ada", "--role", "admin", text=PASSWORD + "\n")

    def serve(self):
        self.start("serve", "--node", self.node, "--live", "--netconf", "127.0.0.1:0")
        ready = self.next_line()
        self.assertTrue(ready.startswith("ready netconf=127.0.0.1:"), ready)
        return self.connect_to(int(ready.rsplit(":", 1)[1]))

    def test_a_gain_that_is_set_moves_the_power_and_the_input_stays(self):
        client = self.serve()
        before = reading(client, "0/1-AMP-PRE", "output-power-c-band")
        gain = reading(client, "0/1-AMP-PRE", "actual-gain")
        set_gain(client, "0/1-AMP-PRE", "%.1f" % (gain + 2))
        self.wait_for(
            lambda: 1.8 < reading(client, "0/1-AMP-PRE", "output-power-c-band") - before < 2.2,
            "the output is not 2 dB higher",
        )
        self.assertAlmostEqual(reading(client, "0/1-AMP-PRE", "input-power-c-band"), -15.43, delta=0.2)
        self.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.process.wait(60), 0)

    def test_events_happen_to_it(self):
        client = self.serve()
        client.create_subscription()
        ocamp("line", "event", os.path.join(self.node, "live"), "channels", "slot-1-in", "0")
        self.wait_for(
            lambda: reading(client, "0/1-AMP-PRE", "output-power-c-band") == -40, "the amplifier is not shut down"
        )
        told = ""
        while "channels slot-1-in 0" not in told:
            notification = client.take_notification(timeout=60)
            self.assertIsNotNone(notification, told)
            told += notification.notification_xml

    def test_the_server_ends_when_time_cannot_go_on(self):
        self.serve()
        end = time.monotonic() + 60
        # A second that is being written may mend it.
        while self.process.poll() is None and time.monotonic() < end:
            with open(self.node + "/live/line.db", "r+b") as database:
                database.write(b"no database" * 1000)
            time.sleep(0.5)
        self.assertEqual(self.process.wait(60), 1)
        log = self.logged()
        self.assertIn("node-stands-still", log)
        self.assertRegex(log, "(?m)^ocampd: ")

    def test_without_the_option_nothing_moves(self):
        self.start("serve", "--node", self.node, "--netconf", "127.0.0.1:0")
        self.next_line()
        self.assertFalse(os.path.exists(os.path.join(self.node, "node.live")))

    def test_a_node_that_a_line_keeps_alive_is_refused(self):
        line = os.path.join(self.folder, "line")
        ocamp("line", "init", line, "--from", os.environ["EXAMPLE_LINE"])
        refused = subprocess.run(
            [os.environ["OCAMP"], "serve", "--node", line + "/nodes/site-1", "--live", "--netconf", "127.0.0.1:0"],
            capture_output=True, text=True,
        )
        self.assertEqual(refused.returncode, 2)
        self.assertIn("a node of a line, expected one that lives by itself", refused.stderr)


if __name__ == "__main__":
    unittest.main()
