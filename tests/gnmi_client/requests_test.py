"""What the client sends, as a server that records it sees it."""

import unittest

from client_program import PASSWORD_VARIABLE, BareServer, Program
from gnmi_client import ext, pb


class RecordedTestCase(unittest.TestCase):
    def setUp(self):
        self.requests = []
        self.metadata = {}

        def unary(request, context):
            self.record(request, context)
            return b""

        def stream(requests, context):
            self.record(next(requests), context)
            yield pb.SubscribeResponse(sync_response=True).SerializeToString()

        server = BareServer(unary, stream)
        self.addCleanup(server.stop)
        self.program = Program(server.port, "--insecure")

    def record(self, request, context):
        self.requests.append(request)
        self.metadata = dict(context.invocation_metadata())

    def sent(self, message, command, *arguments):
        done = self.program.run(command, *arguments)
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        return message.FromString(self.requests.pop())

    def path(self, typed):
        return self.sent(pb.GetRequest, "get", "--path", typed).path[0]


def path(*steps, origin=""):
    return pb.Path(origin=origin, elem=[
        pb.PathElem(name=step) if isinstance(step, str) else pb.PathElem(name=step[0], key=step[1]) for step in steps])


class PathsTest(RecordedTestCase):
    def test_paths_as_they_are_typed(self):
        for typed, meant in (
                ("/", path()),
                ("/a", path("a")),
                ("a/b", path("a", "b")),
                ("/a/", path("a")),
                ("/m:a/n:b", path("m:a", "n:b")),
                ("m:a/b", path("m:a", "b")),
                ("native:/a", path("a", origin="native")),
                ("native:", path(origin="native")),
                ("/.../b/*", path("...", "b", "*")),
                ("/a[k=v][l=w]/b", path(("a", {"k": "v", "l": "w"}), "b")),
                ("/a[k=0/1:2=3]", path(("a", {"k": "0/1:2=3"}))),
                ("/a[k=]", path(("a", {"k": ""}))),
                ("/a[k=*]", path(("a", {"k": "*"}))),
                ("/a[k='v']", path(("a", {"k": "v"}))),
                ('/a[k="v]w"]', path(("a", {"k": "v]w"}))),
                ("/a[k='say \"so\"']", path(("a", {"k": 'say "so"'}))),
                (r"/a[k=v\]w\\x]", path(("a", {"k": "v]w\\x"}))),
                (r"/a[k=\'v']", path(("a", {"k": "'v'"}))),
                (r"/a\/b", path("a/b")),
                ("/ä[k=ö]", path(("ä", {"k": "ö"})))):
            self.assertEqual(meant, self.path(typed), typed)

    def test_a_path_that_is_told_can_be_typed(self):
        hard = path(("a/b[c", {"k=l": "v]w", "m": "'n'", "o": '"p"', "q": "\\", "r": ""}), "*", origin="native")
        answer = pb.GetResponse(notification=[pb.Notification(update=[pb.Update(path=hard)])])
        server = BareServer(lambda request, context: answer.SerializeToString())
        self.addCleanup(server.stop)
        [line] = Program(server.port, "--insecure").lines(self, "get", "--path", "/")
        self.assertEqual(hard, self.path(line["updates"][0]["path"]))


class FieldsTest(RecordedTestCase):
    def test_get(self):
        self.assertEqual(pb.GetRequest(path=[path("a")]), self.sent(pb.GetRequest, "get", "--path", "/a"))
        self.assertEqual(
            pb.GetRequest(prefix=pb.Path(origin="o", target="t", elem=[pb.PathElem(name="p")]),
                          path=[path("a"), path("b")], type=pb.GetRequest.OPERATIONAL, encoding=pb.JSON_IETF,
                          extension=[ext.Extension(depth=ext.Depth(level=3))]),
            self.sent(pb.GetRequest, "get", "--prefix", "/p", "--origin", "o", "--prefix-target", "t", "--path", "/a",
                      "--path", "/b", "--type", "operational", "--encoding", "JSON-IETF", "--depth", "3"))

    def test_set(self):
        def value(**one):
            return pb.TypedValue(**one)
        for encoding, text, meant in (
                ("json", '[1, {"a":2}]', value(json_val=b'[1, {"a":2}]')),
                ("json_ietf", '"a,b"', value(json_ietf_val=b'"a,b"')),
                ("ascii", "[a,b]", value(ascii_val="[a,b]")),
                ("bytes", "--a", value(bytes_val=b"--a")),
                ("proto", "-3", value(int_val=-3)),
                ("proto", "18446744073709551615", value(uint_val=2**64 - 1)),
                ("proto", "3.0", value(double_val=3)),
                ("proto", '"x y"', value(string_val="x y")),
                ("proto", "true", value(bool_val=True)),
                ("proto", '[1,"a"]', value(leaflist_val=pb.ScalarArray(element=[value(uint_val=1),
                                                                               value(string_val="a")]))),
                ("proto", "[]", value(leaflist_val=pb.ScalarArray()))):
            request = self.sent(pb.SetRequest, "set", "--update-path", "/a", "--update-value", text, "--encoding",
                                encoding)
            self.assertEqual(pb.SetRequest(update=[pb.Update(path=path("a"), val=meant)]), request, text)

    def test_set_keeps_each_kind_in_its_order(self):
        def one(name, number):
            return pb.Update(path=path(name), val=pb.TypedValue(json_val=b"%d" % number))
        self.assertEqual(
            pb.SetRequest(delete=[path("a"), path("b")], replace=[one("c", 1), one("d", 2)], update=[one("e", 3)],
                          union_replace=[one("f", 4)], prefix=path("p")),
            self.sent(pb.SetRequest, "set", "--update-path", "e", "--update-value", "3", "--replace-path", "c",
                      "--delete", "a", "--replace-value", "1", "--union-replace-path", "f", "--union-replace-value",
                      "4", "--replace-path", "d", "--replace-value", "2", "--delete", "b", "--prefix", "/p"))

    def test_commits(self):
        for arguments, meant in (
                (["--commit-request"], ext.Commit(id="x", commit=ext.CommitRequest())),
                (["--commit-request", "--rollback-duration", "1m30.5s"],
                 ext.Commit(id="x", commit=ext.CommitRequest(rollback_duration={"seconds": 90, "nanos": 500000000}))),
                (["--commit-confirm"], ext.Commit(id="x", confirm=ext.CommitConfirm())),
                (["--commit-cancel"], ext.Commit(id="x", cancel=ext.CommitCancel())),
                (["--rollback-duration", "2h"], ext.Commit(id="x", set_rollback_duration=ext.CommitSetRollbackDuration(
                    rollback_duration={"seconds": 7200})))):
            self.assertEqual(pb.SetRequest(extension=[ext.Extension(commit=meant)]),
                             self.sent(pb.SetRequest, "set", "--commit-id", "x", *arguments))

    def test_subscribe(self):
        def wanted(**more):
            return [pb.Subscription(path=path(name), **more) for name in ("a", "b")]
        both = ["subscribe", "--path", "/a", "--path", "b", "--mode", "once"]
        once = pb.SubscriptionList.ONCE
        self.assertEqual(pb.SubscribeRequest(subscribe=pb.SubscriptionList(mode=once, subscription=wanted())),
                         self.sent(pb.SubscribeRequest, *both))
        self.assertEqual(
            pb.SubscribeRequest(
                subscribe=pb.SubscriptionList(
                    mode=once, encoding=pb.PROTO, updates_only=True, prefix=path("p"),
                    subscription=wanted(mode=pb.SAMPLE, sample_interval=1500000000, heartbeat_interval=60 * 10**9,
                                        suppress_redundant=True)),
                extension=[ext.Extension(depth=ext.Depth(level=1))]),
            self.sent(pb.SubscribeRequest, *both, "--encoding", "proto", "--updates-only", "--stream-mode", "sample",
                      "--sample-interval", "1.5s", "--heartbeat-interval", "1m", "--suppress-redundant", "--prefix",
                      "/p", "--depth", "1"))
        changes = self.sent(pb.SubscribeRequest, *both, "--stream-mode", "ON_CHANGE")
        self.assertEqual([pb.ON_CHANGE] * 2, [one.mode for one in changes.subscribe.subscription])

    def test_user_and_password_are_in_the_metadata(self):
        self.program.variables[PASSWORD_VARIABLE] = "a b"
        self.sent(pb.CapabilityRequest, "capabilities", "--username", "ada")
        self.assertEqual(("ada", "a b"), (self.metadata["username"], self.metadata["password"]))
        self.sent(pb.CapabilityRequest, "capabilities")
        self.assertNotIn("username", self.metadata)


if __name__ == "__main__":
    unittest.main()
