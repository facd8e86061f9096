// Keys of amplifiers and supervisory channels, and requests without a key, turned into native list entries.
#include "plugin_fixture.h"

namespace {

const std::string amplifier_key_path = "optical-amplifier/amplifiers/amplifier/name";
const std::string channel_key_path = "optical-amplifier/supervisory-channels/supervisory-channel/interface";

Node amplifier_request(const std::string &name) {
    return container("optical-amplifier",
                     {container("amplifiers", {container("amplifier", {leaf("name", name).key()})})});
}

Node channel_request(const std::string &name) {
    return container(
        "optical-amplifier",
        {container("supervisory-channels", {container("supervisory-channel", {leaf("interface", name).key()})})});
}

std::string open_interfaces(const std::string &source) {
    return add(interface_list, ns::ifmgr_cfg, nullptr, source, {.list = 1});
}

Lines interface_key(const std::string &controller, const std::string &source = no_source) {
    return {add(interface_list + "/interface-name", ns::ifmgr_cfg, controller.c_str(), source),
            add(interface_list + "/active", ns::ifmgr_cfg, "act")};
}

Lines interface_entry(const std::string &controller, const std::string &source) {
    return {add(interface_list, ns::ifmgr_cfg, nullptr, source, {.list = 1}),
            add(interface_list + "/interface-name", ns::ifmgr_cfg, controller.c_str(), source, {.follow = 1}),
            add(interface_list + "/active", ns::ifmgr_cfg, "act", no_source, {.follow = 1})};
}

const Lines operational_lists{add(ots_list, ns::ots_oper, nullptr, no_source, {.list = 1}),
                              add(history_list, ns::pmengine_oper, nullptr, no_source, {.list = 1})};

Lines operational_key(const std::string &controller) {
    return {add(ots_list + "/name", ns::ots_oper, controller.c_str()),
            add(history_list + "/name", ns::pmengine_oper, controller.c_str()),
            add(time_line + "/number", ns::pmengine_oper, "1")};
}

Lines names_traced(const std::string &amplifier, const std::string &controller) {
    return {trc("amplifier_name = " + amplifier), trc("controller_name = " + controller)};
}

const Lines all_controllers{"Ots0/1/0/0", "Ots0/1/0/1", "Ots0/2/0/0", "Ots0/2/0/1", "Ots0/3/0/0", "Ots0/3/0/1"};
const Lines all_amplifiers{"0/1-AMP-PRE", "0/1-AMP-BST", "0/2-AMP-PRE", "0/2-AMP-BST", "0/3-AMP-PRE", "0/3-AMP-BST"};

class KeysToNative : public PluginTest {
  protected:
    // What a select-field builder writes for the controller, learnt from the builder itself.
    Lines select_fields(const std::string &builder, const std::string &controller, const std::string &tag) {
        using Builder = cerrno (*)(yfw_map_ctx, const yfw_datatree *, yfw_datatree *, const char *);
        platform.forget_calls();
        plugin().function<Builder>(builder)(ctx, tree(container(tag)), &out, controller.c_str());
        const Lines calls = platform.calls();
        platform.forget_calls();
        return calls;
    }
};

// ---- Every converter --------------------------------------------------------------------------------------------

class TracedConverter : public KeysToNative, public testing::WithParamInterface<std::string> {};

TEST_P(TracedConverter, SaysWhereItStartsAndEnds) {
    ASSERT_EQ(call(GetParam(), tree(leaf("name", "0/1-AMP-PRE"))), CERR_SUCCESS);
    const Lines traces = messages();
    ASSERT_GE(traces.size(), 2U);
    EXPECT_EQ(traces.front(), trc("Start"));
    EXPECT_EQ(traces.back(), trc("End"));
}

INSTANTIATE_TEST_SUITE_P(All, TracedConverter,
                         testing::Values("oc_opt_amp_cfg_amplifier_list_to_low", "oc_opt_amp_cfg_amplifier_key_to_low",
                                         "oc_opt_amp_cfg_get_amplifier_key_to_low",
                                         "oc_opt_amp_state_get_amplifier_key_to_low", "oc_opt_amp_super_ch_list_to_low",
                                         "oc_opt_amp_cfg_super_ch_key_to_low", "oc_opt_amp_state_super_ch_key_to_low"),
                         [](const auto &test) { return test.param; });

// ---- Amplifier list ---------------------------------------------------------------------------------------------

class AmplifierList : public KeysToNative {
  protected:
    cerrno convert(const Node &list_node) { return call("oc_opt_amp_cfg_amplifier_list_to_low", tree(list_node)); }
    Lines key_lookup() const { return compare_path_trace(request.node_data, amplifier_key_path); }
};

TEST_F(AmplifierList, WithAKeyOpensTheConfigurationAndOperationalLists) {
    client_request(amplifier_request("0/1-AMP-PRE"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), key_lookup(), trc("node_data key: 0/1-AMP-PRE"), ask_delete(node("amplifier")),
                       open_interfaces(no_source), operational_lists, trc("End")));
}

TEST_F(AmplifierList, WithAKeyReturnsTheResultOfTheHistoryList) {
    client_request(amplifier_request("0/1-AMP-PRE"));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 1);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "optics-port-history ");
    EXPECT_EQ(convert(container("amplifier")), 0x22U);
}

TEST_F(AmplifierList, WithAKeyInAConfigurationReadOpensTheConfigurationListAlone) {
    kind(YFW_KIND_GET_CONFIG);
    client_request(amplifier_request("0/1-AMP-PRE"));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22);
    EXPECT_EQ(convert(container("amplifier")), 0x22U);
    expect_writes({open_interfaces(no_source)});
}

TEST_F(AmplifierList, WithAKeyInAnEditOpensTheConfigurationListWithoutSource) {
    kind(YFW_KIND_EDIT);
    client_request(amplifier_request("0/1-AMP-PRE"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    expect_writes({open_interfaces(no_source)});
}

TEST_F(AmplifierList, WithAKeyMakesNoInventoryCheck) {
    client_request(amplifier_request("0/9-AMP-PRE"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    EXPECT_TRUE(platform.calls_of({"_sysdb_bind"}).empty());
}

class DeletedAmplifierList : public AmplifierList, public testing::WithParamInterface<uint32_t> {};

TEST_P(DeletedAmplifierList, IsOpenedWithTheListAsSourceAndNoKeys) {
    kind(YFW_KIND_EDIT);
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(container("amplifier").op(GetParam())), CERR_SUCCESS);
    const std::string source = node("amplifier", GetParam());
    expect_calls(lines(trc("Start"), key_lookup(), trc("node_data key: "), ask_delete(source), open_interfaces(source),
                       trc("End")));
}

INSTANTIATE_TEST_SUITE_P(Operations, DeletedAmplifierList, testing::Values(YFW_OP_DELETE, YFW_OP_REMOVE));

TEST_F(AmplifierList, WithoutKeyInAReadIsExpandedToTheAmplifiersOfSlotOne) {
    platform.put_amplifier("0/1-AMP-PRE");
    platform.put_amplifier("0/1-AMP-BST");
    client_request(container("optical-amplifier", {container("amplifiers")}));
    Lines expected = lines(trc("Start"), key_lookup(), trc("node_data key: "), ask_delete(node("amplifier")));
    for (size_t i = 0; i < all_controllers.size(); ++i) {
        append(expected, ots_check(all_controllers[i], all_amplifiers[i], i < 2));
        if (i < 2)
            append(expected, interface_entry(all_controllers[i], node("amplifier")));
    }
    for (size_t i = 0; i < all_controllers.size(); ++i) {
        append(expected, ots_check(all_controllers[i], all_amplifiers[i], i < 2));
        if (i < 2)
            append(expected, lines(trc("controller_amp_ots: " + all_controllers[i]),
                                   select_fields("add_ots_select_field", all_controllers[i], "amplifier"),
                                   select_fields("add_pm_select_field", all_controllers[i], "amplifier")));
    }
    append(expected, trc("End"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    expect_calls(expected);
}

TEST_F(AmplifierList, WithoutKeyTestsEveryPositionTwiceInAReadOfState) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    convert(container("amplifier"));
    EXPECT_EQ(platform.calls_of({"_sysdb_bind"}).size(), 12U);
}

class KeylessWithoutState : public AmplifierList, public testing::WithParamInterface<uint32_t> {};

TEST_P(KeylessWithoutState, WritesTheConfigurationEntriesAndNoOperationalPaths) {
    kind(GetParam());
    platform.put_amplifier("0/1-AMP-PRE");
    platform.put_amplifier("0/1-AMP-BST");
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    expect_writes(
        lines(interface_entry("Ots0/1/0/0", node("amplifier")), interface_entry("Ots0/1/0/1", node("amplifier"))));
    EXPECT_EQ(platform.calls_of({"_sysdb_bind"}).size(), 6U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, KeylessWithoutState, testing::Values(0U, 1U, 8U));

TEST_F(AmplifierList, WithoutKeyReturnsTheResultOfTheLastActiveWrite) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 3);
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS) << "only the last counts";
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "path=" + interface_list + "/active");
    platform.answer("yfw_map_datatree_add_path_flagged", 0x33, 0, "pmengine");
    EXPECT_EQ(convert(container("amplifier")), 0x22U) << "select fields do not change the result";
}

TEST_F(AmplifierList, WithoutKeyOnANodeWithoutAmplifiersSucceedsEmpty) {
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    expect_writes({});
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_F(AmplifierList, LongKeyIsCutTo19Characters) {
    client_request(amplifier_request("0/1-AMP-PRE-and-much-more"));
    EXPECT_EQ(convert(container("amplifier")), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("node_data key: 0/1-AMP-PRE-and-muc")));
}

// ---- Amplifier key leaves ---------------------------------------------------------------------------------------

class AmplifierKey : public KeysToNative {
  protected:
    const std::string list_key = "oc_opt_amp_cfg_amplifier_key_to_low";
    const std::string config_name = "oc_opt_amp_cfg_get_amplifier_key_to_low";
    const std::string state_name = "oc_opt_amp_state_get_amplifier_key_to_low";
};

TEST_F(AmplifierKey, OfAStateReadKeysAllThreeModels) {
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), names_traced("0/2-AMP-BST", "Ots0/2/0/1"), interface_key("Ots0/2/0/1"),
                       operational_key("Ots0/2/0/1"), trc("End")));
}

TEST_F(AmplifierKey, OfAConfigurationReadKeysTheInterfaceAlone) {
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), CERR_SUCCESS);
    expect_calls(
        lines(trc("Start"), names_traced("0/2-AMP-BST", "Ots0/2/0/1"), interface_key("Ots0/2/0/1"), trc("End")));
}

TEST_F(AmplifierKey, OfAnEditCarriesTheLeafAsSource) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), names_traced("0/2-AMP-BST", "Ots0/2/0/1"), ask_delete(node("name")),
                       interface_key("Ots0/2/0/1", node("name")), trc("End")));
}

TEST_F(AmplifierKey, OfADeleteOpensTheListFirst) {
    kind(YFW_KIND_EDIT);
    const std::string source = node("name", YFW_OP_DELETE);
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST").op(YFW_OP_DELETE))), CERR_SUCCESS);
    expect_writes(lines(open_interfaces(source), interface_key("Ots0/2/0/1", source)));
}

TEST_F(AmplifierKey, WithoutValueWritesNothing) {
    for (const uint32_t request_kind : {0U, 1U, 10U}) {
        kind(request_kind);
        platform.forget_calls();
        EXPECT_EQ(call(list_key, tree(leaf("name"))), CERR_SUCCESS);
        expect_calls({trc("Start"), trc("End")});
    }
}

TEST_F(AmplifierKey, ReturnsTheResultOfItsLastWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "path=" + interface_list + "/active");
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), CERR_SUCCESS);
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), 0x22U);
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), 0x22U);
    kind(YFW_KIND_GET);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x33, 0, "path=" + time_line + "/number");
    EXPECT_EQ(call(list_key, tree(leaf("name", "0/2-AMP-BST"))), 0x33U);
}

TEST_F(AmplifierKey, ThatDoesNotParseIsWrittenAsItStands) {
    kind(YFW_KIND_GET_CONFIG);
    EXPECT_EQ(call(list_key, tree(leaf("name", "foo"))), CERR_SUCCESS);
    expect_writes(interface_key("Ots0/-1/0/-1"));
}

TEST_F(AmplifierKey, LongerThanItsBufferDoesNotOverrunIt) {
    EXPECT_EQ(call(list_key, tree(leaf("name", long_text("0/1-AMP-PRE", 1000, 'x')))), CERR_SUCCESS);
    EXPECT_EQ(writes().front(), interface_key("Ots0/1/0/0").front());
}

TEST_F(AmplifierKey, OfConfigNameKeysTheInterfaceInReads) {
    for (const uint32_t read : {0U, 10U}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(call(config_name, tree(leaf("name", "0/1-AMP-PRE"))), CERR_SUCCESS);
        expect_calls(
            lines(trc("Start"), names_traced("0/1-AMP-PRE", "Ots0/1/0/0"), interface_key("Ots0/1/0/0"), trc("End")));
    }
}

TEST_F(AmplifierKey, OfConfigNameWritesNothingInEdits) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(config_name, tree(leaf("name", "0/1-AMP-PRE"))), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_map_is_request_delete"}), Lines({ask_delete(node("name"))}));
    expect_writes({});
}

TEST_F(AmplifierKey, OfStateNameKeysTheOtsPortInReads) {
    for (const uint32_t read : {0U, 10U}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(call(state_name, tree(leaf("name", "0/1-AMP-PRE"))), CERR_SUCCESS);
        expect_calls(lines(trc("Start"), names_traced("0/1-AMP-PRE", "Ots0/1/0/0"),
                           add(ots_list + "/name", ns::ots_oper, "Ots0/1/0/0"), trc("End")));
    }
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22);
    EXPECT_EQ(call(state_name, tree(leaf("name", "0/1-AMP-PRE"))), 0x22U);
}

TEST_F(AmplifierKey, OfStateNameWritesNothingInEdits) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(state_name, tree(leaf("name", "0/1-AMP-PRE"))), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_map_is_request_delete"}), Lines({ask_delete(node("name"))}));
    expect_writes({});
}

TEST_F(AmplifierKey, OfConfigAndStateNameWithoutValueWriteNothing) {
    EXPECT_EQ(call(config_name, tree(leaf("name"))), CERR_SUCCESS);
    EXPECT_EQ(call(state_name, tree(leaf("name"))), CERR_SUCCESS);
    expect_writes({});
}

// ---- Supervisory channels ---------------------------------------------------------------------------------------

class ChannelList : public KeysToNative {
  protected:
    cerrno convert() { return call("oc_opt_amp_super_ch_list_to_low", tree(container("supervisory-channel"))); }
    Lines key_lookup() const { return compare_path_trace(request.node_data, channel_key_path); }
    static Lines optics_entry(const std::string &controller) {
        return {
            add(optics_list, ns::optics_oper, nullptr, no_source, {.list = 1}),
            add(optics_list + "/name", ns::optics_oper, controller.c_str(), node("supervisory-channel"), {.follow = 1}),
            add(optics_lane + "/receive-power", ns::optics_oper, nullptr, no_source, {.follow = 1}),
            add(optics_lane + "/transmit-power", ns::optics_oper, nullptr, no_source, {.follow = 1}),
            add(optics_lane + "/number", ns::optics_oper, "1")};
    }
};

TEST_F(ChannelList, WithAKeyOpensTheOperationalLists) {
    client_request(channel_request("Optics0/1/0/4"));
    EXPECT_EQ(convert(), CERR_SUCCESS);
    Lines calls = platform.calls_without({"_xos_dt_log_filter_adv"});
    EXPECT_SAME_TEXT(text_of(calls), text_of({add(optics_list, ns::optics_oper, nullptr, no_source, {.list = 1}),
                                              add(history_list, ns::pmengine_oper, nullptr, no_source, {.list = 1})}));
    EXPECT_EQ(messages().front(), trc("Start"));
    EXPECT_EQ(messages().back(), trc("End"));
    EXPECT_THAT(messages(), testing::IsSupersetOf(key_lookup()));
}

TEST_F(ChannelList, WithAKeyReturnsTheResultOfTheHistoryList) {
    client_request(channel_request("Optics0/1/0/4"));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 1);
    EXPECT_EQ(convert(), CERR_SUCCESS);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "pmengine");
    EXPECT_EQ(convert(), 0x22U);
}

TEST_F(ChannelList, WithoutKeyIsExpandedToEveryChannelInSlotOrder) {
    all_amplifiers_exist();
    client_request(container("optical-amplifier", {container("supervisory-channels")}));
    Lines expected;
    for (const char *controller : {"Optics0/1/0/4", "Optics0/2/0/4", "Optics0/3/0/4"})
        append(expected, lines(optics_entry(controller),
                               select_fields("add_pm_select_field", controller, "supervisory-channel")));
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes(expected);
}

TEST_F(ChannelList, WithoutKeyTakesOnlyTheChannelsThatExist) {
    platform.put_amplifier("0/2-AMP-PRE");
    platform.put_amplifier("0/3-AMP-BST");
    client_request(container("optical-amplifier"));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22);
    Lines expected = lines(optics_entry("Optics0/2/0/4"),
                           select_fields("add_pm_select_field", "Optics0/2/0/4", "supervisory-channel"));
    EXPECT_EQ(convert(), CERR_SUCCESS) << "results of the writes are ignored";
    expect_writes(expected);
    EXPECT_EQ(platform.calls_of({"_sysdb_bind"}).size(), 3U);
}

class ChannelListWithoutState : public ChannelList, public testing::WithParamInterface<uint32_t> {};

TEST_P(ChannelListWithoutState, WritesNothing) {
    kind(GetParam());
    all_amplifiers_exist();
    client_request(container("optical-amplifier"));
    EXPECT_EQ(convert(), CERR_SUCCESS);
    client_request(channel_request("Optics0/1/0/4"));
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes({});
    EXPECT_TRUE(platform.calls_of({"_sysdb_bind"}).empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, ChannelListWithoutState, testing::Values(0U, 1U, 8U));

class ChannelKey : public KeysToNative {
  protected:
    const std::string list_key = "oc_opt_amp_cfg_super_ch_key_to_low";
    const std::string state_key = "oc_opt_amp_state_super_ch_key_to_low";
};

TEST_F(ChannelKey, IsTheControllerNameAsItStands) {
    for (const std::string name : {"Optics0/1/0/4", "anything at all"}) {
        platform.forget_calls();
        EXPECT_EQ(call(list_key, tree(leaf("interface", name))), CERR_SUCCESS);
        expect_writes({add(optics_list + "/name", ns::optics_oper, name.c_str()),
                       add(history_list + "/name", ns::pmengine_oper, name.c_str()),
                       add(time_line + "/number", ns::pmengine_oper, "1")});
        EXPECT_EQ(messages().front(), trc("Start"));
        EXPECT_EQ(messages().back(), trc("End"));
    }
}

TEST_F(ChannelKey, OfStateWritesThePortNameAlone) {
    EXPECT_EQ(call(state_key, tree(leaf("interface", "Optics0/1/0/4"))), CERR_SUCCESS);
    expect_writes({add(optics_list + "/name", ns::optics_oper, "Optics0/1/0/4")});
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22);
    EXPECT_EQ(call(state_key, tree(leaf("interface", "Optics0/1/0/4"))), 0x22U);
}

TEST_F(ChannelKey, ReturnsTheResultOfTheTimeLineNumber) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 1);
    EXPECT_EQ(call(list_key, tree(leaf("interface", "x"))), CERR_SUCCESS);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "/number ");
    EXPECT_EQ(call(list_key, tree(leaf("interface", "x"))), 0x22U);
}

TEST_F(ChannelKey, WritesNothingOutsideAReadOfState) {
    for (const uint32_t request_kind : {0U, 1U}) {
        kind(request_kind);
        EXPECT_EQ(call(list_key, tree(leaf("interface", "Optics0/1/0/4"))), CERR_SUCCESS);
        EXPECT_EQ(call(state_key, tree(leaf("interface", "Optics0/1/0/4"))), CERR_SUCCESS);
    }
    expect_writes({});
}

TEST_F(ChannelKey, WithoutTextWritesNothing) {
    for (const std::string &converter : {list_key, state_key}) {
        EXPECT_EQ(call(converter, tree(leaf("interface"))), CERR_SUCCESS);
        EXPECT_EQ(call(converter, tree(leaf("interface", ""))), CERR_SUCCESS);
    }
    expect_writes({});
}

TEST_F(ChannelKey, IsCutTo199Characters) {
    EXPECT_EQ(call(state_key, tree(leaf("interface", std::string(300, 'o')))), CERR_SUCCESS);
    expect_writes({add(optics_list + "/name", ns::optics_oper, std::string(199, 'o').c_str())});
}

// ---- All seven --------------------------------------------------------------------------------------------------

class KeyConverter : public KeysToNative, public testing::WithParamInterface<const char *> {};

TEST_P(KeyConverter, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam(), true);
}

TEST_P(KeyConverter, AssertsItsContext) {
    expect_context_assertion(GetParam(), call_handler_without_context);
}

INSTANTIATE_TEST_SUITE_P(AllSeven, KeyConverter,
                         testing::Values("oc_opt_amp_cfg_amplifier_list_to_low", "oc_opt_amp_cfg_amplifier_key_to_low",
                                         "oc_opt_amp_cfg_get_amplifier_key_to_low",
                                         "oc_opt_amp_state_get_amplifier_key_to_low", "oc_opt_amp_super_ch_list_to_low",
                                         "oc_opt_amp_cfg_super_ch_key_to_low", "oc_opt_amp_state_super_ch_key_to_low"),
                         [](const auto &test) { return test.param; });

// ---- Long paths and keys of a request ---------------------------------------------------------------------------

class LongRequest : public PluginTest, public testing::WithParamInterface<size_t> {};

TEST_P(LongRequest, PathThatHoldsNoKeyGivesNone) {
    kind(YFW_KIND_GET_CONFIG);
    client_request(container(std::string(GetParam(), 'r'), {leaf("name", "0/1-AMP-PRE").key()}));
    EXPECT_EQ(call("oc_opt_amp_cfg_amplifier_list_to_low", tree(container("amplifier"))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("node_data key: ")));
}

INSTANTIATE_TEST_SUITE_P(Lengths, LongRequest, testing::Values(99, 100, 150, 198, 199, 200, 400),
                         testing::PrintToStringParamName());

TEST_F(LongRequest, KeyOf19CharactersIsWhole) {
    kind(YFW_KIND_GET_CONFIG);
    client_request(amplifier_request("0/1-AMP-PRE-exactly"));
    EXPECT_EQ(call("oc_opt_amp_cfg_amplifier_list_to_low", tree(container("amplifier"))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("node_data key: 0/1-AMP-PRE-exactly")));
}

// ---- A request whose tree is not there --------------------------------------------------------------------------

struct KeyedList {
    std::string tag, converter;
    Node request;
};

class RequestTable : public PluginTest, public testing::WithParamInterface<KeyedList> {};

TEST_P(RequestTable, ThatIsEmptyIsNotRead) {
    kind(YFW_KIND_GET_CONFIG);
    client_request(GetParam().request);
    request.node_data_count = 0;
    EXPECT_EQ(call(GetParam().converter, tree(container(GetParam().tag))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(err("return, req is NULL")));
    EXPECT_THAT(messages(), testing::Not(testing::Contains(testing::StartsWith("TRC TAG <"))));
}

TEST_P(RequestTable, ThatIsMissingIsNotRead) {
    kind(YFW_KIND_GET_CONFIG);
    client_request(GetParam().request);
    request.node_data = nullptr;
    EXPECT_EQ(call(GetParam().converter, tree(container(GetParam().tag))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(err("return, req is NULL")));
}

INSTANTIATE_TEST_SUITE_P(Lists, RequestTable,
                         testing::Values(KeyedList{"amplifier", "oc_opt_amp_cfg_amplifier_list_to_low",
                                                   amplifier_request("0/1-AMP-PRE")},
                                         KeyedList{"supervisory-channel", "oc_opt_amp_super_ch_list_to_low",
                                                   channel_request("Optics0/1/0/4")}),
                         [](const auto &test) { return test_name(test.param.tag); });

} // namespace
