// Walks of the native OTS operational tree: which nodes are entered, and which converter each leaf goes to.
#include "native_walk.h"

namespace {

const std::string prefix = "ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_";

std::string walker(const std::string &word) {
    return prefix + "lvla_" + word;
}
std::string handler(const std::string &kind_word, const std::string &word) {
    return prefix + kind_word + "_lvla_" + word;
}

const std::string root_walker = walker("otsoper");
const std::string ports_walker = walker("otsoper_otsports");
const std::string port_walker = walker("otsoper_otsports_otsport");
const std::string info_walker = walker("otsoper_otsport_otsinfo");
const std::string lane_walker = walker("otsoper_otsinfo_lanedata");
const std::string lane_list = ots_list + "/ots-info/lane-data";
const std::string state = oc_amplifier + "/state/";

struct ContainerOrList {
    std::string tag, word, kind_word;
};

const std::vector<ContainerOrList> inner_nodes{{"ots-oper", "otsoper", "cont"},
                                               {"ots-ports", "otsoper_otsports", "cont"},
                                               {"ots-port", "otsoper_otsports_otsport", "list"},
                                               {"ots-info", "otsoper_otsport_otsinfo", "cont"},
                                               {"lane-data", "otsoper_otsinfo_lanedata", "list"}};

struct LeafNode {
    std::string tag, word, converter;
};

const std::vector<LeafNode> converted_leaves{
    {"name", "otsoper_otsport_name", "oc_opt_amp_state_get_amplifier_key_to_high"},
    {"ampli-tilt", "otsoper_otsinfo_amplitilt", "oc_opt_amp_state_instant_actual_gain_tilt_to_high"},
    {"ampli-gain", "otsoper_otsinfo_ampligain", "oc_opt_amp_state_instant_actual_gain_to_high"},
    {"receive-power-dbm", "otsoper_lanedata_receivepowerdbm",
     "oc_opt_amp_state_instant_input_power_c_band_dbm_to_high"},
    {"transmit-power-dbm", "otsoper_lanedata_transmitpowerdbm",
     "oc_opt_amp_state_instant_output_power_c_band_dbm_to_high"},
    {"receive-power", "otsoper_lanedata_receivepower", "oc_opt_amp_state_instant_input_power_c_band_to_high"},
    {"transmit-power", "otsoper_lanedata_transmitpower", "oc_opt_amp_state_instant_output_power_c_band_to_high"}};

const std::vector<LeafNode> text_leaves{
    {"ampli-gain-range-config-val", "otsoper_otsinfo_ampligainrangeconfigval", "oc_opt_amp_state_gain_range_to_high"},
    {"osri-config-val", "otsoper_otsinfo_osriconfigval", "oc_opt_amp_state_enabled_to_high"}};

const LeafNode silent_leaf{"total-rx-power", "otsoper_otsinfo_totalrxpower", ""};

Node native(Node description) {
    return std::move(description).in(ns::ots_oper);
}

class OtsWalk : public PluginTest {
  protected:
    void SetUp() override {
        client_request(container("optical-amplifier", {container("amplifiers")}));
        platform.put_amplifier("0/1-AMP-PRE");
        output_list_entry(container("amplifier", {leaf("name", "0/1-AMP-PRE").key()}));
        platform.name_node(&request.plist, "plist");
    }
};

// ---- Whole trees ------------------------------------------------------------------------------------------------

TEST_F(OtsWalk, OneOtsPortBecomesOneAmplifier) {
    EXPECT_EQ(
        call(root_walker,
             tree(native(container(
                 "ots-oper",
                 {container("ots-ports",
                            {container("ots-port",
                                       {leaf("name", "Ots0/1/0/0"),
                                        container("ots-info",
                                                  {leaf("ampli-gain", "1750"), leaf("ampli-tilt", "-5"),
                                                   leaf("osri-config-val", "false"),
                                                   container("lane-data", {leaf("receive-power", "-1234")})})})})})))),
        CERR_SUCCESS);
    EXPECT_SAME_TEXT(text_of(searches()), text_of({search_list(oc_amplifier, "name", "0/1-AMP-PRE")}));
    expect_writes({add(state + "name", ns::openconfig, "0/1-AMP-PRE"), add(state + "type", ns::openconfig, "EDFA"),
                   add(state + "amp-mode", ns::openconfig, "CONSTANT_GAIN"),
                   add(state + "ingress-port", ns::openconfig, "0/1-OtsCtrl-0/1"),
                   add(state + "egress-port", ns::openconfig, "0/1-OtsCtrl-0/0"),
                   add(state + "actual-gain/instant", ns::openconfig, "17.50"),
                   add(state + "actual-gain-tilt/instant", ns::openconfig, "-0.05"),
                   add(state + "enabled", ns::openconfig, "true"),
                   add(state + "input-power-c-band/instant", ns::openconfig, "-12.34")});
}

TEST_F(OtsWalk, NodesAreEnteredRegisteredAndLeftInOrder) {
    EXPECT_EQ(
        call(root_walker,
             tree(native(container(
                 "ots-oper",
                 {container("ots-ports",
                            {container("ots-port", {container("ots-info", {container("lane-data",
                                                                                     {leaf("total-rx-power", "1")
                                                                                          .in(ns::foreign)})})})})})))),
        CERR_SUCCESS);
    const Lines lane = entry_walked("lane-data", lane_list, {}, {});
    expect_actions(
        entered("ots-oper", entered("ots-ports", entry_walked("ots-port", ots_list, {}, entered("ots-info", lane)))));
}

TEST_F(OtsWalk, PortThatIsNoAmplifierWritesNothingAndTheRestIsStillWalked) {
    EXPECT_EQ(
        call(port_walker, tree(native(container("ots-port", {leaf("name", "Och0/1/0/0"),
                                                             container("ots-info", {leaf("ampli-gain", "100")})})))),
        CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
    expect_writes({add(state + "actual-gain/instant", ns::openconfig, "1.00")});
}

TEST_F(OtsWalk, KeyOfAPortIsMarked) {
    yfw_datatree *in = tree(native(container("ots-port", {leaf("name", "Ots0/1/0/0"), container("ots-info")})));
    call(port_walker, in);
    EXPECT_EQ(in->children[0].key_seen, 1);
    EXPECT_NE(in->children[0].node_flags2 & YFW_NODE_KEY_USED, 0);
    EXPECT_EQ(in->children[1].key_seen, 0);
}

TEST_F(OtsWalk, LaneDataMarksNoKey) {
    yfw_datatree *in = tree(native(container("lane-data", {leaf("receive-power", "1")})));
    call(lane_walker, in);
    EXPECT_EQ(in->children[0].key_seen, 0);
    EXPECT_EQ(in->children[0].node_flags2, 0);
}

class OtsWalkOfAnotherKind : public OtsWalk, public testing::WithParamInterface<uint32_t> {};

TEST_P(OtsWalkOfAnotherKind, VisitsNothingBelowTheRoot) {
    kind(GetParam());
    EXPECT_EQ(call(root_walker, tree(native(container("ots-oper", {container("ots-ports", {container("ots-port")})})))),
              CERR_SUCCESS);
    expect_actions(entered("ots-oper"));
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag `ots-ports`. Ignoring.")));
}

INSTANTIATE_TEST_SUITE_P(Kinds, OtsWalkOfAnotherKind, testing::Values(0U, 1U, 8U));

TEST_F(OtsWalk, UnknownNativeChildIsTracedAndSkipped) {
    EXPECT_EQ(
        call(info_walker, tree(native(container("ots-info", {leaf("no-such-leaf", "1"), leaf("ampli-gain", "100")})))),
        CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag `no-such-leaf`. Ignoring.")));
    expect_writes({add(state + "actual-gain/instant", ns::openconfig, "1.00")});
}

TEST_F(OtsWalk, FirstFailingChildStopsTheVisit) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 1);
    EXPECT_EQ(
        call(info_walker, tree(native(container("ots-info", {leaf("ampli-gain", "100"), leaf("ampli-tilt", "100")})))),
        0x99U);
    expect_actions(entered("ots-info", {add(state + "actual-gain/instant", ns::openconfig, "1.00")}));
}

// ---- Every container and list -----------------------------------------------------------------------------------

class EveryOtsNode : public OtsWalk, public testing::WithParamInterface<ContainerOrList> {
  protected:
    bool is_list() const { return GetParam().kind_word == "list"; }
};

TEST_P(EveryOtsNode, WalkerRefusesMissingNodes) {
    expect_refuses_missing_nodes(walker(GetParam().word), true);
}

TEST_P(EveryOtsNode, WalkerBracketsItsWork) {
    call(walker(GetParam().word), tree(native(container(GetParam().tag, {leaf("x").in(ns::foreign)}))));
    EXPECT_EQ(messages().front(), trc("Start"));
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_P(EveryOtsNode, WalkerRefusesAnUntaggedChild) {
    Node child = untagged();
    EXPECT_EQ(call(walker(GetParam().word), tree(native(container(GetParam().tag, {child})))), YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Tag name is not available!")));
    EXPECT_EQ(platform.calls_of({"yfw_oc_error_path"}).size(), 1U);
    EXPECT_EQ(request.error_path, nullptr);
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_P(EveryOtsNode, WalkerRefusesMissingChildren) {
    const std::string message = is_list() ? "No keys specified with a list node." : "Failed to get subtrees!";
    EXPECT_EQ(call(walker(GetParam().word), tree(native(container(GetParam().tag).missing_children(3)))),
              YMAP_RC_BAD_SUBTREE);
    EXPECT_SAME_TEXT(text_of(platform.calls()),
                     text_of(lines(trc("Start"), failed_at(message, GetParam().tag), trc("End"))));
}

TEST_P(EveryOtsNode, ForeignChildSucceedsEmpty) {
    EXPECT_EQ(call(walker(GetParam().word), tree(native(container(GetParam().tag, {leaf("x").in(ns::foreign)})))),
              CERR_SUCCESS);
    expect_writes({});
    EXPECT_THAT(messages(), testing::Not(testing::Contains(testing::HasSubstr("Unsupported tag"))));
}

TEST_P(EveryOtsNode, HandlerSucceedsAndDoesNothing) {
    const yfw_datatree *in = tree(native(container(GetParam().tag)));
    const std::string name = handler(GetParam().kind_word, GetParam().word);
    EXPECT_EQ(is_list() ? call(name, in) : call_container(name, in, 7), CERR_SUCCESS);
    expect_actions({});
}

INSTANTIATE_TEST_SUITE_P(Model, EveryOtsNode, testing::ValuesIn(inner_nodes),
                         [](const auto &test) { return test.param.word; });

class EveryOtsList : public OtsWalk, public testing::WithParamInterface<std::pair<ContainerOrList, std::string>> {
  protected:
    const std::string &tag() const { return GetParam().first.tag; }
    cerrno walk() {
        in = tree(native(container(tag(), {leaf("name", "Ots0/1/0/0").in(ns::foreign)})));
        return call(walker(GetParam().first.word), in);
    }
    yfw_datatree *in = nullptr;
};

TEST_P(EveryOtsList, FailedCurrentListNodeIsTheResult) {
    platform.answer("yfw_map_update_current_list_node", 0x88);
    EXPECT_EQ(walk(), 0x88U);
    expect_actions({push(node(tag()), 2), current_list(GetParam().second), pop(node(tag()))});
    EXPECT_EQ(in->children[0].key_seen, 0);
}

TEST_P(EveryOtsList, SkipOfTheCurrentListNodeIsPassedUp) {
    platform.answer("yfw_map_update_current_list_node", YMAP_RC_SKIP);
    EXPECT_EQ(walk(), YMAP_RC_SKIP);
    expect_calls({trc("Start"), push(node(tag()), 2), current_list(GetParam().second), pop(node(tag())), trc("End")});
}

TEST_P(EveryOtsList, SkipOfALeafIsPassedUpAndTheEntryLeft) {
    platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP);
    const bool is_port = tag() == "ots-port";
    const Node child = native(is_port ? leaf("name", "Ots0/1/0/0") : leaf("receive-power", "1"));
    call(walker(is_port ? "otsoper_otsport_name" : "otsoper_lanedata_receivepower"), tree(child));
    const Lines leaf_calls = platform.calls();
    platform.forget_calls();
    EXPECT_EQ(call(walker(GetParam().first.word), tree(native(container(tag(), {child, leaf("ampli-gain", "1")})))),
              YMAP_RC_SKIP);
    expect_calls(lines(trc("Start"), push(node(tag()), 2), current_list(GetParam().second),
                       into_output_list(node(tag())), leaf_calls, pop(node(tag())), out_of_output_list(node(tag())),
                       trc("End")));
}

TEST_P(EveryOtsList, EntryIsReleasedOnlyWhenItsRegistrationGrewTheList) {
    platform.output_list_grows = false;
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_add_to_output_list_ctx"}).size(), 1U);
    EXPECT_TRUE(platform.calls_of({"yfw_remove_from_output_list_ctx"}).empty());
}

INSTANTIATE_TEST_SUITE_P(Lists, EveryOtsList,
                         testing::Values(std::pair{inner_nodes[2], ots_list}, std::pair{inner_nodes[4], lane_list}),
                         [](const auto &test) { return test.param.first.word; });

// ---- Leaves -----------------------------------------------------------------------------------------------------

class ConvertedOtsLeaf : public OtsWalk, public testing::WithParamInterface<LeafNode> {
  protected:
    Lines calls_of_converter(const char *value) {
        platform.forget_calls();
        call(GetParam().converter, tree(native(leaf(GetParam().tag, value))));
        Lines calls = platform.calls();
        platform.forget_calls();
        return calls;
    }
};

TEST_P(ConvertedOtsLeaf, WalkerBracketsItsHandler) {
    const Lines expected = calls_of_converter("1750");
    EXPECT_EQ(call(walker(GetParam().word), tree(native(leaf(GetParam().tag, "1750")))), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), expected, trc("End")));
    EXPECT_EQ(request.walk_flags, 0U);
}

TEST_P(ConvertedOtsLeaf, OneOfTheTwoMarksIsNoXpathError) {
    yfw_datatree *in = tree(native(leaf(GetParam().tag, "1750").xpath_error()));
    in->node_type = 4;
    call(walker(GetParam().word), in);
    in->node_type = YFW_NODE_TYPE_XPATH_ERROR;
    in->node_flags2 = 0;
    call(walker(GetParam().word), in);
    EXPECT_EQ(request.walk_flags, 0U);
}

TEST_P(ConvertedOtsLeaf, WalkerRefusesMissingNodes) {
    expect_refuses_missing_nodes(walker(GetParam().word), true);
}

INSTANTIATE_TEST_SUITE_P(Leaves, ConvertedOtsLeaf, testing::ValuesIn(converted_leaves),
                         [](const auto &test) { return test.param.word; });

class WrittenOtsLeaf : public OtsWalk {};

TEST_F(WrittenOtsLeaf, GainRangeIsWrittenFromItsConvertersText) {
    const std::string name = handler("leaf", text_leaves[0].word);
    EXPECT_EQ(call(name, tree(native(leaf("x", "amplifier-gain-range-ext-end-ed")))), CERR_SUCCESS);
    call(name, tree(native(leaf("x", "unknown"))));
    call(name, tree(native(leaf("x"))));
    expect_writes({add(state + "gain-range", ns::openconfig, "HIGH_GAIN_RANGE"),
                   add(state + "gain-range", ns::openconfig, nullptr),
                   add(state + "gain-range", ns::openconfig, "LOW_GAIN_RANGE")});
}

TEST_F(WrittenOtsLeaf, EnabledIsWrittenFromItsConvertersText) {
    const std::string name = handler("leaf", text_leaves[1].word);
    EXPECT_EQ(call(name, tree(native(leaf("x", "true")))), CERR_SUCCESS);
    call(name, tree(native(leaf("x"))));
    expect_writes({add(state + "enabled", ns::openconfig, "false"), add(state + "enabled", ns::openconfig, nullptr)});
}

TEST_F(WrittenOtsLeaf, ResultIsThatOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    for (const LeafNode &text_leaf : text_leaves) {
        EXPECT_EQ(call(handler("leaf", text_leaf.word), tree(native(leaf("x", "true")))), 0x99U);
        EXPECT_EQ(call(walker(text_leaf.word), tree(native(leaf("x", "true")))), 0x99U);
    }
}

TEST_F(OtsWalk, TotalReceivePowerIsWalkedWithoutOutput) {
    EXPECT_EQ(call(walker(silent_leaf.word), tree(native(leaf("total-rx-power", "1")))), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("End")});
}

TEST_F(OtsWalk, TotalReceivePowerHandlerDoesNotEvenTrace) {
    EXPECT_EQ(call(handler("leaf", silent_leaf.word), tree(native(leaf("total-rx-power", "1")))), CERR_SUCCESS);
    expect_calls({});
}

// Every leaf of the model is reached by its tag from its parent's walker.
struct ReachedLeaf {
    std::string parent_walker, parent_tag, tag, leaf_walker;
};

class OtsLeafByTag : public OtsWalk, public testing::WithParamInterface<ReachedLeaf> {};

TEST_P(OtsLeafByTag, IsReached) {
    lightweight_on();
    call(GetParam().parent_walker,
         tree(native(container(GetParam().parent_tag, {leaf(GetParam().tag, "Ots0/1/0/0")}))));
    EXPECT_THAT(started(), testing::Contains(GetParam().leaf_walker));
}

INSTANTIATE_TEST_SUITE_P(
    Leaves, OtsLeafByTag,
    testing::Values(
        ReachedLeaf{port_walker, "ots-port", "name", walker("otsoper_otsport_name")},
        ReachedLeaf{info_walker, "ots-info", "total-rx-power", walker("otsoper_otsinfo_totalrxpower")},
        ReachedLeaf{info_walker, "ots-info", "ampli-tilt", walker("otsoper_otsinfo_amplitilt")},
        ReachedLeaf{info_walker, "ots-info", "ampli-gain", walker("otsoper_otsinfo_ampligain")},
        ReachedLeaf{info_walker, "ots-info", "ampli-gain-range-config-val",
                    walker("otsoper_otsinfo_ampligainrangeconfigval")},
        ReachedLeaf{info_walker, "ots-info", "osri-config-val", walker("otsoper_otsinfo_osriconfigval")},
        ReachedLeaf{lane_walker, "lane-data", "receive-power-dbm", walker("otsoper_lanedata_receivepowerdbm")},
        ReachedLeaf{lane_walker, "lane-data", "transmit-power-dbm", walker("otsoper_lanedata_transmitpowerdbm")},
        ReachedLeaf{lane_walker, "lane-data", "receive-power", walker("otsoper_lanedata_receivepower")},
        ReachedLeaf{lane_walker, "lane-data", "transmit-power", walker("otsoper_lanedata_transmitpower")}),
    [](const auto &test) { return test_name(test.param.tag); });

} // namespace
