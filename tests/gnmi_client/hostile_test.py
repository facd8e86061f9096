"""Targets that answer nonsense: the client says so and ends with status 1, or shows what there is; it never crashes."""

import json
import random
import socket
import threading
import time
import unittest

import grpc
from client_program import BareServer, Program
from gnmi_client import pb


def value(**one):
    return pb.TypedValue(**one)


def answer_of(*values, **more):
    return pb.GetResponse(notification=[pb.Notification(
        update=[pb.Update(path=pb.Path(elem=[pb.PathElem(name="a")]), val=one) for one in values], **more)])


class HostileTestCase(unittest.TestCase):
    def get(self, answer, *arguments):
        answer = answer if isinstance(answer, bytes) else answer.SerializeToString()
        return self.ask("get", lambda request, context: answer, None, "--path", "/", *arguments)

    def subscribe(self, answers, *arguments):
        def stream(requests, context):
            for one in answers:
                yield one if isinstance(one, bytes) else one.SerializeToString()
        return self.ask("subscribe", None, stream, "--path", "/", *arguments)

    def ask(self, command, unary, stream, *arguments):
        server = BareServer(unary, stream)
        self.addCleanup(server.stop)
        done = Program(server.port, "--insecure", "--timeout", "20s").run(command, *arguments)
        # A signal would be below zero, an abort of a library too.
        self.assertIn(done.returncode, (0, 1), done.stderr)
        self.assertRegex(done.stderr, r"\A(ocamp: [^\n]*\n)?\Z")
        self.assertEqual(done.returncode == 0, done.stderr == "")
        self.assertTrue(done.stdout.isprintable() or "\n" in done.stdout, done.stdout)
        return done

    def shown(self, one):
        done = self.get(answer_of(one))
        self.assertEqual(0, done.returncode, done.stderr)
        return json.loads(done.stdout)["updates"][0]["value"]


class HostileValuesTest(HostileTestCase):
    def test_values_of_every_kind_are_shown(self):
        for one, meant in (
                (value(string_val="\x1b[31m\n\u0085\u2028"), "\x1b[31m\n\u0085\u2028"),
                (value(int_val=-2**63), -2**63),
                (value(uint_val=2**64 - 1), 2**64 - 1),
                (value(bool_val=True), True),
                (value(bytes_val=b"\xff\x00"), "/wA="),
                (value(proto_bytes=b"\x01"), "AQ=="),
                (value(float_val=0.1), 0.1),
                (value(double_val=0.1), 0.1),
                (value(double_val=float("nan")), "NaN"),
                (value(double_val=float("-inf")), "-Infinity"),
                (value(float_val=float("inf")), "Infinity"),
                (value(decimal_val=pb.Decimal64(digits=-175, precision=4000000000)), "-175e-4000000000"),
                (value(leaflist_val=pb.ScalarArray(element=[value(int_val=1), value()])), [1, None]),
                (value(leaflist_val=pb.ScalarArray()), []),
                (value(json_val=b"{}"), {}),
                (value(json_ietf_val=b'{"b":[1.5,null]}'), {"b": [1.5, None]}),
                (value(ascii_val="x"), "x"),
                (value(), None)):
            self.assertEqual(meant, self.shown(one))
        any_value = value()
        any_value.any_val.type_url, any_value.any_val.value = "type.example/x", b"\xff"
        self.assertEqual({"type_url": "type.example/x", "value": "/w=="}, self.shown(any_value))

    def test_control_characters_do_not_reach_the_terminal(self):
        wild = answer_of(value(string_val="\x1b[31m\r\u009b\nupdate: 1"))
        for output in "json", "flat":
            done = self.get(wild, "--format", output)
            self.assertEqual(1, done.stdout.count("\n"))
            self.assertTrue(done.stdout.rstrip("\n").isprintable(), done.stdout)

    def test_json_that_is_none_is_a_failure(self):
        for text in b"", b"{", b"\xff", b"[1,]", b"nul", b'"\x01"', b"1 2", b"[" * 100000 + b"]" * 100000, \
                b'{"a":' * 3000 + b"1" + b"}" * 3000:
            for output in "json", "flat":
                done = self.get(answer_of(value(json_val=text)), "--format", output)
                self.assertEqual((1, ""), (done.returncode, done.stdout))
                self.assertIn("the target's value of /a ", done.stderr)

    def test_scalars_nested_deep(self):
        deep = value(int_val=1)
        for _ in range(40):
            deep = value(leaflist_val=pb.ScalarArray(element=[deep]))
        self.assertEqual(40, json.dumps(self.shown(deep)).count("["))
        raw = b"\x10\x01"  # int_val 1
        for _ in range(5000):
            raw = b"\x0a" + length(raw) + raw  # ScalarArray.element
            raw = b"\x42" + length(raw) + raw  # TypedValue.leaflist_val
        update = b"\x1a" + length(raw) + raw
        notification = b"\x22" + length(update) + update
        done = self.get(b"\x0a" + length(notification) + notification)
        self.assertEqual(1, done.returncode)


def length(data):
    number, encoded = len(data), b""
    while number >= 128:
        encoded += bytes([number % 128 + 128])
        number //= 128
    return encoded + bytes([number])


class HostileMessagesTest(HostileTestCase):
    def test_missing_fields(self):
        self.assertEqual("", self.get(pb.GetResponse()).stdout)
        self.assertIn("/", self.get(answer_of()).stdout + "/")
        for response in (pb.Notification(), pb.Notification(update=[pb.Update()]),
                         pb.Notification(update=[pb.Update(path=pb.Path(elem=[pb.PathElem()]))])):
            getattr(response, "delete").add()
            for output in "json", "flat":
                self.assertEqual(0, self.get(pb.GetResponse(notification=[response]), "--format", output).returncode)

    def test_times_and_enumerations_that_there_are_not(self):
        for stamp, told in ((1, "1970-01-01T00:00:00.000000001Z"), (-1, "1969-12-31T23:59:59.999999999Z"),
                            (2**63 - 1, "2262-04-11T23:47:16.854775807Z"),
                            (-2**63, "1677-09-21T00:12:43.145224192Z")):
            line = json.loads(self.get(answer_of(timestamp=stamp)).stdout)
            self.assertEqual((stamp, told), (line["timestamp"], line["time"]))
        response = pb.CapabilityResponse(supported_encodings=[77])
        done = self.ask("capabilities", lambda request, context: response.SerializeToString(), None)
        self.assertEqual(["77"], json.loads(done.stdout)["encodings"])
        result = pb.SetResponse(response=[pb.UpdateResult(op=99)])
        done = self.ask("set", lambda request, context: result.SerializeToString(), None, "--delete", "/a")
        self.assertEqual([{"operation": "99", "path": "/"}], json.loads(done.stdout)["results"])

    def test_long_paths_and_many_keys(self):
        path = pb.Path(elem=[pb.PathElem(name="n" * 100, key={"k%d" % i: "v" * 100 for i in range(20)})] * 500)
        self.assertEqual(0, self.get(pb.GetResponse(notification=[pb.Notification(
            prefix=path, update=[pb.Update(path=path)])])).returncode)

    def test_bytes_that_are_no_message(self):
        generator = random.Random(1)
        whole = answer_of(value(json_val=b'{"a":1}'), value(string_val="x")).SerializeToString()
        for number in range(12):
            noise = bytearray(whole) if number % 2 else bytearray(generator.randbytes(200))
            for _ in range(3):
                noise[generator.randrange(len(noise))] = generator.randrange(256)
            self.get(bytes(noise))

    def test_text_that_is_no_utf_8(self):
        bad = answer_of(value(string_val="xxxx")).SerializeToString().replace(b"xxxx", b"\xff\xfe\xff\xfe")
        self.assertIn(self.get(bad).returncode, (0, 1))

    def test_a_message_beyond_the_limit_is_a_failure(self):
        huge = answer_of(value(ascii_val="x" * 3000000))
        done = self.get(huge, "--max-message", "1000000")
        self.assertEqual(1, done.returncode)
        self.assertIn("RESOURCE_EXHAUSTED", done.stderr)
        self.assertEqual(0, self.get(huge).returncode)

    def test_statuses_with_any_text(self):
        for code in grpc.StatusCode:
            if code == grpc.StatusCode.OK:
                continue

            def refuse(request, context):
                context.abort(code, "\x1b[31mno\n" + "x" * 3000)
            done = self.ask("get", refuse, None, "--path", "/")
            self.assertEqual(1, done.returncode)
            self.assertIn(code.name + ": ", done.stderr)
            self.assertLess(len(done.stderr), 2000)

    def test_an_rpc_that_there_is_not(self):
        done = self.ask("capabilities", None, lambda requests, context: iter(()))
        self.assertIn("UNIMPLEMENTED", done.stderr)

    def test_a_target_that_does_not_answer(self):
        over = threading.Event()
        server = BareServer(lambda request, context: over.wait(60))
        self.addCleanup(server.stop)
        self.addCleanup(over.set)
        program = Program(server.port, "--insecure", "--timeout", "1s")
        program.refused(self, 1, ["DEADLINE_EXCEEDED"], "get", "--path", "/")
        program.refused(self, 1, ["DEADLINE_EXCEEDED", "whether the target has made the change is not known"], "set",
                        "--delete", "/a")

    def test_whatever_is_no_grpc(self):
        for said in b"HTTP/1.1 200 OK\r\n\r\n", b"SSH-2.0-x\r\n", b"\x00" * 5000, b"":
            with socket.create_server(("127.0.0.1", 0)) as listener:
                def talk():
                    try:
                        while True:
                            connection, _ = listener.accept()
                            connection.sendall(said)
                            connection.close()
                    except OSError:
                        pass
                threading.Thread(target=talk, daemon=True).start()
                program = Program(listener.getsockname()[1], "--insecure", "--timeout", "1s")
                program.refused(self, 1, ["UNAVAILABLE"], "capabilities")
                listener.shutdown(socket.SHUT_RDWR)


class HostileStreamsTest(HostileTestCase):
    sync = pb.SubscribeResponse(sync_response=True)

    def test_a_stream_that_ends_is_a_failure(self):
        for mode, answers in (("once", []), ("once", [pb.SubscribeResponse(update={})]), ("stream", [self.sync]),
                              ("poll", [])):
            done = self.subscribe(answers, "--mode", mode)
            self.assertEqual(1, done.returncode, mode)
            self.assertIn("the target ended the stream", done.stderr)

    def test_an_answer_that_is_neither_values_nor_sync(self):
        done = self.subscribe([pb.SubscribeResponse(), self.sync], "--mode", "once")
        self.assertEqual(1, done.returncode)
        self.assertIn("neither values nor sync_response", done.stderr)

    def test_what_came_before_a_bad_answer_is_out(self):
        good = pb.SubscribeResponse(update=answer_of(value(int_val=1)).notification[0])
        bad = pb.SubscribeResponse(update=answer_of(value(json_val=b"{")).notification[0])
        done = self.subscribe([good, bad, self.sync], "--mode", "once")
        self.assertEqual(1, done.returncode)
        self.assertEqual(1, json.loads(done.stdout)["updates"][0]["value"])
        for noise in b"\xff", b"\x0a\xff\xff\xff\xff\x0f":
            done = self.subscribe([good, noise], "--mode", "stream")
            self.assertEqual((1, 1), (done.returncode, done.stdout.count("\n")))

    def test_a_target_that_breaks_off(self):
        def stream(requests, context):
            yield self.sync.SerializeToString()
            context.abort(grpc.StatusCode.DATA_LOSS, "gone")
        done = self.ask("subscribe", None, stream, "--path", "/")
        self.assertIn("DATA_LOSS: gone", done.stderr)

    def test_a_flood_is_taken(self):
        one = pb.SubscribeResponse(update=answer_of(value(string_val="x" * 1000)).notification[0])
        done = self.subscribe([one] * 5000 + [self.sync], "--mode", "once")
        self.assertEqual((0, 5001), (done.returncode, done.stdout.count("\n")))

    def test_a_once_list_without_end_is_ended_by_the_timeout(self):
        def stream(requests, context):
            while context.is_active():
                yield pb.SubscribeResponse(update={}).SerializeToString()
                time.sleep(0.05)
        server = BareServer(None, stream)
        self.addCleanup(server.stop)
        done = Program(server.port, "--insecure", "--timeout", "1s").run("subscribe", "--mode", "once", "--path", "/")
        self.assertEqual(1, done.returncode)
        self.assertIn("DEADLINE_EXCEEDED", done.stderr)


if __name__ == "__main__":
    unittest.main()
