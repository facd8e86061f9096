// Native optics configuration, walked and turned into OpenConfig configuration of an amplifier.
#include "native_walk.h"

namespace {

const std::string prefix = "ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_";
const std::string dispatcher = prefix + "augment_lvla_interface_configuration";
const std::string config = oc_amplifier + "/config/";
const std::string state = oc_amplifier + "/state/";
const std::string gain_converter = "oc_opt_amp_cfg_target_gain_to_high";
const std::string tilt_converter = "oc_opt_amp_cfg_target_gain_tilt_to_high";
const std::string enabled_converter = "oc_opt_amp_cfg_enabled_to_high";
const std::string native_lists = "/a1:interface-configurations/a1:interface-configuration/optics/";

Node native(Node description) {
    return std::move(description).in(ns::optics_cfg);
}
Node optics(std::vector<Node> children) {
    return native(container("optics", std::move(children)));
}

class OpticsCfg : public PluginTest {
  protected:
    void SetUp() override { client_request(container("optical-amplifier", {container("amplifiers")})); }
    cerrno walk(const Node &child_of_the_interface) { return call(dispatcher, tree(child_of_the_interface)); }
};

// ---- Dispatcher -------------------------------------------------------------------------------------------------

TEST_F(OpticsCfg, EmptyOpticsIsEnteredAndLeft) {
    EXPECT_EQ(walk(optics({})), CERR_SUCCESS);
    expect_actions(entered("optics"));
    expect_content({trc("Processing tag 'optics'"), push(node("optics"), 1), pop(node("optics"))});
    EXPECT_EQ(messages().front(), trc("Start"));
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_F(OpticsCfg, OtherNativeChildOfTheInterfaceIsIgnored) {
    EXPECT_EQ(walk(native(container("otn"))), CERR_SUCCESS);
    expect_content({trc("Processing tag 'otn'"), trc("Unsupported tag. Ignoring.")});
}

TEST_F(OpticsCfg, ForeignChildOfTheInterfaceSucceedsEmpty) {
    EXPECT_EQ(walk(container("otn").in(ns::foreign)), CERR_SUCCESS);
    expect_content({trc("Processing tag 'otn'")});
}

TEST_F(OpticsCfg, UntaggedChildOfTheInterfaceIsRefusedUnlessItIsForeign) {
    const Lines reported{err("Tag name is not available!"), error_path_call()};
    EXPECT_EQ(walk(native(untagged())), YMAP_RC_BAD_SUBTREE);
    expect_calls(lines(trc("Start"), reported, trc("Unsupported tag. Ignoring."), trc("End")));
    platform.forget_calls();
    EXPECT_EQ(walk(untagged().in(ns::foreign)), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), reported, trc("Start"), trc("End"), trc("End")));
    EXPECT_EQ(request.error_path, nullptr);
}

TEST_F(OpticsCfg, MissingChildrenAreRefused) {
    EXPECT_EQ(walk(native(container("optics").missing_children(2))), YMAP_RC_BAD_SUBTREE);
    expect_calls(lines(trc("Start"), failed_at("Failed to get subtrees!", "optics"), trc("End")));
}

TEST_F(OpticsCfg, DispatcherRefusesMissingNodes) {
    expect_refuses_missing_nodes(dispatcher, true);
}

// ---- Optics container -------------------------------------------------------------------------------------------

TEST_F(OpticsCfg, ThreeLeavesGiveTheAmplifiersConfiguration) {
    EXPECT_EQ(walk(optics({leaf("optics-ots-osri", "true"), leaf("optics-ots-amplifier-gain", "175"),
                           leaf("optics-ots-amplifier-tilt", "-5")})),
              CERR_SUCCESS);
    expect_writes(
        {add(config + "enabled", ns::openconfig, "false"), add(config + "target-gain", ns::openconfig, "17.50"),
         add(state + "target-gain", ns::openconfig, "17.50"), add(state + "target-gain-tilt", ns::openconfig, "-0.50"),
         add(config + "target-gain-tilt", ns::openconfig, "-0.50")});
}

TEST_F(OpticsCfg, UnmappedLeavesYieldNothing) {
    EXPECT_EQ(walk(optics({leaf("optics-transmit-power", "10"), leaf("optics-fec", "x")})), CERR_SUCCESS);
    expect_actions(entered("optics"));
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")).Times(2));
}

TEST_F(OpticsCfg, ForeignChildOfOpticsReachesTheEmptyAugmentParser) {
    EXPECT_EQ(walk(optics({leaf("no-such-leaf", "true").in(ns::foreign)})), CERR_SUCCESS);
    expect_content({trc("Processing tag 'optics'"), push(node("optics"), 1), pop(node("optics"))});
}

TEST_F(OpticsCfg, UntaggedChildOfOpticsEndsTheWalk) {
    EXPECT_EQ(walk(optics({untagged(), leaf("optics-ots-osri", "true")})), YMAP_RC_BAD_SUBTREE);
    expect_actions(entered("optics", {error_path_call()}));
    EXPECT_THAT(messages(), testing::Contains(err("Tag name is not available!")));
}

TEST_F(OpticsCfg, FirstFailingLeafStopsTheVisit) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 1);
    EXPECT_EQ(walk(optics({leaf("optics-ots-osri", "true"), leaf("optics-ots-amplifier-gain", "1")})), 0x99U);
    expect_actions(entered("optics", {add(config + "enabled", ns::openconfig, "false")}));
}

TEST_F(OpticsCfg, XpathErrorLeafIsRecordedAndStillConverted) {
    for (const char *tag : {"optics-ots-osri", "optics-ots-amplifier-gain", "optics-ots-amplifier-tilt"}) {
        request.walk_flags = 0;
        platform.forget_calls();
        EXPECT_EQ(walk(optics({leaf(tag, "1").xpath_error()})), CERR_SUCCESS);
        EXPECT_THAT(messages(), testing::Contains(trc("got xpath error node ")));
        EXPECT_EQ(request.walk_flags, static_cast<uint32_t>(YFW_WALK_XPATH_ERROR));
        EXPECT_FALSE(writes().empty());
    }
}

TEST_F(OpticsCfg, WalkersTraceUnderTheirOwnNames) {
    lightweight_on();
    walk(optics({container("rx-thresholds", {container("rx-threshold", {leaf("rx-threshold-type", "low")})}),
                 leaf("optics-ots-osri", "true"), leaf("optics-ots-amplifier-gain", "1"),
                 leaf("optics-ots-amplifier-tilt", "1")}));
    EXPECT_THAT(started(),
                testing::IsSupersetOf(
                    {dispatcher, prefix + "lvla_optics", prefix + "lvla_optics_rxthresholds",
                     prefix + "lvla_optics_rxthresholds_rxthreshold", prefix + "lvla_optics_opticsotsosri",
                     prefix + "lvla_optics_opticsotsamplifiergain", prefix + "lvla_optics_opticsotsamplifiertilt",
                     gain_converter, tilt_converter, enabled_converter}));
}

// ---- Containers and lists below optics --------------------------------------------------------------------------

struct SubList {
    std::string container_tag, list_tag, key;
    std::string path() const { return native_lists + container_tag + "/" + list_tag; }
};

class OpticsSubList : public OpticsCfg, public testing::WithParamInterface<SubList> {
  protected:
    cerrno walk_list(std::vector<Node> entries) {
        in = tree(optics({container(GetParam().container_tag, std::move(entries))}));
        return call(dispatcher, in);
    }
    Node entry(std::vector<Node> children) const { return container(GetParam().list_tag, std::move(children)); }
    Lines inside(const Lines &actions_in_the_container) const {
        return entered("optics", entered(GetParam().container_tag, actions_in_the_container));
    }
    yfw_datatree *in = nullptr;
};

TEST_P(OpticsSubList, EntriesAreEnteredRegisteredAndLeft) {
    EXPECT_EQ(walk_list({native(entry({leaf(GetParam().key, "1"), leaf("other", "2")}))}), CERR_SUCCESS);
    expect_actions(inside(entry_walked(GetParam().list_tag, GetParam().path(), {}, {})));
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")).Times(2));
    const yfw_datatree &walked = in->children[0].children[0];
    EXPECT_EQ(walked.children[0].key_seen, 1);
    EXPECT_NE(walked.children[0].node_flags2 & YFW_NODE_KEY_USED, 0);
    EXPECT_EQ(walked.children[1].key_seen, 0);
}

TEST_P(OpticsSubList, EntryWithoutKeysIsReportedAndStillEntered) {
    EXPECT_EQ(walk_list({native(entry({}))}), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(err("No keys specified with a list node.")));
    EXPECT_THAT(platform.calls(),
                testing::IsSupersetOf({push(node(GetParam().list_tag), 2), current_list(GetParam().path()),
                                       into_output_list(node(GetParam().list_tag)), pop(node(GetParam().list_tag)),
                                       out_of_output_list(node(GetParam().list_tag))}));
}

TEST_P(OpticsSubList, EntryWithMissingChildrenIsRefused) {
    Node broken = container(GetParam().list_tag).missing_children(2);
    EXPECT_EQ(walk_list({native(broken)}), YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Failed to get subtrees!")));
    EXPECT_THAT(platform.calls(), testing::Not(testing::Contains(push(node(GetParam().list_tag), 2))));
}

TEST_P(OpticsSubList, ContainerWithMissingChildrenIsRefused) {
    EXPECT_EQ(walk(optics({container(GetParam().container_tag).missing_children(2)})), YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(platform.calls(), testing::Not(testing::Contains(push(node(GetParam().container_tag), 1))));
}

TEST_P(OpticsSubList, UntaggedChildOfAnEntryEndsTheWalk) {
    EXPECT_EQ(walk_list({native(entry({untagged()}))}), YMAP_RC_BAD_SUBTREE);
    expect_actions(inside(entry_walked(GetParam().list_tag, GetParam().path(), {}, {error_path_call()})));
}

TEST_P(OpticsSubList, UntaggedChildOfTheContainerEndsTheWalk) {
    EXPECT_EQ(walk_list({untagged()}), YMAP_RC_BAD_SUBTREE);
    expect_actions(inside({error_path_call()}));
}

TEST_P(OpticsSubList, OtherChildrenOfTheContainerAreIgnored) {
    EXPECT_EQ(walk_list({leaf("other", "1"), leaf("foreign", "1").in(ns::foreign)}), CERR_SUCCESS);
    expect_actions(inside({}));
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")).Times(1));
}

TEST_P(OpticsSubList, EntryIsReleasedOnlyWhenItsRegistrationGrewTheList) {
    platform.output_list_grows = false;
    EXPECT_EQ(walk_list({native(entry({leaf(GetParam().key, "1")}))}), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_add_to_output_list_ctx"}).size(), 1U);
    EXPECT_TRUE(platform.calls_of({"yfw_remove_from_output_list_ctx"}).empty());
}

TEST_P(OpticsSubList, FailedCurrentListNodeIsTheResult) {
    platform.answer("yfw_map_update_current_list_node", 0x88);
    EXPECT_EQ(walk_list({native(entry({leaf(GetParam().key, "1")}))}), 0x88U);
    expect_actions(
        inside({push(node(GetParam().list_tag), 2), current_list(GetParam().path()), pop(node(GetParam().list_tag))}));
    EXPECT_EQ(in->children[0].children[0].children[0].key_seen, 0);
}

INSTANTIATE_TEST_SUITE_P(Lists, OpticsSubList,
                         testing::Values(SubList{"rx-thresholds", "rx-threshold", "rx-threshold-type"},
                                         SubList{"tx-thresholds", "tx-threshold", "tx-threshold-type"},
                                         SubList{"optics-network-srlgs", "optics-network-srlg", "set-id"},
                                         SubList{"optics-lanes", "optics-lane", "index"}),
                         [](const auto &test) { return test_name(test.param.container_tag); });

TEST_F(OpticsCfg, DwdmCarrierHasNoList) {
    EXPECT_EQ(walk(optics({container("optics-dwdm-carrier", {leaf("grid-type", "1"), container("optics-lane")})})),
              CERR_SUCCESS);
    expect_actions(entered("optics", entered("optics-dwdm-carrier")));
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")).Times(2));
}

// ---- Node handlers ----------------------------------------------------------------------------------------------

class OpticsCfgLeafHandler : public OpticsCfg {
  protected:
    std::string handler(const std::string &word) const { return prefix + "leaf_lvla_optics_" + word; }
    void pass_options(bool pass) { request.options.word_signed = pass ? 0 : -1; }
};

TEST_F(OpticsCfgLeafHandler, OsriWritesEnabledUnlessOptionsAndSourceForbidIt) {
    for (const bool options_pass : {true, false})
        for (const uint32_t source : {0U, 1U, 2U}) {
            pass_options(options_pass);
            request.request_source = source;
            platform.forget_calls();
            EXPECT_EQ(call(handler("opticsotsosri"), tree(leaf("optics-ots-osri", "false"))), CERR_SUCCESS);
            if (!options_pass && source == 2)
                expect_writes({});
            else
                expect_writes({add(config + "enabled", ns::openconfig, "true")});
        }
}

TEST_F(OpticsCfgLeafHandler, OsriWithoutValueIsWrittenWithoutValue) {
    EXPECT_EQ(call(handler("opticsotsosri"), tree(leaf("optics-ots-osri"))), CERR_SUCCESS);
    expect_writes({add(config + "enabled", ns::openconfig, nullptr)});
}

TEST_F(OpticsCfgLeafHandler, OsriReturnsTheResultOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(call(handler("opticsotsosri"), tree(leaf("optics-ots-osri", "true"))), 0x99U);
}

const std::vector<std::string> default_leaves{"opticsbaudrate",
                                              "opticsbitspersymbol",
                                              "opticscdhighthreshold",
                                              "opticscdlowthreshold",
                                              "opticscdmax",
                                              "opticscdmin",
                                              "opticsdgdhighthreshold",
                                              "opticsdwdmcarrier_gridtype",
                                              "opticsdwdmcarrier_paramtype",
                                              "opticsdwdmcarrier_paramvalue",
                                              "opticsfec",
                                              "opticslane_description",
                                              "opticslane_index",
                                              "opticslbchighthreshold",
                                              "opticsloopback",
                                              "opticsnetworksrlg_setid",
                                              "opticsnetworksrlg_srlg1",
                                              "opticsnetworksrlg_srlg2",
                                              "opticsnetworksrlg_srlg3",
                                              "opticsnetworksrlg_srlg4",
                                              "opticsnetworksrlg_srlg5",
                                              "opticsnetworksrlg_srlg6",
                                              "opticsosnrlowthreshold",
                                              "opticsotsamplifierchannelpower",
                                              "opticsotsamplifierchannelpsd",
                                              "opticsotsamplifiercontrolmode",
                                              "opticsotsamplifiergaindegradehighthreshold",
                                              "opticsotsamplifiergaindegradelowthreshold",
                                              "opticsotsamplifiergainrange",
                                              "opticsotschannelpowermaxdelta",
                                              "opticsotsrxenable",
                                              "opticsotsrxlowthresholddelta",
                                              "opticsotsrxlowthresholdpsd",
                                              "opticsotsrxvoaattenuation",
                                              "opticsotssafetycontrolmode",
                                              "opticsotstxenable",
                                              "opticsotstxvoaattenuation",
                                              "opticsperformancemonitoring",
                                              "opticstransmitpower",
                                              "opticstransmitshutdown",
                                              "rxthreshold_rxthreshold",
                                              "rxthreshold_rxthresholdtype",
                                              "txthreshold_txthreshold",
                                              "txthreshold_txthresholdtype"};

Lines default_handlers() {
    Lines names{prefix + "duck_map_list", prefix + "duck_map_leaf"};
    for (const std::string &word : default_leaves)
        names.push_back(prefix + "leaf_lvla_optics_" + word);
    for (const char *word : {"rxthresholds_rxthreshold", "txthresholds_txthreshold",
                             "opticsnetworksrlgs_opticsnetworksrlg", "opticslanes_opticslane"})
        names.push_back(prefix + "list_lvla_optics_" + word);
    return names;
}

Lines default_container_handlers() {
    Lines names{prefix + "duck_map_container", prefix + "cont_lvla_optics"};
    for (const char *word : {"rxthresholds", "txthresholds", "opticsnetworksrlgs", "opticslanes", "opticsdwdmcarrier"})
        names.push_back(prefix + "cont_lvla_optics_" + word);
    return names;
}

class OpticsCfgDefault : public OpticsCfg, public testing::WithParamInterface<std::string> {};

TEST_P(OpticsCfgDefault, SucceedsBetweenStartAndEnd) {
    EXPECT_EQ(call(GetParam(), tree(leaf("x", "1"))), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("End")});
}

TEST_P(OpticsCfgDefault, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(Handlers, OpticsCfgDefault, testing::ValuesIn(default_handlers()),
                         [](const auto &test) { return test.param.substr(prefix.size()); });

class OpticsCfgDefaultContainer : public OpticsCfg, public testing::WithParamInterface<std::string> {};

TEST_P(OpticsCfgDefaultContainer, SucceedsBetweenStartAndEnd) {
    EXPECT_EQ(call_container(GetParam(), tree(container("x")), 3), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("End")});
}

TEST_P(OpticsCfgDefaultContainer, RefusesMissingNodes) {
    expect_container_refuses_missing_nodes(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Handlers, OpticsCfgDefaultContainer, testing::ValuesIn(default_container_handlers()),
                         [](const auto &test) { return test.param.substr(prefix.size()); });

// ---- Values -----------------------------------------------------------------------------------------------------

struct CfgConverter {
    std::string name, leaf_name, key_trace;
    bool is_tilt;
};

const CfgConverter gain{gain_converter, "target-gain", " key= ", false};
const CfgConverter tilt{tilt_converter, "target-gain-tilt", "key= ", true};

class OpticsCfgValue : public OpticsCfg, public testing::WithParamInterface<CfgConverter> {
  protected:
    cerrno convert(const Node &native_leaf) { return call(GetParam().name, tree(native_leaf)); }
    void ask_for(const std::string &amplifier) {
        client_request(container("optical-amplifier",
                                 {container("amplifiers", {container("amplifier", {leaf("name", amplifier).key()})})}));
    }
    // What is written: the gain's configuration first, the tilt's last.
    Lines written(const char *value, bool to_config, bool to_state) const {
        const std::string in_config = add(config + GetParam().leaf_name, ns::openconfig, value);
        const std::string in_state = add(state + GetParam().leaf_name, ns::openconfig, value);
        Lines calls;
        if (to_config)
            calls.push_back(in_config);
        if (to_state)
            calls.insert(GetParam().is_tilt ? calls.begin() : calls.end(), in_state);
        return calls;
    }
    Lines key_read(const std::string &key) const {
        return lines(trc("Start"),
                     compare_path_trace(&request.reg_dup_datatree, "/" + oc_amplifier.substr(1) + "/name"),
                     trc(GetParam().key_trace + key));
    }
};

TEST_P(OpticsCfgValue, TenthsBecomeTwoDecimals) {
    EXPECT_EQ(convert(leaf("native", "175")), CERR_SUCCESS);
    expect_calls(lines(key_read(""), trc("gain-native = 175"), trc("gain-oc = 17.50"), written("17.50", true, true),
                       trc("End")));
}

TEST_P(OpticsCfgValue, OfAKeyedRequestAsksWhetherTheControllerExists) {
    ask_for("0/2-AMP-BST");
    platform.listing = {"Ots0_2_0_1/"};
    EXPECT_EQ(convert(leaf("native", "230")), CERR_SUCCESS);
    expect_calls(lines(key_read("0/2-AMP-BST"), key_lookup("Ots0_2_0_1", true), trc("gain-native = 230"),
                       trc("gain-oc = 23.00"), written("23.00", true, true), trc("End")));
}

TEST_P(OpticsCfgValue, OfAControllerThatDoesNotExistWritesNothing) {
    ask_for("0/2-AMP-BST");
    EXPECT_EQ(convert(leaf("native", "230")), CERR_SUCCESS);
    expect_calls(lines(key_read("0/2-AMP-BST"), key_lookup("Ots0_2_0_1", false),
                       trc("key Ots0_2_0_1 is not defined in sysdb! "), trc("End")));
}

TEST_P(OpticsCfgValue, IsDividedAndPrinted) {
    for (const auto &[native_text, oc_text] :
         {std::pair{"230", "23.00"}, std::pair{"-15", "-1.50"}, std::pair{"5", "0.50"}, std::pair{"abc", "0.00"},
          std::pair{"", "0.00"}, std::pair{"-5", "-0.50"}, std::pair{"1.25", "0.12"}}) {
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("native", native_text)), CERR_SUCCESS);
        expect_writes(written(oc_text, true, true));
    }
}

TEST_P(OpticsCfgValue, StateIsWrittenForKindTenAlone) {
    for (const uint32_t other : {0U, 1U}) {
        kind(other);
        platform.forget_calls();
        EXPECT_EQ(convert(leaf("native", "10")), CERR_SUCCESS);
        expect_writes(written("1.00", true, false));
    }
}

TEST_P(OpticsCfgValue, FailedOptionsOfSourceTwoKeepTheConfigurationOut) {
    request.options.half = 0x200;
    request.request_source = 2;
    EXPECT_EQ(convert(leaf("native", "10")), CERR_SUCCESS);
    expect_writes(written("1.00", false, true));
    kind(YFW_KIND_GET_CONFIG);
    platform.forget_calls();
    EXPECT_EQ(convert(leaf("native", "10")), CERR_SUCCESS);
    expect_writes({});
}

TEST_P(OpticsCfgValue, FailedOptionsOfAnotherSourceDoNot) {
    request.options.half = 0x200;
    request.request_source = 1;
    EXPECT_EQ(convert(leaf("native", "10")), CERR_SUCCESS);
    expect_writes(written("1.00", true, true));
}

TEST_P(OpticsCfgValue, ReturnsTheResultOfItsLastWrite) {
    const std::string last = (GetParam().is_tilt ? config : state) + GetParam().leaf_name;
    const std::string first = (GetParam().is_tilt ? state : config) + GetParam().leaf_name;
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 0, "path=" + first + " ");
    EXPECT_EQ(convert(leaf("native", "10")), CERR_SUCCESS);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "path=" + last + " ");
    EXPECT_EQ(convert(leaf("native", "10")), 0x22U);
}

TEST_P(OpticsCfgValue, IsCopiedAndPrintedBounded) {
    const std::string value = long_text("1", 400, '0');
    EXPECT_EQ(convert(leaf("native", value)), CERR_SUCCESS);
    EXPECT_THAT(platform.calls_of({"yfw_strcpy_s"}),
                testing::Contains("yfw_strcpy_s \"" + GetParam().name + "\" 200 \"" + value + "\""));
    EXPECT_EQ(convert(leaf("native", "1e300")), CERR_SUCCESS);
}

TEST_P(OpticsCfgValue, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam().name, true);
}

TEST_P(OpticsCfgValue, AssertsItsContext) {
    expect_context_assertion(GetParam().name, call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(Converters, OpticsCfgValue, testing::Values(gain, tilt),
                         [](const auto &test) { return test.param.is_tilt ? "Tilt" : "Gain"; });

TEST_F(OpticsCfg, GainWithoutValueWritesNothing) {
    EXPECT_EQ(call(gain_converter, tree(leaf("native"))), CERR_SUCCESS);
    expect_writes({});
    const Lines said = messages();
    ASSERT_GE(said.size(), 2U);
    EXPECT_EQ(said[said.size() - 2], trc("input value is NULL"));
    EXPECT_EQ(said.back(), trc("End"));
}

TEST_F(OpticsCfg, TiltWithoutValueWritesEmptyTexts) {
    EXPECT_EQ(call(tilt_converter, tree(leaf("native"))), CERR_SUCCESS);
    expect_writes(
        {add(state + "target-gain-tilt", ns::openconfig, ""), add(config + "target-gain-tilt", ns::openconfig, "")});
    EXPECT_THAT(messages(), testing::Not(testing::Contains(trc("input value is NULL"))));
}

TEST_F(OpticsCfg, EnabledIsInverted) {
    for (const auto &[native_text, oc_text] : {std::pair{"true", "\"false\""}, std::pair{"false", "\"true\""},
                                               std::pair{"TRUE", "\"true\""}, std::pair{"", "\"true\""}}) {
        platform.forget_calls();
        EXPECT_EQ(call_text(enabled_converter, tree(leaf("optics-ots-osri", native_text))), oc_text);
        expect_content({});
        EXPECT_EQ(messages().front(), trc("Start"));
    }
    EXPECT_EQ(call_text(enabled_converter, tree(leaf("optics-ots-osri"))), "none");
}

TEST_F(OpticsCfg, EnabledOfAMissingNodeIsNoneAndReported) {
    EXPECT_EQ(call_text(enabled_converter, nullptr), "none");
    expect_calls(lines(trc("Start"), missing_node()));
    platform.forget_calls();
    EXPECT_EQ(plugin().text_converter(enabled_converter)(ctx, tree(leaf("x", "true")), nullptr), nullptr);
    expect_calls(lines(trc("Start"), missing_node()));
    expect_context_assertion(enabled_converter, call_text_converter_without_context);
}

// Every option field alone closes the configuration of source 2, and the bits beside it do not.
struct OptionCase {
    std::string name;
    void (*set)(yfw_request_options &);
    bool closes;
};

class RequestOptions : public OpticsCfg, public testing::WithParamInterface<OptionCase> {};

TEST_P(RequestOptions, DecideTheConfigurationWrite) {
    kind(YFW_KIND_GET_CONFIG);
    request.request_source = 2;
    GetParam().set(request.options);
    EXPECT_EQ(call(gain_converter, tree(leaf("native", "10"))), CERR_SUCCESS);
    EXPECT_EQ(writes().empty(), GetParam().closes);
}

INSTANTIATE_TEST_SUITE_P(Fields, RequestOptions,
                         testing::Values(OptionCase{"clear", [](auto &) {}, false},
                                         OptionCase{"signed_negative", [](auto &o) { o.word_signed = -1; }, true},
                                         OptionCase{"signed_lowest", [](auto &o) { o.word_signed = INT32_MIN; }, true},
                                         OptionCase{"signed_positive", [](auto &o) { o.word_signed = INT32_MAX; },
                                                    false},
                                         OptionCase{"byte_01", [](auto &o) { o.byte_flags = 0x01; }, true},
                                         OptionCase{"byte_02", [](auto &o) { o.byte_flags = 0x02; }, true},
                                         OptionCase{"byte_04", [](auto &o) { o.byte_flags = 0x04; }, true},
                                         OptionCase{"byte_others", [](auto &o) { o.byte_flags = 0xf8; }, false},
                                         OptionCase{"low2_first", [](auto &o) { o.words_low2[0] = 1; }, true},
                                         OptionCase{"low2_second", [](auto &o) { o.words_low2[1] = 2; }, true},
                                         OptionCase{"low2_third", [](auto &o) { o.words_low2[2] = 3; }, true},
                                         OptionCase{"low2_fourth", [](auto &o) { o.words_low2[3] = 1; }, true},
                                         OptionCase{"low2_others",
                                                    [](auto &o) {
                                                        for (uint32_t &word : o.words_low2)
                                                            word = 0xfffffffc;
                                                    },
                                                    false},
                                         OptionCase{"half_low", [](auto &o) { o.half = 0x1; }, true},
                                         OptionCase{"half_100", [](auto &o) { o.half = 0x100; }, true},
                                         OptionCase{"half_200", [](auto &o) { o.half = 0x200; }, true},
                                         OptionCase{"half_400", [](auto &o) { o.half = 0x400; }, true},
                                         OptionCase{"half_800", [](auto &o) { o.half = 0x800; }, true},
                                         OptionCase{"half_2000", [](auto &o) { o.half = 0x2000; }, true},
                                         OptionCase{"half_others", [](auto &o) { o.half = 0xc000; }, false},
                                         OptionCase{"low4_first", [](auto &o) { o.words_low4[0] = 8; }, true},
                                         OptionCase{"low4_second", [](auto &o) { o.words_low4[1] = 1; }, true},
                                         OptionCase{"low4_others",
                                                    [](auto &o) {
                                                        for (uint32_t &word : o.words_low4)
                                                            word = 0xfffffff0;
                                                    },
                                                    false},
                                         OptionCase{"bit2", [](auto &o) { o.word_bit2 = 0x4; }, true},
                                         OptionCase{"bit2_others", [](auto &o) { o.word_bit2 = 0xfffffffb; }, false}),
                         [](const auto &test) { return test.param.name; });

} // namespace
