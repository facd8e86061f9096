// Handlers of the OpenConfig nodes: which converter each leaf goes to, which leaves are refused, and the three leaves
// with logic of their own.
#include "openconfig_nodes.h"
#include "plugin_fixture.h"

namespace {

std::string word_of(const testing::TestParamInfo<const OcNode *> &info) {
    return info.param->level + "_" + info.param->word;
}

std::vector<const OcNode *> leaves(bool supported, bool own_logic) {
    std::vector<const OcNode *> nodes;
    for (const OcNode *leaf_node : oc_nodes(OcKind::leaf))
        if (leaf_node->converter.empty() != supported && leaf_node->own_logic == own_logic)
            nodes.push_back(leaf_node);
    return nodes;
}

TEST(OpenConfigModel, HasAllItsLeaves) {
    EXPECT_EQ(oc_nodes(OcKind::leaf).size(), 12U + 14U + 70U + 2U + 21U);
    EXPECT_EQ(oc_nodes(OcKind::container).size(), 19U);
    EXPECT_EQ(leaves(true, false).size() + leaves(true, true).size(), 39U);
}

class ContainerNode : public PluginTest, public testing::WithParamInterface<const OcNode *> {};

TEST_P(ContainerNode, SucceedsWhateverTheCount) {
    for (const unsigned count : {0U, 1U, 4000000000U}) {
        platform.forget_calls();
        EXPECT_EQ(call_container(GetParam()->handler(), tree(container(GetParam()->tag)), count), CERR_SUCCESS);
        expect_calls({trc("Start")});
    }
}

TEST_P(ContainerNode, RefusesMissingNodes) {
    expect_container_refuses_missing_nodes(GetParam()->handler());
}

INSTANTIATE_TEST_SUITE_P(Model, ContainerNode, testing::ValuesIn(oc_nodes(OcKind::container)), word_of);

class ListNode : public PluginTest, public testing::WithParamInterface<const OcNode *> {};

TEST_P(ListNode, TracesStartAndAnswersWithItsConverter) {
    client_request(container("optical-amplifier"));
    platform.put_amplifier("0/1-AMP-PRE");
    for (const uint32_t request_kind : {0U, 1U, 10U}) {
        kind(request_kind);
        platform.forget_calls();
        const cerrno expected = call(GetParam()->converter, tree(container(GetParam()->tag)));
        const Lines of_converter = platform.calls();
        platform.forget_calls();
        EXPECT_EQ(call(GetParam()->handler(), tree(container(GetParam()->tag))), expected);
        expect_calls(lines(trc("Start"), of_converter));
    }
}

TEST_P(ListNode, PassesItsConvertersResultOn) {
    client_request(container(
        "optical-amplifier",
        {container("amplifiers", {container("amplifier", {leaf("name", "x").key()})}),
         container("supervisory-channels", {container("supervisory-channel", {leaf("interface", "x").key()})})}));
    platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP);
    EXPECT_EQ(call(GetParam()->handler(), tree(container(GetParam()->tag))), YMAP_RC_SKIP);
}

TEST_P(ListNode, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam()->handler(), true);
}

INSTANTIATE_TEST_SUITE_P(Model, ListNode, testing::ValuesIn(oc_nodes(OcKind::list)), word_of);

class SupportedLeaf : public PluginTest, public testing::WithParamInterface<const OcNode *> {};

TEST_P(SupportedLeaf, AnswersWithItsConverter) {
    lightweight_on();
    for (const uint32_t request_kind : {0U, 1U, 10U}) {
        kind(request_kind);
        platform.forget_calls();
        EXPECT_EQ(call(GetParam()->handler(), tree(leaf(GetParam()->tag, "1"))), CERR_SUCCESS);
        expect_started({GetParam()->converter});
    }
}

TEST_P(SupportedLeaf, AddsNothingToItsConvertersCalls) {
    for (const uint32_t request_kind : {0U, 1U, 10U}) {
        kind(request_kind);
        platform.forget_calls();
        call(GetParam()->converter, tree(leaf(GetParam()->tag, "1.5")));
        const Lines of_converter = platform.calls();
        platform.forget_calls();
        call(GetParam()->handler(), tree(leaf(GetParam()->tag, "1.5")));
        expect_calls(of_converter);
    }
}

TEST_P(SupportedLeaf, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam()->handler(), false);
}

INSTANTIATE_TEST_SUITE_P(Model, SupportedLeaf, testing::ValuesIn(leaves(true, false)), word_of);

class UnsupportedLeaf : public PluginTest, public testing::WithParamInterface<const OcNode *> {};

TEST_P(UnsupportedLeaf, IsRefusedWithItsTagAndNoMessage) {
    for (const uint32_t request_kind : {1U, 10U}) {
        kind(request_kind);
        platform.forget_calls();
        EXPECT_EQ(call(GetParam()->handler(), tree(leaf(GetParam()->tag, "1"))), YMAP_RC_UNSUPPORTED);
        EXPECT_EQ(error_path(), GetParam()->tag);
        EXPECT_TRUE(messages().empty());
    }
    expect_calls({error_path_call(), freed(GetParam()->tag), copied(GetParam()->tag, GetParam()->tag)});
}

TEST_P(UnsupportedLeaf, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam()->handler(), false);
}

INSTANTIATE_TEST_SUITE_P(Model, UnsupportedLeaf, testing::ValuesIn(leaves(false, false)), word_of);

// ---- Leaves with logic of their own -----------------------------------------------------------------------------

const std::string osri_path = interface_list + "/optics/optics-ots-osri";
const std::string config_enabled = oc_handler("leaf", "opticalamplifier_config_enabled");
const std::string state_enabled = oc_handler("leaf", "opticalamplifier_state_enabled");
const std::string state_gain_range = oc_handler("leaf", "opticalamplifier_state_gainrange");

class OwnLogicLeaf : public PluginTest {};

TEST_F(OwnLogicLeaf, EnabledOfAnEditIsWrittenInvertedWithItsSource) {
    for (const uint32_t edit : {1U, 2U, 8U, 15U}) {
        kind(edit);
        platform.forget_calls();
        EXPECT_EQ(call(config_enabled, tree(leaf("enabled", "true"))), CERR_SUCCESS);
        expect_calls({trc("Start"), ask_delete(node("enabled")), trc("Start"),
                      add(osri_path, ns::optics_cfg, "false", node("enabled"), {.follow = 1})});
    }
}

TEST_F(OwnLogicLeaf, DeletedEnabledIsWrittenWithoutValue) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(config_enabled, tree(leaf("enabled", "true").op(YFW_OP_DELETE))), CERR_SUCCESS);
    expect_writes({add(osri_path, ns::optics_cfg, nullptr, node("enabled", YFW_OP_DELETE), {.follow = 1})});
}

TEST_F(OwnLogicLeaf, EnabledOfAReadIsAskedForWithoutSource) {
    for (const uint32_t read : {0U, 10U}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(call(config_enabled, tree(leaf("enabled"))), CERR_SUCCESS);
        expect_calls({trc("Start"), trc("Start"), add(osri_path, ns::optics_cfg, nullptr, no_source, {.follow = 1})});
    }
}

TEST_F(OwnLogicLeaf, EnabledFilterOfAReadIsInverted) {
    call(config_enabled, tree(leaf("enabled", "false")));
    expect_writes({add(osri_path, ns::optics_cfg, "true", no_source, {.follow = 1})});
}

TEST_F(OwnLogicLeaf, EnabledReturnsTheResultOfItsWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(call(config_enabled, tree(leaf("enabled", "true"))), 0x99U);
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(config_enabled, tree(leaf("enabled", "true"))), 0x99U);
}

TEST_F(OwnLogicLeaf, GainRangeOfAReadIsAskedForNatively) {
    for (const uint32_t read : {0U, 10U}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(call(state_gain_range, tree(leaf("gain-range", "HIGH_GAIN_RANGE"))), CERR_SUCCESS);
        expect_writes(
            {add(ots_list + "/ots-info/ampli-gain-range-config-val", ns::ots_oper, "amplifier-gain-range-ext-end-ed")});
        EXPECT_EQ(messages().front(), trc("Start"));
    }
}

TEST_F(OwnLogicLeaf, GainRangeWithoutFilterIsAskedForWithoutValue) {
    EXPECT_EQ(call(state_gain_range, tree(leaf("gain-range"))), CERR_SUCCESS);
    expect_writes({add(ots_list + "/ots-info/ampli-gain-range-config-val", ns::ots_oper, nullptr)});
}

TEST_F(OwnLogicLeaf, StateEnabledOfAReadIsAskedForInverted) {
    EXPECT_EQ(call(state_enabled, tree(leaf("enabled", "true"))), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("Start"), add(ots_list + "/ots-info/osri-config-val", ns::ots_oper, "false")});
}

TEST_F(OwnLogicLeaf, StateReadsReturnTheResultOfTheirWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(call(state_gain_range, tree(leaf("gain-range"))), 0x99U);
    EXPECT_EQ(call(state_enabled, tree(leaf("enabled"))), 0x99U);
}

TEST_F(OwnLogicLeaf, StateOfAnEditIsNeverWritten) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(state_gain_range, tree(leaf("gain-range", "HIGH_GAIN_RANGE"))), CERR_SUCCESS);
    EXPECT_EQ(call(state_enabled, tree(leaf("enabled", "true"))), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(OwnLogicLeaf, RefuseMissingNodesAfterTheirStart) {
    for (const std::string &name : {config_enabled, state_enabled, state_gain_range})
        expect_refuses_missing_nodes(name, true);
}

} // namespace
