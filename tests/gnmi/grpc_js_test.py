"""The gNMI server with grpc-js, a client of its own kind; NODE_MODULES is where it was installed."""

import json
import os
import subprocess
import unittest

from gnmi_client import PASSWORD, GnmiTest, ocamp


class GrpcJsTest(GnmiTest):
    def test_sets_the_gain_and_a_stream_sees_the_change(self):
        script = os.path.join(os.environ["NODE_MODULES"], "client.js")
        done = subprocess.run(["node", script, os.environ["PROTO"], str(self.server.port), "olga", PASSWORD],
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(0, done.returncode, done.stderr)
        seen = {}
        for line in done.stdout.splitlines():
            seen.update(json.loads(line))
        self.assertEqual({"version": "0.10.0", "set": ["UPDATE"], "seen": 11.3, "got": '"11.3"', "refused": 3}, seen)
        self.assertIn('"target-gain": "11.3"', ocamp("get", "--node", self.node))


if __name__ == "__main__":
    unittest.main()
