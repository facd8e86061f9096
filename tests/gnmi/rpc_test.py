"""The gNMI server as clients see it that others wrote: every RPC, encoding, refusal, extension and subscription mode. Each
behaviour that the protocol requires is a test named after it.

Every test is made with both clients; CLIENT tells which: grpcio, Debian's, or grpc_js (see grpc_js_channel.py).
"""

import collections
import json
import os
import signal
import subprocess
import threading
import time
import unittest

import grpc
from google.protobuf import any_pb2
from gnmi_client import (AMPLIFIER, PASSWORD, Client, GnmiTest, GrpcioChannel, Leaves, Server, content, ext, flat, flat_xml,
                         make_certificate, ocamp, path, pb, subscription, text, update)
from grpc_js_channel import GrpcJsChannel
from lxml import etree
from ncclient import manager

PRE = AMPLIFIER % "0/1-AMP-PRE"
BOOSTER = AMPLIFIER % "0/1-AMP-BST"
GAIN = PRE + "/config/target-gain"
OPTICS = "/interface-configurations/interface-configuration[active=act][interface-name=Ots0/1/0/1]/optics/"
EVERY_GAIN = {AMPLIFIER % name + "/config/target-gain"
              for name in ("0/1-AMP-PRE", "0/1-AMP-BST", "0/2-AMP-PRE", "0/2-AMP-BST")}
INVALID = grpc.StatusCode.INVALID_ARGUMENT
UNIMPLEMENTED = grpc.StatusCode.UNIMPLEMENTED
NOT_FOUND = grpc.StatusCode.NOT_FOUND
DENIED = grpc.StatusCode.PERMISSION_DENIED
UNAUTHENTICATED = grpc.StatusCode.UNAUTHENTICATED
PRECONDITION = grpc.StatusCode.FAILED_PRECONDITION
STREAM, ONCE, POLL = pb.SubscriptionList.STREAM, pb.SubscriptionList.ONCE, pb.SubscriptionList.POLL
SECOND = 1000000000
# What nobody here knows, and what asks for more than the server has: past values, and streams of configuration alone.
USELESS_EXTENSIONS = [
    ext.Extension(registered_ext=ext.RegisteredExtension(id=999, msg=b"x")),
    ext.Extension(history=ext.History(snapshot_time=1)),
    ext.Extension(history=ext.History(range=ext.TimeRange(start=1, end=2))),
    ext.Extension(config_subscription=ext.ConfigSubscription(start=ext.ConfigSubscriptionStart())),
]


class RpcTest(GnmiTest):
    """With the client that the environment names."""

    channel = {"grpcio": GrpcioChannel, "grpc_js": GrpcJsChannel}[os.environ["CLIENT"]]


def netconf_session(server):
    return manager.connect(host="127.0.0.1", port=server.ports["netconf"], username="olga", password=PASSWORD,
                           hostkey_verify=False, look_for_keys=False, allow_agent=False, timeout=60)


class CapabilitiesTest(RpcTest):
    def test_models_encodings_and_version(self):
        answer = self.client.capabilities()
        self.assertEqual("0.10.0", answer.gNMI_version)
        self.assertEqual({pb.JSON, pb.JSON_IETF, pb.PROTO, pb.ASCII}, set(answer.supported_encodings))
        models = {model.name: model for model in answer.supported_models}
        self.assertEqual("2019-12-06", models["openconfig-optical-amplifier"].version)
        self.assertEqual("OpenConfig", models["openconfig-optical-amplifier"].organization)
        deviations = models["openconfig-optical-amplifier-deviations"]
        self.assertEqual(("oc-amplifier", "2026-11-21"), (deviations.organization, deviations.version))
        native = {name for name in models if name.startswith("Korvex-")}
        self.assertEqual({"Korvex-controller-optics-cfg", "Korvex-controller-optics-oper", "Korvex-ifmgr-cfg",
                          "Korvex-controller-orvo8-ots-oper", "Korvex-pmengine-oper"}, native)
        self.assertEqual({("Korvex", "2024-05-13")}, {(models[one].organization, models[one].version) for one in native})


class PathsTest(RpcTest):
    def names(self, where, **more):
        response = self.client.get(where, encoding=pb.PROTO, **more)
        return {text(one.path) for one in response.notification[0].update}

    def test_a_path_means_prefix_and_path(self):
        whole = self.client.get(GAIN, encoding=pb.PROTO)
        split = self.client.get("/config/target-gain", prefix=path(PRE), encoding=pb.PROTO)
        self.assertEqual(whole.notification[0].update, split.notification[0].update)

    def test_a_read_path_means_the_node_and_all_below(self):
        self.assertLess({GAIN, PRE + "/config/enabled"}, self.names(PRE))

    def test_wildcard_for_one_element(self):
        self.assertEqual(
            {PRE + "/config/target-gain", PRE + "/state/target-gain"}, self.names(PRE + "/*/target-gain")
        )

    def test_wildcard_for_a_key_value(self):
        self.assertEqual(EVERY_GAIN, self.names(AMPLIFIER % "*" + "/config/target-gain"))

    def test_wildcard_for_any_number_of_elements(self):
        self.assertLess({GAIN, BOOSTER + "/state/target-gain"}, self.names("/.../target-gain"))
        self.assertEqual(self.names("/optical-amplifier"), self.names("/..."))

    def test_keys_of_any_number_of_elements_are_refused(self):
        everywhere = "/optical-amplifier/amplifiers/...[name=0/1-AMP-PRE]/config/target-gain"
        before = Leaves(self.client.subscribe([subscription(*EVERY_GAIN)])).until_sync()
        for call in (lambda: self.client.get(everywhere), lambda: self.client.set(delete=[path(everywhere)]),
                     lambda: self.client.subscribe([subscription(everywhere)])):
            self.assert_refused(INVALID, call, "/optical-amplifier/amplifiers/...[name=0/1-AMP-PRE]", "keys")
        self.assertEqual(before, Leaves(self.client.subscribe([subscription(*EVERY_GAIN)])).until_sync())

    def test_paths_with_wildcards_are_counted(self):
        one = "/optical-amplifier/.../target-gain"
        self.assertEqual(64, len(self.client.get(*[one] * 64).notification))
        Leaves(self.client.subscribe([subscription(*[one] * 64)])).until_sync()
        for call in (lambda: self.client.get(*[one] * 65), lambda: self.client.subscribe([subscription(*[one] * 65)]),
                     lambda: self.client.set(delete=[path(one)] * 65)):
            self.assert_refused(INVALID, call, "64")

    def test_a_list_element_without_keys_names_all_its_entries(self):
        listed = "/optical-amplifier/amplifiers/amplifier/config/target-gain"
        self.assertEqual(EVERY_GAIN, self.names(listed))

    def test_origin_missing_means_openconfig(self):
        named = self.client.get(path(GAIN, origin="openconfig"), encoding=pb.PROTO)
        bare = self.client.get(GAIN, encoding=pb.PROTO)
        self.assertEqual(bare.notification[0].update, named.notification[0].update)

    def test_another_origin_selects_another_tree(self):
        native = self.client.get(path("/", origin="native"), encoding=pb.JSON_IETF)
        roots = json.loads(native.notification[0].update[0].val.json_ietf_val)
        self.assertTrue(roots)
        self.assertTrue(all(name.startswith("Korvex-") for name in roots), list(roots))
        self.assert_refused(INVALID, lambda: self.client.get(path("/", origin="cli")), "cli")

    def test_origins_and_targets_stand_in_the_prefix_or_the_path_not_both(self):
        origin = path(GAIN, origin="openconfig")
        self.client.get(GAIN, prefix=pb.Path(origin="openconfig"))
        self.assert_refused(INVALID, lambda: self.client.get(origin, prefix=pb.Path(origin="openconfig")), "origin")
        target = path(GAIN, target="a")
        self.assert_refused(INVALID, lambda: self.client.get(target, prefix=pb.Path(target="a")), "target")

    def test_target_in_a_prefix_is_echoed(self):
        self.assertEqual("site-7", self.client.get(GAIN, prefix=pb.Path(target="site-7")).notification[0].prefix.target)
        stream = self.client.subscribe([subscription(GAIN, prefix=pb.Path(target="site-7"))])
        self.assertEqual("site-7", next(stream).update.prefix.target)
        answer = self.client.set(prefix=pb.Path(target="site-7"), update=[update(BOOSTER + "/config/target-gain", double_val=3)])
        self.assertEqual("site-7", answer.prefix.target)

    def test_the_deprecated_element_form_is_not_used(self):
        self.assert_refused(INVALID, lambda: self.client.get(pb.Path(element=["optical-amplifier"])), "elem")

    def test_module_prefixes_are_optional(self):
        prefixed = GAIN.replace("/optical-amplifier", "/openconfig-optical-amplifier:optical-amplifier")
        self.assertEqual(self.names(GAIN), self.names(prefixed))
        self.client.set(update=[update(prefixed, double_val=17.5)])
        self.assertEqual([GAIN], list(Leaves(self.client.subscribe([subscription(prefixed)])).until_sync()))
        foreign = GAIN.replace("/optical-amplifier", "/openconfig-interfaces:optical-amplifier")
        for call in (lambda: self.client.get(foreign), lambda: self.client.subscribe([subscription(foreign)]),
                     lambda: self.client.set(update=[update(foreign, double_val=1)])):
            self.assert_refused(INVALID, call, "/openconfig-interfaces:optical-amplifier/")

    def test_keys_are_compared_by_value(self):
        def lane(number):
            return path("/interface-configurations/interface-configuration/optics/optics-lanes/optics-lane[index=%s]"
                        % number, origin="native")

        told = self.client.get(lane("1"), encoding=pb.PROTO).notification[0].update
        self.assertGreater(len(told), 0)
        whole = lane("01")
        for name, value in ("active", "act"), ("interface-name", "Optics0/1/0/4"):
            whole.elem[1].key[name] = value
        for one in lane("01"), whole:
            self.assertEqual(told, self.client.get(one, encoding=pb.PROTO).notification[0].update)
            streamed = Leaves(self.client.subscribe([subscription(one)])).until_sync()
            self.assertEqual(len(told), len(streamed))
        for number in "02", "x", "-1", "":
            self.assert_refused(NOT_FOUND, lambda number=number: self.client.get(lane(number)))

    def test_paths_of_10000_elements_and_keys_with_every_quote(self):
        self.assert_refused(INVALID, lambda: self.client.get("/a" * 10000), "10000")
        for key in ["'", '"', "a'b\"c", "\\", "]", "[x=y]", "%00", "\n", "é" * 1000, "../.."]:
            named = path("/optical-amplifier/amplifiers/amplifier")
            named.elem[2].key["name"] = key
            self.assert_refused(NOT_FOUND, lambda: self.client.get(named))
        self.assert_refused(INVALID, lambda: self.client.get(path(PRE.replace("name=", "nom="))))


class ValuesTest(RpcTest):
    def one(self, where, encoding):
        return self.client.get(where, encoding=encoding).notification[0].update[0].val

    def test_json_ietf_is_rfc_7951(self):
        self.assertEqual(b'"17.5"', self.one(GAIN, pb.JSON_IETF).json_ietf_val)
        value = json.loads(self.one(PRE, pb.JSON_IETF).json_ietf_val)
        state = value["openconfig-optical-amplifier:state"]
        self.assertEqual("openconfig-optical-amplifier:EDFA", state["type"])
        self.assertIs(True, state["enabled"])

    def test_json_has_plain_names_and_numbers(self):
        self.assertEqual(b"17.5", self.one(GAIN, pb.JSON).json_val)
        state = json.loads(self.one(PRE, pb.JSON).json_val)["state"]
        self.assertEqual("EDFA", state["type"])
        self.assertEqual(17.5, state["actual-gain"]["instant"])

    def test_proto_gives_one_leaf_an_update_with_the_scalar_field(self):
        self.assertEqual(17.5, self.one(GAIN, pb.PROTO).double_val)
        self.assertEqual("EDFA", self.one(PRE + "/state/type", pb.PROTO).string_val)
        self.assertEqual("bool_val", self.one(PRE + "/state/enabled", pb.PROTO).WhichOneof("value"))
        self.assertGreater(len(self.client.get(PRE, encoding=pb.PROTO).notification[0].update), 10)
        native = self.client.get(path("/...", origin="native"), encoding=pb.PROTO).notification[0].update
        kinds = {one.val.WhichOneof("value") for one in native}
        self.assertLess({"int_val", "uint_val", "string_val"}, kinds)

    def test_proto_integers_are_int_or_uint_by_the_sign_of_their_leaf(self):
        for leaf, kind in [("optics-ots-amplifier-tilt", "int_val"),
                           ("optics-network-srlgs/optics-network-srlg/srlg1", "uint_val")]:
            value = self.one(path(OPTICS + leaf, origin="native"), pb.PROTO)
            self.assertEqual(kind, value.WhichOneof("value"), leaf)

    def test_an_enumeration_is_its_name_in_every_encoding(self):
        mode = path(OPTICS + "optics-ots-amplifier-control-mode", origin="native")
        for encoding, field, value in [(pb.JSON, "json_val", b'"manual"'), (pb.JSON_IETF, "json_ietf_val", b'"manual"'),
                                       (pb.PROTO, "string_val", "manual"), (pb.ASCII, "ascii_val", "manual")]:
            told = self.one(mode, encoding)
            self.assertEqual((field, value), (told.WhichOneof("value"), getattr(told, field)))
            streamed = Leaves(self.client.subscribe([subscription(mode, encoding=encoding)])).until_sync()
            self.assertEqual([told], list(streamed.values()))

    def test_ascii_is_the_text_of_a_leaf(self):
        self.assertEqual("17.5", self.one(GAIN, pb.ASCII).ascii_val)
        self.assertEqual("EDFA", self.one(PRE + "/state/type", pb.ASCII).ascii_val)

    def test_a_get_in_json_answers_a_subtree_as_one_value(self):
        for encoding in pb.JSON, pb.JSON_IETF:
            self.assertEqual(1, len(self.client.get("/", encoding=encoding).notification[0].update))

    def test_subscribe_gives_one_update_a_leaf(self):
        for encoding in pb.JSON, pb.JSON_IETF, pb.PROTO, pb.ASCII:
            leaves = Leaves(self.client.subscribe([subscription(PRE, encoding=encoding)])).until_sync()
            self.assertGreater(len(leaves), 10)
            for value in leaves.values():
                self.assertFalse(value.json_val.startswith(b"{") or value.json_ietf_val.startswith(b"{"))

    def test_no_encoding_named_is_json(self):
        self.assertEqual(b"17.5", self.client.get(GAIN).notification[0].update[0].val.json_val)

    def test_an_encoding_that_is_not_supported_is_unimplemented(self):
        self.assert_refused(UNIMPLEMENTED, lambda: self.client.get(GAIN, encoding=pb.BYTES), "BYTES")
        self.assert_refused(UNIMPLEMENTED, lambda: self.client.get(GAIN, encoding=77), "77")
        self.assert_refused(
            UNIMPLEMENTED, lambda: self.client.subscribe([subscription(GAIN, encoding=pb.BYTES)]), "BYTES"
        )

    def test_the_whole_model_agrees_with_the_command_line_leaf_by_leaf(self):
        ours = flat(self.client.value("/"))
        theirs = flat(json.loads(ocamp("get", "--node", self.node)))
        self.assertGreater(len(ours), 50)
        self.assertEqual(theirs, ours)
        streamed = Leaves(self.client.subscribe([subscription("/", encoding=pb.JSON_IETF)])).until_sync()
        self.assertEqual(sorted(map(str, ours.values())),
                         sorted(str(json.loads(value.json_ietf_val)) for value in streamed.values()))


class GetTest(RpcTest):
    def test_one_notification_for_each_path_never_collapsed(self):
        response = self.client.get(GAIN, GAIN, PRE)
        self.assertEqual(3, len(response.notification))
        self.assertEqual(response.notification[0].update, response.notification[1].update)

    def test_timestamp_is_the_snapshots(self):
        before = time.time_ns()
        stamps = {one.timestamp for one in self.client.get(GAIN, PRE).notification}
        self.assertEqual(1, len(stamps))
        self.assertTrue(before <= stamps.pop() <= time.time_ns())
        # What was read before a change is older than the change, and what is read after it newer.
        first = self.client.get(GAIN).notification[0].timestamp
        changed = self.client.set(update=[update(BOOSTER + "/config/target-gain", double_val=3.1)]).timestamp
        self.assertTrue(first < changed < self.client.get(GAIN).notification[0].timestamp)

    def test_in_the_schema_without_data_is_not_found(self):
        self.assert_refused(NOT_FOUND, lambda: self.client.get(AMPLIFIER % "nobody"), "nobody")

    def test_not_implemented_is_unimplemented(self):
        self.assert_refused(UNIMPLEMENTED, lambda: self.client.get(PRE + "/config/max-gain"), "max-gain")

    def test_not_in_the_schema_is_invalid_with_the_path_named(self):
        self.assert_refused(INVALID, lambda: self.client.get(PRE + "/config/colour"), "/config/colour")

    def test_type_filters(self):
        def leaves(kind):
            answer = self.client.get(PRE, encoding=pb.PROTO, type=kind)
            return {text(one.path)[len(PRE):] for one in answer.notification[0].update}

        everything = leaves(pb.GetRequest.ALL)
        config, state = leaves(pb.GetRequest.CONFIG), leaves(pb.GetRequest.STATE)
        operational = leaves(pb.GetRequest.OPERATIONAL)
        self.assertEqual(everything, config | state)
        self.assertFalse(config & state)
        self.assertIn("/config/target-gain", config)
        self.assertIn("/state/target-gain", state - operational)
        self.assertIn("/state/actual-gain/instant", operational)

    def test_depth_gives_only_that_many_levels_and_0_is_no_limit(self):
        def get(level):
            extension = [ext.Extension(depth=ext.Depth(level=level))]
            return self.client.value(PRE, extension=extension)

        module = "openconfig-optical-amplifier:"
        self.assertEqual({module + "name": "0/1-AMP-PRE"}, get(1))
        self.assertIn("target-gain", get(2)[module + "state"])
        self.assertNotIn("actual-gain", get(2)[module + "state"])
        self.assertEqual(self.client.value(PRE), get(0))

    def test_a_path_of_which_type_or_depth_leave_nothing_has_a_notification_without_updates(self):
        depth = [ext.Extension(depth=ext.Depth(level=1))]
        for encoding in pb.JSON, pb.JSON_IETF, pb.PROTO, pb.ASCII:
            upper = ["/", "/optical-amplifier", "/optical-amplifier/amplifiers"]
            answer = self.client.get(*upper, PRE + "/name", encoding=encoding, extension=depth)
            self.assertEqual([0, 0, 0, 1], [len(one.update) for one in answer.notification])
            answer = self.client.get(GAIN, PRE + "/state/type", encoding=encoding, type=pb.GetRequest.STATE)
            self.assertEqual([0, 1], [len(one.update) for one in answer.notification])
        for more in {"extension": depth}, {"type": pb.GetRequest.STATE}:
            self.assert_refused(NOT_FOUND, lambda more=more: self.client.get(AMPLIFIER % "nobody", **more), "nobody")

    def test_extensions_that_are_unknown_or_of_no_use_are_ignored(self):
        for one in USELESS_EXTENSIONS:
            self.assertEqual("17.5", self.client.value(GAIN, extension=[one]))

    def test_models_that_are_not_served_are_refused(self):
        self.assert_refused(
            UNIMPLEMENTED, lambda: self.client.get(GAIN, use_models=[pb.ModelData(name="nothing")]), "nothing"
        )


class SetTest(RpcTest):
    options = ("--insecure", "--netconf", "127.0.0.1:0")

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.netconf = netconf_session(cls.server)
        cls.addClassCleanup(cls.netconf.close_session)

    def tearDown(self):
        """Whatever a Set has done or left undone, NETCONF and the command line tell the same as gNMI."""
        amplifiers = "/optical-amplifier/amplifiers"
        ours = flat(self.client.value(amplifiers, type=pb.GetRequest.CONFIG), amplifiers)
        self.assertGreater(len(ours), 10)
        self.assertEqual(ours, flat(json.loads(ocamp("get", "--node", self.node, "--config", amplifiers))))
        data = etree.fromstring(self.netconf.get_config("running").data_xml.encode())
        self.assertEqual(ours, flat_xml(one for one in data if one.tag.endswith("}optical-amplifier")))

    def gain(self, where=GAIN):
        return float(self.client.value(where))

    def test_all_or_nothing(self):
        before = self.gain()
        bad = [update(GAIN, double_val=3.2), update(PRE + "/config/enabled", string_val="perhaps")]
        self.assert_refused(INVALID, lambda: self.client.set(update=bad), "enabled")
        self.assertEqual(before, self.gain())

    def test_telemetry_sees_nothing_of_a_set_before_it_is_accepted(self):
        request = subscription(GAIN, mode=STREAM)
        request.subscribe.subscription[0].mode = pb.ON_CHANGE
        leaves = Leaves(self.client.subscribe([request])).until_sync()
        leaves.notifications.clear()
        bad = [update(GAIN, double_val=3.3), update(BOOSTER + "/config/target-gain", double_val=-1)]
        self.assert_refused(INVALID, lambda: self.client.set(update=bad))
        self.client.set(update=[update(GAIN, double_val=3.4)])
        leaves.until(lambda now: now.notifications)
        self.assertEqual([3.4], [one.val.double_val for late in leaves.notifications for one in late.update])

    def test_union_replace_comes_after_delete_and_before_replace_and_update(self):
        config, tilt = PRE + "/config", PRE + "/config/target-gain-tilt"
        answer = self.client.set(
            update=[update(tilt, double_val=0.3)],
            replace=[update(GAIN, double_val=6.5)],
            union_replace=[update(config, json_val=b'{"target-gain": 5.5, "target-gain-tilt": 0.1}')],
            delete=[path(config)],
        )
        self.assertEqual([1, 4, 2, 3], [one.op for one in answer.response])
        self.assertEqual(("6.5", "0.3"), (self.client.value(GAIN), self.client.value(tilt)))

    def test_replace_of_a_list_entry_removes_what_is_not_given(self):
        self.client.set(update=[update(PRE + "/config/target-gain-tilt", double_val=0.4)])
        self.client.set(replace=[update(PRE, json_val=b'{"config": {"target-gain": 9.1}}')])
        self.assertEqual(9.1, self.gain())
        self.assertNotIn("target-gain-tilt", str(self.client.value(PRE + "/config")))

    def test_extensions_that_are_unknown_or_of_no_use_are_ignored(self):
        self.client.set(update=[update(GAIN, double_val=9.2)], extension=USELESS_EXTENSIONS)
        self.assertEqual(9.2, self.gain())
        leaves = Leaves(self.client.subscribe([subscription(GAIN, extension=USELESS_EXTENSIONS)])).until_sync()
        self.assertEqual(9.2, leaves[GAIN].double_val)

    def test_order_is_delete_replace_update_and_results_are_in_order_with_path_op_and_timestamp(self):
        before = time.time_ns()
        tilt = PRE + "/config/target-gain-tilt"
        answer = self.client.set(
            update=[update(GAIN, double_val=12.5)],
            replace=[update(PRE + "/config", json_val=b'{"name": "0/1-AMP-PRE", "target-gain": 11}')],
            delete=[path(tilt)],
        )
        self.assertEqual(12.5, self.gain())
        self.assert_refused(NOT_FOUND, lambda: self.client.get(tilt))
        operations = [(text(one.path), one.op) for one in answer.response]
        self.assertEqual([(tilt, 1), (PRE + "/config", 2), (GAIN, 3)], operations)
        self.assertTrue(before <= answer.timestamp <= time.time_ns())

    def test_replace_removes_what_is_not_given_and_update_merges(self):
        config = PRE + "/config"
        self.client.set(replace=[update(config, json_val=b'{"name": "0/1-AMP-PRE", "target-gain": 9.5}')])
        self.assertNotIn("target-gain-tilt", str(self.client.value(config)))
        self.client.set(update=[update(config, json_ietf_val=b'{"target-gain-tilt": "0.7"}')])
        self.assertIn("target-gain-tilt", str(self.client.value(config)))
        self.assertEqual(9.5, self.gain())

    def test_union_replace_unites_the_values_of_a_path(self):
        config = PRE + "/config"
        answer = self.client.set(union_replace=[update(config, json_val=b'{"target-gain": 8.5}'),
                                                update(config, json_val=b'{"target-gain-tilt": 0.2}')])
        self.assertEqual([4, 4], [one.op for one in answer.response])
        value = flat(self.client.value(config))
        self.assertEqual(("8.5", "0.2"), (value["/target-gain"], value["/target-gain-tilt"]))

    def test_delete_of_what_does_not_exist_is_silently_accepted(self):
        answer = self.client.set(delete=[path(AMPLIFIER % "nobody")])
        self.assertEqual(1, len(answer.response))

    def test_deletes_take_wildcards_and_missing_keys_as_all(self):
        for name in "*", None:
            listed = "/optical-amplifier/amplifiers/amplifier" + ("[name=*]" if name else "")
            for where in GAIN, BOOSTER + "/config/target-gain":
                self.client.set(update=[update(where, double_val=10)])
            self.client.set(delete=[path(listed + "/config/target-gain")])
            for where in GAIN, BOOSTER + "/config/target-gain":
                self.assert_refused(NOT_FOUND, lambda where=where: self.client.get(where))

    def test_deletes_take_wildcards_as_elements_and_pass_over_what_names_an_entry(self):
        config = PRE + "/config"
        for where in config + "/*", PRE + "/*/*", PRE + "/...", PRE + "/*":
            self.client.set(update=[update(GAIN, double_val=10)])
            self.client.set(delete=[path(where)])
            self.assert_refused(NOT_FOUND, lambda: self.client.get(GAIN))
            self.assertEqual("0/1-AMP-PRE", self.client.value(PRE + "/name"))
        self.client.set(delete=[path("/.../name")])
        self.assertEqual("0/1-AMP-PRE", self.client.value(PRE + "/name"))
        for named in PRE + "/name", config + "/name":
            self.assert_refused(INVALID, lambda named=named: self.client.set(delete=[path(named)]),
                                named, "expected", "on the entry")

    def test_a_key_given_both_in_the_path_and_differently_in_the_value_is_invalid(self):
        bad = update(PRE, json_val=b'{"name": "other", "config": {"target-gain": 3}}')
        self.assert_refused(INVALID, lambda: self.client.set(update=[bad]), "name", "other")

    def test_bad_values_and_types_are_invalid(self):
        for value in [
            dict(double_val=-1), dict(string_val="17"), dict(bool_val=True), dict(json_val=b"{"),
            dict(json_val=b'"much"'), dict(json_val=b"[1]"), dict(json_ietf_val=b"null"), dict(double_val=1.23456),
            dict(double_val=float("nan")), dict(json_val=b"[" * 5000), dict(json_val=b"\xff"),
        ]:
            with self.subTest(value):
                self.assert_refused(INVALID, lambda: self.client.set(update=[update(GAIN, **value)]))
        self.assert_refused(INVALID, lambda: self.client.set(update=[pb.Update(path=path(GAIN))]), "target-gain")
        twice = update(PRE + "/config", json_val=b'{"target-gain": 1, "target-gain": 2}')
        self.assert_refused(INVALID, lambda: self.client.set(update=[twice]), "twice")

    def test_paths_of_refusals_are_written_in_one_way(self):
        bad = update(GAIN, double_val=99)
        self.assert_refused(INVALID, lambda: self.client.set(update=[bad]), GAIN + ": ")

    def test_keys_of_paths_may_have_their_module(self):
        named = GAIN.replace("name=", "openconfig-optical-amplifier:name=")
        self.client.set(update=[update(named, double_val=6.1)])
        self.assertEqual(6.1, self.gain(named))
        self.client.set(replace=[update(named, double_val=6.3)])
        self.assertEqual(6.3, self.gain())

    def test_a_path_not_in_the_schema_is_named(self):
        bad = update(PRE + "/config/colour", string_val="red")
        self.assert_refused(INVALID, lambda: self.client.set(update=[bad]), "/config/colour")

    def test_a_leaf_that_the_device_does_not_have_is_unimplemented(self):
        bad = update(PRE + "/config/max-gain", double_val=1)
        self.assert_refused(UNIMPLEMENTED, lambda: self.client.set(update=[bad]), "max-gain")
        self.assert_refused(UNIMPLEMENTED, lambda: self.client.set(replace=[bad]), "max-gain")
        self.assert_refused(UNIMPLEMENTED, lambda: self.client.set(delete=[bad.path]), "max-gain")

    def test_a_read_only_leaf_is_invalid(self):
        bad = update(PRE + "/state/target-gain", double_val=1)
        self.assert_refused(INVALID, lambda: self.client.set(update=[bad]), "read-only")
        self.assert_refused(INVALID, lambda: self.client.set(delete=[path(PRE + "/state")]), "read-only")

    def test_no_permission_is_denied(self):
        change = [update(GAIN, double_val=1)]
        self.assert_refused(DENIED, lambda: self.connect("rita").set(update=change))
        native = self.client.get(path("/...", origin="native"), type=pb.GetRequest.CONFIG, encoding=pb.JSON_IETF)
        first = native.notification[0].update[0]
        write = pb.Update(path=pb.Path(origin="native", elem=first.path.elem), val=first.val)
        self.assert_refused(DENIED, lambda: self.client.set(update=[write]))
        self.assertEqual(1, len(self.connect("ada").set(update=[write]).response))
        nothing = path("/interface-configurations/interface-configuration[active=act][interface-name=none]",
                       origin="native")
        self.assert_refused(DENIED, lambda: self.client.set(delete=[nothing]), "admin")
        self.connect("ada").set(delete=[nothing])

    def test_not_logged_in_is_unauthenticated(self):
        self.assert_refused(UNAUTHENTICATED, lambda: self.connect(None).set(update=[update(GAIN, double_val=1)]))
        self.assert_refused(UNAUTHENTICATED, lambda: self.connect(None).capabilities(),
                            "a client certificate of a user, or username and password of one in the metadata")
        self.assert_refused(UNAUTHENTICATED, lambda: self.connect(None).subscribe([subscription(GAIN)]))
        self.assert_refused(UNAUTHENTICATED, lambda: self.connect("olga", "wrong").get(GAIN))

    def test_an_unsupported_encoding_is_unimplemented(self):
        packed = any_pb2.Any()
        packed.Pack(pb.Poll())
        one = pb.ScalarArray(element=[pb.TypedValue(double_val=1)])
        for value in dict(bytes_val=b"1"), dict(proto_bytes=b"1"), dict(any_val=packed), dict(leaflist_val=one):
            [field] = value
            for where, expected in (GAIN, "expected json_ietf_val, json_val, ascii_val or the scalar of its type"), (
                    PRE + "/config", "expected json_ietf_val or json_val"):
                change = update(where, **value)
                for kind in "update", "replace", "union_replace":
                    self.assert_refused(UNIMPLEMENTED, lambda: self.client.set(**{kind: [change]}),
                                        where + ": is given as %s, %s" % (field, expected))

    def test_every_form_of_a_value(self):
        for value, expected in [
            (dict(double_val=1.5), 1.5), (dict(float_val=2.5), 2.5), (dict(int_val=3), 3), (dict(uint_val=4), 4),
            (dict(ascii_val="5.5"), 5.5), (dict(json_val=b"6.5"), 6.5), (dict(json_ietf_val=b'"7.5"'), 7.5),
            (dict(decimal_val=pb.Decimal64(digits=82000, precision=4)), 8.2),
        ]:
            self.client.set(update=[update(GAIN, **value)])
            self.assertEqual(expected, self.gain())

    def test_an_enumeration_is_set_by_its_name_in_every_form(self):
        admin = self.connect("ada")
        mode = path(OPTICS + "optics-ots-amplifier-control-mode", origin="native")
        for value, expected in [(dict(string_val="automatic"), "automatic"), (dict(ascii_val="manual"), "manual"),
                                (dict(json_val=b'"automatic"'), "automatic"), (dict(json_ietf_val=b'"manual"'), "manual")]:
            admin.set(update=[update(mode, **value)])
            self.assertEqual(expected, self.client.value(mode))
        for wrong in dict(string_val="by hand"), dict(json_ietf_val=b'"Manual"'), dict(uint_val=1), dict(json_val=b"1"):
            self.assert_refused(INVALID, lambda wrong=wrong: admin.set(update=[update(mode, **wrong)]),
                                "optics-ots-amplifier-control-mode")
        self.assertEqual("manual", self.client.value(mode))

    def test_master_arbitration_refuses_an_older_election(self):
        def write(low, role="r"):
            arbitration = ext.MasterArbitration(role=ext.Role(id=role), election_id=ext.Uint128(low=low))
            self.client.set(update=[update(GAIN, double_val=low)],
                            extension=[ext.Extension(master_arbitration=arbitration)])

        write(5)
        self.assert_refused(DENIED, lambda: write(4), "election")
        write(5)
        write(6)
        write(1, "another")
        self.client.set(update=[update(GAIN, double_val=2)])


class CommitTest(RpcTest):
    options = ("--insecure", "--netconf", "127.0.0.1:0")

    def commit(self, value=None, id="c1", **action):
        operations = [update(GAIN, double_val=value)] if value is not None else []
        return self.client.set(update=operations, extension=[ext.Extension(commit=ext.Commit(id=id, **action))])

    def begin(self, value, seconds=60, id="c1"):
        request = ext.CommitRequest()
        request.rollback_duration.seconds = seconds
        self.commit(value, id, commit=request)

    def gain(self):
        return float(self.client.value(GAIN))

    def test_confirmed_stays(self):
        self.begin(4.5)
        self.assertEqual(4.5, self.gain())
        self.commit(confirm=ext.CommitConfirm())
        self.assertEqual(4.5, self.gain())
        self.assert_refused(PRECONDITION, lambda: self.commit(confirm=ext.CommitConfirm()))

    def test_a_candidate_of_others_keeps_nobody_from_confirming_and_is_not_committed_along(self):
        self.begin(4.7, seconds=30)
        other = BOOSTER + "/config/target-gain"
        before = self.client.value(other)
        with netconf_session(self.server) as session:
            session.lock("candidate")
            session.edit_config(
                target="candidate",
                config="""<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><optical-amplifier
                    xmlns="http://openconfig.net/yang/optical-amplfier"><amplifiers><amplifier><name>0/1-AMP-BST</name>
                    <config><target-gain>9.9</target-gain></config></amplifier></amplifiers></optical-amplifier>
                    </config>""")
            longer = ext.CommitSetRollbackDuration()
            longer.rollback_duration.seconds = 60
            self.commit(set_rollback_duration=longer)
            self.commit(confirm=ext.CommitConfirm())
            self.assertEqual(4.7, self.gain())
            self.assertEqual(before, self.client.value(other))
            self.assertIn("<target-gain>9.9</target-gain>", session.get_config("candidate").data_xml)
            session.discard_changes()
            session.unlock("candidate")
        self.assert_refused(PRECONDITION, lambda: self.commit(confirm=ext.CommitConfirm()))

    def test_cancelled_goes_back(self):
        before = self.gain()
        self.begin(5.5)
        self.commit(cancel=ext.CommitCancel())
        self.assertEqual(before, self.gain())

    def test_not_confirmed_in_time_goes_back(self):
        before = self.gain()
        self.begin(6.5, seconds=1)
        self.assertEqual(6.5, self.gain())
        deadline = time.time() + 60
        while self.gain() != before and time.time() < deadline:
            time.sleep(0.1)
        self.assertEqual(before, self.gain())

    def test_without_a_time_it_is_10_minutes(self):
        known = len(self.server.read_log())
        self.commit(6.6, commit=ext.CommitRequest())
        told = self.server.read_log()[known:]
        self.assertRegex(told, "confirmed-commit-pending .*timeout=600\n")
        self.commit(cancel=ext.CommitCancel())

    def test_a_time_that_is_none_is_invalid(self):
        for seconds in 0, -1, 7 * 24 * 3600 + 1:
            self.assert_refused(INVALID, lambda seconds=seconds: self.begin(3, seconds=seconds),
                                "rollback_duration is %d s, expected 1 to 604800" % seconds)
        self.client.set(update=[update(GAIN, double_val=2.4)])

    def test_extended_in_time_stays_pending(self):
        self.begin(6.7, seconds=2)
        longer = ext.CommitSetRollbackDuration()
        longer.rollback_duration.seconds = 60
        self.commit(set_rollback_duration=longer)
        time.sleep(2.5)
        self.assertEqual(6.7, self.gain())
        self.commit(cancel=ext.CommitCancel())

    def test_restarted_goes_back(self):
        before = self.gain()
        self.begin(7.5)
        for number in signal.SIGKILL, signal.SIGTERM:
            self.server.end(number)
            self.server.start()
            self.client = self.connect()
            self.assertEqual(before, self.gain())
            self.begin(7.5)
        self.commit(cancel=ext.CommitCancel())

    def test_while_one_is_pending_others_are_refused(self):
        self.begin(3.5)
        self.assert_refused(PRECONDITION, lambda: self.begin(3, id="c2"))
        self.assert_refused(PRECONDITION, lambda: self.client.set(update=[update(GAIN, double_val=3)]))
        self.assert_refused(INVALID, lambda: self.commit(id="c2", confirm=ext.CommitConfirm()))
        self.assert_refused(INVALID, lambda: self.commit(id="c2", cancel=ext.CommitCancel()))
        self.commit(cancel=ext.CommitCancel())

    def test_a_time_is_set_anew_for_the_pending_commit_alone(self):
        def set_time(seconds, id="c1"):
            longer = ext.CommitSetRollbackDuration()
            longer.rollback_duration.seconds = seconds
            self.commit(id=id, set_rollback_duration=longer)

        self.assert_refused(PRECONDITION, lambda: set_time(60), "no confirmed commit is pending")
        before = self.gain()
        self.begin(6.8, seconds=60)
        self.assert_refused(INVALID, lambda: set_time(60, id="c2"), "id")
        self.assert_refused(INVALID, lambda: set_time(0), "rollback_duration")
        # Neither has ended it, or made it shorter.
        self.assertEqual(6.8, self.gain())
        self.assert_refused(PRECONDITION, lambda: self.client.set(update=[update(GAIN, double_val=3)]))
        set_time(1)
        deadline = time.time() + 60
        while self.gain() != before and time.time() < deadline:
            time.sleep(0.1)
        self.assertEqual(before, self.gain())
        self.assert_refused(PRECONDITION, lambda: set_time(60), "no confirmed commit is pending")

    def test_no_id_is_invalid_and_none_pending_fails(self):
        self.assert_refused(INVALID, lambda: self.begin(3, id=""), "id")
        self.assert_refused(PRECONDITION, lambda: self.commit(cancel=ext.CommitCancel()))

    def test_what_is_refused_leaves_nothing_pending(self):
        self.assert_refused(INVALID, lambda: self.begin(-3))
        self.client.set(update=[update(GAIN, double_val=2.5)])


class SubscribeTest(RpcTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        # It takes the server's own interval, 10 s: others are tested meanwhile. What it tells of, they leave alone.
        cls.watcher = Client(cls.server.port, channel=cls.channel)
        cls.addClassCleanup(cls.watcher.close)
        cls.sampled = Leaves(cls.watcher.subscribe([subscription(AMPLIFIER % "0/2-AMP-PRE", mode=STREAM)])).until_sync()

    def open(self, *paths, how=pb.ON_CHANGE, **more):
        request = subscription(*paths, mode=STREAM, **more)
        for one in request.subscribe.subscription:
            one.mode = how
        return Leaves(self.client.subscribe([request]))

    def change(self, value, where=GAIN):
        self.client.set(update=[update(where, double_val=value)])

    def assert_interval(self, seconds, leaves):
        """A busy machine may be late for one and in time for the next; and none is sent too much."""
        stamps = [one.timestamp / SECOND for one in leaves.notifications]
        self.assertGreater(stamps[-1] - stamps[0], 0.8 * seconds * (len(stamps) - 1))
        self.assertLess(min(late - early for early, late in zip(stamps, stamps[1:])), 1.5 * seconds)

    def test_first_message_must_hold_a_list_with_a_subscription(self):
        self.assert_refused(INVALID, lambda: self.client.subscribe([subscription()]))
        self.assert_refused(INVALID, lambda: self.client.subscribe([pb.SubscribeRequest()]))
        self.assert_refused(INVALID, lambda: self.client.subscribe([]))

    def test_a_second_list_is_invalid_and_the_other_rpcs_live_on(self):
        living = Leaves(self.client.subscribe([subscription(GAIN, mode=STREAM)])).until_sync()
        twice = [subscription(GAIN, mode=STREAM), subscription(GAIN, mode=STREAM)]
        self.assert_refused(INVALID, lambda: self.client.subscribe(twice))
        self.change(1.2)
        living.until(lambda leaves: leaves[GAIN].double_val == 1.2)

    def test_a_poll_before_the_list_or_on_others_is_invalid(self):
        poll = pb.SubscribeRequest(poll=pb.Poll())
        self.assert_refused(INVALID, lambda: self.client.subscribe([poll]), "poll")
        self.assert_refused(INVALID, lambda: self.client.subscribe([subscription(GAIN, mode=STREAM), poll]), "poll")
        # A long answer: it is not sent before the poll is there.
        long = subscription("/", path("/", origin="native"), mode=ONCE)
        self.assert_refused(INVALID, lambda: self.client.subscribe([long, poll]), "poll")

    def test_once_all_values_then_sync_response_then_the_rpc_closes(self):
        responses = list(self.client.subscribe([subscription(PRE)]))
        self.assertTrue(responses[-1].sync_response)
        self.assertEqual(1, sum(one.sync_response for one in responses))
        leaves = sum(len(one.update.update) for one in responses)
        self.assertEqual(len(self.client.get(PRE, encoding=pb.PROTO).notification[0].update), leaves)

    def test_fields_of_streams_mean_nothing_in_once_and_poll(self):
        for mode, more in (ONCE, []), (POLL, [pb.SubscribeRequest(poll=pb.Poll())]):
            request = subscription(GAIN, mode=mode, sample_interval=1, heartbeat_interval=1, suppress_redundant=True)
            for how in pb.TARGET_DEFINED, pb.ON_CHANGE, pb.SAMPLE, 77:
                request.subscribe.subscription[0].mode = how
                leaves = Leaves(self.client.subscribe([request, *more])).until_sync()
                self.assertEqual({GAIN}, set(leaves))
        for nonsense in 3, 77:
            self.assert_refused(INVALID, lambda: self.client.subscribe([subscription(GAIN, mode=nonsense)]),
                                "mode: %d, expected STREAM, ONCE or POLL" % nonsense)
        self.assert_refused(INVALID, lambda: self.open(GAIN, how=77).stream,
                            "mode: 77, expected TARGET_DEFINED, ON_CHANGE or SAMPLE")

    def test_poll_for_each_poll_all_values_then_sync_response(self):
        go = threading.Semaphore(0)

        def requests():
            yield subscription(GAIN, mode=POLL)
            for _ in range(3):
                go.acquire()
                yield pb.SubscribeRequest(poll=pb.Poll())

        leaves = Leaves(self.client.subscribe(requests()))
        for value in 1.5, 2.5, 3.5:
            self.change(value)
            go.release()
            leaves.until_sync()
            self.assertEqual(value, leaves[GAIN].double_val)
        self.assertEqual(3, len(leaves.notifications))
        self.assertRaises(StopIteration, lambda: next(leaves.stream))

    def test_on_change_sends_only_changed_leaves(self):
        leaves = self.open(PRE + "/config").until_sync()
        known = len(leaves.notifications)
        self.change(4.2)
        leaves.until(lambda now: now[GAIN].double_val == 4.2)
        told = [text(one.path) for late in leaves.notifications[known:] for one in late.update]
        self.assertEqual(["/target-gain"], told)

    def test_on_change_sees_changes_of_other_processes(self):
        leaves = self.open(GAIN).until_sync()
        document = {"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
            {"name": "0/1-AMP-PRE", "config": {"name": "0/1-AMP-PRE", "target-gain": "6.2"}}]}}}
        ocamp("edit", "--node", self.node, "-", input=json.dumps(document))
        leaves.until(lambda now: now[GAIN].double_val == 6.2)

    def test_wildcards_of_subscriptions(self):
        listed = "/optical-amplifier/amplifiers/amplifier"
        for where in AMPLIFIER % "*", listed, "/*/*/*", "/optical-amplifier/...":
            leaves = self.open(where + "/config/target-gain").until_sync()
            self.assertLessEqual(set(leaves), EVERY_GAIN)
            self.assertIn(GAIN, leaves)
        both = self.open(PRE + "/*/target-gain").until_sync()
        self.assertEqual({GAIN, PRE + "/state/target-gain"}, set(both))
        value = 5.1 if leaves[GAIN].double_val != 5.1 else 5.2
        self.change(value)
        for stream in leaves, both:
            stream.until(lambda now: now[GAIN].double_val == value)

    def test_a_leaf_that_disappears_is_in_delete(self):
        self.change(4.5)
        leaves = self.open(PRE + "/config").until_sync()
        self.client.set(delete=[path(GAIN)])
        leaves.until(lambda now: now.deleted)
        self.assertEqual([GAIN], leaves.deleted)
        self.change(4.7)
        leaves.until(lambda now: GAIN in now)

    def test_heartbeat_sends_every_value_once_an_interval(self):
        leaves = self.open(PRE + "/config", heartbeat_interval=SECOND // 5).until_sync()
        count = len(leaves)
        leaves.notifications.clear()
        leaves.until(lambda now: sum(len(one.update) for one in now.notifications) >= 4 * count)
        self.assertEqual({4}, set(collections.Counter(
            one.path.elem[-1].name for told in leaves.notifications for one in told.update).values()))
        self.assert_interval(0.2, leaves)

    def test_sample_sends_every_value_once_an_interval(self):
        leaves = self.open(GAIN, how=pb.SAMPLE, sample_interval=SECOND // 4).until_sync()
        leaves.notifications.clear()
        leaves.until(lambda now: len(now.notifications) == 6)
        self.assert_interval(0.25, leaves)

    def test_sample_interval_0_means_the_shortest(self):
        leaves = self.open(GAIN, how=pb.SAMPLE).until_sync()
        leaves.notifications.clear()
        leaves.until(lambda now: len(now.notifications) == 8)
        self.assert_interval(0.1, leaves)

    def test_an_interval_that_cannot_be_done_is_invalid(self):
        for nanoseconds in 1, SECOND // 10 - 1, 2**64 - 1:
            self.assert_refused(
                INVALID,
                lambda: self.open(GAIN, how=pb.SAMPLE, sample_interval=nanoseconds).stream, "sample_interval"
            )

    def test_suppress_redundant_sends_only_leaves_that_changed(self):
        self.change(1)
        leaves = self.open(PRE + "/config", how=pb.SAMPLE, sample_interval=SECOND // 10, suppress_redundant=True)
        leaves.until_sync()
        leaves.notifications.clear()
        time.sleep(0.5)
        self.change(2)
        leaves.until(lambda now: now[GAIN].double_val == 2)
        self.assertEqual(["/target-gain"], [text(one.path) for late in leaves.notifications for one in late.update])

    def test_suppress_redundant_with_heartbeat_sends_all_once_an_interval(self):
        leaves = self.open(GAIN, how=pb.SAMPLE, sample_interval=SECOND // 10, suppress_redundant=True,
                           heartbeat_interval=SECOND // 2).until_sync()
        leaves.notifications.clear()
        leaves.until(lambda now: len(now.notifications) == 3)
        self.assert_interval(0.5, leaves)

    def test_target_defined_sends_events_on_change(self):
        leaves = self.open(PRE, how=pb.TARGET_DEFINED).until_sync()
        self.assertEqual(len(self.client.get(PRE, encoding=pb.PROTO).notification[0].update), len(leaves))
        self.change(3.7)
        leaves.until(lambda now: now[GAIN].double_val == 3.7)

    def test_target_defined_samples_measured_values(self):
        leaves = self.sampled
        known = len(leaves.notifications)
        leaves.until(lambda now: len(now.notifications) > known)
        told = {text(one.path) for late in leaves.notifications[known:] for one in late.update}
        self.assertIn("/instant", told)
        self.assertNotIn("/target-gain", told)
        # The server's own interval.
        interval = leaves.notifications[known].timestamp - leaves.notifications[0].timestamp
        self.assertGreater(interval, 9 * SECOND)
        self.assertLess(interval, 18 * SECOND)

    def test_target_defined_with_heartbeat_sends_measured_and_other_values_once_an_interval(self):
        measured, other = PRE + "/state/actual-gain/instant", PRE + "/state/type"
        begin = time.time()
        streams = [Leaves(self.client.subscribe([
            subscription(measured, other, mode=STREAM, heartbeat_interval=SECOND // 2, suppress_redundant=redundant)]))
            for redundant in (False, True)]
        for leaves in streams:
            leaves.until_sync()
            told = []
            while told.count("instant") < 3 or told.count("type") < 3:
                told += [one.path.elem[-1].name for one in leaves.take().update.update]
        # By the server's own interval it would take three times as long.
        self.assertLess(time.time() - begin, 20)

    def test_a_sample_interval_with_target_defined_is_invalid(self):
        refused = lambda: self.open(GAIN, how=pb.TARGET_DEFINED, sample_interval=SECOND).stream
        self.assert_refused(INVALID, refused, "TARGET_DEFINED")

    def test_updates_only_sends_sync_response_first_and_no_initial_values(self):
        for mode in ONCE, STREAM:
            request = subscription(GAIN, mode=mode, updates_only=True)
            request.subscribe.subscription[0].mode = pb.ON_CHANGE
            leaves = Leaves(self.client.subscribe([request])).until_sync()
            self.assertEqual([], leaves.notifications)
        polled = Leaves(self.client.subscribe([subscription(GAIN, mode=POLL, updates_only=True),
                                               pb.SubscribeRequest(poll=pb.Poll())])).until_sync()
        self.assertEqual([], polled.notifications)
        self.change(2.2)
        leaves.until(lambda now: GAIN in now)

    def test_a_path_without_data_is_watched(self):
        self.client.set(delete=[path(GAIN)])
        leaves = self.open(GAIN).until_sync()
        self.assertEqual({}, leaves)
        self.change(2.7)
        leaves.until(lambda now: GAIN in now)

    def test_not_implemented_and_not_in_the_schema(self):
        self.assert_refused(UNIMPLEMENTED, lambda: self.open(PRE + "/config/max-gain").stream, "max-gain")
        self.assert_refused(INVALID, lambda: self.open(PRE + "/config/colour").stream, "colour")

    def test_depth(self):
        extension = [ext.Extension(depth=ext.Depth(level=1))]
        leaves = Leaves(self.client.subscribe([subscription(PRE + "/state", extension=extension)])).until_sync()
        self.assertIn(PRE + "/state/type", leaves)
        self.assertFalse([one for one in leaves if "actual-gain/" in one])

    def test_leaves_of_one_container_come_in_one_notification(self):
        leaves = self.open(PRE + "/config").until_sync()
        self.assertEqual(1, len(leaves.notifications))
        self.assertEqual(PRE + "/config", text(leaves.notifications[0].prefix))

    def test_order_of_a_leaf_is_right(self):
        leaves = self.open(GAIN).until_sync()
        seen = []
        for value in range(1, 31):
            self.change(value)
        while not seen or seen[-1] != 30:
            for one in leaves.take().update.update:
                seen.append(one.val.double_val)
        self.assertEqual(sorted(seen), seen)


class SlowReaderTest(RpcTest):
    def test_a_reader_that_reads_nothing_finds_newer_values_in_the_place_of_older_ones_and_duplicates_counts_them(self):
        request = subscription("/", path("/", origin="native"), mode=STREAM)
        for one in request.subscribe.subscription:
            one.mode = pb.SAMPLE
        stream = self.client.subscribe([request])
        leaves = Leaves(stream).until_sync()
        merged = 0
        # While nothing is read, what was sent and not read fills the window; how soon depends on the machine.
        for number, seconds in enumerate((1.5, 3, 6, 12, 24)):
            self.client.channel.pause(stream)
            time.sleep(seconds)
            value = 19 + number / 10
            self.client.set(update=[update(GAIN, double_val=value)])
            self.client.channel.resume(stream)
            known = len(leaves.notifications)
            leaves.until(lambda now: now[GAIN].double_val == value)
            merged += sum(one.duplicates for late in leaves.notifications[known:] for one in late.update)
            if merged:
                break
        self.assertGreater(merged, len(leaves))


class TlsTest(RpcTest):
    options = ()

    def refused_options(self, *options):
        self.server.put_away()
        done = subprocess.run([os.environ["OCAMPD"], "--node", self.node, *options], capture_output=True, text=True)
        self.server.start()
        self.assertEqual(2, done.returncode, done.stderr)
        return done.stderr

    def credentials(self):
        return {"ca": content(os.path.join(self.node, "server", "gnmi-certificate.pem"))}

    def test_the_server_makes_a_certificate_with_its_names(self):
        self.assertEqual("17.5", self.connect(credentials=self.credentials()).value(GAIN))

    def test_no_fallback_to_plain_text(self):
        self.assert_refused(grpc.StatusCode.UNAVAILABLE, lambda: self.client.get(GAIN))

    def test_insecure_is_refused_off_loopback(self):
        self.assertIn("loopback", self.refused_options("--gnmi", "0.0.0.0:0", "--insecure"))

    def test_a_certificate_without_its_key_is_refused(self):
        other = make_certificate(self.folder, "other")
        more = make_certificate(self.folder, "more")
        for options in ["--cert", other + ".pem"], ["--cert", other + ".pem", "--key", more + ".key"]:
            self.refused_options("--gnmi", "127.0.0.1:0", *options)


class ClientCertificateTest(RpcTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        make_certificate(cls.folder, "ca")
        cls.files = {name: make_certificate(cls.folder, name, "ca", alternative) for name, alternative in
                     [("server", "DNS:localhost,IP:127.0.0.1"), ("rita", None), ("someone", "DNS:olga")]}
        cls.files["stranger"] = make_certificate(cls.folder, "stranger")
        cls.files["nameless"] = make_certificate(cls.folder, "nameless", "ca", subject="/O=nobody")
        cls.server.put_away()
        server = cls.files["server"]
        cls.server = Server(cls.node, "gnmi", "--cert", server + ".pem", "--key", server + ".key",
                            "--client-ca", os.path.join(cls.folder, "ca.pem"))

    def connect_as(self, name):
        file = self.files[name]
        credentials = {"ca": content(os.path.join(self.folder, "ca.pem")), "key": content(file + ".key"),
                       "certificate": content(file + ".pem")}
        return self.connect(None, credentials=credentials)

    def test_the_common_name_is_the_user(self):
        rita = self.connect_as("rita")
        self.assertEqual("0/1-AMP-PRE", rita.value(PRE + "/name"))
        self.assert_refused(DENIED, lambda: rita.set(update=[update(GAIN, double_val=1)]))

    def test_the_alternative_name_goes_before_the_common_name(self):
        self.connect_as("someone").set(update=[update(GAIN, double_val=1.5)])

    def test_a_certificate_of_nobody_is_unauthenticated(self):
        self.assert_refused(UNAUTHENTICATED, lambda: self.connect_as("server").get(GAIN))
        self.assert_refused(UNAUTHENTICATED, lambda: self.connect_as("nameless").get(GAIN))

    def test_a_certificate_that_the_authority_did_not_sign_is_turned_away(self):
        self.assert_refused(grpc.StatusCode.UNAVAILABLE, lambda: self.connect_as("stranger").get(GAIN))


if __name__ == "__main__":
    unittest.main()
