"""The client's commands against the project's own server."""

import fcntl
import json
import os
import pty
import signal
import socket
import struct
import subprocess
import tempfile
import termios
import threading
import time
import unittest

from client_program import PASSWORD_VARIABLE, Program, environment
from gnmi_client import AMPLIFIER, PASSWORD, GnmiTest, Server, path, pb, text, update

MODEL = "openconfig-optical-amplifier"
PRE = AMPLIFIER % "0/1-AMP-PRE"
BOOSTER = AMPLIFIER % "0/1-AMP-BST"
GAIN = PRE + "/config/target-gain"
EVERY_GAIN = [AMPLIFIER % name + "/config/target-gain"
              for name in ("0/1-AMP-BST", "0/1-AMP-PRE", "0/2-AMP-BST", "0/2-AMP-PRE")]


def updates(lines):
    """Value by path of all notifications."""
    return {one["path"]: one["value"] for line in lines for one in line.get("updates", [])}


class ClientTestCase(GnmiTest):
    def program(self, user="olga", *options, **variables):
        return Program(self.server.port, "--insecure", "--username", user, *options,
                       **{PASSWORD_VARIABLE: PASSWORD, **variables})

    def value(self):
        return self.client.get(path(GAIN), encoding=pb.PROTO).notification[0].update[0].val.double_val


class CapabilitiesCommandTest(ClientTestCase):
    def test_an_object_with_version_encodings_and_models(self):
        [answer] = self.program().lines(self, "capabilities")
        self.assertEqual("0.10.0", answer["version"])
        self.assertEqual({"JSON", "JSON_IETF", "PROTO", "ASCII"}, set(answer["encodings"]))
        models = [{"name": one.name, "organization": one.organization, "version": one.version}
                  for one in self.client.capabilities().supported_models]
        self.assertEqual(models, answer["models"])
        self.assertEqual(["2019-12-06"], [one["version"] for one in models if one["name"] == MODEL])

    def test_flat(self):
        lines = self.program().flat(self, "capabilities")
        self.assertIn("version: 0.10.0", lines)
        self.assertIn("encoding: JSON_IETF", lines)
        self.assertEqual(1, sum(line.startswith("model: " + MODEL + " 2019-12-06") for line in lines))


class GetCommandTest(ClientTestCase):
    def test_one_object_for_each_path_with_its_value_and_time(self):
        lines = self.program().lines(self, "get", "--path", GAIN, "--path", BOOSTER + "/config/enabled")
        enabled = self.client.value(BOOSTER + "/config/enabled")
        self.assertEqual([{GAIN: self.value()}, {BOOSTER + "/config/enabled": enabled}],
                         [updates([line]) for line in lines])
        for line in lines:
            self.assertAlmostEqual(time.time(), line["timestamp"] / 1e9, delta=60)
            self.assertEqual(time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(line["timestamp"] // 10**9)),
                             line["time"][:19])
            self.assertEqual("%09d" % (line["timestamp"] % 10**9), line["time"][20:29])

    def test_a_subtree_is_one_value(self):
        [value] = updates(self.program().lines(self, "get", "--path", PRE + "/config")).values()
        self.assertEqual("0/1-AMP-PRE", value["name"])

    def test_encodings(self):
        values = {encoding: updates(self.program().lines(self, "get", "--path", GAIN, "--encoding", encoding))[GAIN]
                  for encoding in ("json", "JSON_IETF", "proto", "ascii")}
        number = self.value()
        self.assertEqual({"json": number, "JSON_IETF": "%.1f" % number, "proto": number, "ascii": "%.1f" % number},
                         values)

    def test_types(self):
        where = ["--path", PRE + "/.../target-gain", "--encoding", "proto"]
        for kind, containers in (("config", {"config"}), ("state", {"state"}), ("all", {"config", "state"})):
            paths = updates(self.program().lines(self, "get", *where, "--type", kind))
            self.assertEqual(containers, {one.split("/")[-2] for one in paths})

    def test_prefix_with_target_origin_and_depth(self):
        split = self.program().lines(self, "get", "--prefix", PRE, "--path", "config/target-gain",
                                     "--prefix-target", "node-1")
        self.assertEqual(({GAIN: self.value()}, "node-1"), (updates(split), split[0]["target"]))
        for native in ["--origin", "native", "--path", "/"], ["--path", "native:/"]:
            [(where, value)] = updates(self.program().lines(self, "get", *native, "--encoding", "json_ietf")).items()
            self.assertTrue(value)
            self.assertTrue(all(name.startswith("Korvex-") for name in value), list(value))
        shallow = updates(self.program().lines(self, "get", "--path", PRE + "/state", "--encoding", "proto",
                                               "--depth", "1"))
        self.assertIn(PRE + "/state/type", shallow)
        self.assertFalse([one for one in shallow if "actual-gain/" in one])

    def test_quotes_around_keys_are_not_part_of_them(self):
        for quote in "'", '"':
            quoted = PRE.replace("0/1-AMP-PRE", quote + "0/1-AMP-PRE" + quote) + "/config/target-gain"
            self.assertEqual({GAIN: self.value()}, updates(self.program().lines(self, "get", "--path", quoted)))

    def test_flat_is_a_leaf_a_line(self):
        every = self.program().flat(self, "get", "--path", AMPLIFIER % "*" + "/config/target-gain", "--encoding",
                                    "proto")
        self.assertEqual(EVERY_GAIN, sorted(line.split(": ")[0] for line in every))
        tree = self.program().flat(self, "get", "--path", PRE + "/config")
        self.assertIn("%s: %s" % (GAIN, self.value()), tree)

    def test_refusals_have_code_path_and_reason(self):
        self.client.set(delete=[path(AMPLIFIER % "0/2-AMP-PRE" + "/config/target-gain")])
        for code, where, word in (
                ("NOT_FOUND", AMPLIFIER % "0/2-AMP-PRE" + "/config/target-gain", "target-gain"),
                ("UNIMPLEMENTED", PRE + "/config/max-gain", "max-gain"),
                ("INVALID_ARGUMENT", PRE + "/config/colour", "colour")):
            self.program().refused(self, 1, [code + ": ", word], "get", "--path", where)
        self.program().refused(self, 1, ["UNIMPLEMENTED", "BYTES"], "get", "--path", GAIN, "--encoding", "bytes")

    def test_refusals_as_json(self):
        done = self.program().run("get", "--json", "--path", PRE + "/config/colour")
        error = json.loads(done.stderr)["error"]
        self.assertEqual((1, "INVALID_ARGUMENT", 1, None),
                         (done.returncode, error["code"], error["status"], error["tag"]))
        self.assertIn("colour", error["reason"])

    def test_wrong_use_as_json(self):
        done = self.program().run("get", "--json", "--path", "/a[")
        error = json.loads(done.stderr)["error"]
        self.assertEqual((2, None, 2), (done.returncode, error["code"], error["status"]))


class SetCommandTest(ClientTestCase):
    def test_update_in_each_encoding(self):
        for number, (encoding, value) in enumerate(
                (("json", "%d.5"), ("json_ietf", '"%d.5"'), ("proto", "%d.5"), ("ascii", "%d.5")), 1):
            [answer] = self.program().lines(self, "set", "--update-path", GAIN, "--update-value", value % number,
                                            "--encoding", encoding)
            self.assertEqual([{"operation": "UPDATE", "path": GAIN}], answer["results"])
            self.assertAlmostEqual(time.time(), answer["timestamp"] / 1e9, delta=60)
            self.assertEqual(number + 0.5, self.value())

    def test_a_value_below_zero_is_no_option(self):
        tilt = PRE + "/config/target-gain-tilt"
        self.program().lines(self, "set", "--update-path", tilt, "--update-value", "-0.5")
        self.assertEqual({tilt: -0.5}, updates(self.program().lines(self, "get", "--path", tilt)))

    def test_values_from_files(self):
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump({"name": "0/1-AMP-PRE", "target-gain": 8.5}, file)
            file.flush()
            self.program().lines(self, "set", "--update-path", PRE + "/config", "--update-file", file.name)
        self.assertEqual(8.5, self.value())
        self.program().lines(self, "set", "--update-path", GAIN, "--update-file", "-", input="9.5\n")
        self.assertEqual(9.5, self.value())

    def test_all_operations_are_told_in_the_order_of_the_protocol(self):
        where = [AMPLIFIER % name + "/config/target-gain" for name in ("0/1-AMP-PRE", "0/1-AMP-BST", "0/2-AMP-BST")]
        lines = self.program().flat(
            self, "set", "--update-path", where[0], "--update-value", "3", "--delete", where[1], "--replace-path",
            where[2], "--replace-value", "4")
        self.assertEqual([where[1] + ": DELETE", where[2] + ": REPLACE", where[0] + ": UPDATE"], lines)

    def test_union_replace(self):
        [answer] = self.program().lines(
            self, "set", "--union-replace-path", PRE + "/config", "--union-replace-value",
            '{"name":"0/1-AMP-PRE","target-gain":6.5}')
        self.assertEqual(["UNION_REPLACE"], [one["operation"] for one in answer["results"]])
        self.assertEqual(6.5, self.value())

    def test_a_commit_is_begun_confirmed_and_cancelled(self):
        self.program().lines(self, "set", "--update-path", GAIN, "--update-value", "1")
        begin = ["set", "--update-path", GAIN, "--update-value", "2", "--commit-id", "one", "--commit-request",
                 "--rollback-duration", "1m"]
        self.program().lines(self, *begin)
        self.program().refused(self, 1, ["FAILED_PRECONDITION"], "set", "--update-path", GAIN, "--update-value", "3")
        self.program().lines(self, "set", "--commit-id", "one", "--commit-cancel")
        self.assertEqual(1, self.value())
        self.program().lines(self, *begin)
        self.program().lines(self, "set", "--commit-id", "one", "--rollback-duration", "2m")
        self.program().lines(self, "set", "--commit-id", "one", "--commit-confirm")
        self.assertEqual(2, self.value())

    def test_refusals(self):
        before = self.value()
        for user, code, value in (("rita", "PERMISSION_DENIED", "1"), ("nobody", "UNAUTHENTICATED", "1"),
                                  ("olga", "INVALID_ARGUMENT", '"high"'), ("olga", "INVALID_ARGUMENT", "{}")):
            self.program(user).refused(self, 1, [code], "set", "--update-path", GAIN, "--update-value", value)
        self.program().refused(self, 1, ["INVALID_ARGUMENT", "actual-gain"], "set", "--update-path",
                               PRE + "/state/actual-gain/instant", "--update-value", "1")
        self.assertEqual(before, self.value())

    def test_nothing_to_set_and_values_without_paths_are_wrong_use(self):
        for words, arguments in (
                (["nothing to change"], []),
                (["--update-path: 2 given and 1 of --update-value"],
                 ["--update-path", GAIN, "--update-path", GAIN, "--update-value", "1"]),
                (["--update-path: 1 given and 0 of --update-value"], ["--update-path", GAIN]),
                (["--update-value", "--update-path"], ["--update-value", "1"]),
                (["not JSON", "double quotes", GAIN], ["--update-path", GAIN, "--update-value", "high"]),
                (["object", "expected a string, a number"],
                 ["--update-path", GAIN, "--update-value", "{}", "--encoding", "proto"]),
                (["nested deeper than 256"], ["--update-path", GAIN, "--update-value", "[" * 300 + "]" * 300]),
                (["no such file", "expected a file"], ["--update-path", GAIN, "--update-file", "/no such file"]),
                (["--commit-id: expected one of"], ["--commit-id", "one"]),
                (["--commit-id"], ["--delete", GAIN, "--commit-confirm"])):
            self.program().refused(self, 2, words, "set", *arguments)


class SubscribeCommandTest(ClientTestCase):
    def subscribe(self, *arguments, user="olga", **more):
        process = self.program(user).start("subscribe", *arguments, **more)

        def end():
            if process.poll() is None:
                process.kill()
            process.communicate()
        self.addCleanup(end)
        return process

    def read_until(self, process, condition):
        """Lines up to and with the first for which the condition holds."""
        lines = []
        watchdog = threading.Timer(30, process.kill)
        watchdog.start()
        for line in process.stdout:
            lines.append(json.loads(line))
            if condition(lines[-1]):
                watchdog.cancel()
                return lines
        watchdog.cancel()
        self.fail("the stream ended: %r %r" % (lines, process.stderr.read()))

    def sync(self, process):
        return self.read_until(process, lambda line: "sync" in line)

    def test_once_tells_all_leaves_and_ends(self):
        lines = self.program().lines(self, "subscribe", "--mode", "once", "--path", PRE)
        self.assertEqual({"sync": True}, lines[-1])
        leaves = self.client.get(PRE, encoding=pb.PROTO).notification[0].update
        self.assertEqual({text(one.path) for one in leaves}, set(updates(lines)))

    def test_once_flat(self):
        self.assertEqual(["%s: %s" % (GAIN, self.value())],
                         self.program().flat(self, "subscribe", "--mode", "once", "--path", GAIN))

    def test_stream_tells_a_change_when_it_happens(self):
        process = self.subscribe("--path", GAIN, "--stream-mode", "on-change")
        self.assertEqual({GAIN: self.value()}, updates(self.sync(process)))
        self.client.set(update=[update(GAIN, double_val=7.5)])
        [line] = self.read_until(process, lambda line: True)
        self.assertEqual({GAIN: 7.5}, updates([line]))

    def test_stream_tells_deletes(self):
        self.client.set(update=[update(GAIN, double_val=3.5)])
        for output in "json", "flat":
            process = self.subscribe("--path", GAIN, "--stream-mode", "on_change", "--format", output)
            if output == "json":
                self.sync(process)
                self.client.set(delete=[path(GAIN)])
                self.read_until(process, lambda line: line.get("deletes") == [GAIN])
            else:
                self.assertEqual(GAIN + ": 3.5\n", process.stdout.readline())
                self.client.set(delete=[path(GAIN)])
                self.assertEqual("- " + GAIN + "\n", process.stdout.readline())
            self.client.set(update=[update(GAIN, double_val=3.5)])

    def test_samples_come_at_their_interval(self):
        process = self.subscribe("--path", GAIN, "--stream-mode", "sample", "--sample-interval", "250ms")
        self.sync(process)
        stamps = [self.read_until(process, lambda line: True)[0]["timestamp"] for _ in range(5)]
        self.assertAlmostEqual(1.0, (stamps[-1] - stamps[0]) / 1e9, delta=0.6)

    def test_suppress_redundant_with_heartbeat(self):
        process = self.subscribe("--path", GAIN, "--stream-mode", "sample", "--sample-interval", "100ms",
                                 "--suppress-redundant", "--heartbeat-interval", "1s")
        self.sync(process)
        stamps = [self.read_until(process, lambda line: True)[0]["timestamp"] for _ in range(2)]
        self.assertAlmostEqual(1.0, (stamps[-1] - stamps[0]) / 1e9, delta=0.6)

    def test_updates_only_tells_no_values_at_the_beginning(self):
        self.assertEqual([{"sync": True}], self.program().lines(self, "subscribe", "--mode", "once", "--path", PRE,
                                                               "--updates-only"))

    def test_poll_asks_once_for_each_line(self):
        lines = self.program().lines(self, "subscribe", "--mode", "poll", "--path", GAIN, input="\n\n")
        self.assertEqual(3 * [{GAIN: self.value()}, {}], [updates([line]) for line in lines])
        self.assertEqual(3, lines.count({"sync": True}))

    def test_a_poll_tells_what_is_then(self):
        process = self.subscribe("--mode", "poll", "--path", GAIN, stdin=subprocess.PIPE)
        self.sync(process)
        self.client.set(update=[update(GAIN, double_val=4.5)])
        process.stdin.write("\n")
        process.stdin.flush()
        self.assertEqual({GAIN: 4.5}, updates(self.sync(process)))

    def test_signals_end_a_stream_with_status_0(self):
        for number in signal.SIGINT, signal.SIGTERM:
            for mode in "stream", "poll":
                process = self.subscribe("--path", PRE, "--mode", mode, stdin=subprocess.PIPE)
                self.sync(process)
                process.send_signal(number)
                rest, errors = process.communicate(timeout=60)
                self.assertEqual((0, ""), (process.returncode, errors))
                self.assertTrue(rest == "" or rest.endswith("\n"), rest)

    def test_a_reader_that_goes_ends_the_stream_with_status_1(self):
        process = self.subscribe("--path", PRE, "--stream-mode", "sample", "--sample-interval", "100ms")
        process.stdout.readline()
        process.stdout.close()
        self.assertEqual(1, process.wait(60))
        self.assertIn("standard output", process.stderr.read())

    def wait_until_full(self, pipe):
        waiting, before = 0, -1
        while waiting != before or waiting < 50000:
            before = waiting
            time.sleep(0.5)
            [waiting] = struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, b"\0" * 4))

    def test_a_second_signal_ends_it_when_nobody_reads(self):
        process = self.subscribe("--path", "/", "--stream-mode", "sample", "--sample-interval", "100ms")
        self.wait_until_full(process.stdout)
        process.send_signal(signal.SIGINT)
        time.sleep(0.5)
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEqual(1, process.wait(60))

    def test_refusals(self):
        for code, arguments in (("UNIMPLEMENTED", ["--path", PRE + "/config/max-gain"]),
                                ("INVALID_ARGUMENT", ["--path", PRE + "/config/colour"]),
                                ("INVALID_ARGUMENT", ["--path", GAIN, "--stream-mode", "sample", "--sample-interval",
                                                      "1ms"])):
            self.program().refused(self, 1, [code], "subscribe", *arguments)
        self.program("nobody").refused(self, 1, ["UNAUTHENTICATED"], "subscribe", "--path", GAIN)

    def test_a_server_that_ends_is_a_failure(self):
        process = self.subscribe("--path", GAIN)
        self.sync(process)
        self.server.end(signal.SIGTERM)
        _, errors = process.communicate(timeout=60)
        self.assertEqual(1, process.returncode)
        self.assertIn("UNAVAILABLE", errors)
        self.server.start()


class WrongUseTest(ClientTestCase):
    def test_what_cannot_be_meant_is_status_2_before_anyone_is_asked(self):
        self.server.put_away()
        for words, arguments in (
                (["no command 'gnmi subscibe'", "did you mean 'subscribe'"], ["subscibe"]),
                (["no option '--pathh'", "did you mean '--path'"], ["get", "--pathh", GAIN]),
                (["--path is required"], ["get"]),
                (["--path", "is empty"], ["get", "--path", ""]),
                (["'xml'", "expected one of: json, flat"], ["get", "--path", GAIN, "--format", "xml"]),
                (["'XML'", "expected one of: json, json_ietf"], ["get", "--path", GAIN, "--encoding", "XML"]),
                (["'some'", "expected one of: all, config"], ["get", "--path", GAIN, "--type", "some"]),
                (["'now'", "expected one of: stream, once, poll"], ["subscribe", "--path", GAIN, "--mode", "now"]),
                (["'10'", "expected a time such as"], ["subscribe", "--path", GAIN, "--sample-interval", "10"]),
                (["'-1s'", "expected a time"], ["subscribe", "--path", GAIN, "--sample-interval=-1s"]),
                (["expected a time"], ["subscribe", "--path", GAIN, "--sample-interval", "999999h999999999999h"]),
                (["expected KEY=VALUE at character 4"], ["get", "--path", "/a[b]"]),
                (["expected ']'"], ["get", "--path", "/a[b=c"]),
                (["expected ']'"], ["get", "--path", "/a[b='c]"]),
                (["expected '/' or '['"], ["get", "--path", "/a[b=c]d"]),
                (["expected a name"], ["get", "--path", "/a//b"]),
                (["expected key 'b' once"], ["get", "--path", "/a[b=c][b=d]"]),
                (["expected the name of an origin"], ["get", "--path", ":/a"]),
                (["--origin", "expected one of them"], ["get", "--path", "a", "--prefix", "native:/", "--origin", "x"]),
                (["--insecure", "--tls-ca"], ["get", "--path", GAIN, "--tls-ca", "x"]),
                *((["--depth: '%s'" % number, "expected a whole number from 0 to 4294967295"],
                   ["get", "--path", GAIN, "--depth", number]) for number in ("-1", "4294967296", "1.5", "x")),
                *((["--max-message: '%s'" % number, "expected a whole number from 1024 to 1073741824"],
                   ["get", "--path", GAIN, "--max-message", number])
                  for number in ("-1", "-4294962296", "1023", "1073741825", "18446744073709552640"))):
            with self.subTest(arguments):
                self.program().refused(self, 2, words, *arguments)
        self.server.start()

    def test_a_target_is_a_host_and_a_port(self):
        for target in "localhost", "localhost:", ":9339", "localhost:0", "localhost:65536", "::1:9339", "a/b:1", "h:1x":
            done = subprocess.run([os.environ["OCAMP"], "gnmi", "capabilities", "--target", target],
                                  capture_output=True, text=True, timeout=60)
            self.assertEqual(2, done.returncode, target)
            self.assertIn("expected HOST:PORT", done.stderr)

    def test_the_program_behind_it_takes_the_same_command_line(self):
        program = os.path.join(os.path.dirname(os.environ["OCAMP"]), "ocamp-gnmi")
        for arguments in [], ["get", "--nothing"], ["get", "--help"], ["subscribe", "--help"], ["get", "--path", "/a["]:
            behind, front = (subprocess.run([*words, *arguments], capture_output=True, text=True)
                             for words in ([program], [os.environ["OCAMP"], "gnmi"]))
            self.assertEqual((front.returncode, front.stdout, front.stderr),
                             (behind.returncode, behind.stdout, behind.stderr))

    def test_without_the_program_behind_it_the_command_says_so(self):
        with tempfile.TemporaryDirectory() as folder:
            alone = os.path.join(folder, "ocamp")
            os.link(os.environ["OCAMP"], alone) if os.stat(folder).st_dev == os.stat(os.environ["OCAMP"]).st_dev \
                else subprocess.run(["cp", os.environ["OCAMP"], alone], check=True)
            done = subprocess.run([alone, "gnmi", "capabilities", "--target", "localhost:9339"], capture_output=True,
                                  text=True)
        self.assertEqual(2, done.returncode)
        self.assertIn("expected the gNMI client beside this program", done.stderr)


class LogInTest(ClientTestCase):
    def asks(self, *options, input="", **variables):
        program = Program(self.server.port, "--insecure", *options, **variables)
        return program.run("get", "--path", GAIN, input=input)

    def test_the_password_comes_from_a_file_standard_input_or_the_environment(self):
        with tempfile.NamedTemporaryFile("w") as file:
            file.write(PASSWORD + "\r\nand more\n")
            file.flush()
            self.assertEqual(0, self.asks("--username", "rita", "--password-file", file.name).returncode)
        self.assertEqual(0, self.asks("--username", "rita", "--password-file", "-", input=PASSWORD).returncode)
        self.assertEqual(0, self.asks("--username", "rita", **{PASSWORD_VARIABLE: PASSWORD}).returncode)

    def test_the_file_goes_before_the_environment(self):
        wrong = self.asks("--username", "rita", "--password-file", "-", input="wrong", **{PASSWORD_VARIABLE: PASSWORD})
        self.assertIn("UNAUTHENTICATED", wrong.stderr)

    def test_no_password_is_wrong_use(self):
        done = self.asks("--username", "rita")
        self.assertEqual(2, done.returncode)
        self.assertIn("no password of rita, expected --password-file, OCAMP_GNMI_PASSWORD or a terminal", done.stderr)

    def test_no_user_is_refused_by_the_target(self):
        self.assertIn("UNAUTHENTICATED", self.asks().stderr)

    def test_the_terminal_asks_and_does_not_show_what_is_typed(self):
        words = Program(self.server.port, "--insecure", "--username", "rita").words("get", "--path", GAIN)
        child, terminal = pty.fork()
        if child == 0:
            os.execve(words[0], words, environment())
        shown = b""
        while b"Password of rita: " not in shown:
            shown += os.read(terminal, 1024)
        time.sleep(0.3)  # until the echo is off
        os.write(terminal, PASSWORD.encode() + b"\n")
        try:
            while part := os.read(terminal, 1024):
                shown += part
        except OSError:  # the end of a terminal
            pass
        _, status = os.waitpid(child, 0)
        self.assertEqual(0, status, shown)
        self.assertNotIn(PASSWORD.encode(), shown)
        self.assertIn(GAIN.encode(), shown)


class ConnectionTest(unittest.TestCase):
    def test_nobody_there(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
        program = Program(port, "--insecure")
        program.refused(self, 1, ["UNAVAILABLE", "127.0.0.1:%d" % port], "capabilities")
        program.refused(self, 1, ["UNAVAILABLE"], "subscribe", "--path", "/")

    def test_a_name_that_does_not_exist(self):
        Program(1, "--insecure", host="no-such-host.invalid").refused(self, 1, ["UNAVAILABLE"], "capabilities")

    def test_a_target_that_says_nothing_is_waited_for_no_longer_than_the_timeout(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            for options in ["--insecure"], ["--skip-verify"]:
                program = Program(silent.getsockname()[1], *options, "--timeout", "0.8s")
                for command in ["capabilities"], ["subscribe", "--path", "/"]:
                    begin = time.time()
                    program.refused(self, 1, ["UNAVAILABLE"], *command)
                    self.assertLess(time.time() - begin, 10)


class TlsClientTest(GnmiTest):
    options = ()

    def program(self, *options, **more):
        return Program(self.server.port, "--username", "rita", *options, **{PASSWORD_VARIABLE: PASSWORD}, **more)

    def certificate(self):
        return os.path.join(self.node, "server", "gnmi-certificate.pem")

    def connect(self, *_, **__):
        class Nothing:
            def close(self):
                pass
        return Nothing()

    def test_the_certificate_that_is_trusted(self):
        for host in "127.0.0.1", "localhost":
            program = self.program("--tls-ca", self.certificate(), host=host)
            self.assertEqual("0.10.0", program.lines(self, "capabilities")[0]["version"])
            lines = program.lines(self, "subscribe", "--mode", "once", "--path", GAIN)
            self.assertEqual([GAIN], list(updates(lines)))

    def test_a_certificate_that_nobody_trusts_is_refused(self):
        self.program().refused(self, 1, ["UNAVAILABLE"], "capabilities")

    def test_another_name_is_refused(self):
        trusting = ["--tls-ca", self.certificate()]
        self.program(*trusting, "--tls-server-name", "elsewhere").refused(self, 1, ["UNAVAILABLE"], "capabilities")
        self.program(*trusting, "--tls-server-name", "localhost").lines(self, "capabilities")

    def test_skip_verify_takes_any_certificate(self):
        self.program("--skip-verify").lines(self, "capabilities")

    def test_no_plain_text_to_a_tls_server(self):
        self.program("--insecure").refused(self, 1, ["UNAVAILABLE"], "capabilities")

    def test_files_that_hold_no_certificate_are_wrong_use(self):
        self.program("--tls-ca", "/no/such/file").refused(self, 2, ["/no/such/file"], "capabilities")
        self.program("--tls-ca", __file__).refused(self, 2, [__file__, "no PEM"], "capabilities")
        self.program("--tls-cert", self.certificate()).refused(self, 2, ["--tls-key"], "capabilities")


class ClientCertificateClientTest(GnmiTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for name, ca in ("ca", None), ("server", "ca"), ("rita", "ca"), ("stranger", None):
            cls.make_certificate(name, ca)
        cls.server.put_away()
        cls.server = Server(cls.node, "gnmi", "--cert", cls.file("server.pem"), "--key", cls.file("server.key"),
                            "--client-ca", cls.file("ca.pem"))

    @classmethod
    def file(cls, name):
        return os.path.join(cls.folder, name)

    @classmethod
    def make_certificate(cls, name, ca):
        command = ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days",
                   "2", "-keyout", cls.file(name + ".key"), "-out", cls.file(name + ".pem"), "-subj", "/CN=" + name]
        if name == "server":
            command += ["-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1"]
        if ca:
            command += ["-CA", cls.file(ca + ".pem"), "-CAkey", cls.file(ca + ".key")]
        subprocess.run(command, check=True, capture_output=True)

    def connect(self, *_, **__):
        class Nothing:
            def close(self):
                pass
        return Nothing()

    def program(self, name, *options):
        return Program(self.server.port, "--tls-cert", self.file(name + ".pem"), "--tls-key",
                       self.file(name + ".key"), *options)

    def test_the_certificate_is_the_user(self):
        for trust in ["--tls-ca", self.file("ca.pem")], ["--skip-verify"]:
            rita = self.program("rita", *trust)
            self.assertEqual([GAIN], list(updates(rita.lines(self, "get", "--path", GAIN))))
            rita.refused(self, 1, ["PERMISSION_DENIED"], "set", "--delete", GAIN)

    def test_a_stranger_and_nobody_are_turned_away(self):
        self.program("stranger", "--tls-ca", self.file("ca.pem")).refused(self, 1, ["UNAVAILABLE"], "capabilities")
        Program(self.server.port, "--tls-ca", self.file("ca.pem")).refused(self, 1, ["UNAVAILABLE"], "capabilities")


if __name__ == "__main__":
    unittest.main()
