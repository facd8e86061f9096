"""The client as a program: what it is started with, and what it answers."""

import json
import os
import subprocess
from concurrent import futures

import grpc

PASSWORD_VARIABLE = "OCAMP_GNMI_PASSWORD"


def environment(**more):
    # A proxy of the machine that tests is none of the tests' business.
    kept = {name: value for name, value in os.environ.items() if "proxy" not in name.lower()}
    return {**kept, **more}


class Program:
    """'ocamp gnmi' with the options of its connection."""

    def __init__(self, port, *options, host="127.0.0.1", **variables):
        self.connection = ["--target", "%s:%d" % (host, port), *options]
        self.variables = variables

    def words(self, command, *arguments):
        return [os.environ["OCAMP"], "gnmi", command, *self.connection, *arguments]

    def run(self, command, *arguments, input=""):
        return subprocess.run(self.words(command, *arguments), input=input, capture_output=True, text=True, timeout=60,
                              env=environment(**self.variables))

    def start(self, command, *arguments, stdin=subprocess.DEVNULL):
        return subprocess.Popen(self.words(command, *arguments), stdin=stdin, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, env=environment(**self.variables))

    def lines(self, test, command, *arguments, input=""):
        """The answer of a command that is carried out, an object a line."""
        done = self.run(command, *arguments, input=input)
        test.assertEqual((0, ""), (done.returncode, done.stderr))
        return [json.loads(line) for line in done.stdout.splitlines()]

    def flat(self, test, command, *arguments):
        done = self.run(command, "--format", "flat", *arguments)
        test.assertEqual((0, ""), (done.returncode, done.stderr))
        return done.stdout.splitlines()

    def refused(self, test, status, words, command, *arguments, input=""):
        """The command fails with the status, one line on standard error that has the words, and no answer."""
        done = self.run(command, *arguments, input=input)
        test.assertEqual((status, ""), (done.returncode, done.stdout), done.stderr)
        test.assertRegex(done.stderr, r"\Aocamp: [^\n]*\n\Z")
        for word in words:
            test.assertIn(word, done.stderr)


class BareServer:
    """A gRPC server that answers with whatever bytes a function gives for the bytes of a request."""

    def __init__(self, unary=None, stream=None):
        self.server = grpc.server(futures.ThreadPoolExecutor(4))
        handlers = {
            name: grpc.unary_unary_rpc_method_handler(unary) for name in ("Capabilities", "Get", "Set") if unary
        }
        if stream:
            handlers["Subscribe"] = grpc.stream_stream_rpc_method_handler(stream)
        # Without serializers: bytes in, bytes out.
        self.server.add_generic_rpc_handlers((grpc.method_handlers_generic_handler("gnmi.gNMI", handlers),))
        self.port = self.server.add_insecure_port("127.0.0.1:0")
        self.server.start()

    def stop(self):
        self.server.stop(None)
