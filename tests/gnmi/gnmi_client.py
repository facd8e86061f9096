"""gNMI for tests: a client over the project's own .proto files, Debian's grpcio unless another is given, and a server on a
fresh example node.

Programs, the example and the .proto files come from the environment: OCAMP, OCAMPD, EXAMPLE_NODE, PROTO.
"""

import atexit
import json
import os
import re
import shutil
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

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from ocamp_server import PASSWORD, USERS, Server, make_node, ocamp  # noqa: E402, F401

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


def flat(value, place=""):
    """Leaves of a JSON value by path, module names and lists' keys taken away."""
    if isinstance(value, dict):
        leaves = {}
        for name, member in value.items():
            leaves.update(flat(member, place + "/" + name.split(":")[-1]))
        return leaves
    if isinstance(value, list):
        leaves = {}
        for entry in value:
            key = entry.get("name", entry.get("interface"))
            leaves.update(flat(entry, "%s[%s]" % (place, key)))
        return leaves
    return {place: value}


def flat_xml(element, place=""):
    """The same of NETCONF's data, values as JSON has them."""
    leaves = {}
    for child in element:
        where = place + "/" + child.tag.split("}")[-1]
        if len(child):
            key = child.findtext("{*}name") or child.findtext("{*}interface")
            leaves.update(flat_xml(child, where if key is None or where.endswith("config") else "%s[%s]" % (where, key)))
        else:
            leaves[where] = {"true": True, "false": False}.get(child.text, child.text)
    return leaves


class GrpcioChannel:
    """One connection. `credentials`: what is needed of ca, key and certificate, in PEM; None: no TLS."""

    def __init__(self, address, credentials, longest=LONGEST):
        # Without probing, the window of a reader that reads nothing stays small. Each has a connection of its own.
        options = [("grpc.max_receive_message_length", -1), ("grpc.http2.bdp_probe", 0),
                   ("grpc.use_local_subchannel_pool", 1)]
        self.longest = longest
        if credentials is None:
            self.grpcio = grpc.insecure_channel(address, options)
        else:
            parts = (credentials.get(name) for name in ("ca", "key", "certificate"))
            self.grpcio = grpc.secure_channel(address, grpc.ssl_channel_credentials(*parts), options)

    def unary(self, name, request, response, metadata):
        rpc = self.grpcio.unary_unary("/gnmi.gNMI/" + name, request_serializer=type(request).SerializeToString,
                                      response_deserializer=response.FromString)
        return rpc(request, metadata=metadata, timeout=self.longest)

    def stream(self, name, requests, response, metadata, seconds):
        rpc = self.grpcio.stream_stream("/gnmi.gNMI/" + name,
                                        request_serializer=pb.SubscribeRequest.SerializeToString,
                                        response_deserializer=response.FromString)
        return rpc(iter(requests), metadata=metadata, timeout=seconds)

    # A stream is read when somebody takes from it, and no sooner.
    def pause(self, stream):
        pass

    def resume(self, stream):
        pass

    def close(self):
        self.grpcio.close()


class Client:
    """A user of a server, over a channel of grpcio or of another library with the same calls."""

    def __init__(self, port, user="olga", password=PASSWORD, credentials=None, channel=GrpcioChannel):
        self.channel = channel("127.0.0.1:%d" % port, credentials, LONGEST)
        self.metadata = [("username", user), ("password", password)] if user else []

    def close(self):
        self.channel.close()

    def call(self, name, request, response):
        return self.channel.unary(name, request, response, self.metadata)

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
        return self.channel.stream("Subscribe", requests, pb.SubscribeResponse, self.metadata, timeout)


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


def make_certificate(folder, name, ca=None, alternative=None, subject=None):
    """NAME.pem and NAME.key, signed by CA.pem or by itself."""
    file = os.path.join(folder, name)
    command = ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
               "-keyout", file + ".key", "-out", file + ".pem", "-subj", subject or "/CN=" + name]
    if alternative:
        command += ["-addext", "subjectAltName=" + alternative]
    if ca:
        command += ["-CA", os.path.join(folder, ca + ".pem"), "-CAkey", os.path.join(folder, ca + ".key")]
    subprocess.run(command, check=True, capture_output=True)
    return file


def content(file):
    with open(file, "rb") as opened:
        return opened.read()


class GnmiTest(unittest.TestCase):
    """A node and a server for all tests of a class."""

    options = ("--insecure",)
    channel = GrpcioChannel

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        cls.node = make_node(folder.name)
        cls.server = Server(cls.node, "gnmi", *cls.options)
        cls.addClassCleanup(lambda: cls.server.put_away())

    def setUp(self):
        self.client = self.connect()

    def connect(self, user="olga", password=PASSWORD, credentials=None):
        client = Client(self.server.port, user, password, credentials, self.channel)
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
