"""gNMI for tests: Debian's grpcio over the project's own .proto files, and a server on a fresh example node.

Programs, the example and the .proto files come from the environment: OCAMP, OCAMPD, EXAMPLE_NODE, PROTO.
"""

import atexit
import json
import os
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

# Python's code of the messages is made for each run: it belongs to the protobuf that is installed.
_generated = tempfile.mkdtemp()
atexit.register(shutil.rmtree, _generated, True)
subprocess.run(
    ["protoc", "-I", os.environ["PROTO"], "--python_out", _generated, "gnmi.proto", "gnmi_ext.proto"], check=True
)
sys.path.insert(0, _generated)

import grpc  # noqa: E402
import gnmi_pb2 as pb  # noqa: E402
import gnmi_ext_pb2 as ext  # noqa: E402

PASSWORD = "correct horse"
USERS = {"ada": "admin", "olga": "operator", "rita": "reader"}
# Of one RPC, for a server that shares its machine with a build.
LONGEST = 120
AMPLIFIER = "/optical-amplifier/amplifiers/amplifier[name=%s]"


def path(text, origin="", target=""):
    """A path from its text form."""
    made = pb.Path(origin=origin, target=target)
    for step in re.findall(r"/((?:[^/\[]|\[[^\]]*\])+)", text):
        elem = made.elem.add(name=step.split("[")[0])
        for key, value in re.findall(r"\[([^=]+)=([^\]]*)\]", step):
            elem.key[key] = value
    return made


def text(made):
    return "".join(
        "/" + elem.name + "".join("[%s=%s]" % pair for pair in sorted(elem.key.items())) for elem in made.elem
    )


class Client:
    def __init__(self, port, user="olga", password=PASSWORD, credentials=None):
        # Without probing, the window of a reader that reads nothing stays small. Each client has a connection of its own.
        options = [("grpc.max_receive_message_length", -1), ("grpc.http2.bdp_probe", 0),
                   ("grpc.use_local_subchannel_pool", 1)]
        address = "127.0.0.1:%d" % port
        self.channel = (
            grpc.secure_channel(address, credentials, options)
            if credentials
            else grpc.insecure_channel(address, options)
        )
        self.metadata = [("username", user), ("password", password)] if user else []

    def close(self):
        self.channel.close()

    def call(self, name, request, response):
        rpc = self.channel.unary_unary(
            "/gnmi.gNMI/" + name, request_serializer=type(request).SerializeToString,
            response_deserializer=response.FromString,
        )
        return rpc(request, metadata=self.metadata, timeout=LONGEST)

    def capabilities(self):
        return self.call("Capabilities", pb.CapabilityRequest(), pb.CapabilityResponse)

    def get(self, *paths, prefix=None, **more):
        paths = [path(one) if isinstance(one, str) else one for one in paths]
        return self.call("Get", pb.GetRequest(prefix=prefix, path=paths, **more), pb.GetResponse)

    def value(self, where, **more):
        """The one JSON value at a path."""
        response = self.get(where, encoding=pb.JSON_IETF, **more)
        return json.loads(response.notification[0].update[0].val.json_ietf_val)

    def set(self, **more):
        return self.call("Set", pb.SetRequest(**more), pb.SetResponse)

    def subscribe(self, requests, timeout=LONGEST):
        rpc = self.channel.stream_stream(
            "/gnmi.gNMI/Subscribe", request_serializer=pb.SubscribeRequest.SerializeToString,
            response_deserializer=pb.SubscribeResponse.FromString,
        )
        return rpc(iter(requests), metadata=self.metadata, timeout=timeout)


def update(where, **value):
    return pb.Update(path=path(where) if isinstance(where, str) else where, val=pb.TypedValue(**value))


def subscription(*paths, mode=pb.SubscriptionList.ONCE, encoding=pb.PROTO, prefix=None, updates_only=False,
                 extension=(), **more):
    return pb.SubscribeRequest(
        subscribe=pb.SubscriptionList(
            prefix=prefix, mode=mode, encoding=encoding, updates_only=updates_only,
            subscription=[
                pb.Subscription(path=path(one) if isinstance(one, str) else one, **more) for one in paths
            ],
        ),
        extension=extension,
    )


class Leaves(dict):
    """What a stream has told: value by path. Reads until sync_response, or until a condition holds."""

    def __init__(self, stream):
        super().__init__()
        self.stream = stream
        self.deleted = []
        self.notifications = []
        self.syncs = 0

    def take(self):
        response = next(self.stream)
        if response.WhichOneof("response") == "sync_response":
            self.syncs += 1
            return response
        self.notifications.append(response.update)
        prefix = text(response.update.prefix)
        for one in response.update.update:
            self[prefix + text(one.path)] = one.val
        for one in getattr(response.update, "delete"):
            self.deleted.append(prefix + text(one))
            self.pop(prefix + text(one), None)
        return response

    def until_sync(self):
        wanted = self.syncs + 1
        while self.syncs < wanted:
            self.take()
        return self

    def until(self, condition):
        while not condition(self):
            self.take()
        return self


def ocamp(*arguments, input=None):
    return subprocess.run(
        [os.environ["OCAMP"], *arguments], input=input, capture_output=True, text=True, check=True
    ).stdout


class Server:
    def __init__(self, node, *options):
        self.node = node
        self.options = options
        self.start()

    def start(self):
        self.log = open(self.node + ".log", "ab")
        self.process = subprocess.Popen(
            [os.environ["OCAMPD"], "--node", self.node, "--gnmi", "127.0.0.1:0", *self.options],
            stdout=subprocess.PIPE, stderr=self.log,
        )
        readable, _, _ = select.select([self.process.stdout], [], [], 60)
        line = self.process.stdout.readline().decode() if readable else ""
        if not line.startswith("ready"):
            raise RuntimeError("no server: %r, %s" % (line, self.read_log()))
        self.ports = {name: int(port) for name, port in re.findall(r"(\w+)=\S+:(\d+)", line)}
        self.port = self.ports["gnmi"]

    def end(self, number=signal.SIGKILL):
        if self.process.poll() is None:
            self.process.send_signal(number)
        status = self.process.wait(10)
        self.process.stdout.close()
        self.log.close()
        return status

    def read_log(self):
        with open(self.node + ".log", errors="replace") as log:
            return log.read()

    def memory(self):
        """Resident, in bytes."""
        with open("/proc/%d/status" % self.process.pid) as status:
            return next(int(line.split()[1]) * 1024 for line in status if line.startswith("VmRSS"))


class GnmiTest(unittest.TestCase):
    """A node and a server for all tests of a class."""

    options = ("--insecure",)

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        cls.node = os.path.join(folder.name, "node")
        ocamp("node", "init", cls.node, "--from", os.environ["EXAMPLE_NODE"])
        for user, role in USERS.items():
            ocamp("user", "add", "--node", cls.node, user, "--role", role, input=PASSWORD + "\n")
        cls.server = Server(cls.node, *cls.options)
        cls.addClassCleanup(lambda: cls.server.process.poll() is None and cls.server.end())

    def setUp(self):
        self.client = self.connect()

    def connect(self, user="olga", password=PASSWORD, credentials=None):
        client = Client(self.server.port, user, password, credentials)
        self.addCleanup(client.close)
        return client

    def assert_refused(self, code, call, *words):
        """The call is refused with the code, and the message has the words."""
        with self.assertRaises(grpc.RpcError) as raised:
            result = call()
            if not hasattr(result, "ListFields"):
                list(result)
        self.assertEqual(code, raised.exception.code(), raised.exception.details())
        for word in words:
            self.assertIn(word, raised.exception.details())
