// Native interface configuration, walked; each suitable interface becomes an amplifier or a supervisory channel.
#include "native_walk.h"

namespace {

const std::string prefix = "ymap_xo_oc_opt_amp_korvexifmgrcfg_";
const std::string global_walker = prefix + "lvla_globalinterfaceconfiguration";
const std::string configurations_walker = prefix + "lvla_interfaceconfigurations";
const std::string entry_walker = prefix + "lvla_interfaceconfigurations_interfaceconfiguration";
const std::string entry_augments = entry_walker + "_parse_augments";
const std::string list_handler = prefix + "list_lvla_interfaceconfigurations_interfaceconfiguration";
const std::string list_converter = "oc_opt_amp_if_list_cfg_to_high";
const std::string key_converter = "oc_opt_amp_cfg_interface_key_to_high";
const std::string channel_name = "optical-amplifier/supervisory-channels/supervisory-channel/interface/config/name";

Node native(Node description) {
    return std::move(description).in(ns::ifmgr_cfg);
}

Node interface(const std::string &name, std::vector<Node> more = {}) {
    std::vector<Node> children{leaf("active", "act"), leaf("interface-name", name)};
    Node entry = native(container("interface-configuration", std::move(children)));
    entry.children.insert(entry.children.end(), more.begin(), more.end());
    return entry;
}

const std::string open_amplifier = add(oc_amplifier, ns::openconfig, nullptr, no_source, {.list = 1});

Lines amplifier_key(const char *name) {
    return {add(oc_amplifier + "/name", ns::openconfig, name),
            add(oc_amplifier + "/config/name", ns::openconfig, name)};
}

Lines channel_key(const char *name) {
    return {add(oc_channel + "/interface", ns::openconfig, name), add(channel_name, ns::openconfig, name)};
}

class IfmgrCfg : public PluginTest {
  protected:
    void SetUp() override {
        all_amplifiers_exist();
        client_request(container("optical-amplifier", {container("amplifiers")}));
    }
    void ask_for(std::vector<Node> children) { client_request(container("optical-amplifier", std::move(children))); }
    void ask_for_amplifier(const std::string &name) {
        ask_for({container("amplifiers", {container("amplifier", {leaf("name", name).key()})})});
    }
    void ask_for_no_path() {
        request.reg_dup_datatree.children = nullptr;
        request.reg_dup_datatree.child_count = 0;
        request.reg_dup_datatree.node_flags = YFW_NODE_PRESENT;
    }
};

// ---- Walks ------------------------------------------------------------------------------------------------------

TEST_F(IfmgrCfg, InterfaceOfAnAmplifierBecomesItsEntry) {
    EXPECT_EQ(
        call(configurations_walker, tree(native(container("interface-configurations", {interface("Ots0/1/0/0")})))),
        CERR_SUCCESS);
    expect_writes(lines(open_amplifier, amplifier_key("0/1-AMP-PRE")));
    const Lines hierarchy_calls = platform.calls_of(
        {"yfw_map_add_to_node_hierarchy", "yfw_map_remove_from_node_hierarchy", "yfw_map_update_current_list_node",
         "yfw_add_to_output_list_ctx", "yfw_remove_from_output_list_ctx"});
    EXPECT_EQ(
        text_of(hierarchy_calls),
        text_of(entered("interface-configurations", entry_walked("interface-configuration", interface_list, {}, {}))));
}

TEST_F(IfmgrCfg, OpticsAugmentOfAnEntryIsWalked) {
    EXPECT_EQ(call(entry_walker,
                   tree(interface("Ots0/1/0/0",
                                  {container("optics", {leaf("optics-ots-osri", "false")}).in(ns::optics_cfg)}))),
              CERR_SUCCESS);
    EXPECT_EQ(writes().back(), add(oc_amplifier + "/config/enabled", ns::openconfig, "true"));
}

TEST_F(IfmgrCfg, BothKeysOfAnEntryAreMarked) {
    yfw_datatree *in = tree(interface("Ots0/1/0/0", {native(leaf("description", "x"))}));
    call(entry_walker, in);
    for (const size_t key : {0U, 1U}) {
        EXPECT_EQ(in->children[key].key_seen, 1);
        EXPECT_NE(in->children[key].node_flags2 & YFW_NODE_KEY_USED, 0);
    }
    EXPECT_EQ(in->children[2].key_seen, 0);
}

TEST_F(IfmgrCfg, SkippedEntryIsPassedUpByItsWalker) {
    platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP, 0, "path=" + oc_amplifier + " ");
    EXPECT_EQ(call(entry_walker, tree(interface("Ots0/1/0/0"))), YMAP_RC_SKIP);
    expect_actions({push(node("interface-configuration"), 2), current_list(interface_list), open_amplifier,
                    pop(node("interface-configuration"))});
}

TEST_F(IfmgrCfg, SkippedEntryDoesNotHideTheNextOne) {
    platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP, 1, "path=" + oc_amplifier + " ");
    EXPECT_EQ(call(configurations_walker, tree(native(container("interface-configurations",
                                                                {interface("Ots0/1/0/0"), interface("Ots0/1/0/1")})))),
              CERR_SUCCESS);
    expect_writes(lines(open_amplifier, open_amplifier, amplifier_key("0/1-AMP-BST")));
}

TEST_F(IfmgrCfg, InterfaceThatIsNoOtsControllerIsDroppedByItsKey) {
    EXPECT_EQ(call(configurations_walker,
                   tree(native(container("interface-configurations",
                                         {interface("GigabitEthernet0/0/0/1"), interface("Ots0/2/0/1")})))),
              CERR_SUCCESS);
    EXPECT_THAT(writes(), testing::IsSupersetOf(amplifier_key("0/2-AMP-BST")));
    for (const std::string &line : writes())
        EXPECT_EQ(line.find("GigabitEthernet"), std::string::npos);
}

TEST_F(IfmgrCfg, EntryWithoutKeysIsReportedAndStillWalked) {
    EXPECT_EQ(call(entry_walker, tree(native(container("interface-configuration")))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(err("No keys specified with a list node.")));
    EXPECT_EQ(platform.calls_of({"yfw_map_add_to_node_hierarchy"}), Lines({push(node("interface-configuration"), 2)}));
}

TEST_F(IfmgrCfg, EntryWithMissingChildrenIsRefused) {
    EXPECT_EQ(call(entry_walker, tree(native(container("interface-configuration").missing_children(2)))),
              YMAP_RC_BAD_SUBTREE);
    EXPECT_THAT(messages(), testing::Contains(err("Failed to get subtrees!")));
    expect_writes({});
}

TEST_F(IfmgrCfg, FailedCurrentListNodeIsTheEntrysResult) {
    platform.answer("yfw_map_update_current_list_node", 0x88);
    yfw_datatree *in = tree(interface("Ots0/1/0/0"));
    EXPECT_EQ(call(entry_walker, in), 0x88U);
    expect_actions(
        {push(node("interface-configuration"), 2), current_list(interface_list), pop(node("interface-configuration"))});
    EXPECT_EQ(in->children[0].key_seen, 0);
}

TEST_F(IfmgrCfg, UntaggedChildEndsTheWalk) {
    for (const auto &[walker, tag] : {std::pair{configurations_walker, "interface-configurations"},
                                      std::pair{entry_walker, "interface-configuration"},
                                      std::pair{global_walker, "global-interface-configuration"}}) {
        platform.forget_calls();
        EXPECT_EQ(call(walker, tree(native(container(tag, {untagged()})))), YMAP_RC_BAD_SUBTREE) << walker;
        EXPECT_THAT(messages(), testing::Contains(err("Tag name is not available!")));
        EXPECT_EQ(platform.hierarchy_depth(), 0);
    }
}

TEST_F(IfmgrCfg, OtherNativeChildrenAreIgnored) {
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(call(entry_walker, tree(native(container("interface-configuration",
                                                       {leaf("description", "x"), leaf("shutdown", "")})))),
              CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(trc("Unsupported tag. Ignoring.")).Times(2));
    expect_writes({});
}

TEST_F(IfmgrCfg, ContainersOfAnEntryAreWalkedWithoutOutput) {
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(call(entry_walker,
                   tree(native(container(
                       "interface-configuration",
                       {container("dampening", {leaf("args", "x")}), container("encapsulation"),
                        container("mtus", {container("mtu", {leaf("owner", "etherbundle"), leaf("mtu", "9216")})})})))),
              CERR_SUCCESS);
    expect_actions(entry_walked("interface-configuration", interface_list, {},
                                lines(entered("dampening"), entered("encapsulation"),
                                      entered("mtus", entry_walked("mtu", interface_list + "/mtus/mtu", {}, {})))));
}

TEST_F(IfmgrCfg, KeyOfAnMtuIsMarked) {
    yfw_datatree *in = tree(native(
        container("interface-configuration",
                  {container("mtus", {container("mtu", {leaf("owner", "etherbundle"), leaf("mtu", "9216")})})})));
    call(entry_walker, in);
    const yfw_datatree &mtu = in->children[0].children[0];
    EXPECT_EQ(mtu.children[0].key_seen, 1);
    EXPECT_EQ(mtu.children[1].key_seen, 0);
}

TEST_F(IfmgrCfg, GlobalConfigurationIsWalkedWithoutOutput) {
    EXPECT_EQ(call(global_walker, tree(native(container("global-interface-configuration",
                                                        {leaf("link-status", "x"), leaf("y").in(ns::foreign)})))),
              CERR_SUCCESS);
    expect_actions(entered("global-interface-configuration"));
}

TEST_F(IfmgrCfg, WalkersRefuseMissingNodes) {
    for (const std::string &walker : {global_walker, configurations_walker, entry_walker})
        expect_refuses_missing_nodes(walker, true);
}

TEST_F(IfmgrCfg, WalkersRefuseMissingChildren) {
    for (const std::string &walker : {global_walker, configurations_walker}) {
        platform.forget_calls();
        EXPECT_EQ(call(walker, tree(native(container("x").missing_children(2)))), YMAP_RC_BAD_SUBTREE);
        EXPECT_THAT(messages(), testing::Contains(err("Failed to get subtrees!")));
    }
}

TEST_F(IfmgrCfg, EntryAugmentsGoToTheOpticsModuleByNamespace) {
    EXPECT_EQ(call(entry_augments, tree(container("optics", {leaf("optics-ots-osri", "true")}).in(ns::optics_cfg))),
              CERR_SUCCESS);
    expect_writes({add(oc_amplifier + "/config/enabled", ns::openconfig, "false")});
    platform.forget_calls();
    EXPECT_EQ(call(entry_augments, tree(container("optics", {leaf("optics-ots-osri", "true")}).in(ns::foreign))),
              CERR_SUCCESS);
    expect_writes({});
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(call(entry_augments, tree(container("optics", {leaf("optics-ots-osri", "true")}).in(ns::optics_cfg))),
              0x99U);
}

TEST_F(IfmgrCfg, DefaultHandlersSucceedBetweenStartAndEnd) {
    for (const char *word : {"duck_map_list", "duck_map_leaf"}) {
        platform.forget_calls();
        EXPECT_EQ(call(prefix + word, tree(leaf("x", "1"))), CERR_SUCCESS);
        expect_calls({trc("Start"), trc("End")});
        expect_refuses_missing_nodes(prefix + word, true);
    }
    platform.forget_calls();
    EXPECT_EQ(call_container(prefix + "duck_map_container", tree(container("x")), 2), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("End")});
    expect_container_refuses_missing_nodes(prefix + "duck_map_container");
}

TEST_F(IfmgrCfg, EntryAugmentsBracketTheOpticsModulesDispatcher) {
    const yfw_datatree *in = tree(container("otn").in(ns::optics_cfg));
    lightweight_on();
    EXPECT_EQ(call(entry_augments, in), CERR_SUCCESS);
    const std::string dispatcher = "ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_augment_lvla_interface_configuration";
    expect_named_calls({trc_of(entry_augments, "Start"), trc_of(dispatcher, "Start"),
                        trc_of(dispatcher, "Processing tag 'otn'"), trc_of(dispatcher, "Unsupported tag. Ignoring."),
                        trc_of(dispatcher, "End"), trc_of(entry_augments, "End")});
}

TEST_F(IfmgrCfg, ListHandlerAnswersWithItsConverter) {
    const yfw_datatree *in = tree(interface("Ots0/1/0/0"));
    lightweight_on();
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(call(list_converter, in), 0x99U);
    const Lines converted = named_calls();
    platform.forget_calls();
    EXPECT_EQ(call(list_handler, in), 0x99U);
    expect_named_calls(lines(trc_of(list_handler, "Start"), converted, trc_of(list_handler, "End")));
}

// ---- Entry conversion -------------------------------------------------------------------------------------------

class InterfaceEntry : public IfmgrCfg {
  protected:
    cerrno convert(uint32_t operation = YFW_OP_MERGE) {
        return call(list_converter, tree(native(container("interface-configuration").op(operation))));
    }
    void reach_into(const std::string &interface_name) {
        native_path(container("interface-configuration", {leaf("interface-name", interface_name).key()}));
    }
    Lines path_key_read(const std::string &key) const {
        return lines(compare_path_trace(request.native_path, "interface-configuration/interface-name"),
                     trc("interface_key: " + key));
    }
};

TEST_F(InterfaceEntry, OfAnAmplifiersRequestOpensTheAmplifierList) {
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_content({ask_delete(node("interface-configuration")), open_amplifier});
    EXPECT_EQ(messages().front(), trc("Start"));
}

TEST_F(InterfaceEntry, OfADeleteCarriesTheEntryAsSource) {
    EXPECT_EQ(convert(YFW_OP_DELETE), CERR_SUCCESS);
    expect_writes(
        {add(oc_amplifier, ns::openconfig, nullptr, node("interface-configuration", YFW_OP_DELETE), {.list = 1})});
}

TEST_F(InterfaceEntry, ReturnsTheResultOfTheWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(convert(), 0x99U);
}

TEST_F(InterfaceEntry, OfAWholeRequestOpensTheAmplifierList) {
    ask_for({});
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes({open_amplifier});
}

TEST_F(InterfaceEntry, OfARequestWithoutPathOpensTheAmplifierList) {
    ask_for_no_path();
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes({open_amplifier});
}

TEST_F(InterfaceEntry, OfARequestForBothOpensTheAmplifierList) {
    ask_for({container("supervisory-channels"), container("amplifiers")});
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes({open_amplifier});
}

TEST_F(InterfaceEntry, OfAChannelsRequestOpensNothing) {
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("End")});
}

TEST_F(InterfaceEntry, OfARequestElsewhereOpensNothing) {
    client_request(container("something-else"));
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(InterfaceEntry, OfARequestIntoAnAmplifiersInterfaceOpensTheList) {
    reach_into("Ots0/1/0/0");
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_content(lines(path_key_read("Ots0/1/0/0"), ots_check("Ots0/1/0/0", "0/1-AMP-PRE", true),
                         ask_delete(node("interface-configuration")), open_amplifier));
}

TEST_F(InterfaceEntry, OfARequestIntoAnotherInterfaceOpensNothing) {
    reach_into("HundredGigE0/0");
    EXPECT_EQ(convert(), CERR_SUCCESS);
    const Lines calls = platform.calls();
    EXPECT_SAME_TEXT(text_of(without_start(calls, trc("amp_name: "))),
                     text_of(lines(trc("Start"), path_key_read("HundredGigE0/0"),
                                   ots_check_wrong_port("HundredGigE0/0", -1), trc("End"))));
    EXPECT_THAT(calls, testing::Contains(testing::StartsWith(trc("amp_name: "))));
}

TEST_F(InterfaceEntry, DepthBelowTwoReadsNoPath) {
    reach_into("HundredGigE0/0");
    request.native_path_depth = 1;
    EXPECT_EQ(convert(), CERR_SUCCESS);
    expect_writes({open_amplifier});
    EXPECT_TRUE(platform.calls_of({"_sysdb_bind"}).empty());
}

TEST_F(InterfaceEntry, RefusesMissingNodes) {
    expect_refuses_missing_nodes(list_converter, true);
    expect_context_assertion(list_converter, call_handler_without_context);
}

// ---- Interface key ----------------------------------------------------------------------------------------------

class InterfaceKey : public IfmgrCfg {
  protected:
    cerrno convert(const Node &name) { return call(key_converter, tree(native(name))); }
    cerrno convert(const std::string &name) { return convert(leaf("interface-name", name)); }
    void close_configuration() {
        request.options.word_signed = -1;
        request.request_source = 2;
    }
};

TEST_F(InterfaceKey, OfAnAmplifierWritesItsNameTwice) {
    EXPECT_EQ(convert("Ots0/2/0/1"), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), print_tree(node("reg_dup_datatree"), "reg_dup_datatree"),
                       trc("value = Ots0/2/0/1"), compare_path_trace(&request.reg_dup_datatree, oc_amplifier + "/name"),
                       trc("controller_name = Ots0/2/0/1"), ots_check("Ots0/2/0/1", "0/2-AMP-BST", true),
                       trc("reg_dup_datatree key: "), amplifier_key("0/2-AMP-BST"), trc("End")));
}

TEST_F(InterfaceKey, OfTheAmplifierAskedForIsWritten) {
    ask_for_amplifier("0/2-AMP-BST");
    EXPECT_EQ(convert("Ots0/2/0/1"), CERR_SUCCESS);
    expect_writes(amplifier_key("0/2-AMP-BST"));
    EXPECT_THAT(messages(), testing::Contains(trc("reg_dup_datatree key: 0/2-AMP-BST")));
}

TEST_F(InterfaceKey, OfAnotherAmplifierIsReportedAndNotWritten) {
    ask_for_amplifier("0/1-AMP-PRE");
    EXPECT_EQ(convert("Ots0/2/0/1"), CERR_SUCCESS);
    expect_writes({});
    EXPECT_THAT(messages(), testing::Contains(err("amplifier_name [0/2-AMP-BST] does not match with key "
                                                  "[0/1-AMP-PRE], discard it!")));
}

TEST_F(InterfaceKey, ThatIsNoOtsControllerIsSkipped) {
    EXPECT_EQ(convert("GigabitEthernet0/0/0/1"), YMAP_RC_SKIP);
    expect_writes({});
    EXPECT_EQ(messages().back(), trc("End"));
}

TEST_F(InterfaceKey, OfAnAmplifierThatDoesNotExistIsSkipped) {
    EXPECT_EQ(convert("Ots0/0/0/1"), YMAP_RC_SKIP);
    expect_writes({});
}

TEST_F(InterfaceKey, OfAChannelIsWrittenForAChannelsRequest) {
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(convert("Optics0/1/0/4"), CERR_SUCCESS);
    expect_calls(lines(trc("Start"), print_tree(node("reg_dup_datatree"), "reg_dup_datatree"),
                       trc("value = Optics0/1/0/4"), optics_check("Optics0/1/0/4", "0/1-AMP-PRE", true),
                       channel_key("Optics0/1/0/4"), trc("End")));
}

TEST_F(InterfaceKey, OfAnAmplifierIsNotWrittenForAChannelsRequest) {
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(convert("Ots0/1/0/0"), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(InterfaceKey, OfAChannelIsSkippedByAWholeRequestAtTheOtsTest) {
    ask_for({});
    EXPECT_EQ(convert("Optics0/1/0/4"), YMAP_RC_SKIP);
    expect_writes({});
}

TEST_F(InterfaceKey, OfAnAmplifierIsWrittenForAWholeRequest) {
    ask_for({});
    EXPECT_EQ(convert("Ots0/1/0/0"), CERR_SUCCESS);
    EXPECT_THAT(writes(), testing::IsSupersetOf(amplifier_key("0/1-AMP-PRE")));
    platform.forget_calls();
    ask_for_no_path();
    EXPECT_EQ(convert("Ots0/1/0/0"), CERR_SUCCESS);
    EXPECT_THAT(writes(), testing::IsSupersetOf(amplifier_key("0/1-AMP-PRE")));
}

TEST_F(InterfaceKey, OfARequestElsewhereWritesNothing) {
    client_request(container("something-else"));
    EXPECT_EQ(convert("Ots0/1/0/0"), CERR_SUCCESS);
    EXPECT_EQ(convert("Optics0/1/0/4"), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(InterfaceKey, WithoutValueWritesNothing) {
    ask_for({});
    EXPECT_EQ(convert(leaf("interface-name")), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(InterfaceKey, ConfigurationNamesObeyTheConfigurationTest) {
    close_configuration();
    EXPECT_EQ(convert("Ots0/2/0/1"), CERR_SUCCESS);
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(convert("Optics0/1/0/4"), CERR_SUCCESS);
    expect_writes({amplifier_key("0/2-AMP-BST").front(), channel_key("Optics0/1/0/4").front()});
    platform.forget_calls();
    request.request_source = 1;
    EXPECT_EQ(convert("Optics0/1/0/4"), CERR_SUCCESS);
    expect_writes(channel_key("Optics0/1/0/4"));
}

TEST_F(InterfaceKey, ReturnsTheResultOfItsLastWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x11, 1);
    EXPECT_EQ(convert("Ots0/2/0/1"), CERR_SUCCESS);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x22, 0, "config/name");
    EXPECT_EQ(convert("Ots0/2/0/1"), 0x22U);
    ask_for({container("supervisory-channels")});
    EXPECT_EQ(convert("Optics0/1/0/4"), 0x22U);
}

TEST_F(InterfaceKey, RefusesMissingNodes) {
    expect_refuses_missing_nodes(key_converter, true);
    expect_context_assertion(key_converter, call_handler_without_context);
}

} // namespace
