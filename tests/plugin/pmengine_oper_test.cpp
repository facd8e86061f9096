// Native performance history, walked; minimum, average and maximum of amplifiers and supervisory channels.
#include <algorithm>

#include "native_walk.h"

namespace {

const std::string prefix = "ymap_xo_oc_opt_amp_korvexpmengineoper_";
const std::string root_walker = prefix + "lvla_performancemanagementhistory";
const std::string port_handler =
    prefix + "list_lvla_performancemanagementhistory_opticsporthistories_opticsporthistory";
const std::string amplifier_state = oc_amplifier + "/state/";
const std::string channel_state = oc_channel + "/state/";

Node native(Node description) {
    return std::move(description).in(ns::pmengine_oper);
}

Node history(const std::string &port, std::vector<Node> groups) {
    groups.insert(groups.begin(), leaf("number", "1"));
    return container("optics-port-history",
                     {leaf("name", port).key(),
                      container("optics-second30-history",
                                {container("optics-second30-optics-histories",
                                           {container("optics-second30-optics-history",
                                                      {leaf("number", "1"),
                                                       container("optics-second30-optics-time-line-instances",
                                                                 {container("optics-second30-optics-time-line-instance",
                                                                            std::move(groups))})})})})});
}

Node performance_history(std::vector<Node> histories) {
    return native(container(
        "performance-management-history",
        {container("global",
                   {container("periodic", {container("optics-history",
                                                     {container("optics-port-histories", std::move(histories))})})})}));
}

class Pmengine : public PluginTest {
  protected:
    void SetUp() override {
        all_amplifiers_exist();
        ask_for({});
    }
    void ask_for(std::vector<Node> children) { client_request(container("optical-amplifier", std::move(children))); }
    void ask_for_amplifiers() { ask_for({container("amplifiers")}); }
    void ask_for_channels() { ask_for({container("supervisory-channels")}); }
    // The port history that the walk stands in.
    void stand_in(const std::string &port) {
        native_list(container("optics-port-history", {leaf("name", port).key()}));
    }
    Lines port_lookup(const std::string &key) const {
        return lines(compare_path_trace(request.native_list, "optics-port-history/name"), trc("key: " + key));
    }
};

// ---- Walks ------------------------------------------------------------------------------------------------------

class PmengineWalk : public Pmengine {};

TEST_F(PmengineWalk, AmplifierPortGivesTheTwelveStatistics) {
    platform.node_key = "Ots0/1/0/0";
    stand_in("Ots0/1/0/0");
    const auto statistics = [](const char *tag) {
        return container(tag, {leaf("minimum", "1"), leaf("average", " 2 "), leaf("maximum", "3")});
    };
    output_power_was("Ots0_1_0_1", {{"Average", "-8"}, {"Minimum", "-9"}, {"Maximum", "-7"}});
    EXPECT_EQ(call(root_walker, tree(performance_history({history("Ots0/1/0/0", {statistics("opt"), statistics("opr"),
                                                                                 statistics("ampli-gain"),
                                                                                 statistics("ampli-gain-tilt")})}))),
              CERR_SUCCESS);
    EXPECT_EQ(searches(), Lines({search_list(oc_amplifier, "name", "0/1-AMP-PRE")}));
    Lines expected;
    for (const auto &[container_name, minimum, average, maximum] :
         {std::tuple{"output-power-c-band/", "1", "2", "3"}, std::tuple{"input-power-c-band/", "-9", "-8", "-7"},
          std::tuple{"actual-gain/", "1", "2", "3"}, std::tuple{"actual-gain-tilt/", "1", "2", "3"}})
        append(expected, Lines{add(amplifier_state + container_name + "min", ns::openconfig, minimum),
                               add(amplifier_state + container_name + "avg", ns::openconfig, average),
                               add(amplifier_state + container_name + "max", ns::openconfig, maximum)});
    expect_writes(expected);
}

TEST_F(PmengineWalk, ChannelPortGivesItsPowers) {
    platform.node_key = "Optics0/1/0/4";
    stand_in("Optics0/1/0/4");
    EXPECT_EQ(call(root_walker, tree(performance_history(
                                    {history("Optics0/1/0/4", {container("opt", {leaf("average", "1.5")}),
                                                               container("opr", {leaf("average", " -3.20 ")}),
                                                               container("ampli-gain", {leaf("average", "7")})})}))),
              CERR_SUCCESS);
    EXPECT_EQ(searches(), Lines({search_list(oc_channel, "interface", "Optics0/1/0/4")}));
    expect_writes({add(channel_state + "output-power/avg", ns::openconfig, "1.5"),
                   add(channel_state + "input-power/avg", ns::openconfig, "-3.20")});
}

TEST_F(PmengineWalk, NodesAreEnteredRegisteredAndLeftInOrder) {
    platform.node_key = "Ots0/1/0/0";
    stand_in("Ots0/1/0/0");
    EXPECT_EQ(call(root_walker, tree(performance_history({history("Ots0/1/0/0", {container("opt")})}))), CERR_SUCCESS);
    const Lines hierarchy_calls = platform.calls_of(
        {"yfw_map_add_to_node_hierarchy", "yfw_map_remove_from_node_hierarchy", "yfw_map_update_current_list_node",
         "yfw_add_to_output_list_ctx", "yfw_remove_from_output_list_ctx"});
    const std::string thirty_seconds =
        history_list + "/optics-second30-history/optics-second30-optics-histories/optics-second30-optics-history";
    const Lines instance = entry_walked("optics-second30-optics-time-line-instance", time_line, {}, entered("opt"));
    const Lines second30 = entry_walked("optics-second30-optics-history", thirty_seconds, {},
                                        entered("optics-second30-optics-time-line-instances", instance));
    const Lines port =
        entry_walked("optics-port-history", history_list, {},
                     entered("optics-second30-history", entered("optics-second30-optics-histories", second30)));
    EXPECT_EQ(
        text_of(hierarchy_calls),
        text_of(entered("performance-management-history",
                        entered("global", entered("periodic", entered("optics-history",
                                                                      entered("optics-port-histories", port)))))));
}

TEST_F(PmengineWalk, KeysOfAllThreeListsAreMarked) {
    platform.node_key = "Ots0/1/0/0";
    stand_in("Ots0/1/0/0");
    Tree walked(performance_history({history("Ots0/1/0/0", {container("opt")})}));
    call(root_walker, walked.root());
    EXPECT_EQ(walked.at({0, 0, 0, 0, 0, 0})->key_seen, 1);
    EXPECT_EQ(walked.at({0, 0, 0, 0, 0, 1, 0, 0, 0})->key_seen, 1);
    EXPECT_EQ(walked.at({0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 0})->key_seen, 1);
    EXPECT_EQ(walked.at({0, 0, 0, 0, 0, 1, 0, 0, 1, 0, 1})->key_seen, 0);
}

TEST_F(PmengineWalk, DiscardedHistoryDoesNotHideTheNextOne) {
    platform.node_key = "GigE0/0";
    stand_in("GigE0/0");
    EXPECT_EQ(
        call(root_walker, tree(performance_history({history("GigE0/0", {container("opt", {leaf("average", "1")})}),
                                                    history("GigE0/0", {container("opt")})}))),
        CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_map_get_node_info"}).size(), 2U);
    EXPECT_TRUE(platform.calls_of({"yfw_add_to_output_list_ctx"}).empty());
    expect_writes({});
}

TEST_F(PmengineWalk, AnotherKindVisitsNothingBelowTheRoot) {
    for (const uint32_t other : {0U, 1U}) {
        kind(other);
        platform.forget_calls();
        EXPECT_EQ(call(root_walker, tree(performance_history({history("Ots0/1/0/0", {})}))), CERR_SUCCESS);
        expect_actions(entered("performance-management-history"));
    }
}

TEST_F(PmengineWalk, UnknownChildrenSucceedEmpty) {
    EXPECT_EQ(call(root_walker, tree(native(container("performance-management-history",
                                                      {leaf("x", "1"), container("global", {leaf("y", "1")})})))),
              CERR_SUCCESS);
    EXPECT_EQ(
        call(root_walker, tree(native(container("performance-management-history", {leaf("x", "1").in(ns::foreign)})))),
        CERR_SUCCESS);
    expect_writes({});
}

TEST_F(PmengineWalk, ForeignChildOfEachLevelReachesItsAugmentParser) {
    platform.node_key = "Ots0/1/0/0";
    stand_in("Ots0/1/0/0");
    const auto starts_of_a_walk = [&](std::vector<Node> groups) {
        platform.forget_calls();
        EXPECT_EQ(call(root_walker, tree(performance_history({history("Ots0/1/0/0", std::move(groups))}))),
                  CERR_SUCCESS);
        return std::ranges::count(messages(), trc("Start"));
    };
    EXPECT_EQ(starts_of_a_walk({leaf("x", "1").in(ns::foreign)}), starts_of_a_walk({}) + 1);
    EXPECT_EQ(starts_of_a_walk({container("opt", {leaf("x", "1").in(ns::foreign)})}),
              starts_of_a_walk({container("opt")}) + 1);
}

TEST_F(PmengineWalk, UntaggedChildAndMissingChildrenEndTheWalk) {
    EXPECT_EQ(call(root_walker, tree(native(container("performance-management-history", {untagged()})))),
              YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Tag name is not available!")));
    EXPECT_EQ(call(root_walker, tree(native(container("performance-management-history").missing_children(1)))),
              YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Failed to get subtrees!")));
    EXPECT_EQ(call(root_walker, tree(performance_history({container("optics-port-history").missing_children(1)}))),
              YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("No keys specified with a list node.")));
}

TEST_F(PmengineWalk, FirstFailingLeafStopsTheVisit) {
    platform.node_key = "Ots0/1/0/0";
    stand_in("Ots0/1/0/0");
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 1);
    EXPECT_EQ(call(root_walker, tree(performance_history({history(
                                    "Ots0/1/0/0", {container("opt", {leaf("minimum", "1"), leaf("maximum", "2")})})}))),
              0x99U);
    EXPECT_EQ(writes().size(), 1U);
}

TEST_F(PmengineWalk, RootWalkerRefusesMissingNodes) {
    expect_refuses_missing_nodes(root_walker, true);
}

TEST_F(PmengineWalk, DefaultHandlersSucceedSilently) {
    EXPECT_EQ(call_container(prefix + "duck_map_container", tree(container("x")), 1), CERR_SUCCESS);
    EXPECT_EQ(call(prefix + "duck_map_list", tree(container("x"))), CERR_SUCCESS);
    EXPECT_EQ(call(prefix + "duck_map_leaf", nullptr), CERR_SUCCESS);
    expect_calls({});
}

// ---- Port-history list handler ----------------------------------------------------------------------------------

class PortHistory : public Pmengine {
  protected:
    cerrno handle(const char *controller) {
        platform.node_key = controller;
        return call(port_handler, tree(native(container("optics-port-history"))));
    }
    Lines announced(const std::string &controller) const {
        return {trc("Start"), node_info(node("optics-port-history"), history_list, "name"),
                trc("controller_name: " + controller), print_tree(node("plist"), "plist")};
    }
    static Lines verdict(const std::string &amplifier, int amplifiers, int ots_ok, int channels, int optics_ok) {
        return {trc("amplifier_name: " + amplifier),
                trc("ampli_request " + std::to_string(amplifiers) + ", ots_name_is_ok " + std::to_string(ots_ok)),
                trc("supervisory_channel_request " + std::to_string(channels) + ", optics_name_is_ok " +
                    std::to_string(optics_ok))};
    }
};

TEST_F(PortHistory, OfAnAmplifierCreatesTheAmplifier) {
    EXPECT_EQ(handle("Ots0/1/0/0"), CERR_SUCCESS);
    expect_calls(lines(announced("Ots0/1/0/0"), ots_check("Ots0/1/0/0", "0/1-AMP-PRE", true),
                       Lines{trc("controller_name = Ots0/1/0/0"),
                             err("Invalid controller_name [Ots0/1/0/0] and slot id [-1], discard it!")},
                       verdict("0/1-AMP-PRE", 1, 1, 1, 0), search_list(oc_amplifier, "name", "0/1-AMP-PRE"),
                       trc("End")));
}

TEST_F(PortHistory, OfAChannelCreatesTheChannel) {
    EXPECT_EQ(handle("Optics0/1/0/4"), CERR_SUCCESS);
    expect_calls(lines(announced("Optics0/1/0/4"), ots_check_wrong_port("Optics0/1/0/4", -1),
                       optics_check("Optics0/1/0/4", "0/1-AMP-PRE", true), verdict("", 1, 0, 1, 1),
                       search_list(oc_channel, "interface", "Optics0/1/0/4"), trc("End")));
}

TEST_F(PortHistory, OfAnAmplifierIsDiscardedByAChannelsRequest) {
    ask_for_channels();
    EXPECT_EQ(handle("Ots0/1/0/0"), YMAP_RC_SKIP);
    EXPECT_TRUE(searches().empty());
}

TEST_F(PortHistory, OfAChannelIsDiscardedByAnAmplifiersRequest) {
    ask_for_amplifiers();
    EXPECT_EQ(handle("Optics0/1/0/4"), YMAP_RC_SKIP);
    EXPECT_TRUE(searches().empty());
}

TEST_F(PortHistory, OfEachIsCreatedByItsOwnRequest) {
    ask_for_amplifiers();
    EXPECT_EQ(handle("Ots0/2/0/1"), CERR_SUCCESS);
    ask_for_channels();
    EXPECT_EQ(handle("Optics0/2/0/4"), CERR_SUCCESS);
    ask_for({container("amplifiers"), container("supervisory-channels")});
    EXPECT_EQ(handle("Optics0/3/0/4"), CERR_SUCCESS);
    EXPECT_EQ(searches(), Lines({search_list(oc_amplifier, "name", "0/2-AMP-BST"),
                                 search_list(oc_channel, "interface", "Optics0/2/0/4"),
                                 search_list(oc_channel, "interface", "Optics0/3/0/4")}));
}

TEST_F(PortHistory, OfNeitherIsDiscarded) {
    for (const char *name : {"GigE0/0/0/0", "Ots0/9/0/0", ""}) {
        EXPECT_EQ(handle(name), YMAP_RC_SKIP) << name;
        ask_for_amplifiers();
        EXPECT_EQ(handle(name), YMAP_RC_SKIP) << name;
        ask_for_channels();
        EXPECT_EQ(handle(name), YMAP_RC_SKIP) << name;
        ask_for({});
    }
    EXPECT_TRUE(searches().empty());
}

TEST_F(PortHistory, WithoutNameIsDiscarded) {
    EXPECT_EQ(handle(nullptr), YMAP_RC_SKIP);
    EXPECT_THAT(messages(), testing::Contains(trc("ERROR controller_name is NULL")));
    EXPECT_TRUE(platform.calls_of({"_sysdb_bind"}).empty());
}

TEST_F(PortHistory, OfAnotherKindCreatesNothing) {
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(handle("Ots0/1/0/0"), CERR_SUCCESS);
    EXPECT_TRUE(searches().empty());
}

TEST_F(PortHistory, ReturnsTheResultOfTheEntryOrOfTheKey) {
    platform.answer("yfw_map_get_node_info", 0x11);
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(handle("Ots0/1/0/0"), 0x11U);
    kind(YFW_KIND_GET);
    EXPECT_EQ(handle("Ots0/1/0/0"), CERR_SUCCESS);
    platform.answer("yfw_map_search_or_add_list", 0x22);
    EXPECT_EQ(handle("Ots0/1/0/0"), 0x22U);
}

TEST_F(PortHistory, RefusesMissingNodes) {
    EXPECT_EQ(call(port_handler, nullptr), YMAP_RC_INVALID_ARGS);
    EXPECT_EQ(plugin().handler(port_handler)(ctx, tree(container("x")), nullptr), YMAP_RC_INVALID_ARGS);
    EXPECT_THAT(messages(), testing::Contains(err("Invalid arguments passed!")).Times(2));
    EXPECT_EQ(platform.calls_of({"yfw_oc_error_path"}).size(), 2U);
}

// ---- Statistics -------------------------------------------------------------------------------------------------

struct Statistic {
    std::string word, native_name;
};

const std::vector<Statistic> all_statistics{{"min", "Minimum"}, {"avg", "Average"}, {"max", "Maximum"}};

class PmStatistic : public Pmengine, public testing::WithParamInterface<Statistic> {
  protected:
    std::string converter(const std::string &what) const {
        return "oc_opt_amp_state_" + GetParam().word + "_" + what + "_to_high";
    }
    std::string write(const std::string &container_path, const char *value) const {
        return add(container_path + GetParam().word, ns::openconfig, value);
    }
    std::string getter() const { return "sysdb_get_input_pm_30sec_" + GetParam().word + "_power"; }
    // What the system-database getter does for the controller, learnt from the getter itself.
    Lines power_read(const char *controller) {
        using Getter = cerrno (*)(yfw_map_ctx, const char *, char *);
        char text[200] = "";
        platform.forget_calls();
        plugin().function<Getter>(getter())(ctx, controller, text);
        const Lines calls = platform.calls();
        platform.forget_calls();
        return calls;
    }
    Lines lookups(size_t count, const std::string &key) const {
        Lines calls;
        for (size_t i = 0; i < count; ++i)
            append(calls, port_lookup(key));
        return calls;
    }
};

TEST_P(PmStatistic, OutputPowerOfAnAmplifierIsStrippedNotScaled) {
    stand_in("Ots0/1/0/0");
    ask_for_amplifiers();
    EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average", " -3.20\t"))), CERR_SUCCESS);
    expect_content(lines(port_lookup("Ots0/1/0/0"), write(amplifier_state + "output-power-c-band/", "-3.20")));
    EXPECT_EQ(messages().front(), trc("Start"));
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_P(PmStatistic, OutputPowerOfAChannelIsStrippedNotScaled) {
    stand_in("Optics0/1/0/4");
    ask_for_channels();
    EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average", " -3.20\t"))), CERR_SUCCESS);
    expect_content(lines(port_lookup("Optics0/1/0/4"), write(channel_state + "output-power/", "-3.20")));
}

TEST_P(PmStatistic, OutputPowerOfAWholeRequestLooksForBothPorts) {
    for (const auto &[port, written] : {std::pair{"Ots0/1/0/0", write(amplifier_state + "output-power-c-band/", "1")},
                                        std::pair{"Optics0/1/0/4", write(channel_state + "output-power/", "1")}}) {
        stand_in(port);
        platform.forget_calls();
        EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average", "1"))), CERR_SUCCESS);
        expect_writes({written});
        EXPECT_THAT(messages(), testing::Contains(trc("key: " + std::string(port))).Times(2));
    }
}

TEST_P(PmStatistic, OutputPowerWithoutValueIsWrittenEmpty) {
    stand_in("Ots0/1/0/0");
    EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average"))), CERR_SUCCESS);
    stand_in("Optics0/1/0/4");
    EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average"))), CERR_SUCCESS);
    expect_writes({write(amplifier_state + "output-power-c-band/", ""), write(channel_state + "output-power/", "")});
}

TEST_P(PmStatistic, OutputPowerOfAnotherPortIsNotWritten) {
    for (const char *port :
         {"", "ots0/1/0/0", "optics0/1/0/4", "xOts0/1/0/0", "Opt", "Opticx0/1/0/4", "Otx0/1/0/0", "OTS", "GigE0/0"}) {
        stand_in(port);
        EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average", "1"))), CERR_SUCCESS) << port;
    }
    stand_in("Optics0/1/0/4");
    ask_for_amplifiers();
    EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average", "1"))), CERR_SUCCESS);
    stand_in("Ots0/1/0/0");
    ask_for_channels();
    EXPECT_EQ(call(converter("output_power_c_band"), tree(leaf("average", "1"))), CERR_SUCCESS);
    expect_writes({});
}

TEST_P(PmStatistic, InputPowerOfAnAmplifierIsReadFromItsPartner) {
    stand_in("Ots0/1/0/0");
    ask_for_amplifiers();
    output_power_was("Ots0_1_0_1", {{GetParam().native_name.c_str(), "  -3.20 "}});
    const Lines read = power_read("Ots0_1_0_1");
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "77"))), CERR_SUCCESS);
    expect_content(lines(port_lookup("Ots0/1/0/0"), trc("ampli_key:  0/1-AMP-PRE "),
                         trc("zq_stsdb_ctrl_name:  Ots0_1_0_0 "), trc("zq_stsdb_ctrl_name swapped:  Ots0_1_0_1 "), read,
                         trc("power_val    -3.20  "), write(amplifier_state + "input-power-c-band/", "-3.20")));
}

TEST_P(PmStatistic, InputPowerOfABoosterIsReadFromThePreAmplifier) {
    stand_in("Ots0/3/0/1");
    ask_for_amplifiers();
    output_power_was("Ots0_3_0_0", {{GetParam().native_name.c_str(), "4"}});
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "77"))), CERR_SUCCESS);
    expect_writes({write(amplifier_state + "input-power-c-band/", "4")});
}

TEST_P(PmStatistic, InputPowerThatTheDatabaseLacksIsWrittenEmpty) {
    stand_in("Ots0/1/0/0");
    ask_for_amplifiers();
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "77"))), CERR_SUCCESS);
    expect_writes({write(amplifier_state + "input-power-c-band/", "")});
    EXPECT_THAT(messages(), testing::Contains(trc("power_val   ")));
}

TEST_P(PmStatistic, InputPowerOfAChannelIsStrippedInPlace) {
    stand_in("Optics0/1/0/4");
    ask_for_channels();
    yfw_datatree *in = tree(leaf("average", "  -3.20  "));
    EXPECT_EQ(call(converter("input_power_c_band"), in), CERR_SUCCESS);
    expect_content(lines(port_lookup("Optics0/1/0/4"), write(channel_state + "input-power/", "-3.20")));
    EXPECT_STREQ(in->value, "  -3.20");
}

TEST_P(PmStatistic, InputPowerOfAWholeRequestGoesByThePort) {
    stand_in("Optics0/1/0/4");
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "5"))), CERR_SUCCESS);
    stand_in("Ots0/2/0/0");
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "5"))), CERR_SUCCESS);
    expect_writes({write(channel_state + "input-power/", "5"), write(amplifier_state + "input-power-c-band/", "")});
}

TEST_P(PmStatistic, WithoutValueIsAddedEmptyButAChannelsInputPowerWithoutText) {
    const auto expect_added = [this](const char *what, const std::string &path, const char *value) {
        platform.forget_calls();
        EXPECT_EQ(call(converter(what), tree(leaf("average"))), CERR_SUCCESS);
        const std::string port = request.native_list->children[0].value;
        expect_calls(lines(trc("Start"), port_lookup(port), write(path, value), trc("End")));
    };
    stand_in("Optics0/1/0/4");
    ask_for_channels();
    expect_added("input_power_c_band", channel_state + "input-power/", nullptr);
    expect_added("output_power_c_band", channel_state + "output-power/", "");
    stand_in("Ots0/1/0/0");
    ask_for_amplifiers();
    expect_added("output_power_c_band", amplifier_state + "output-power-c-band/", "");
    expect_added("ampli_gain", amplifier_state + "actual-gain/", "");
    expect_added("ampli_gain_tilt", amplifier_state + "actual-gain-tilt/", "");
}

TEST_P(PmStatistic, GainAndTiltAreWrittenForAmplifiersAlone) {
    for (const auto &[what, container_name] :
         {std::pair{"ampli_gain", "actual-gain/"}, std::pair{"ampli_gain_tilt", "actual-gain-tilt/"}}) {
        platform.forget_calls();
        stand_in("Ots0/1/0/0");
        ask_for_amplifiers();
        EXPECT_EQ(call(converter(what), tree(leaf("average", " 12.345 "))), CERR_SUCCESS);
        expect_content(lines(port_lookup("Ots0/1/0/0"), write(amplifier_state + container_name, "12.345")));
        platform.forget_calls();
        ask_for({});
        EXPECT_EQ(call(converter(what), tree(leaf("average"))), CERR_SUCCESS);
        expect_writes({write(amplifier_state + container_name, "")});
        platform.forget_calls();
        stand_in("Optics0/1/0/4");
        EXPECT_EQ(call(converter(what), tree(leaf("average", "1"))), CERR_SUCCESS);
        stand_in("Ots0/1/0/0");
        ask_for_channels();
        EXPECT_EQ(call(converter(what), tree(leaf("average", "1"))), CERR_SUCCESS);
        expect_writes({});
    }
}

TEST_P(PmStatistic, ResultIsThatOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    stand_in("Ots0/1/0/0");
    for (const char *what : {"output_power_c_band", "input_power_c_band", "ampli_gain", "ampli_gain_tilt"})
        EXPECT_EQ(call(converter(what), tree(leaf("average", "1"))), 0x99U) << what;
    stand_in("Optics0/1/0/4");
    for (const char *what : {"output_power_c_band", "input_power_c_band"})
        EXPECT_EQ(call(converter(what), tree(leaf("average", "1"))), 0x99U) << what;
}

TEST_P(PmStatistic, LongValuesAndKeysAreCutNotOverrun) {
    stand_in(long_text("Ots", 400, '1'));
    for (const char *what : {"output_power_c_band", "input_power_c_band", "ampli_gain", "ampli_gain_tilt"})
        EXPECT_EQ(call(converter(what), tree(leaf("average", std::string(400, '7')))), CERR_SUCCESS);
    EXPECT_EQ(writes().front(), write(amplifier_state + "output-power-c-band/", std::string(199, '7').c_str()));
}

// The key buffer of 20 bytes holds 19 characters and the terminator.
TEST_P(PmStatistic, PortNameOfNineteenCharactersIsReadWholeAndALongerOneCut) {
    const std::string nineteen = long_text("Optics", 13, '4');
    ASSERT_EQ(nineteen.size(), 19U);
    ask_for_channels();
    for (const std::string &port : {nineteen, nineteen + "4"}) {
        stand_in(port);
        for (const auto &[what, container_name] :
             {std::pair{"output_power_c_band", "output-power/"}, std::pair{"input_power_c_band", "input-power/"}}) {
            platform.forget_calls();
            EXPECT_EQ(call(converter(what), tree(leaf("average", "1"))), CERR_SUCCESS);
            expect_calls(
                lines(trc("Start"), port_lookup(nineteen), write(channel_state + container_name, "1"), trc("End")));
        }
    }
}

// The last of the nineteen tells the booster from the pre-amplifier.
TEST_P(PmStatistic, PartnerOfAPortIsFormedFromAllNineteenCharacters) {
    const std::string nineteen = "Ots0/1/0/0000000001";
    ASSERT_EQ(nineteen.size(), 19U);
    stand_in(nineteen);
    ask_for_amplifiers();
    output_power_was("Ots0_1_0_0", {{GetParam().native_name.c_str(), "4"}});
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "77"))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("ampli_key:  0/1-AMP-BST ")));
    expect_writes({write(amplifier_state + "input-power-c-band/", "4")});
}

TEST_P(PmStatistic, LongNameOfThePartnerIsCutNotOverrun) {
    stand_in("Ots0/2147483647/0/0");
    ask_for_amplifiers();
    EXPECT_EQ(call(converter("input_power_c_band"), tree(leaf("average", "77"))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("ampli_key:  0/2147483647-AMP-PR ")));
}

TEST_P(PmStatistic, NoPortHistoryIsNoPort) {
    for (const char *what : {"output_power_c_band", "input_power_c_band", "ampli_gain", "ampli_gain_tilt"})
        EXPECT_EQ(call(converter(what), tree(leaf("average", "1"))), CERR_SUCCESS);
    expect_writes({});
}

TEST_P(PmStatistic, RefusesMissingNodes) {
    for (const char *what : {"output_power_c_band", "input_power_c_band", "ampli_gain", "ampli_gain_tilt"}) {
        expect_refuses_missing_nodes(converter(what), true);
        expect_context_assertion(converter(what), call_handler_without_context);
    }
}

INSTANTIATE_TEST_SUITE_P(Members, PmStatistic, testing::ValuesIn(all_statistics),
                         [](const auto &test) { return test.param.word; });

} // namespace
