"""The whole gNMI server with Debian's grpcio: its connections, users, stops, and what NETCONF and the command line tell of
the same node."""

import json
import os
import re
import signal
import socket
import ssl
import subprocess
import threading
import time
import unittest

import grpc
from gnmi_client import (AMPLIFIER, PASSWORD, USERS, GnmiTest, Leaves, Server, content, flat, make_certificate, ocamp,
                         path, pb, subscription, text, update)
from lxml import etree
from ncclient import manager

PRE = AMPLIFIER % "0/1-AMP-PRE"
BOOSTER = AMPLIFIER % "0/1-AMP-BST"
GAIN = PRE + "/config/target-gain"
UNAUTHENTICATED = grpc.StatusCode.UNAUTHENTICATED
EXHAUSTED = grpc.StatusCode.RESOURCE_EXHAUSTED
INVALID = grpc.StatusCode.INVALID_ARGUMENT
STREAM = pb.SubscriptionList.STREAM
SECOND = 1000000000


class AgreementTest(GnmiTest):
    """Every leaf of both models as gNMI, NETCONF and the command line tell it."""

    options = ("--insecure", "--netconf", "127.0.0.1:0")

    def told(self):
        leaves = {}
        for origin in "openconfig", "native":
            for one in self.client.get(path("/", origin=origin), encoding=pb.ASCII).notification[0].update:
                leaves[text(one.path)] = one.val.ascii_val
        return leaves

    def leaves_of(self, element, place, keys, leaves):
        """Leaves of NETCONF's answer, by paths as gNMI writes them."""
        for child in element:
            name = etree.QName(child).localname
            names = re.sub(r"\[.*?\](?=/|\[|$)", "", place) + "/" + name
            own = sorted((key, child.findtext("{*}" + key)) for key in keys.get(names, ()))
            where = place + "/" + name + "".join("[%s=%s]" % pair for pair in own)
            if len(child):
                self.leaves_of(child, where, keys, leaves)
            else:
                leaves[where] = child.text or ""

    def test_values_agree_with_netconf_and_the_command_line_on_the_whole_model_leaf_by_leaf(self):
        ours = self.told()
        keys = {}
        for origin in "openconfig", "native":
            for one in self.client.get(path("/", origin=origin), encoding=pb.ASCII).notification[0].update:
                names = ""
                for elem in one.path.elem:
                    names += "/" + elem.name
                    if elem.key:
                        keys[names] = set(elem.key)
        with manager.connect(host="127.0.0.1", port=self.server.ports["netconf"], username="olga", password=PASSWORD,
                             hostkey_verify=False, look_for_keys=False, allow_agent=False) as session:
            data = etree.fromstring(session.get().data_xml.encode())
        netconf = {}
        self.leaves_of(data, "", keys, netconf)
        for name in "netconf-state", "modules-state", "yang-library", "netconf":
            netconf = {where: value for where, value in netconf.items() if not where.startswith("/" + name + "/")}
        self.assertGreater(len(ours), 300)
        self.assertEqual(sorted(netconf), sorted(ours))
        for where, value in ours.items():
            # NETCONF writes an identity with a prefix.
            self.assertIn(value, (netconf[where], netconf[where].split(":")[-1]), where)
        openconfig = json.loads(ocamp("get", "--node", self.node))
        self.assertEqual(flat(openconfig), flat(self.client.value("/")))

    def test_a_set_is_seen_by_all(self):
        self.client.set(update=[update(GAIN, double_val=12.3)])
        with manager.connect(host="127.0.0.1", port=self.server.ports["netconf"], username="olga", password=PASSWORD,
                             hostkey_verify=False, look_for_keys=False, allow_agent=False) as session:
            leaves = Leaves(self.client.subscribe([subscription(GAIN, mode=STREAM)])).until_sync()
            self.assertIn("<target-gain>12.3</target-gain>", session.get_config("running").data_xml)
            session.edit_config(
                target="running",
                config="""<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><optical-amplifier
                    xmlns="http://openconfig.net/yang/optical-amplfier"><amplifiers><amplifier><name>0/1-AMP-PRE</name>
                    <config><target-gain>12.7</target-gain></config></amplifier></amplifiers></optical-amplifier>
                    </config>""")
            leaves.until(lambda now: now[GAIN].double_val == 12.7)
        self.assertIn('"target-gain": "12.7"', ocamp("get", "--node", self.node))


class UsersTest(GnmiTest):
    def reload(self):
        self.server.reload()

    def open(self, client, interval=SECOND // 10):
        request = subscription(GAIN, mode=STREAM)
        request.subscribe.subscription[0].mode = pb.SAMPLE
        request.subscribe.subscription[0].sample_interval = interval
        return Leaves(client.subscribe([request])).until_sync()

    def test_streams_outlive_a_reload_of_the_users(self):
        leaves = self.open(self.client)
        # While others write, readings wait for their turn: a reload finds one that does.
        busy = threading.Event()
        busy.set()

        def write(client):
            while busy.is_set():
                client.set(update=[update(BOOSTER + "/config/target-gain", double_val=2)])

        writers = [threading.Thread(target=write, args=[self.connect()]) for _ in range(3)]
        for writer in writers:
            writer.start()
        try:
            for number in range(30):
                time.sleep(0.01 * (number % 10))
                self.reload()
            count = len(leaves.notifications)
            leaves.until(lambda now: len(now.notifications) > count + 50)
        finally:
            busy.clear()
            for writer in writers:
                writer.join()

    def test_streams_end_with_their_user_or_its_role(self):
        for user in "nora", "otto", "paul":
            ocamp("user", "add", "--node", self.node, user, "--role", "operator", input="secret words\n")
        self.reload()
        gone, demoted, kept = (self.open(self.connect(user, "secret words")) for user in ("nora", "otto", "paul"))
        ocamp("user", "rm", "--node", self.node, "nora")
        ocamp("user", "rm", "--node", self.node, "otto")
        ocamp("user", "add", "--node", self.node, "otto", "--role", "reader", input="secret words\n")
        self.reload()
        for leaves in gone, demoted:
            self.assert_refused(UNAUTHENTICATED, lambda leaves=leaves: leaves.stream, "user")
        count = len(kept.notifications)
        kept.until(lambda now: len(now.notifications) > count + 3)


    def test_streams_that_begin_while_their_user_goes_end_too(self):
        for _ in range(3):
            ocamp("user", "add", "--node", self.node, "quinn", "--role", "reader", input="secret words\n")
            self.reload()
            ocamp("user", "rm", "--node", self.node, "quinn")
            client = self.connect("quinn", "secret words")
            grpc.channel_ready_future(client.channel.grpcio).result(60)
            # Their password is checked while the users are read anew.
            known = self.server.read_log().count(" reloaded")
            streams = []
            for delay in range(15):
                streams.append(client.subscribe([subscription(GAIN, mode=STREAM)]))
                time.sleep(0.002)
                if delay == 7:
                    self.server.process.send_signal(signal.SIGHUP)
            while self.server.read_log().count(" reloaded") == known:
                time.sleep(0.01)
            for one in streams:
                self.assert_refused(UNAUTHENTICATED, lambda one=one: one)

    def test_a_stream_whose_user_is_gone_costs_nothing_though_nobody_reads_its_end(self):
        ocamp("user", "add", "--node", self.node, "rolf", "--role", "reader", input="secret words\n")
        self.reload()
        request = subscription(path("/", origin="native"), mode=STREAM)
        request.subscribe.subscription[0].mode = pb.SAMPLE
        request.subscribe.subscription[0].sample_interval = SECOND // 10
        # It takes one message, and then none: the rest waits in the server.
        stream = self.connect("rolf", "secret words").subscribe([request])
        next(stream)
        ocamp("user", "rm", "--node", self.node, "rolf")
        busy = self.busy()
        self.assertGreater(busy, 0.01)
        self.reload()
        self.assertLess(self.busy(), busy / 4)
        stream.cancel()

    def used(self):
        """Processor time of the server so far, in seconds."""
        with open("/proc/%d/stat" % self.server.process.pid) as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def busy(self):
        """The same of two seconds."""
        before = self.used()
        time.sleep(2)
        return self.used() - before

    def test_a_server_with_nothing_to_do_takes_no_time(self):
        self.client.capabilities()
        before = self.used()
        # One that turns in circles gets as much of a busy machine as this does.
        begin = time.process_time()
        while time.process_time() - begin < 0.2:
            pass
        self.assertLess(self.used() - before, 0.08)


def silent_connection(test):
    plain = socket.create_connection(("127.0.0.1", test.server.port))
    test.addCleanup(plain.close)
    plain.settimeout(60)
    return plain


def wait_for_end(plain):
    """Reads what the server greets with, to the end of the connection."""
    try:
        while plain.recv(4096):
            pass
    except ConnectionResetError:
        pass


class ConnectionsTest(GnmiTest):
    # None is ended for its time.
    options = ("--insecure", "--max-connections-per-address", "4", "--max-connections", "6", "--log-in-time", "600")

    def test_the_oldest_without_a_user_makes_room_for_a_new_one_and_those_with_users_stay(self):
        leaves = Leaves(self.client.subscribe([subscription(GAIN, mode=STREAM)])).until_sync()
        plain = [silent_connection(self) for _ in range(5)]
        wait_for_end(plain[0])
        self.connect().set(update=[update(GAIN, double_val=7.1)])
        leaves.until(lambda now: now[GAIN].double_val == 7.1)

    def test_a_flood_of_connections_is_no_flood_of_lines(self):
        known = len(self.server.read_log())
        begin = time.time()
        plain = [silent_connection(self) for _ in range(40)]
        for one in plain[:36]:
            wait_for_end(one)
        lines = self.server.read_log()[known:].count("connection-refused")
        self.assertIn(lines, range(1, int(time.time() - begin) + 3))

    def test_beyond_all_connections_new_ones_are_turned_away(self):
        clients = [self.connect() for _ in range(6)]
        for client in clients:
            client.capabilities()
        wait_for_end(silent_connection(self))
        for client in clients:
            client.capabilities()


class LogInTimeTest(GnmiTest):
    options = ("--insecure", "--log-in-time", "2")

    def test_one_without_a_user_is_ended_in_time(self):
        begin = time.time()
        greeted = silent_connection(self)
        # HTTP/2 is agreed upon, and no RPC follows.
        greeted.sendall(b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + b"\x00\x00\x00\x04\x00\x00\x00\x00\x00")
        wait_for_end(greeted)
        self.assertGreater(time.time() - begin, 1.5)


class LogInsTest(GnmiTest):
    """Who guesses passwords hinders nobody who is known."""

    options = ("--insecure", "--max-connections", "2", "--log-in-time", "600")

    def setUp(self):
        # Nobody has to wait for the guesses of another test, and no password is known from there.
        self.server.put_away()
        self.server.start()
        super().setUp()

    def guess(self, client, password):
        return client.channel.grpcio.unary_unary("/gnmi.gNMI/Get").future(
            pb.GetRequest(path=[path(GAIN)]).SerializeToString(), timeout=60,
            metadata=[("username", "olga"), ("password", password)])

    def slow_down(self, client):
        for i in range(3):
            self.assertEqual(UNAUTHENTICATED, self.guess(client, "slow %d" % i).code())

    def test_many_rpcs_with_one_password_are_one_attempt(self):
        rpcs = [self.guess(self.client, PASSWORD) for _ in range(100)]
        self.assertEqual({grpc.StatusCode.OK}, {rpc.code() for rpc in rpcs})
        self.assertLess(len(re.findall(" log-in ", self.server.read_log())), 50)

    def test_streams_without_a_user_take_no_users_place(self):
        self.client.capabilities()
        guesser = self.connect(password="wrong")
        self.slow_down(guesser)
        guesses = [guesser.subscribe([subscription(GAIN, mode=STREAM)]) for _ in range(2 * 16)]
        leaves = Leaves(self.client.subscribe([subscription(GAIN, mode=STREAM)])).until_sync()
        self.assertIn(GAIN, leaves)
        for one in guesses:
            self.assert_refused(UNAUTHENTICATED, lambda one=one: one, "username")

    def test_attempts_beyond_the_bound_are_told_and_cancelled_ones_make_room(self):
        self.client.capabilities()
        guesser = self.connect(password="wrong")
        self.slow_down(guesser)
        rpcs = [self.guess(guesser, "wrong %d" % i) for i in range(50)]
        codes = [rpc.code() for rpc in rpcs[40:]]
        self.assertIn(EXHAUSTED, codes)
        self.client.capabilities()
        for rpc in rpcs:
            rpc.cancel()
        begin = time.time()
        while (late := self.guess(guesser, "late").code()) == EXHAUSTED:
            time.sleep(0.05)
        self.assertEqual(UNAUTHENTICATED, late)
        self.assertLess(time.time() - begin, 60)


class LimitsTest(GnmiTest):
    options = ("--insecure", "--max-connections", "2", "--max-message", "20000")
    in_all = 2 * 16

    def open(self, client):
        return Leaves(client.subscribe([subscription(GAIN, mode=STREAM)]))

    def test_streams_in_all(self):
        clients = [self.client, self.connect()]
        streams = [self.open(clients[i % 2]).until_sync() for i in range(self.in_all)]
        self.assert_refused(EXHAUSTED, lambda: self.open(self.client).stream, "streams")
        # The others live on, and one that ends makes room.
        streams.pop().stream.cancel()
        deadline = time.time() + 60
        while True:
            try:
                streams.append(self.open(self.client).until_sync())
                break
            except grpc.RpcError:
                self.assertLess(time.time(), deadline)
                time.sleep(0.05)
        self.client.set(update=[update(GAIN, double_val=4.4)])
        for one in streams:
            one.until(lambda now: now[GAIN].double_val == 4.4)
            one.stream.cancel()

    def test_sizes_of_messages(self):
        """As the option says: of what a client sends, and of what is answered to a Get."""
        long = path(GAIN, target="x" * 19000)
        self.client.get(long)
        self.assert_refused(EXHAUSTED, lambda: self.client.get(path(GAIN, target="x" * 20000)))
        self.client.get(GAIN)
        many = lambda count: self.client.get(*[PRE] * count, encoding=pb.JSON)
        size = many(1).ByteSize()
        most = 20000 // size
        self.assertGreater(most, 3)
        many(most - 1)
        self.assert_refused(EXHAUSTED, lambda: many(most + 1), "20000")


class LimitsOfAUserTest(GnmiTest):
    options = ("--insecure", "--max-connections-per-user", "2", "--idle-time", "3")

    def test_connections_beyond_those_of_one_user_are_refused_and_others_are_served(self):
        self.client.get(GAIN)
        second, third = self.connect(), self.connect()
        second.get(GAIN)
        self.assert_refused(EXHAUSTED, lambda: third.get(GAIN), "as many connections")
        self.assert_refused(EXHAUSTED, lambda: third.subscribe([subscription(GAIN)]), "as many connections")
        self.client.get(GAIN)
        self.connect("rita").get(GAIN)
        # The connection that was too much is another user's, and one that ends makes room.
        third.metadata = [("username", "ada"), ("password", PASSWORD)]
        third.get(GAIN)
        second.close()
        self.get_in_the_end(self.connect())

    def get_in_the_end(self, client):
        deadline = time.time() + 60
        while True:
            try:
                return client.get(GAIN)
            except grpc.RpcError as error:
                self.assertEqual(EXHAUSTED, error.code())
                self.assertLess(time.time(), deadline)
                time.sleep(0.05)

    def test_streams_beyond_those_of_one_user_are_refused_and_others_are_served(self):
        request = subscription(GAIN, mode=STREAM)
        self.get_in_the_end(self.client)
        streams = [Leaves(self.client.subscribe([request])).until_sync() for _ in range(2 * 16)]
        self.assert_refused(EXHAUSTED, lambda: self.client.subscribe([request]), "of this user")
        other = Leaves(self.connect("rita").subscribe([request])).until_sync()
        self.connect("ada").set(update=[update(GAIN, double_val=4.6)])
        for one in [*streams, other]:
            one.until(lambda now: now[GAIN].double_val == 4.6)
            one.stream.cancel()

    def test_what_a_user_has_under_way_is_bounded_and_others_are_served(self):
        long = path(GAIN)
        long.elem[2].key["name"] = " " * 3900000
        done = threading.Event()
        self.addCleanup(done.set)

        def open_one():
            def requests():
                yield subscription(long, mode=pb.SubscriptionList.POLL)
                yield pb.SubscribeRequest(poll=pb.Poll())
                done.wait()
            return Leaves(self.client.subscribe(requests()))

        opened = []
        with self.assertRaises(grpc.RpcError) as refused:
            while len(opened) < 20:
                opened.append(open_one().until_sync())
        self.assertEqual(EXHAUSTED, refused.exception.code())
        self.assertIn("too much is under way", refused.exception.details())
        self.assertGreater(len(opened), 3)
        self.connect("rita").get(GAIN)

    def test_a_connection_without_an_rpc_ends_in_time_and_one_with_a_stream_stays(self):
        self.get_in_the_end(self.client)
        leaves = Leaves(self.client.subscribe([subscription(GAIN, mode=STREAM)])).until_sync()
        idle = self.connect("rita")
        left = threading.Event()
        ready = grpc.ChannelConnectivity.READY
        idle.get(GAIN)
        idle.channel.grpcio.subscribe(lambda state: state != ready and left.set())
        self.assertTrue(left.wait(60))
        self.connect("ada").set(update=[update(GAIN, double_val=4.7)])
        leaves.until(lambda now: now[GAIN].double_val == 4.7)
        idle.get(GAIN)


class PingTest(GnmiTest):
    # Settings of the client's and their acknowledgement are of no interest here.
    GREETING = b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + b"\x00\x00\x00\x04\x00\x00\x00\x00\x00"
    PING, GOAWAY = 6, 7

    def ping(self, times, pause):
        """Kinds of the frames that answer pings."""
        plain = silent_connection(self)
        frames = plain.makefile("rb")
        plain.sendall(self.GREETING)
        kinds = []
        for _ in range(times):
            time.sleep(pause)
            plain.sendall(b"\x00\x00\x08\x06\x00\x00\x00\x00\x00" + b"12345678")
            while not kinds or kinds[-1] not in (self.PING, self.GOAWAY):
                head = frames.read(9)
                frames.read(int.from_bytes(head[:3], "big"))
                kinds.append(head[3])
            if kinds[-1] == self.GOAWAY:
                break
            kinds.append(None)
        return kinds

    def test_who_pings_once_a_second_is_answered_and_who_floods_is_sent_away(self):
        seldom = self.ping(5, 1.1)
        self.assertEqual(5, seldom.count(self.PING))
        self.assertNotIn(self.GOAWAY, seldom)
        self.assertIn(self.GOAWAY, self.ping(100, 0))


class StreamsOfAConnectionTest(GnmiTest):
    def test_subscriptions_of_a_list(self):
        Leaves(self.client.subscribe([subscription(*[GAIN] * 1024)])).until_sync()
        self.assert_refused(INVALID, lambda: self.client.subscribe([subscription(*[GAIN] * 1025)]), "1025")

    def test_one_more_than_a_connection_may_have_begins_when_another_ends(self):
        request = subscription(GAIN, mode=STREAM)
        streams = [Leaves(self.client.subscribe([request])).until_sync() for _ in range(256)]
        begun = threading.Event()
        late = Leaves(self.client.subscribe([request]))
        waiting = threading.Thread(target=lambda: (late.until_sync(), begun.set()))
        waiting.start()
        self.assertFalse(begun.wait(1))
        # Another connection is not held up by this one.
        Leaves(self.connect().subscribe([subscription(GAIN)])).until_sync()
        streams.pop().stream.cancel()
        self.assertTrue(begun.wait(60))
        waiting.join()


class AddressTest(GnmiTest):
    def test_without_address_it_is_the_default_one(self):
        self.server.put_away()
        # Whoever has the port, if not this test: the server tells which one it wanted.
        with socket.socket() as taken:
            taken.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            try:
                taken.bind(("127.0.0.1", 9339))
                taken.listen()
            except OSError:
                pass
            done = subprocess.run([os.environ["OCAMPD"], "--node", self.node, "--gnmi", "--insecure"],
                                  capture_output=True, text=True, timeout=60)
        self.assertEqual(2, done.returncode, done.stderr)
        self.assertIn("127.0.0.1:9339: Address already in use", done.stderr)
        self.assertNotIn("8300", done.stderr)


class StopTest(GnmiTest):
    def test_server_stops_while_passwords_are_checked(self):
        get = pb.GetRequest(path=[path("/")]).SerializeToString()
        subscribe = subscription("/", mode=STREAM).SerializeToString()
        for delay in (0.005, 0.01, 0.02, 0.04, 0.08):
            client = self.connect()
            grpc.channel_ready_future(client.channel.grpcio).result(60)
            rpcs = []
            for user in USERS:
                metadata = [("username", user), ("password", PASSWORD)]
                rpcs.append(client.channel.grpcio.unary_unary("/gnmi.gNMI/Get").future(get, metadata=metadata, timeout=2))
                rpcs.append(client.channel.grpcio.stream_stream("/gnmi.gNMI/Subscribe")(
                    iter([subscribe]), metadata=metadata, timeout=2))
            time.sleep(delay)
            self.assertEqual(0, self.server.end(signal.SIGTERM), self.server.read_log())
            for rpc in rpcs:
                # Which status depends on how far the RPC and the end have come; one that met neither ends with its time.
                self.assertIsNotNone(rpc.code())
            client.close()
            self.server.start()

    def test_server_stops_with_open_streams_within_2_s(self):
        streams = [Leaves(self.client.subscribe([subscription("/", mode=STREAM)])).until_sync() for _ in range(50)]
        begin = time.time()
        self.assertEqual(0, self.server.end(signal.SIGTERM))
        self.assertLess(time.time() - begin, 2)
        for leaves in streams:
            with self.assertRaises(grpc.RpcError) as raised:
                while True:
                    leaves.take()
            self.assertEqual(grpc.StatusCode.UNAVAILABLE, raised.exception.code(), raised.exception.details())
            self.assertEqual("the server ends", raised.exception.details())


class GivenUpTest(GnmiTest):
    def test_a_set_whose_client_gives_up_while_it_waits_is_not_carried_out(self):
        rpc = self.client.channel.grpcio.unary_unary("/gnmi.gNMI/Set", request_serializer=pb.SetRequest.SerializeToString,
                                                     response_deserializer=pb.SetResponse.FromString)
        begin = lambda where, value: rpc.future(pb.SetRequest(update=[update(where, double_val=value)]),
                                                metadata=self.client.metadata)
        other = BOOSTER + "/config/target-gain"
        self.client.set(update=[update(other, double_val=3)])
        before = [begin(GAIN, 5 + i / 10) for i in range(100)]
        given_up = begin(other, 4)
        time.sleep(0.05)
        given_up.cancel()
        for one in before:
            one.result()
        self.client.set(update=[update(GAIN, double_val=2)])
        self.assertEqual("3.0", self.client.value(other))


class KillTest(GnmiTest):
    def test_an_acknowledged_set_survives_kill_9(self):
        tilt = PRE + "/config/target-gain-tilt"
        for value in range(1, 6):
            self.client.set(update=[update(GAIN, double_val=value), update(tilt, double_val=value)])
            self.server.end(signal.SIGKILL)
            self.server.start()
            self.client = self.connect()
            self.assertEqual(value, float(self.client.value(GAIN)))
            self.assertEqual(value, float(self.client.value(tilt)))


class RenewalTest(GnmiTest):
    """Files of certificates that change under a server."""

    def setUp(self):
        make_certificate(self.folder, "ca")
        for name, alternative in ("server", "DNS:localhost,IP:127.0.0.1"), ("rita", None):
            make_certificate(self.folder, name, "ca", alternative)
        self.server.put_away()
        type(self).server = Server(self.node, "gnmi", "--cert", self.file("server.pem"), "--key",
                                   self.file("server.key"), "--client-ca", self.file("ca.pem"))

    def file(self, name):
        return os.path.join(self.folder, name)

    def put(self, name, text):
        with open(self.file("new"), "wb") as new:
            new.write(text)
        os.replace(self.file("new"), self.file(name))

    def served(self):
        """The name in the server's certificate, as a handshake of now tells it."""
        context = ssl.create_default_context(cafile=self.file("ca.pem"))
        context.check_hostname = False
        context.load_cert_chain(self.file("rita.pem"), self.file("rita.key"))
        context.set_alpn_protocols(["h2"])
        with socket.create_connection(("127.0.0.1", self.server.port)) as plain:
            with context.wrap_socket(plain) as connection:
                return dict(pair[0] for pair in connection.getpeercert()["subject"])["commonName"]

    def until(self, condition, what):
        deadline = time.time() + 60
        while not condition():
            self.assertLess(time.time(), deadline, what)
            time.sleep(0.05)

    def look(self, times=1):
        """The server has looked at the files that often, at least. What it does in a reload is done before the next one."""
        for _ in range(times + 1):
            self.server.reload()

    def connect_as(self, name, authority="ca"):
        credentials = {"ca": content(self.file(authority + ".pem")), "key": content(self.file(name + ".key")),
                       "certificate": content(self.file(name + ".pem"))}
        return self.connect(None, credentials=credentials)

    def test_certificates_are_read_anew_when_the_files_change(self):
        self.assertEqual("server", self.served())
        kept = Leaves(self.connect_as("rita").subscribe([subscription(GAIN, mode=STREAM)])).until_sync()
        make_certificate(self.folder, "renewed", "ca", "DNS:localhost,IP:127.0.0.1")
        for kind in ".pem", ".key":
            os.replace(self.file("renewed" + kind), self.file("server" + kind))
        self.until(lambda: self.served() == "renewed", "the old certificate")
        self.assertEqual([], self.failures())
        # Who is connected stays so.
        ocamp("set", "--node", self.node, GAIN.replace("=", "='").replace("]", "']"), "8.8")
        kept.until(lambda now: now[GAIN].double_val == 8.8)

    def failures(self):
        return [line for line in self.server.read_log().splitlines() if "certificate-not-renewed" in line]

    def test_wrong_ones_are_told_in_the_log_and_the_old_ones_kept(self):
        other = make_certificate(self.folder, "other", "ca")
        good = {name: content(self.file(name)) for name in ("server.pem", "server.key", "ca.pem")}
        damaged = b"-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n"
        known = len(self.server.read_log())
        for name, wrong, reason in [("server.pem", b"no certificate", "expected a certificate in PEM"),
                                    ("server.key", content(other + ".key"), "expected the key of"),
                                    ("server.key", b"", "expected the key of"),
                                    ("ca.pem", b"no certificate", "expected a certificate in PEM"),
                                    ("ca.pem", good["ca.pem"] + damaged, "certificate 2"),
                                    ("server.pem", good["server.pem"] + damaged, "certificate 2")]:
            told = self.failures()
            self.put(name, wrong)
            # It is told once, and not at the first look, as files are changed one after the other.
            self.look(4)
            self.assertEqual(1, len(self.failures()) - len(told), name)
            self.assertIn(reason, self.failures()[-1])
            if name != "ca.pem":  # which this test trusts, too
                self.assertEqual("server", self.served())
            self.put(name, good[name])
            self.look()
        self.assertEqual("server", self.served())
        self.assertNotIn("certificate-renewed", self.server.read_log()[known:])

    def test_clients_of_every_authority_in_the_file_are_known(self):
        make_certificate(self.folder, "second-ca")
        make_certificate(self.folder, "olga", "second-ca")
        first = content(self.file("ca.pem"))
        self.put("first-ca.pem", first)
        renewed = self.server.read_log().count("certificate-renewed")
        self.put("ca.pem", first + content(self.file("second-ca.pem")))
        self.until(lambda: self.server.read_log().count("certificate-renewed") > renewed, "one authority")
        for name in "rita", "olga":
            self.assertEqual("0/1-AMP-PRE", self.connect_as(name, "first-ca").value(PRE + "/name"))
        self.put("ca.pem", first)

    def test_another_authority_of_clients_takes_the_place_of_the_one_before(self):
        make_certificate(self.folder, "other-ca")
        make_certificate(self.folder, "olga", "other-ca")
        get = lambda name: self.connect_as(name).value(GAIN)
        before = get("rita")
        unavailable = grpc.StatusCode.UNAVAILABLE
        self.assert_refused(unavailable, lambda: get("olga"))
        old = content(self.file("ca.pem"))
        # Clients go on checking the server's certificate against the old one.
        self.put("old-ca.pem", old)
        renewed = self.server.read_log().count("certificate-renewed")
        self.put("ca.pem", content(self.file("other-ca.pem")))
        self.until(lambda: self.server.read_log().count("certificate-renewed") > renewed, "the old authority")
        self.assertEqual(before, self.connect_as("olga", "old-ca").value(GAIN))
        self.assert_refused(unavailable, lambda: self.connect_as("rita", "old-ca").value(GAIN))
        self.put("ca.pem", old)


if __name__ == "__main__":
    unittest.main()
