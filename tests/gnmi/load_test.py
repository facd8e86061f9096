"""The gNMI server under load and attack: what it loses (nothing), how long it takes, and what it holds meanwhile."""

import collections
import os
import random
import resource
import signal
import socket
import subprocess
import threading
import time
import unittest

import grpc
from gnmi_client import AMPLIFIER, GnmiTest, Leaves, content, ext, path, pb, subscription, update

PRE = AMPLIFIER % "0/1-AMP-PRE"
GAIN = PRE + "/config/target-gain"
NATIVE = "/interface-configurations/interface-configuration[active=act][interface-name=Ots0/1/0/0]/optics/"
STREAM = pb.SubscriptionList.STREAM
MEGABYTE = 1024 * 1024
# The client's greeting, settings and nothing else.
GREETING = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + b"\x00\x00\x00\x04\x00\x00\x00\x00\x00"


def on_change(where):
    request = subscription(where, mode=STREAM)
    request.subscribe.subscription[0].mode = pb.ON_CHANGE
    return request


class Watcher(threading.Thread):
    """Reads one stream to its end: the values of each leaf after the first, in their order, and how many were merged."""

    def __init__(self, client, request):
        super().__init__(daemon=True)
        self.stream = client.subscribe([request])
        self.seen = {}
        self.merged = collections.Counter()
        self.synchronized = threading.Event()
        self.start()

    def run(self):
        try:
            for response in self.stream:
                if response.sync_response:
                    self.synchronized.set()
                if not self.synchronized.is_set():
                    continue
                for one in response.update.update:
                    leaf = one.path.elem[-1].name
                    self.seen.setdefault(leaf, []).append(one.val.double_val)
                    self.merged[leaf] += one.duplicates
        except grpc.RpcError:
            pass

    def last(self, leaf):
        return self.seen.get(leaf, [None])[-1]

    def wait_for(self, leaf, value, deadline):
        while self.last(leaf) != value and time.time() < deadline:
            time.sleep(0.02)


class ThousandStreamsTest(GnmiTest):
    options = ("--insecure", "--change-poll", "50")

    def change(self, admin, *values):
        """Gain and tilt, natively."""
        gain, tilt = (path(NATIVE + "optics-ots-amplifier-" + word, origin="native") for word in ("gain", "tilt"))
        admin.set(update=[update(gain, uint_val=round(values[0] * 10)), update(tilt, int_val=round(values[1] * 10))])

    def test_1000_streams_on_10_connections_miss_nothing_and_keep_the_order_while_memory_is_bounded(self):
        clients = [self.connect() for _ in range(10)]
        watchers = [Watcher(client, on_change(PRE + "/config")) for client in clients for _ in range(100)]
        for watcher in watchers:
            self.assertTrue(watcher.synchronized.wait(120))
        before = self.server.memory()
        steps = range(30)
        leaves = {"target-gain": [round(1 + i / 10, 1) for i in steps],
                  "target-gain-tilt": [round(-4 + i / 10, 1) for i in steps]}
        admin = self.connect("ada")
        begin = time.time()
        for step, values in enumerate(zip(*leaves.values())):
            time.sleep(max(0, begin + step / 10 - time.time()))
            self.change(admin, *values)
        rate = len(steps) / (time.time() - begin)
        deadline = time.time() + 600
        for watcher in watchers:
            for leaf, values in leaves.items():
                watcher.wait_for(leaf, values[-1], deadline)
        told = {leaf: set() for leaf in leaves}
        for watcher in watchers:
            for leaf, values in leaves.items():
                seen = watcher.seen[leaf]
                self.assertEqual(values[-1], seen[-1])
                # Each value was there, and is later than the one before.
                self.assertLessEqual(set(seen), set(values))
                self.assertEqual(sorted(set(seen)), seen)
                told[leaf].add(len(seen) + watcher.merged[leaf])
        # What one stream was told or has counted as merged, all were: of none is anything lost.
        for leaf, counts in told.items():
            self.assertEqual(1, len(counts), leaf)
            self.assertLessEqual(max(counts), len(steps))
        fast = max(told["target-gain"])
        # A change that nothing follows before all have it is told to all, by itself: none is lost for everybody.
        slow = [(9.1, 1.1), (8.2, 1.2), (9.3, 1.3), (8.4, 1.4), (9.5, 1.5)]
        for values in slow:
            self.change(admin, *values)
            for watcher in watchers:
                for leaf, value in zip(leaves, values):
                    watcher.wait_for(leaf, value, deadline)
        for watcher in watchers:
            for leaf, values in zip(leaves, zip(*slow)):
                self.assertEqual(list(values), watcher.seen[leaf][-len(slow):])
                self.assertEqual(fast + len(slow), len(watcher.seen[leaf]) + watcher.merged[leaf])
        grown = self.server.memory() - before
        print("1,000 streams: %d MiB before %d changes at %.1f a second, %d KiB more after; %d readings told them" % (
            before // MEGABYTE, len(steps), rate, grown // 1024, fast))
        # Of one that kept each of its updates it would be hundreds of bytes for each of 70,000.
        self.assertLess(grown, 12 * MEGABYTE)
        begin = time.time()
        self.assertEqual(0, self.server.end(signal.SIGTERM))
        self.assertLess(time.time() - begin, 2)


class SlowClientsTest(GnmiTest):
    def child(self):
        """A client in a process of its own that subscribes to everything, and says so."""
        code = ("import sys, time; sys.path.insert(0, %r)\n"
                "from gnmi_client import *\n"
                "client = Client(%d)\n"
                "request = subscription('/', mode=pb.SubscriptionList.STREAM)\n"
                "request.subscribe.subscription[0].mode = pb.SAMPLE\n"
                "request.subscribe.subscription[0].sample_interval = 10**8\n"
                "leaves = Leaves(client.subscribe([request])).until_sync()\n"
                "print('ready', flush=True)\n"
                "while True: leaves.take()\n" % (os.path.dirname(os.path.abspath(__file__)), self.server.port))
        process = subprocess.Popen(["/usr/bin/python3", "-c", code], stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.assertEqual("ready\n", process.stdout.readline())
        return process

    def test_a_stopped_client_costs_bounded_memory_and_holds_nobody_up(self):
        process = self.child()
        process.send_signal(signal.SIGSTOP)
        # Until the connection is full and what is to be sent waits.
        time.sleep(3)
        before = self.server.memory()
        watcher = Watcher(self.client, on_change(GAIN))
        self.assertTrue(watcher.synchronized.wait(60))
        for value in range(1, 40):
            self.client.set(update=[update(GAIN, double_val=value / 2)])
            time.sleep(0.1)
        watcher.wait_for("target-gain", 19.5, time.time() + 120)
        self.assertEqual(19.5, watcher.last("target-gain"))
        grown = self.server.memory() - before
        print("a stopped client: %d KiB more after %d samples of everything" % (grown // 1024, 40))
        self.assertLess(grown, 6 * MEGABYTE)

    def test_a_killed_client_leaves_nothing_behind(self):
        descriptors = "/proc/%d/fd" % self.server.process.pid
        self.client.capabilities()
        before = len(os.listdir(descriptors))
        process = self.child()
        self.assertGreater(len(os.listdir(descriptors)), before)
        process.kill()
        deadline = time.time() + 60
        while len(os.listdir(descriptors)) > before and time.time() < deadline:
            time.sleep(0.05)
        self.assertEqual(before, len(os.listdir(descriptors)))
        self.client.capabilities()


class AttacksTest(GnmiTest):
    def raw(self, sent=b""):
        plain = socket.create_connection(("127.0.0.1", self.server.port))
        self.addCleanup(plain.close)
        plain.settimeout(60)
        plain.sendall(sent)
        return plain

    def setUp(self):
        super().setUp()
        self.client.value(PRE + "/name")
        self.before = self.server.memory()

    def lives_for(self, user, most):
        """Like lives(), for another user."""
        self.client = self.connect(user)
        self.lives(most)

    def lives(self, most):
        """The server answers, and has grown by less than that many MiB. Up to 20 of them may be threads that gRPC starts
        when it has much to do, each with a heap of its own."""
        self.assertEqual("0/1-AMP-PRE", self.client.value(PRE + "/name"))
        grown = (self.server.memory() - self.before) // MEGABYTE
        print("%s: %d MiB before, %d MiB more" % (self._testMethodName, self.before // MEGABYTE, grown))
        self.assertLess(grown, most)

    def test_oversize_headers(self):
        for size in 20 * 1024, MEGABYTE:
            client = self.connect("olga", "x" * size)
            with self.assertRaises(grpc.RpcError) as raised:
                client.get(GAIN)
            self.assertIn(raised.exception.code(),
                          (grpc.StatusCode.RESOURCE_EXHAUSTED, grpc.StatusCode.UNAVAILABLE, grpc.StatusCode.INTERNAL))
        self.lives(32)

    def test_headers_of_16_kib_are_taken_and_a_byte_more_is_refused(self):
        method, name = "/gnmi.gNMI/Capabilities", b"more"
        # HTTP/2 counts 32 bytes for a field besides its name and value.
        room = 16 * 1024 - sum(len(one) + len(value) + 32 for one, value in [*self.fields_of(method), (name, b"")])
        for size, taken in (room, True), (room + 1, False):
            # The limit holds from when the client has acknowledged the server's settings.
            plain = self.raw(GREETING)
            plain.recv(1, socket.MSG_PEEK)
            plain.sendall(b"\x00\x00\x00\x04\x01\x00\x00\x00\x00" + self.request_of(method, b"", 1, (name, b"x" * size)))
            self.assertEqual(taken, self.is_answered(plain), size)

    def is_answered(self, plain):
        """Whether the one RPC of a connection gets DATA before its end."""
        with plain.makefile("rb") as frames:
            while True:
                head = frames.read(9)
                kind, flags, stream = head[3], head[4], int.from_bytes(head[5:], "big")
                frames.read(int.from_bytes(head[:3], "big"))
                if stream == 1 and kind == 0:
                    return True
                if stream == 1 and (kind == 3 or flags & 1):  # RST_STREAM, END_STREAM
                    return False

    def test_headers_that_never_end(self):
        """HEADERS and then CONTINUATION without end: each frame 16 KiB of one huge literal. Who has no user may not send so
        much."""
        huge = b"\x00" + b"\x01a" + b"\x7f\x80\x80\x80\x10"  # a literal of 32 MiB, as it says
        frame = lambda kind, body: len(body).to_bytes(3, "big") + bytes([kind, 0]) + b"\x00\x00\x00\x01" + body
        plain = self.raw(GREETING + frame(1, huge))
        plain.settimeout(2)  # or nobody reads them any more
        with self.assertRaises((ConnectionError, TimeoutError)):
            for _ in range(64 * MEGABYTE // 16384):
                plain.sendall(frame(9, b"x" * 16384))
        self.lives(64)

    def test_oversize_messages_are_refused_and_the_connection_lives_on(self):
        big = update(PRE + "/config", json_val=b'"' + b"x" * (5 * MEGABYTE) + b'"')
        self.assert_refused(grpc.StatusCode.RESOURCE_EXHAUSTED, lambda: self.client.set(update=[big]))
        self.lives(32)

    def test_answers_are_bounded(self):
        with self.assertRaises(grpc.RpcError) as raised:
            self.client.get(*[path("/", origin="native")] * 1024, encoding=pb.PROTO)
        self.assertEqual(grpc.StatusCode.RESOURCE_EXHAUSTED, raised.exception.code())
        self.assert_refused(grpc.StatusCode.INVALID_ARGUMENT, lambda: self.client.get(*[path("/")] * 1025), "1025")
        self.lives(64)

    def test_messages_of_many_small_parts(self):
        """Two bytes a path: parsed, each would take a hundred."""
        channel = self.client.channel.grpcio
        body = b"\x12\x00" * (2 * MEGABYTE - 100)
        for name in "Capabilities", "Get", "Set":
            call = channel.unary_unary("/gnmi.gNMI/" + name)
            begin = lambda metadata: [call.future(body, metadata=metadata, timeout=60) for _ in range(6)]
            # Nobody looks into those of nobody.
            for metadata, code in [([], grpc.StatusCode.UNAUTHENTICATED),
                                   (self.client.metadata, grpc.StatusCode.RESOURCE_EXHAUSTED)]:
                self.assertEqual({code}, {rpc.code() for rpc in begin(metadata)}, name)
        stream = channel.stream_stream("/gnmi.gNMI/Subscribe")
        subscriptions = b"\x0a\x80\x80\x80\x01" + b"\x12\x00" * MEGABYTE  # a list of 2 MiB
        self.assert_refused(grpc.StatusCode.RESOURCE_EXHAUSTED, lambda: stream(
            iter([subscriptions]), metadata=self.client.metadata, timeout=60), "fields")
        self.lives(64)

    def test_compressed_messages(self):
        """A few bytes on the wire would be as many megabytes."""
        client = grpc.insecure_channel("127.0.0.1:%d" % self.server.port, [("grpc.max_send_message_length", -1)],
                                       compression=grpc.Compression.Gzip)
        self.addCleanup(client.close)
        body = b"\x00" * (200 * MEGABYTE)
        for name in "Capabilities", "Get", "Set":
            self.assert_refused(grpc.StatusCode.UNIMPLEMENTED,
                                lambda name=name: client.unary_unary("/gnmi.gNMI/" + name)(body, timeout=60), "gzip")
        self.lives(32)

    def test_subscriptions_that_select_the_same_again_and_again(self):
        everything = ["/optical-amplifier", "/openconfig-optical-amplifier:optical-amplifier", "/"] * 341
        for mode in pb.SubscriptionList.ONCE, STREAM:
            self.assert_refused(grpc.StatusCode.RESOURCE_EXHAUSTED,
                                lambda mode=mode: self.client.subscribe([subscription(*everything, mode=mode)]), "leaves")
        # Some are taken, and tell each leaf.
        leaves = Leaves(self.client.subscribe([subscription(*everything[:16])])).until_sync()
        self.assertEqual(len(Leaves(self.client.subscribe([subscription("/")])).until_sync()), len(leaves))
        self.lives(32)

    def test_answers_that_nobody_reads(self):
        """A client whose window is closed: what was asked for waits, and is bounded for its user."""
        request = pb.GetRequest(path=[path("/")] * 1024, encoding=pb.JSON,
                                prefix=pb.Path(target="x" * 3000), extension=[ext.Extension(depth=ext.Depth(level=1))])
        plain = self.raw(GREETING[:24] + b"\x00\x00\x06\x04\x00\x00\x00\x00\x00" + b"\x00\x04\x00\x00\x00\x00")
        drain = threading.Thread(target=self.drain, args=[plain], daemon=True)
        drain.start()
        for number in range(60):
            plain.sendall(self.request_of("/gnmi.gNMI/Get", request.SerializeToString(), 2 * number + 1))
        # The user reaches its bound, and others are served meanwhile.
        large = lambda: self.client.get(*[path("/")] * 1000, encoding=pb.JSON, prefix=request.prefix, extension=request.extension)
        deadline = time.time() + 60
        self.assert_refused(grpc.StatusCode.RESOURCE_EXHAUSTED,
                            lambda: [large() for _ in iter(lambda: time.time() < deadline, False)], "under way")
        self.connect("ada").get(GAIN)
        self.lives_for("ada", 128)
        # With the connection goes what was held.
        plain.shutdown(socket.SHUT_RDWR)
        drain.join()
        client, deadline = self.connect(), time.time() + 60
        while True:
            try:
                client.get(GAIN)
                break
            except grpc.RpcError:
                self.assertLess(time.time(), deadline)
                time.sleep(0.05)

    def drain(self, plain):
        try:
            while plain.recv(65536):
                pass
        except OSError:
            pass

    def fields_of(self, method):
        """Those of the headers of an RPC."""
        fields = [(b":method", b"POST"), (b":scheme", b"http"), (b":path", method.encode()), (b":authority", b"a"),
                  (b"te", b"trailers"), (b"content-type", b"application/grpc")]
        return fields + [(name.encode(), value.encode()) for name, value in self.client.metadata]

    def request_of(self, method, message, stream, *more):
        """HEADERS and DATA of one RPC, without Huffman codes and tables. `more`: further fields."""
        def text(value):
            size = len(value) - 127
            if size < 0:
                return bytes([len(value)]) + value
            length = b"\x7f"
            while size > 127:
                length += bytes([size % 128 + 128])
                size //= 128
            return length + bytes([size]) + value

        block = b"".join(b"\x00" + text(name) + text(value) for name, value in [*self.fields_of(method), *more])
        frame = lambda kind, flags, body: (len(body).to_bytes(3, "big") + bytes([kind, flags]) +
                                           stream.to_bytes(4, "big") + body)
        return frame(1, 4, block) + frame(0, 1, b"\x00" + len(message).to_bytes(4, "big") + message)

    def test_one_users_gets_hold_up_nobody_else_and_end_when_they_are_given_up(self):
        # Each tells everything again and again, to the bound of an answer.
        get = pb.GetRequest(path=[path("/", origin="native")] * 1024, encoding=pb.PROTO).SerializeToString()
        call = self.client.channel.grpcio.unary_unary("/gnmi.gNMI/Get")
        other = self.connect("ada")
        other.get(GAIN)
        for given_up in False, True:
            rpcs = [call.future(get, metadata=self.client.metadata, timeout=110) for _ in range(40)]
            time.sleep(0.2)
            if given_up:
                for rpc in rpcs:
                    rpc.cancel()
            begin = time.time()
            (self.client if given_up else other).get(GAIN)
            waited = time.time() - begin
            # By far not all of them are done: it was not their turn, or nobody wants them any more.
            self.assertLess(sum(rpc.done() and not rpc.cancelled() for rpc in rpcs), 20)
            print("%d Gets under way%s: another was answered after %d ms" % (
                len(rpcs), ", given up" if given_up else "", waited * 1000))
            for rpc in rpcs:
                rpc.cancel()

    def test_sets_of_a_reader_take_no_place_and_no_time(self):
        body = pb.SetRequest(prefix=path("/optical-amplifier")).SerializeToString() + b"\x12\x00" * 190000
        rita = self.connect("rita")
        rita.get(GAIN)
        call = rita.channel.grpcio.unary_unary("/gnmi.gNMI/Set")
        rpcs = [call.future(body, metadata=rita.metadata, timeout=60) for _ in range(200)]
        self.client.set(update=[update(GAIN, double_val=3.25)])
        self.assertEqual({grpc.StatusCode.PERMISSION_DENIED}, {rpc.code() for rpc in rpcs})
        self.lives(64)

    def test_malformed_protobuf(self):
        channel = self.client.channel.grpcio
        for name in "Capabilities", "Get", "Set":
            call = channel.unary_unary("/gnmi.gNMI/" + name)
            for body in b"\xff" * 10, b"\x12\xff\xff\xff\xff\x0f", b"\x0a" * 5000:
                self.assert_refused(grpc.StatusCode.INVALID_ARGUMENT, lambda call=call, body=body: call(
                    body, metadata=self.client.metadata, timeout=60), "cannot be read")
        stream = channel.stream_stream("/gnmi.gNMI/Subscribe")
        self.assert_refused(grpc.StatusCode.INVALID_ARGUMENT, lambda: stream(
            iter([b"\xff" * 10]), metadata=self.client.metadata, timeout=60), "SubscribeRequest")
        self.assert_refused(grpc.StatusCode.UNIMPLEMENTED,
                            lambda: channel.unary_unary("/gnmi.gNMI/Nothing")(b"", metadata=self.client.metadata))
        self.lives(32)

    def test_json_without_bound(self):
        """A hundred thousand levels, and a million members in one array."""
        levels = 100_000
        invalid = grpc.StatusCode.INVALID_ARGUMENT
        for member in "json_val", "json_ietf_val":
            refused = lambda text, words, member=member: self.assert_refused(
                invalid, lambda: self.client.set(update=[update(PRE + "/config", **{member: text})]), words)
            refused(b"[" * levels + b"]" * levels, "nested deeper than 64")
            refused(b'{"a":' * levels + b"1" + b"}" * levels, "nested deeper than 64")
            refused(b"[" + b"{}," * 999_999 + b"{}]", "is a JSON array, expected an object")
        self.lives(160)

    def test_bytes_that_are_no_http2(self):
        generator = random.Random(1)
        for _ in range(50):
            plain = self.raw(generator.randbytes(generator.randrange(1, 2000)))
            plain.close()
        for _ in range(50):
            plain = self.raw(GREETING + generator.randbytes(generator.randrange(1, 2000)))
            plain.close()
        self.lives(32)

    def test_streams_opened_and_cancelled_in_a_loop(self):
        for _ in range(1000):
            self.client.subscribe([on_change("/")]).cancel()
        self.lives(32)

    def test_paths_of_10000_elements_in_every_rpc(self):
        long = "/a" * 10000
        invalid = grpc.StatusCode.INVALID_ARGUMENT
        self.assert_refused(invalid, lambda: self.client.get(long), "10000")
        self.assert_refused(invalid, lambda: self.client.set(update=[update(long, int_val=1)]), "10000")
        self.assert_refused(invalid, lambda: self.client.set(delete=[path(long)]), "10000")
        self.assert_refused(invalid, lambda: self.client.subscribe([on_change(long)]), "10000")
        self.lives(32)


class DescriptorsTest(GnmiTest):
    options = ("--insecure", "--max-connections-per-address", "500", "--max-connections", "500", "--log-in-time", "600")

    def test_the_server_raises_its_limit(self):
        soft, hard = resource.prlimit(self.server.process.pid, resource.RLIMIT_NOFILE)
        self.assertEqual(hard, soft)

    def test_who_takes_the_last_descriptor_is_turned_away(self):
        self.client.capabilities()
        process = self.server.process.pid
        used = {int(name) for name in os.listdir("/proc/%d/fd" % process)}
        free = [number for number in range(len(used) + 2) if number not in used]
        _, hard = resource.prlimit(process, resource.RLIMIT_NOFILE)
        # One for the connection, and none for watching it.
        resource.prlimit(process, resource.RLIMIT_NOFILE, (free[1], hard))
        with socket.create_connection(("127.0.0.1", self.server.port)) as last:
            last.settimeout(10)
            self.assertEqual(b"", last.recv(1))
        self.assertIn("no descriptor is left", self.server.read_log())
        resource.prlimit(process, resource.RLIMIT_NOFILE, (hard, hard))
        self.in_the_end(lambda: self.connect().capabilities())

    def test_the_server_accepts_again_after_descriptors_ran_out(self):
        self.client.capabilities()
        used = len(os.listdir("/proc/%d/fd" % self.server.process.pid))
        resource.prlimit(self.server.process.pid, resource.RLIMIT_NOFILE, (used + 20, used + 20))
        plain = []
        for _ in range(60):
            one = socket.create_connection(("127.0.0.1", self.server.port))
            plain.append(one)
        # Who is in goes on, and so does the node: the oldest of the silent ones make room.
        self.client.capabilities()
        self.in_the_end(lambda: self.client.set(update=[update(GAIN, double_val=3.5)]))
        self.in_the_end(lambda: self.connect().capabilities())
        for one in plain:
            one.close()
        self.in_the_end(lambda: self.connect().capabilities())

    def in_the_end(self, call):
        deadline = time.time() + 60
        while True:
            try:
                return call()
            except grpc.RpcError:
                self.assertLess(time.time(), deadline)
                time.sleep(0.1)


def stall_handshakes(test, beginning, credentials):
    """Connections that say nothing, or no more than a beginning, are ended, and hold nobody up meanwhile."""
    plain = [socket.create_connection(("127.0.0.1", test.server.port)) for _ in range(40)]
    for one in plain[20:]:
        one.sendall(beginning)
    test.connect(credentials=credentials).capabilities()
    for one in plain:
        one.settimeout(60)
        try:
            while one.recv(65536):
                pass
        except ConnectionResetError:
            pass
        one.close()


class StalledTlsTest(GnmiTest):
    options = ("--log-in-time", "4")

    def test_handshakes_that_stall_are_ended_and_hold_nobody_up(self):
        credentials = {"ca": content(os.path.join(self.node, "server", "gnmi-certificate.pem"))}
        stall_handshakes(self, b"\x16\x03\x01\x02\x00\x01", credentials)  # the beginning of a client's hello


class StalledGreetingTest(GnmiTest):
    options = ("--insecure", "--log-in-time", "4")

    def test_greetings_that_stall_are_ended_and_hold_nobody_up(self):
        stall_handshakes(self, GREETING[:10], None)


class DurabilityTest(GnmiTest):
    def test_sets_survive_kill_9_at_any_moment_whole_or_not_at_all(self):
        tilt = PRE + "/config/target-gain-tilt"
        generator = random.Random(2)
        acknowledged = 0
        for _ in range(10):
            client = self.connect()
            timer = threading.Timer(generator.uniform(0.05, 0.6), self.server.process.kill)
            timer.start()
            sent = acknowledged
            try:
                while True:
                    sent = sent % 50 + 1
                    client.set(update=[update(GAIN, double_val=sent / 10), update(tilt, double_val=sent / 10)])
                    acknowledged = sent
            except grpc.RpcError:
                pass
            timer.join()
            self.server.end(signal.SIGKILL)
            self.server.start()
            client = self.connect()
            gain, tilted = float(client.value(GAIN)), float(client.value(tilt))
            self.assertEqual(gain, tilted)
            if acknowledged:
                # What was not acknowledged may have been made.
                self.assertIn(round(gain * 10), (acknowledged, sent))
            acknowledged = round(gain * 10)


if __name__ == "__main__":
    unittest.main()
