// Native optics operational data, walked; each suitable optics port becomes a supervisory channel with its powers.
#include "native_walk.h"

namespace {

const std::string prefix = "ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_";
const std::string root_walker = prefix + "lvla_opticsoper";
const std::string port_handler = prefix + "list_lvla_opticsoper_opticsports_opticsport";
const std::string key_converter = "oc_opt_amp_state_super_ch_key_to_high";
const std::string input_converter = "oc_opt_super_ch_state_instant_input_power_to_high";
const std::string output_converter = "oc_opt_super_ch_state_instant_output_power_to_high";
const std::string input_power = oc_channel + "/state/input-power/instant";
const std::string output_power = oc_channel + "/state/output-power/instant";

Node native(Node description) {
    return std::move(description).in(ns::optics_oper);
}

Node port(const std::string &name, std::vector<Node> lane_leaves = {}) {
    return container("optics-port", {leaf("name", name),
                                     container("optics-lanes", {container("optics-lane", std::move(lane_leaves))})});
}

Node optics_oper(std::vector<Node> ports) {
    return native(container("optics-oper", {container("optics-ports", std::move(ports))}));
}

class OpticsOper : public PluginTest {
  protected:
    void SetUp() override {
        all_amplifiers_exist();
        ask_for({container("supervisory-channels")});
    }
    void ask_for(std::vector<Node> children) { client_request(container("optical-amplifier", std::move(children))); }
    void ask_for_channel(const std::string &name) {
        ask_for(
            {container("supervisory-channels", {container("supervisory-channel", {leaf("interface", name).key()})})});
    }
};

// ---- Walks ------------------------------------------------------------------------------------------------------

TEST_F(OpticsOper, OpticsPortBecomesASupervisoryChannel) {
    platform.node_key = "Optics0/1/0/4";
    EXPECT_EQ(
        call(root_walker, tree(optics_oper({port("Optics0/1/0/4", {leaf("number", "1"), leaf("receive-power", "-250"),
                                                                   leaf("transmit-power", "125")})}))),
        CERR_SUCCESS);
    EXPECT_SAME_TEXT(text_of(searches()), text_of({search_list(oc_channel, "interface", "Optics0/1/0/4")}));
    expect_writes({add(oc_channel + "/interface", ns::openconfig, "Optics0/1/0/4"),
                   add(oc_channel + "/state/interface", ns::openconfig, "Optics0/1/0/4"),
                   add(input_power, ns::openconfig, "-2.50"), add(output_power, ns::openconfig, "1.25")});
}

TEST_F(OpticsOper, NodesAreEnteredRegisteredAndLeftInOrder) {
    platform.node_key = "Optics0/1/0/4";
    ask_for({container("amplifiers")});
    EXPECT_EQ(call(root_walker, tree(optics_oper({port("Optics0/1/0/4", {leaf("number", "1")})}))), CERR_SUCCESS);
    const Lines hierarchy_calls = platform.calls_of(
        {"yfw_map_add_to_node_hierarchy", "yfw_map_remove_from_node_hierarchy", "yfw_map_update_current_list_node",
         "yfw_add_to_output_list_ctx", "yfw_remove_from_output_list_ctx"});
    const Lines lane = entry_walked("optics-lane", optics_lane, {}, {});
    EXPECT_SAME_TEXT(
        text_of(hierarchy_calls),
        text_of(entered("optics-oper", entered("optics-ports", entry_walked("optics-port", optics_list, {},
                                                                            entered("optics-lanes", lane))))));
}

TEST_F(OpticsOper, KeysOfPortAndLaneAreMarked) {
    platform.node_key = "Optics0/1/0/4";
    yfw_datatree *in = tree(optics_oper({port("Optics0/1/0/4", {leaf("number", "1"), leaf("receive-power", "1")})}));
    call(root_walker, in);
    const yfw_datatree &walked_port = in->children[0].children[0];
    const yfw_datatree &lane = walked_port.children[1].children[0];
    EXPECT_EQ(walked_port.children[0].key_seen, 1);
    EXPECT_NE(walked_port.children[0].node_flags2 & YFW_NODE_KEY_USED, 0);
    EXPECT_EQ(lane.children[0].key_seen, 1);
    EXPECT_EQ(lane.children[1].key_seen, 0);
}

class OpticsOperOfAnotherKind : public OpticsOper, public testing::WithParamInterface<uint32_t> {};

TEST_P(OpticsOperOfAnotherKind, VisitsNothingBelowTheRoot) {
    kind(GetParam());
    EXPECT_EQ(call(root_walker, tree(optics_oper({port("Optics0/1/0/4")}))), CERR_SUCCESS);
    expect_actions(entered("optics-oper"));
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")));
}

INSTANTIATE_TEST_SUITE_P(Kinds, OpticsOperOfAnotherKind, testing::Values(0U, 1U));

TEST_F(OpticsOper, SkippedPortDoesNotHideTheNextOne) {
    platform.node_key = "Optics0/1/0/0";
    EXPECT_EQ(call(root_walker, tree(optics_oper({port("Optics0/1/0/0", {leaf("receive-power", "1")}),
                                                  port("Optics0/1/0/0", {leaf("receive-power", "1")})}))),
              CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_map_get_node_info"}).size(), 2U);
    EXPECT_TRUE(platform.calls_of({"yfw_add_to_output_list_ctx"}).empty());
    expect_writes({});
}

TEST_F(OpticsOper, UnknownNativeChildrenAreIgnoredWithoutTheirName) {
    platform.node_key = "Optics0/1/0/4";
    EXPECT_EQ(call(root_walker,
                   tree(native(container(
                       "optics-oper",
                       {leaf("x", "1"),
                        container("optics-ports", {leaf("x", "1"), container("optics-port", {container("optics-info"),
                                                                                             leaf("x", "1")})})})))),
              CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")).Times(4));
}

TEST_F(OpticsOper, ForeignChildrenSucceedEmpty) {
    EXPECT_EQ(call(root_walker, tree(native(container("optics-oper", {leaf("x", "1").in(ns::foreign)})))),
              CERR_SUCCESS);
    expect_actions(entered("optics-oper"));
    EXPECT_THAT(messages(), testing::Not(testing::Contains(trc("Unsupported tag. Ignoring."))));
}

TEST_F(OpticsOper, UntaggedChildAndMissingChildrenEndTheWalk) {
    EXPECT_EQ(call(root_walker, tree(native(container("optics-oper", {untagged()})))), YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Tag name is not available!")));
    EXPECT_EQ(call(root_walker, tree(native(container("optics-oper").missing_children(1)))), YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Failed to get subtrees!")));
    EXPECT_EQ(call(root_walker, tree(optics_oper({container("optics-port").missing_children(1)}))),
              YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("No keys specified with a list node.")));
}

TEST_F(OpticsOper, RootWalkerRefusesMissingNodes) {
    expect_refuses_missing_nodes(root_walker, true);
}

TEST_F(OpticsOper, DefaultHandlersSucceedSilently) {
    EXPECT_EQ(call_container(prefix + "duck_map_container", tree(container("x")), 1), CERR_SUCCESS);
    EXPECT_EQ(call(prefix + "duck_map_list", tree(container("x"))), CERR_SUCCESS);
    EXPECT_EQ(call(prefix + "duck_map_leaf", tree(leaf("x"))), CERR_SUCCESS);
    EXPECT_EQ(call(prefix + "duck_map_leaf", nullptr), CERR_SUCCESS);
    expect_calls({});
}

TEST_F(OpticsOper, ContainerAndLaneHandlersSucceedWithoutOutput) {
    for (const char *word : {"opticsoper", "opticsoper_opticsports", "opticsoper_opticsport_opticslanes",
                             "opticsoper_opticsport_opticsinfo"})
        EXPECT_EQ(call_container(prefix + "cont_lvla_" + word, tree(container("x")), 9), CERR_SUCCESS) << word;
    EXPECT_EQ(call(prefix + "list_lvla_opticsoper_opticslanes_opticslane", tree(container("optics-lane"))),
              CERR_SUCCESS);
    expect_actions({});
}

// ---- Optics-port list handler -----------------------------------------------------------------------------------

class OpticsPort : public OpticsOper {
  protected:
    cerrno handle(const char *controller) {
        platform.node_key = controller;
        return call(port_handler, tree(native(container("optics-port"))));
    }
    // The sequence without the amplifier name, whose text is not fixed here.
    Lines sequence() const { return without_start(platform.calls(), trc("amplifier_name: ")); }
};

TEST_F(OpticsPort, OfAChannelsRequestCreatesTheChannel) {
    EXPECT_EQ(handle("Optics0/1/0/4"), CERR_SUCCESS);
    EXPECT_SAME_TEXT(
        text_of(sequence()),
        text_of(lines(trc("Start"), node_info(node("optics-port"), optics_list, "name"),
                      trc("controller_name: Optics0/1/0/4"), optics_check("Optics0/1/0/4", "0/1-AMP-PRE", true),
                      compare_path_trace(&request.reg_dup_datatree, oc_channel + "/interface"),
                      trc("reg_dup_datatree key: "), search_list(oc_channel, "interface", "Optics0/1/0/4"),
                      trc("End"))));
    EXPECT_THAT(messages(), testing::Contains(testing::StartsWith(trc("amplifier_name: "))));
}

TEST_F(OpticsPort, ThatTheClientNamedIsCreated) {
    ask_for_channel("Optics0/2/0/4");
    EXPECT_EQ(handle("Optics0/2/0/4"), CERR_SUCCESS);
    EXPECT_EQ(searches(), Lines({search_list(oc_channel, "interface", "Optics0/2/0/4")}));
    EXPECT_THAT(messages(), testing::Contains(trc("reg_dup_datatree key: Optics0/2/0/4")));
}

TEST_F(OpticsPort, ThatTheClientDidNotNameIsSkipped) {
    ask_for_channel("Optics0/2/0/4");
    EXPECT_EQ(handle("Optics0/1/0/4"), YMAP_RC_SKIP);
    EXPECT_TRUE(searches().empty());
    EXPECT_THAT(messages(), testing::Contains(err("controller_name [Optics0/1/0/4] does not match with key "
                                                  "[Optics0/2/0/4], discard it!")));
}

TEST_F(OpticsPort, WithoutNameIsSkippedBeforeTheRequestIsLookedAt) {
    EXPECT_EQ(handle(nullptr), YMAP_RC_SKIP);
    expect_calls({trc("Start"), node_info(node("optics-port"), optics_list, "name"), trc("controller_name: (null)"),
                  trc("ERROR controller_name is NULL")});
}

// The key buffer of 20 bytes holds 19 characters and the terminator.
TEST_F(OpticsPort, NameOfNineteenCharactersMatchesItsKeyAndALongerOneDoesNot) {
    const std::string nineteen = "Optics0/1/0/4444444";
    ASSERT_EQ(nineteen.size(), 19U);
    const auto asked = [this](const std::string &name) {
        ask_for_channel(name);
        platform.forget_calls();
        const cerrno result = handle(name.c_str());
        EXPECT_SAME_TEXT(text_of(platform.calls()),
                         text_of(lines(trc("Start"), node_info(node("optics-port"), optics_list, "name"),
                                       trc("controller_name: " + name), optics_check(name, "0/1-AMP-PRE", true),
                                       trc("amplifier_name: "),
                                       compare_path_trace(&request.reg_dup_datatree, oc_channel + "/interface"),
                                       trc("reg_dup_datatree key: " + name.substr(0, 19)),
                                       result == CERR_SUCCESS
                                           ? lines(search_list(oc_channel, "interface", name), trc("End"))
                                           : Lines{err("controller_name [" + name + "] does not match with key [" +
                                                       name.substr(0, 19) + "], discard it!")})));
        return result;
    };
    EXPECT_EQ(asked(nineteen), CERR_SUCCESS);
    EXPECT_EQ(asked(nineteen + "4"), YMAP_RC_SKIP);
}

TEST_F(OpticsPort, ThatIsNoChannelIsSkippedByAChannelsRequest) {
    EXPECT_EQ(handle("Optics0/1/0/0"), YMAP_RC_SKIP);
    EXPECT_TRUE(searches().empty());
}

TEST_F(OpticsPort, ThatIsNoChannelPassesAnyOtherRequestWithoutEntry) {
    for (const bool amplifiers : {true, false}) {
        ask_for(amplifiers ? std::vector<Node>{container("amplifiers")} : std::vector<Node>{});
        EXPECT_EQ(handle("Optics0/1/0/0"), CERR_SUCCESS);
    }
    EXPECT_TRUE(searches().empty());
}

TEST_F(OpticsPort, OfAWholeRequestIsCreatedWhenItsNameIsGood) {
    ask_for({});
    EXPECT_EQ(handle("Optics0/3/0/4"), CERR_SUCCESS);
    EXPECT_EQ(searches(), Lines({search_list(oc_channel, "interface", "Optics0/3/0/4")}));
}

TEST_F(OpticsPort, OfAnAmplifiersRequestIsNotCreated) {
    ask_for({container("amplifiers")});
    EXPECT_EQ(handle("Optics0/3/0/4"), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
}

TEST_F(OpticsPort, OfAnotherKindIsNotCreated) {
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(handle("Optics0/3/0/4"), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
}

TEST_F(OpticsPort, ReturnsTheResultOfTheEntryOrOfTheKey) {
    platform.answer("yfw_map_get_node_info", 0x11);
    ask_for({container("amplifiers")});
    EXPECT_EQ(handle("Optics0/3/0/4"), 0x11U) << "the default result";
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(handle("Optics0/3/0/4"), CERR_SUCCESS);
    platform.answer("yfw_map_search_or_add_list", 0x22);
    EXPECT_EQ(handle("Optics0/3/0/4"), 0x22U);
}

TEST_F(OpticsPort, RefusesMissingNodes) {
    EXPECT_EQ(call(port_handler, nullptr), YMAP_RC_INVALID_ARGS);
    EXPECT_EQ(plugin().handler(port_handler)(ctx, tree(container("optics-port")), nullptr), YMAP_RC_INVALID_ARGS);
    EXPECT_THAT(messages(), testing::Contains(err("Invalid arguments passed!")).Times(2));
    EXPECT_EQ(platform.calls_of({"yfw_oc_error_path"}).size(), 2U);
}

// ---- Key --------------------------------------------------------------------------------------------------------

class ChannelKeyToHigh : public OpticsOper {
  protected:
    cerrno convert(const Node &name) { return call(key_converter, tree(native(name))); }
    static Lines written(const char *controller) {
        return {add(oc_channel + "/interface", ns::openconfig, controller),
                add(oc_channel + "/state/interface", ns::openconfig, controller)};
    }
};

TEST_F(ChannelKeyToHigh, WritesTheInterfaceTwice) {
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), print_tree(node("reg_dup_datatree"), "reg_dup_datatree"),
                       trc("value = Optics0/1/0/4"), optics_check("Optics0/1/0/4", "0/1-AMP-PRE", true),
                       written("Optics0/1/0/4"), trc("End")));
}

TEST_F(ChannelKeyToHigh, OfAnAmplifiersRequestIsNotEvenChecked) {
    ask_for({container("amplifiers")});
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), print_tree(node("reg_dup_datatree"), "reg_dup_datatree"),
                       trc("value = Optics0/1/0/4"), trc("End")));
}

TEST_F(ChannelKeyToHigh, WritesForAWholeRequest) {
    ask_for({});
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), CERR_SUCCESS);
    expect_writes(written("Optics0/1/0/4"));
}

TEST_F(ChannelKeyToHigh, WritesNothingForOtherRequestsNamesAndKinds) {
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/0")), CERR_SUCCESS);
    ask_for({container("amplifiers")});
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), CERR_SUCCESS);
    ask_for({container("supervisory-channels")});
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(ChannelKeyToHigh, WithoutValueWritesNothing) {
    EXPECT_EQ(convert(leaf("name")), CERR_SUCCESS);
    expect_writes({});
    EXPECT_THAT(messages(), testing::Contains(trc("value = (null)")));
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_F(ChannelKeyToHigh, ReturnsTheResultOfTheSecondWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 1);
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), CERR_SUCCESS);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "state/interface");
    EXPECT_EQ(convert(leaf("name", "Optics0/1/0/4")), 0x22U);
}

TEST_F(ChannelKeyToHigh, RefusesMissingNodes) {
    expect_refuses_missing_nodes(key_converter, true);
    expect_context_assertion(key_converter, call_handler_without_context);
}

// ---- Lane powers ------------------------------------------------------------------------------------------------

struct PowerConverter {
    std::string name, oc_leaf;
    bool traces_length;
};

class LanePower : public OpticsOper, public testing::WithParamInterface<PowerConverter> {
  protected:
    cerrno convert(const Node &power) { return call(GetParam().name, tree(native(power))); }
    std::string write(const char *value) const { return add(GetParam().oc_leaf, ns::openconfig, value); }
    Lines length_trace(int length) const {
        return GetParam().traces_length ? Lines{trc("ctx->req_ctx->hierarchy_len " + std::to_string(length))} : Lines{};
    }
    void stand_in(const std::string &interface_name) {
        hierarchy({container("optics-oper"), container("optics-ports"),
                   container("optics-port", {leaf("name", interface_name).key()})});
    }
};

TEST_P(LanePower, HundredthsBecomeTwoDecimals) {
    EXPECT_EQ(convert(leaf("power", "-250")), CERR_SUCCESS);
    expect_content(lines(trc("ampli_request 0, supervisory_channel_request 1"), length_trace(0),
                         trc("output_power-native = -250"), trc("output_power-oc = -2.50"), write("-2.50")));
    EXPECT_EQ(messages().front(), trc("Start"));
}

TEST_P(LanePower, WithoutValueIsWrittenEmpty) {
    EXPECT_EQ(convert(leaf("power")), CERR_SUCCESS);
    expect_writes({write("")});
}

TEST_P(LanePower, ThatIsNoNumberIsZero) {
    EXPECT_EQ(convert(leaf("power", "abc")), CERR_SUCCESS);
    expect_writes({write("0.00")});
}

TEST_P(LanePower, OfAWholeRequestInsideAnOpticsPortIsWritten) {
    ask_for({});
    stand_in("Optics0/1/0/4");
    EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
    expect_content(lines(trc("ampli_request 0, supervisory_channel_request 0"), length_trace(3),
                         compare_path_trace(request.hierarchy[2], "optics-port/name"),
                         trc("interface_key: Optics0/1/0/4"), trc("output_power-native = 100"),
                         trc("output_power-oc = 1.00"), write("1.00")));
}

TEST_P(LanePower, OfAWholeRequestInsideAnotherPortIsNotWritten) {
    ask_for({});
    stand_in("Ots0/1/0/0");
    EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
    expect_writes({});
    EXPECT_THAT(messages(), testing::Contains(trc("interface_key: Ots0/1/0/0")));
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_P(LanePower, OfAWholeRequestInsideAHierarchyThatIsMissingIsNotWritten) {
    ask_for({});
    request.hierarchy_len = 3;
    request.hierarchy = nullptr;
    EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
    expect_writes({});
    EXPECT_THAT(messages(), testing::Contains(trc("interface_key: ")));
}

TEST_P(LanePower, InterfaceKeyMayHoldOpticsAnywhere) {
    ask_for({});
    stand_in("xOpticsx");
    EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
    expect_writes({write("1.00")});
}

// The key buffer of 20 bytes holds 19 characters and the terminator.
TEST_P(LanePower, PortNameOfNineteenCharactersIsReadWholeAndALongerOneCut) {
    ask_for({});
    const std::string nineteen = long_text("", 13, 'x') + "Optics";
    for (const bool is_longer : {false, true}) {
        platform.forget_calls();
        const std::string name = is_longer ? "x" + nineteen : nineteen;
        stand_in(name);
        EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
        const Lines looked_up = lines(trc("Start"), trc("ampli_request 0, supervisory_channel_request 0"),
                                      length_trace(3), compare_path_trace(request.hierarchy[2], "optics-port/name"),
                                      trc("interface_key: " + name.substr(0, 19)));
        const Lines converted{trc("output_power-native = 100"), trc("output_power-oc = 1.00"), write("1.00")};
        expect_calls(lines(looked_up, is_longer ? Lines{} : converted, trc("End")));
    }
}

TEST_P(LanePower, OfAWholeRequestLessThanThreeLevelsDeepIsWritten) {
    ask_for({});
    hierarchy({container("optics-oper"), container("optics-ports")});
    EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
    expect_writes({write("1.00")});
}

TEST_P(LanePower, OfANamedListIsWrittenWhateverThePort) {
    stand_in("Ots0/1/0/0");
    for (const char *list : {"amplifiers", "supervisory-channels"}) {
        ask_for({container(list)});
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("power", "100")), CERR_SUCCESS);
        expect_writes({write("1.00")});
    }
}

TEST_P(LanePower, ReturnsTheResultOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(convert(leaf("power", "1")), 0x99U);
}

TEST_P(LanePower, IsCopiedAndPrintedBounded) {
    const std::string value = long_text("1", 400, '0');
    EXPECT_EQ(convert(leaf("power", value)), CERR_SUCCESS);
    EXPECT_THAT(platform.calls_of({"yfw_strcpy_s"}),
                testing::Contains("yfw_strcpy_s \"" + GetParam().name + "\" 200 \"" + value + "\""));
}

TEST_P(LanePower, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam().name, true);
    expect_context_assertion(GetParam().name, call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(Converters, LanePower,
                         testing::Values(PowerConverter{input_converter, input_power, false},
                                         PowerConverter{output_converter, output_power, true}),
                         [](const auto &test) { return test.param.traces_length ? "Transmit" : "Receive"; });

} // namespace
