"""grpc-js for tests that are written in Python: a channel whose calls are made by a node process, from the request's
fields to the answer's. NODE_MODULES is where its packages and client.js are.
"""

import atexit
import base64
import itertools
import json
import os
import queue
import subprocess
import threading

import grpc
from google.protobuf import json_format


class Failure(grpc.RpcError):
    """A status that is not OK."""

    def __init__(self, code, details):
        super().__init__(code, details)
        self._code, self._details = code, details

    def code(self):
        return self._code

    def details(self):
        return self._details


CODES = {code.value[0]: code for code in grpc.StatusCode}


def fields(message):
    """A message as protobuf.js takes it: names as in the .proto file, bytes in base64."""
    plain = {}
    for field, value in message.ListFields():
        if field.message_type and field.message_type.GetOptions().map_entry:
            plain[field.name] = dict(value)
        elif field.label == field.LABEL_REPEATED:
            plain[field.name] = [one_field(field, one) for one in value]
        else:
            plain[field.name] = one_field(field, value)
    return plain


def one_field(field, value):
    if field.type == field.TYPE_MESSAGE:
        return fields(value)
    if field.type == field.TYPE_BYTES:
        return base64.b64encode(value).decode()
    if field.type in (field.TYPE_DOUBLE, field.TYPE_FLOAT) and value != value:
        return "NaN"
    if field.type in (field.TYPE_INT64, field.TYPE_UINT64):
        return str(value)
    return value


class Node:
    """The node process that all channels share."""

    one = None

    @classmethod
    def get(cls):
        if cls.one is None:
            cls.one = cls()
            atexit.register(cls.one.end)
        return cls.one

    def __init__(self):
        script = os.path.join(os.environ["NODE_MODULES"], "client.js")
        self.process = subprocess.Popen(["node", script, os.environ["PROTO"]], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.numbers = itertools.count()
        self.arrived = {}  # a queue each call
        self.lock = threading.Lock()
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def tell(self, **command):
        with self.lock:
            self.process.stdin.write(json.dumps(command) + "\n")
            self.process.stdin.flush()

    def read(self):
        for line in self.process.stdout:
            message = json.loads(line)
            self.arrived[message["id"]].put(message)
        for arrived in list(self.arrived.values()):
            arrived.put({"code": 2, "details": "the node process has ended"})

    def end(self):
        with self.lock:
            self.process.stdin.close()
        self.process.wait(60)
        self.reader.join()
        self.process.stdout.close()


class Stream:
    """What comes of a call: an iterator over the responses, as grpcio's."""

    def __init__(self, node, response, metadata, **call):
        self.node = node
        self.response = response
        self.number = next(node.numbers)
        self.arrived = node.arrived[self.number] = queue.Queue()
        node.tell(id=self.number, metadata=dict(metadata), **call)

    def __iter__(self):
        return self

    def __next__(self):
        message = self.arrived.get()
        if "response" in message:
            return json_format.ParseDict(message["response"], self.response())
        self.arrived.put(message)  # for whoever asks again
        if message["code"] == 0:
            raise StopIteration
        raise Failure(CODES[message["code"]], message["details"])

    def send(self, requests):
        for request in requests:
            self.node.tell(id=self.number, send=fields(request))
        self.node.tell(id=self.number, half_close=True)

    def cancel(self):
        self.node.tell(id=self.number, cancel=True)


class GrpcJsChannel:
    """As GrpcioChannel."""

    def __init__(self, address, credentials, longest):
        self.longest = longest
        self.node = Node.get()
        self.number = next(self.node.numbers)
        pem = credentials and {name: part.decode() for name, part in credentials.items()}
        self.node.tell(id=self.number, connect=address, credentials=pem)

    def unary(self, name, request, response, metadata):
        [answer] = Stream(self.node, response, metadata, open=name, on=self.number, request=fields(request),
                          seconds=self.longest)
        return answer

    def stream(self, name, requests, response, metadata, seconds):
        stream = Stream(self.node, response, metadata, open=name, on=self.number, seconds=seconds)
        threading.Thread(target=stream.send, args=[requests], daemon=True).start()
        return stream

    def pause(self, stream):
        self.node.tell(id=stream.number, pause=True)

    def resume(self, stream):
        self.node.tell(id=stream.number, resume=True)

    def close(self):
        self.node.tell(id=self.number, disconnect=True)
