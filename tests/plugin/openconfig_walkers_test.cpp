// Walks of OpenConfig request trees: dispatch, keys, deletes, replaces, selection, unknown tags, augments.
#include "openconfig_nodes.h"
#include "plugin_fixture.h"

namespace {

const std::string top = oc_walker("opticalamplifier");
const std::string amplifiers = oc_walker("opticalamplifier_amplifiers");
const std::string amplifier = oc_walker("opticalamplifier_amplifiers_amplifier");
const std::string config = oc_walker("opticalamplifier_amplifier_config");
const std::string channel = oc_walker("opticalamplifier_supervisorychannels_supervisorychannel");
const std::string gain_leaf = oc_walker("opticalamplifier_config_targetgain");
const std::string native_optics = interface_list + "/optics/optics-ots-";
constexpr uint32_t select_mask = 0x11111110U;

Node key_leaf(const std::string &name) {
    return leaf("name", name).key();
}

std::string write_gain(const char *value, const std::string &source) {
    return add(native_optics + "amplifier-gain", ns::optics_cfg, value, source, {.follow = 1});
}
std::string write_tilt(const char *value, const std::string &source) {
    return add(native_optics + "amplifier-tilt", ns::optics_cfg, value, source, {.follow = 1});
}
std::string write_osri(const char *value, const std::string &source) {
    return add(native_optics + "osri", ns::optics_cfg, value, source, {.follow = 1});
}
std::string open_interfaces(const std::string &source) {
    return add(interface_list, ns::ifmgr_cfg, nullptr, source, {.list = 1});
}
Lines write_interface_key(const char *controller, const std::string &source) {
    return {add(interface_list + "/interface-name", ns::ifmgr_cfg, controller, source),
            add(interface_list + "/active", ns::ifmgr_cfg, "act")};
}

class OpenConfigWalkers : public PluginTest {
  protected:
    void SetUp() override { client_request(container("optical-amplifier")); }
    // What the request's state is at each write into the output tree.
    struct State {
        uint32_t walk_flags, replace_in_progress, in_subtree, walk_all;
        bool operator==(const State &) const = default;
    };
    void watch_writes() {
        platform.watch = [this](const std::string &function, const std::string &) {
            if (function == "yfw_map_datatree_add_path_flagged")
                states_.push_back(
                    {request.walk_flags, request.replace_in_progress, request.in_subtree, request.walk_all});
        };
    }
    std::vector<State> states_;
    // Whole sequence without the delete questions, whose number is not fixed.
    void expect_walk(const Lines &expected) const {
        EXPECT_SAME_TEXT(text_of(platform.calls_without({"yfw_map_is_request_delete", "yfw_map_util_itree_stack_size",
                                                         "yfw_map_util_itree_stack_peak"})),
                         text_of(expected));
    }
};

// ---- Leaf walkers -----------------------------------------------------------------------------------------------

TEST_F(OpenConfigWalkers, LeafWalkerBracketsItsHandler) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(leaf("target-gain", "15.56"));
    EXPECT_EQ(call(gain_leaf, in), CERR_SUCCESS);
    expect_calls({trc("Start"), trc("Start"), trc("gain-oc = 15.56"), trc("gain-native = 155"), trc("gain-native"),
                  ask_delete(node("target-gain")), write_gain("155", node("target-gain")), trc("End"), trc("End")});
}

TEST_F(OpenConfigWalkers, LeafWalkerMarksTheLeafInAnEdit) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(leaf("target-gain", "1"));
    call(gain_leaf, in);
    EXPECT_EQ(in->map_status, static_cast<uint32_t>(YFW_MAP_STATUS_LEAF));
    EXPECT_EQ(in->map_flags, YFW_MAPF_VISITED);
    EXPECT_EQ(request.select_flags, 0U) << "selection is kept for reads only";
}

class LeafWalkerInARead : public OpenConfigWalkers, public testing::WithParamInterface<uint32_t> {};

TEST_P(LeafWalkerInARead, SelectsALeaf) {
    kind(GetParam());
    yfw_datatree *in = tree(leaf("target-gain"));
    call(gain_leaf, in);
    EXPECT_EQ(in->map_status, static_cast<uint32_t>(YFW_MAP_STATUS_LEAF));
    EXPECT_EQ(in->map_flags, YFW_MAPF_VISITED);
    EXPECT_EQ(request.select_flags, 0x2U);
}

TEST_P(LeafWalkerInARead, SelectsAKey) {
    kind(GetParam());
    yfw_datatree *in = tree(key_leaf("0/1-AMP-PRE"));
    call(oc_walker("opticalamplifier_amplifier_name"), in);
    EXPECT_EQ(in->map_status, static_cast<uint32_t>(YFW_MAP_STATUS_READ_KEY));
    EXPECT_EQ(in->map_flags, YFW_MAPF_VISITED);
    EXPECT_EQ(request.select_flags, 0x10004U);
}

TEST_P(LeafWalkerInARead, MarksNothingInsideAWholeWalk) {
    kind(GetParam());
    request.walk_all = 1;
    yfw_datatree *in = tree(leaf("target-gain"));
    call(gain_leaf, in);
    EXPECT_EQ(in->map_status, 0U);
    EXPECT_EQ(in->map_flags, 0U);
    EXPECT_EQ(request.select_flags, 0U);
}

TEST_P(LeafWalkerInARead, MarksNothingInsideAnOwnedSubtree) {
    kind(GetParam());
    request.in_subtree = 1;
    yfw_datatree *in = tree(leaf("target-gain"));
    call(gain_leaf, in);
    EXPECT_EQ(in->map_status, 0U);
    EXPECT_EQ(request.select_flags, 0U);
}

INSTANTIATE_TEST_SUITE_P(Kinds, LeafWalkerInARead, testing::Values(YFW_KIND_GET_CONFIG, YFW_KIND_GET));

TEST_F(OpenConfigWalkers, LeafWalkerReturnsTheHandlersResultAndStillMarks) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(leaf("min-gain", "3"));
    EXPECT_EQ(call(oc_walker("opticalamplifier_config_mingain"), in), YMAP_RC_UNSUPPORTED);
    expect_calls({trc("Start"), error_path_call(), copied("min-gain", "min-gain"), trc("End")});
    EXPECT_EQ(in->map_status, static_cast<uint32_t>(YFW_MAP_STATUS_LEAF));
}

// ---- Every walker -----------------------------------------------------------------------------------------------

class EveryWalker : public OpenConfigWalkers, public testing::WithParamInterface<const OcNode *> {};

TEST_P(EveryWalker, RefusesMissingNodes) {
    expect_refuses_missing_nodes(GetParam()->walker(), true);
}

INSTANTIATE_TEST_SUITE_P(Model, EveryWalker, testing::ValuesIn(oc_nodes()),
                         [](const auto &test) { return test.param->level + "_" + test.param->word; });

class EveryAugmentParser : public OpenConfigWalkers, public testing::WithParamInterface<const OcNode *> {};

TEST_P(EveryAugmentParser, RefusesAnAddition) {
    platform.request_adds = true;
    EXPECT_EQ(call(GetParam()->augments(), tree(leaf("foreign-leaf", "1"))), YMAP_RC_AUGMENT_UNSUPPORTED);
    expect_calls({ask_add(), copied("foreign-leaf", "YFW MAP"), error_path_call()});
    EXPECT_EQ(error_path(), "foreign-leaf");
}

TEST_P(EveryAugmentParser, LetsEverythingElsePassEmpty) {
    EXPECT_EQ(call(GetParam()->augments(), tree(leaf("foreign-leaf", "1"))), CERR_SUCCESS);
    expect_calls({ask_add()});
}

TEST_P(EveryAugmentParser, RefusesMissingNodes) {
    platform.request_adds = true;
    expect_refuses_missing_nodes(GetParam()->augments(), false);
}

TEST_P(EveryAugmentParser, AssertsTheContext) {
    expect_context_assertion(GetParam()->augments(), call_handler_without_context);
    EXPECT_DEATH(plugin().handler(GetParam()->augments())(nullptr, nullptr, nullptr),
                 GetParam()->augments() + "\\(yfw_map_ctx.*NULL != ctx");
}

std::vector<const OcNode *> nodes_with_children() {
    std::vector<const OcNode *> nodes = oc_nodes(OcKind::container);
    for (const OcNode *list : oc_nodes(OcKind::list))
        nodes.push_back(list);
    return nodes;
}

INSTANTIATE_TEST_SUITE_P(Model, EveryAugmentParser, testing::ValuesIn(nodes_with_children()),
                         [](const auto &test) { return test.param->level + "_" + test.param->word; });

// Functions that trace "Start" when the node is visited by a whole walk of a read.
void whole_walk(const OcNode &visited, Lines &functions) {
    functions.push_back(visited.walker());
    if (visited.kind != OcKind::leaf || visited.own_logic)
        functions.push_back(visited.handler());
    if (!visited.converter.empty())
        functions.push_back(visited.converter);
    for (const OcNode &child : visited.children)
        whole_walk(child, functions);
}

class EveryContainerWalker : public OpenConfigWalkers, public testing::WithParamInterface<const OcNode *> {};

TEST_P(EveryContainerWalker, VisitsEverythingBelowItInModelOrderInARead) {
    lightweight_on();
    for (const uint32_t read : {YFW_KIND_GET_CONFIG, YFW_KIND_GET}) {
        kind(read);
        platform.forget_calls();
        EXPECT_EQ(call(GetParam()->walker(), tree(container(GetParam()->tag))), CERR_SUCCESS);
        Lines expected;
        whole_walk(*GetParam(), expected);
        expect_started(expected);
    }
    EXPECT_EQ(request.walk_all, 0U);
}

TEST_P(EveryContainerWalker, CallsTheWalkerOfEachChildByItsTag) {
    lightweight_on();
    kind(YFW_KIND_GET_CONFIG);
    for (const OcNode &child : GetParam()->children) {
        platform.forget_calls();
        call(GetParam()->walker(), tree(container(GetParam()->tag, {container(child.tag)})));
        const Lines functions = started();
        ASSERT_GE(functions.size(), 3U) << child.tag;
        EXPECT_EQ(functions[0], GetParam()->walker());
        EXPECT_EQ(functions[1], GetParam()->handler());
        EXPECT_EQ(functions[2], child.walker());
    }
}

TEST_P(EveryContainerWalker, PassesForeignChildrenToItsAugmentParser) {
    kind(YFW_KIND_EDIT);
    platform.request_adds = true;
    EXPECT_EQ(call(GetParam()->walker(), tree(container(GetParam()->tag, {leaf("foreign-leaf").in(ns::foreign)}))),
              YMAP_RC_AUGMENT_UNSUPPORTED);
    expect_walk({trc("Start"), push(node(GetParam()->tag), 1), trc("Start"), ask_add(),
                 copied("foreign-leaf", "YFW MAP"), error_path_call(), pop(node(GetParam()->tag)), trc("End")});
}

TEST_P(EveryContainerWalker, RefusesAnUnknownTagInAnEdit) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(GetParam()->walker(), tree(container(GetParam()->tag, {leaf("no-such-leaf", "1")}))),
              YMAP_RC_UNSUPPORTED);
    expect_walk(lines(trc("Start"), push(node(GetParam()->tag), 1), trc("Start"),
                      failed_at("Unsupported tag `no-such-leaf` is specified in the request.", "no-such-leaf"),
                      pop(node(GetParam()->tag)), trc("End")));
    EXPECT_EQ(error_path(), "no-such-leaf");
}

TEST_P(EveryContainerWalker, RefusesMissingChildren) {
    EXPECT_EQ(call(GetParam()->walker(), tree(container(GetParam()->tag).missing_children(2))), YMAP_RC_BAD_SUBTREE);
    expect_walk(lines(trc("Start"), failed_at("Failed to get subtrees!", GetParam()->tag), trc("End")));
}

INSTANTIATE_TEST_SUITE_P(Model, EveryContainerWalker, testing::ValuesIn(oc_nodes(OcKind::container)),
                         [](const auto &test) { return test.param->level + "_" + test.param->word; });

// ---- Container walkers ------------------------------------------------------------------------------------------

TEST_F(OpenConfigWalkers, ContainersAreEnteredAndLeftInOrder) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in =
        tree(container("optical-amplifier", {container("amplifiers"), container("supervisory-channels")}));
    EXPECT_EQ(call(top, in), CERR_SUCCESS);
    Lines expected{trc("Start"), push(node("optical-amplifier"), 1), trc("Start")};
    for (const char *tag : {"amplifiers", "supervisory-channels"})
        append(expected, Lines{trc("Start"), push(node(tag), 1), trc("Start"), pop(node(tag)), trc("End")});
    append(expected, Lines{pop(node("optical-amplifier")), trc("End")});
    expect_walk(expected);
    for (const yfw_datatree *entered : {in, &in->children[0], &in->children[1]}) {
        EXPECT_EQ(entered->map_status, static_cast<uint32_t>(YFW_MAP_STATUS_CONTAINER));
        EXPECT_EQ(entered->map_flags, YFW_MAPF_VISITED);
    }
}

TEST_F(OpenConfigWalkers, ChildrenAreVisitedInArrayOrder) {
    kind(YFW_KIND_EDIT);
    call(config, tree(container("config", {leaf("enabled", "true"), leaf("target-gain", "1.5")})));
    expect_writes({write_osri("false", node("enabled")), write_gain("15", node("target-gain"))});
}

TEST_F(OpenConfigWalkers, ChildrenWithoutTheFlagAreNotVisited) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("config", {leaf("target-gain", "1.5")}));
    in->node_flags = YFW_NODE_PRESENT;
    EXPECT_EQ(call(config, in), CERR_SUCCESS);
    expect_writes({});
}

TEST_F(OpenConfigWalkers, AnnouncedChildrenOfCountZeroAreNoError) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("config"));
    in->node_flags |= YFW_NODE_HAS_CHILDREN;
    EXPECT_EQ(call(config, in), CERR_SUCCESS);
}

TEST_F(OpenConfigWalkers, FirstFailingChildStopsTheVisit) {
    kind(YFW_KIND_EDIT);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 1);
    EXPECT_EQ(call(config, tree(container("config", {leaf("target-gain", "1.5"), leaf("enabled", "true")}))), 0x99U);
    expect_actions({push(node("config"), 1), write_gain("15", node("target-gain")), pop(node("config"))});
}

TEST_F(OpenConfigWalkers, UntaggedChildEndsTheWalk) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(config, tree(container("config", {untagged(), leaf("target-gain", "1.5")}))), YMAP_RC_BAD_SUBTREE);
    expect_walk({trc("Start"), push(node("config"), 1), trc("Start"), err("Tag name is not available!"),
                 error_path_call(), pop(node("config")), trc("End")});
    EXPECT_EQ(request.error_path, nullptr);
}

class UnknownTagInARead : public OpenConfigWalkers, public testing::WithParamInterface<uint32_t> {};

TEST_P(UnknownTagInARead, IsReportedAndSkipped) {
    kind(GetParam());
    EXPECT_EQ(call(config, tree(container("config", {leaf("no-such-leaf"), leaf("target-gain")}))), CERR_SUCCESS);
    expect_writes({write_gain("", no_source)});
    EXPECT_THAT(messages(), testing::Contains(err("Unsupported tag `no-such-leaf` is specified in the request.")));
    EXPECT_EQ(request.error_path, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnknownTagInARead, testing::Values(YFW_KIND_GET_CONFIG, YFW_KIND_GET));

TEST_F(OpenConfigWalkers, ForeignChildOfAReadSucceedsEmpty) {
    EXPECT_EQ(call(config, tree(container("config", {leaf("no-such-leaf").in(ns::foreign)}))), CERR_SUCCESS);
    expect_walk({trc("Start"), push(node("config"), 1), trc("Start"), ask_add(), pop(node("config")), trc("End")});
}

TEST_F(OpenConfigWalkers, UnsupportedLeafOfAnEditFailsItWithoutAMessage) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(config, tree(container("config", {leaf("min-gain", "3"), leaf("target-gain", "1")}))),
              YMAP_RC_UNSUPPORTED);
    EXPECT_EQ(error_path(), "min-gain");
    expect_actions({push(node("config"), 1), error_path_call(), copied("min-gain", "min-gain"), pop(node("config"))});
    EXPECT_THAT(messages(), testing::Not(testing::Contains(testing::StartsWith("ERR"))));
}

TEST_F(OpenConfigWalkers, InsideAWholeWalkNothingIsPushedOrMarked) {
    request.walk_all = 1;
    yfw_datatree *in = tree(container("config", {leaf("target-gain")}));
    EXPECT_EQ(call(config, in), CERR_SUCCESS);
    expect_actions({write_gain("", no_source)});
    EXPECT_EQ(in->map_status, 0U);
    EXPECT_EQ(in->map_flags, 0U);
    EXPECT_EQ(request.walk_all, 1U);
}

TEST_F(OpenConfigWalkers, WholeWalkGivesEachChildTheContainerItself) {
    const std::string actual_gain = oc_walker("opticalamplifier_state_actualgain");
    EXPECT_EQ(call(actual_gain, tree(container("actual-gain"))), CERR_SUCCESS);
    const auto request_history = [](const char *statistic) {
        return Lines{add(time_line + "/ampli-gain/" + statistic, ns::pmengine_oper, nullptr),
                     add(time_line + "/number", ns::pmengine_oper, "1")};
    };
    const Lines refused{error_path_call(), copied("actual-gain", "actual-gain")};
    const Lines refused_again{error_path_call(), freed("actual-gain"), copied("actual-gain", "actual-gain")};
    expect_actions(lines(push(node("actual-gain"), 1), add(ots_list + "/ots-info/ampli-gain", ns::ots_oper, ""),
                         request_history("average"), request_history("minimum"), request_history("maximum"), refused,
                         refused_again, refused_again, ask_add(), pop(node("actual-gain"))));
}

TEST_F(OpenConfigWalkers, WholeWalkIgnoresTheResultsOfItsWalkers) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    platform.request_adds = true;
    EXPECT_EQ(call(config, tree(container("config"))), CERR_SUCCESS);
    EXPECT_EQ(request.walk_all, 0U);
}

TEST_F(OpenConfigWalkers, EmptyContainerOfAnEditIsNotWalkedWhole) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(config, tree(container("config"))), CERR_SUCCESS);
    expect_walk({trc("Start"), push(node("config"), 1), trc("Start"), pop(node("config")), trc("End")});
}

// ---- Selection --------------------------------------------------------------------------------------------------

TEST_F(OpenConfigWalkers, ReadMasksTheSelectionOnEntry) {
    request.select_flags = 0xffffffffU;
    call(config, tree(container("config", {leaf("target-gain")})));
    EXPECT_EQ(request.select_flags, select_mask | 0x2U);
}

TEST_F(OpenConfigWalkers, EditDoesNotTouchTheSelection) {
    kind(YFW_KIND_EDIT);
    request.select_flags = 0xa0000000U;
    call(config, tree(container("config", {leaf("target-gain", "1")})));
    EXPECT_EQ(request.select_flags, 0xa0000000U);
}

TEST_F(OpenConfigWalkers, WholeWalkMasksTheSelectionWhenItCloses) {
    request.select_flags = 0xffffffffU;
    call(config, tree(container("config")));
    EXPECT_EQ(request.select_flags, select_mask);
}

TEST_F(OpenConfigWalkers, WalkerInsideAWholeWalkLeavesTheSelectionToItsCaller) {
    request.walk_all = 1;
    request.select_flags = 0xe0000001U;
    call(config, tree(container("config")));
    EXPECT_EQ(request.select_flags, 0xe0000001U);
}

class KeyOnlyRead : public OpenConfigWalkers, public testing::WithParamInterface<uint32_t> {};

TEST_P(KeyOnlyRead, ReturnsTheWholeAmplifier) {
    kind(GetParam());
    lightweight_on();
    yfw_datatree *in = tree(container("amplifier", {key_leaf("0/1-AMP-PRE")}));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    const OcNode &model = oc_node("opticalamplifier_amplifiers_amplifier");
    Lines expected{model.walker(), model.handler(), model.converter, model.children[0].walker(),
                   model.children[0].converter};
    for (const OcNode &child : model.children)
        whole_walk(child, expected);
    expect_started(expected);
    EXPECT_EQ(request.select_flags, 0x10000U);
    EXPECT_EQ(request.walk_all, 0U);
}

TEST_P(KeyOnlyRead, ReturnsTheWholeChannel) {
    kind(GetParam());
    lightweight_on();
    yfw_datatree *in = tree(container("supervisory-channel", {leaf("interface", "Optics0/1/0/4").key()}));
    EXPECT_EQ(call(channel, in), CERR_SUCCESS);
    const OcNode &model = oc_node("opticalamplifier_supervisorychannels_supervisorychannel");
    Lines expected{model.walker(), model.handler(), model.converter, model.children[0].walker(),
                   model.children[0].converter};
    for (const OcNode &child : model.children)
        whole_walk(child, expected);
    expect_started(expected);
}

TEST_P(KeyOnlyRead, StillRunsTheWholeWalkAfterAFailedKey) {
    kind(GetParam());
    lightweight_on();
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")})})}));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 0, "Ots0/1/0/0");
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 0, "path=" + interface_list + "/active");
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 0, "path=" + time_line + "/number");
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/1-AMP-PRE")}))), 0x99U);
    EXPECT_THAT(started(), testing::Contains(config));
}

INSTANTIATE_TEST_SUITE_P(Kinds, KeyOnlyRead, testing::Values(YFW_KIND_GET_CONFIG, YFW_KIND_GET));

TEST_F(OpenConfigWalkers, KeyWithALeafReturnsThatLeafAlone) {
    kind(YFW_KIND_GET_CONFIG);
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")})})}));
    EXPECT_EQ(call(amplifier,
                   tree(container("amplifier", {key_leaf("0/1-AMP-PRE"), container("config", {leaf("target-gain")})}))),
              CERR_SUCCESS);
    expect_writes(
        lines(open_interfaces(no_source), write_interface_key("Ots0/1/0/0", no_source), write_gain("", no_source)));
}

// ---- Deletes ----------------------------------------------------------------------------------------------------

TEST_F(OpenConfigWalkers, DeleteThatCarriesChildrenIsRefused) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(call(top, tree(container("optical-amplifier", {container("amplifiers")}).op(YFW_OP_DELETE))),
              YMAP_RC_INVALID_ARGS);
    expect_walk({trc("Start"), trc("Delete request with subtree present"), trc("End")});
    EXPECT_EQ(request.error_path, nullptr);
}

TEST_F(OpenConfigWalkers, DeleteThatCarriesChildrenPassesInAnOwnedSubtree) {
    kind(YFW_KIND_EDIT);
    request.in_subtree = 1;
    EXPECT_EQ(call(config, tree(container("config", {leaf("enabled").op(YFW_OP_DELETE)}).op(YFW_OP_DELETE))),
              CERR_SUCCESS);
    expect_writes({write_osri(nullptr, node("enabled", YFW_OP_DELETE))});
}

TEST_F(OpenConfigWalkers, DeleteOfEverythingWalksBothListsAsRemoval) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("optical-amplifier").op(YFW_OP_DELETE));
    EXPECT_EQ(call(top, in), CERR_SUCCESS);
    const std::string removed = node("optical-amplifier", YFW_OP_REMOVE);
    expect_writes({open_interfaces(removed), write_gain(nullptr, removed), write_tilt(nullptr, removed),
                   write_osri(nullptr, removed)});
    EXPECT_EQ(in->operation, static_cast<uint32_t>(YFW_OP_DELETE)) << "restored";
    EXPECT_NE(in->node_flags & YFW_NODE_OP_SET, 0);
    EXPECT_EQ(request.walk_all, 0U);
    EXPECT_EQ(request.in_subtree, 0U);
}

TEST_F(OpenConfigWalkers, DeleteOfEverythingVisitsTheWholeModel) {
    kind(YFW_KIND_EDIT);
    lightweight_on();
    call(top, tree(container("optical-amplifier").op(YFW_OP_DELETE)));
    for (const OcNode *visited : oc_nodes())
        EXPECT_THAT(started(), testing::Contains(visited->walker()));
}

TEST_F(OpenConfigWalkers, RemovalKeepsItsOperation) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("config").op(YFW_OP_REMOVE));
    EXPECT_EQ(call(config, in), CERR_SUCCESS);
    const std::string removed = node("config", YFW_OP_REMOVE);
    expect_writes({write_gain(nullptr, removed), write_tilt(nullptr, removed), write_osri(nullptr, removed)});
    EXPECT_EQ(in->operation, static_cast<uint32_t>(YFW_OP_REMOVE));
}

TEST_F(OpenConfigWalkers, DeletedLeafIsWrittenWithoutAValue) {
    kind(YFW_KIND_EDIT);
    call(config, tree(container("config", {leaf("target-gain", "3").op(YFW_OP_DELETE)})));
    expect_writes({write_gain(nullptr, node("target-gain", YFW_OP_DELETE))});
}

// ---- Replaces ---------------------------------------------------------------------------------------------------

TEST_F(OpenConfigWalkers, ReplaceOfAContainerRemovesAndThenMerges) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("config", {leaf("target-gain", "15")}).op(YFW_OP_REPLACE));
    EXPECT_EQ(call(config, in), CERR_SUCCESS);
    const std::string removed = node("config", YFW_OP_REMOVE);
    expect_writes({write_gain(nullptr, removed), write_tilt(nullptr, removed), write_osri(nullptr, removed),
                   write_gain("150", node("target-gain"))});
    EXPECT_EQ(in->operation, static_cast<uint32_t>(YFW_OP_REPLACE)) << "what it was before";
    EXPECT_EQ(in->child_count, 1U);
    EXPECT_NE(in->children, nullptr);
    EXPECT_NE(in->node_flags & YFW_NODE_HAS_CHILDREN, 0);
    EXPECT_NE(in->node_flags & YFW_NODE_OP_SET, 0);
    EXPECT_EQ(request.walk_flags, 0U);
    EXPECT_EQ(request.replace_in_progress, 0U);
    EXPECT_EQ(request.walk_all, 0U);
}

TEST_F(OpenConfigWalkers, ReplacePushesAndPopsTheContainerOnce) {
    kind(YFW_KIND_EDIT);
    call(config, tree(container("config", {leaf("target-gain", "15")}).op(YFW_OP_REPLACE)));
    EXPECT_EQ(platform.calls_of({"yfw_map_add_to_node_hierarchy"}).size(), 1U);
    EXPECT_EQ(platform.calls_of({"yfw_map_remove_from_node_hierarchy"}).size(), 1U);
}

TEST_F(OpenConfigWalkers, ReplaceOfEverythingRunsTheHandlerTwice) {
    kind(YFW_KIND_EDIT);
    lightweight_on();
    yfw_datatree *in = tree(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")}),
                                                                 container("amplifier", {key_leaf("0/1-AMP-BST")})})})
            .op(YFW_OP_REPLACE));
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")}),
                                                                 container("amplifier", {key_leaf("0/1-AMP-BST")})})}));
    EXPECT_EQ(call(top, in), CERR_SUCCESS);
    const std::string removed = node("optical-amplifier", YFW_OP_REMOVE);
    expect_writes(lines(open_interfaces(removed), write_gain(nullptr, removed), write_tilt(nullptr, removed),
                        write_osri(nullptr, removed), open_interfaces(no_source),
                        write_interface_key("Ots0/1/0/0", node("name")), open_interfaces(no_source),
                        write_interface_key("Ots0/1/0/1", node("name"))));
    EXPECT_THAT(started(), testing::Contains(oc_handler("cont", "opticalamplifier")).Times(2));
    EXPECT_EQ(in->operation, static_cast<uint32_t>(YFW_OP_REPLACE));
    EXPECT_EQ(in->child_count, 1U);
}

TEST_F(OpenConfigWalkers, ReplaceOfAnEntryPassesItsConfigOverWhileRemoving) {
    kind(YFW_KIND_EDIT);
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")})})}));
    yfw_datatree *in =
        tree(container("amplifier", {key_leaf("0/1-AMP-PRE"), container("config", {leaf("target-gain", "15")})})
                 .op(YFW_OP_REPLACE));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    const Lines written = writes();
    ASSERT_FALSE(written.empty());
    EXPECT_EQ(written.front(), open_interfaces(node("amplifier", YFW_OP_REMOVE)));
    EXPECT_THAT(written, testing::Contains(open_interfaces(no_source)).Times(1));
    EXPECT_THAT(written, testing::Contains(write_gain("150", node("target-gain"))).Times(1));
    EXPECT_EQ(written.back(), write_gain("150", node("target-gain")));
    EXPECT_EQ(platform.calls_of({"yfw_map_add_to_node_hierarchy"}),
              Lines({push(node("amplifier", YFW_OP_REPLACE), 2), push(node("config"), 1)}));
    EXPECT_EQ(in->operation, static_cast<uint32_t>(YFW_OP_REPLACE));
    EXPECT_EQ(in->child_count, 2U);
    EXPECT_EQ(request.walk_flags, 0U);
    EXPECT_EQ(request.replace_in_progress, 0U);
}

TEST_F(OpenConfigWalkers, ReplaceDoesNotMergeAfterAFailedRemoval) {
    kind(YFW_KIND_EDIT);
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")})})}));
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 1);
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/1-AMP-PRE"),
                                                           container("config", {leaf("target-gain", "15")})})
                                       .op(YFW_OP_REPLACE))),
              0x99U);
    EXPECT_THAT(writes(), testing::Not(testing::Contains(write_gain("150", node("target-gain")))));
}

TEST_F(OpenConfigWalkers, ReplaceInsideAReplaceLeavesTheOuterOneInItsPass) {
    kind(YFW_KIND_EDIT);
    watch_writes();
    yfw_datatree *in = tree(container("amplifier", {key_leaf("0/1-AMP-PRE"), container("state").op(YFW_OP_REPLACE),
                                                    container("config", {leaf("target-gain", "15")})})
                                .op(YFW_OP_REPLACE));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    EXPECT_THAT(writes(), testing::Contains(write_gain("150", node("target-gain"))).Times(1))
        << "the configuration waits for the outer second pass";
    EXPECT_EQ(states_.back(), (State{YFW_WALK_REPLACE_MERGE_PASS, 1, 0, 0}));
    EXPECT_EQ(request.walk_flags, 0U);
    EXPECT_EQ(request.replace_in_progress, 0U);
}

class ReplaceInside : public OpenConfigWalkers, public testing::WithParamInterface<std::pair<uint32_t, uint32_t>> {};

TEST_P(ReplaceInside, GivesBackWhatItFound) {
    kind(YFW_KIND_EDIT);
    const auto [walk_flags, in_progress] = GetParam();
    request.walk_flags = walk_flags;
    request.replace_in_progress = in_progress;
    EXPECT_EQ(call(config, tree(container("config", {leaf("target-gain", "15")}).op(YFW_OP_REPLACE))), CERR_SUCCESS);
    EXPECT_EQ(request.walk_flags, walk_flags);
    EXPECT_EQ(request.replace_in_progress, in_progress);
}

TEST_P(ReplaceInside, GivesBackWhatItFoundWhenItFails) {
    kind(YFW_KIND_EDIT);
    const auto [walk_flags, in_progress] = GetParam();
    request.walk_flags = walk_flags;
    request.replace_in_progress = in_progress;
    EXPECT_EQ(call(config, tree(container("config", {leaf("min-gain", "15")}).op(YFW_OP_REPLACE))),
              YMAP_RC_UNSUPPORTED);
    EXPECT_EQ(request.walk_flags, walk_flags);
    EXPECT_EQ(request.replace_in_progress, in_progress);
}

INSTANTIATE_TEST_SUITE_P(Passes, ReplaceInside,
                         testing::Values(std::pair{0U, 0U}, std::pair{0x40U, 1U}, std::pair{0x80U, 1U},
                                         std::pair{0xc0U, 1U}, std::pair{0xffffff3fU, 0U}, std::pair{0xffffffffU, 7U}),
                         [](const auto &test) { return case_name(test.index); });

// ---- List walkers -----------------------------------------------------------------------------------------------

TEST_F(OpenConfigWalkers, EntryIsEnteredMadeCurrentCheckedAndLeft) {
    kind(YFW_KIND_EDIT);
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/2-AMP-BST")})})}));
    yfw_datatree *in =
        tree(container("amplifier", {key_leaf("0/2-AMP-BST"), container("config", {leaf("target-gain", "15.56")})}));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    expect_actions(lines(push(node("amplifier"), 2), current_list(oc_amplifier), leafref(oc_amplifier, node("name")),
                         open_interfaces(no_source), write_interface_key("Ots0/2/0/1", node("name")),
                         push(node("config"), 1), write_gain("155", node("target-gain")), pop(node("config")),
                         pop(node("amplifier"))));
    EXPECT_EQ(in->map_status, static_cast<uint32_t>(YFW_MAP_STATUS_LIST_ENTRY));
    EXPECT_EQ(in->map_flags, YFW_MAPF_VISITED);
}

TEST_F(OpenConfigWalkers, KeyOfAnEntryIsMarkedSeenAndUsed) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("amplifier", {key_leaf("0/2-AMP-BST"), container("config")}));
    call(amplifier, in);
    EXPECT_EQ(in->children[0].key_seen, 1);
    EXPECT_NE(in->children[0].node_flags2 & YFW_NODE_KEY_USED, 0);
    EXPECT_EQ(in->children[1].key_seen, 0);
    EXPECT_EQ(in->children[1].node_flags2, 0);
}

TEST_F(OpenConfigWalkers, ChannelEntryIsEnteredMadeCurrentAndLeft) {
    kind(YFW_KIND_GET);
    client_request(
        container("optical-amplifier",
                  {container("supervisory-channels",
                             {container("supervisory-channel", {leaf("interface", "Optics0/1/0/4").key()})})}));
    yfw_datatree *in =
        tree(container("supervisory-channel", {leaf("interface", "Optics0/1/0/4").key(),
                                               container("state", {container("input-power", {leaf("instant")})})}));
    EXPECT_EQ(call(channel, in), CERR_SUCCESS);
    expect_actions({push(node("supervisory-channel"), 2), current_list(oc_channel),
                    add(optics_list, ns::optics_oper, nullptr, no_source, {.list = 1}),
                    add(history_list, ns::pmengine_oper, nullptr, no_source, {.list = 1}),
                    add(optics_list + "/name", ns::optics_oper, "Optics0/1/0/4"),
                    add(history_list + "/name", ns::pmengine_oper, "Optics0/1/0/4"),
                    add(time_line + "/number", ns::pmengine_oper, "1"), push(node("state"), 1),
                    push(node("input-power"), 1), add(optics_lane + "/receive-power", ns::optics_oper, ""),
                    add(optics_lane + "/number", ns::optics_oper, "1"), pop(node("input-power")), pop(node("state")),
                    pop(node("supervisory-channel"))});
    EXPECT_EQ(in->children[0].key_seen, 1);
}

TEST_F(OpenConfigWalkers, FailedCurrentListNodeIsTheResult) {
    kind(YFW_KIND_EDIT);
    platform.answer("yfw_map_update_current_list_node", 0x88);
    yfw_datatree *in = tree(container("amplifier", {key_leaf("0/2-AMP-BST")}));
    EXPECT_EQ(call(amplifier, in), 0x88U);
    expect_walk(
        {trc("Start"), push(node("amplifier"), 2), current_list(oc_amplifier), pop(node("amplifier")), trc("End")});
    EXPECT_EQ(in->children[0].key_seen, 0);
    EXPECT_EQ(in->children[0].node_flags2, 0);
}

TEST_F(OpenConfigWalkers, FailedLeafrefCheckEndsTheEntry) {
    kind(YFW_KIND_EDIT);
    platform.answer("yfw_map_check_oc_leafref", 0x44);
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/2-AMP-BST")}))), 0x44U);
    expect_walk(lines(trc("Start"), push(node("amplifier"), 2), current_list(oc_amplifier),
                      leafref(oc_amplifier, node("name")), failed_at("leafref value check fail", "name"),
                      pop(node("amplifier")), trc("End")));
}

struct ListCase {
    std::string walker, tag, key, list_path;
};

const ListCase amplifier_list{amplifier, "amplifier", "name", oc_amplifier};
const ListCase channel_list{channel, "supervisory-channel", "interface", oc_channel};

class StrictList : public OpenConfigWalkers, public testing::WithParamInterface<std::tuple<ListCase, uint32_t>> {
  protected:
    const ListCase &list() const { return std::get<0>(GetParam()); }
    void SetUp() override {
        OpenConfigWalkers::SetUp();
        kind(std::get<1>(GetParam()));
    }
};

TEST_P(StrictList, MustNameItsKeys) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag))), YMAP_RC_BAD_SUBTREE);
    expect_walk(lines(trc("Start"), failed_at("No keys specified with a list node.", list().tag), trc("End")));
}

TEST_P(StrictList, NeedsNoKeysInAnOwnedSubtree) {
    request.in_subtree = 1;
    EXPECT_EQ(call(list().walker, tree(container(list().tag))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Not(testing::Contains(testing::StartsWith("ERR No keys"))));
}

TEST_P(StrictList, ChecksItsKeyAgainstTheConfigLeaf) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {leaf(list().key, "x").key()}))), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_map_check_oc_leafref"}), Lines({leafref(list().list_path, node(list().key))}));
}

TEST_P(StrictList, RefusesTwoKeys) {
    EXPECT_EQ(
        call(list().walker, tree(container(list().tag, {leaf(list().key, "x").key(), leaf(list().key, "y").key()}))),
        YMAP_RC_BAD_KEY);
    EXPECT_EQ(error_path(), list().key);
    const Lines sequence = platform.calls_without({"yfw_map_is_request_delete"});
    ASSERT_GE(sequence.size(), 5U);
    EXPECT_EQ(Lines(sequence.end() - 5, sequence.end()),
              lines(failed_at("List key node error.", list().key), pop(node(list().tag)), trc("End")));
    expect_writes({});
}

TEST_P(StrictList, RefusesTwoKeysOfWhichOneIsFlagged) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {leaf(list().key, "x").key(), leaf(list().key, "y")}))),
              YMAP_RC_BAD_KEY);
    EXPECT_EQ(error_path(), list().key);
}

TEST_P(StrictList, RefusesAKeyThatIsNotFlagged) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {leaf(list().key, "x")}))), YMAP_RC_BAD_KEY);
    EXPECT_EQ(error_path(), list().key);
}

TEST_P(StrictList, RefusesAnEntryWithoutKey) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {container("state")}))), YMAP_RC_BAD_KEY);
    EXPECT_EQ(error_path(), list().key);
}

INSTANTIATE_TEST_SUITE_P(Kinds, StrictList,
                         testing::Combine(testing::Values(amplifier_list, channel_list), testing::Values(1U, 8U, 15U)),
                         [](const auto &test) {
                             return test_name(std::get<0>(test.param).tag) + std::to_string(std::get<1>(test.param));
                         });

class RelaxedList : public StrictList {};

TEST_P(RelaxedList, NeedsNoKey) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Not(testing::Contains(testing::StartsWith("ERR No keys"))));
}

TEST_P(RelaxedList, DoesNotCheckItsKeyAgainstTheConfigLeaf) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {leaf(list().key, "x").key()}))), CERR_SUCCESS);
    EXPECT_TRUE(platform.calls_of({"yfw_map_check_oc_leafref"}).empty());
}

TEST_P(RelaxedList, TakesAKeyThatIsNotFlagged) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {leaf(list().key, "x")}))), CERR_SUCCESS);
}

TEST_P(RelaxedList, RefusesTwoKeys) {
    EXPECT_EQ(
        call(list().walker, tree(container(list().tag, {leaf(list().key, "x").key(), leaf(list().key, "y").key()}))),
        YMAP_RC_BAD_KEY);
    EXPECT_EQ(error_path(), list().key);
}

TEST_P(RelaxedList, RefusesTwoKeysOfWhichOneIsFlagged) {
    EXPECT_EQ(call(list().walker, tree(container(list().tag, {leaf(list().key, "x").key(), leaf(list().key, "y")}))),
              YMAP_RC_BAD_KEY);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RelaxedList,
                         testing::Combine(testing::Values(amplifier_list, channel_list), testing::Values(0U, 2U, 10U)),
                         [](const auto &test) {
                             return test_name(std::get<0>(test.param).tag) + std::to_string(std::get<1>(test.param));
                         });

class EveryList : public OpenConfigWalkers, public testing::WithParamInterface<ListCase> {
  protected:
    Node entry(std::vector<Node> more) {
        more.insert(more.begin(), leaf(GetParam().key, "x").key());
        return container(GetParam().tag, more);
    }
    void SetUp() override {
        OpenConfigWalkers::SetUp();
        kind(YFW_KIND_EDIT);
    }
};

TEST_P(EveryList, RefusesMissingChildren) {
    EXPECT_EQ(call(GetParam().walker, tree(container(GetParam().tag).missing_children(1))), YMAP_RC_BAD_SUBTREE);
    expect_walk(lines(trc("Start"), failed_at("Failed to get subtrees!", GetParam().tag), trc("End")));
}

TEST_P(EveryList, RefusesAKeyThatIsDeleted) {
    EXPECT_EQ(
        call(GetParam().walker, tree(container(GetParam().tag, {leaf(GetParam().key, "x").key().op(YFW_OP_DELETE)}))),
        YMAP_RC_KEY_DELETE);
    const Lines sequence = platform.calls_without({"yfw_map_is_request_delete"});
    ASSERT_GE(sequence.size(), 4U);
    EXPECT_EQ(Lines(sequence.end() - 4, sequence.end()),
              lines(err("The key node should not have delete operation."), error_path_call(), pop(node(GetParam().tag)),
                    trc("End")));
    EXPECT_EQ(request.error_path, nullptr);
}

TEST_P(EveryList, RefusesAnUntaggedChild) {
    EXPECT_EQ(call(GetParam().walker, tree(entry({untagged()}))), YMAP_RC_BAD_KEY);
    EXPECT_THAT(messages(), testing::Contains(err("Empty list key specified.")));
    EXPECT_EQ(platform.calls_of({"yfw_oc_error_path"}).size(), 1U);
    EXPECT_TRUE(platform.calls_of({"yfw_strdup"}).empty());
    EXPECT_EQ(request.error_path, nullptr);
}

TEST_P(EveryList, RefusesAnUnknownTagInAnEdit) {
    EXPECT_EQ(call(GetParam().walker, tree(entry({leaf("no-such-leaf", "1")}))), YMAP_RC_UNSUPPORTED);
    const Lines sequence = platform.calls_without({"yfw_map_is_request_delete"});
    ASSERT_GE(sequence.size(), 5U);
    EXPECT_EQ(Lines(sequence.end() - 5, sequence.end()),
              lines(failed_at("Unsupported tag `no-such-leaf`is specified in the request.", "no-such-leaf"),
                    pop(node(GetParam().tag)), trc("End")));
}

TEST_P(EveryList, SkipsAnUnknownTagInARead) {
    kind(YFW_KIND_GET);
    EXPECT_EQ(call(GetParam().walker, tree(entry({leaf("no-such-leaf")}))), CERR_SUCCESS);
    EXPECT_THAT(messages(), testing::Contains(err("Unsupported tag `no-such-leaf`is specified in the request.")));
    EXPECT_THAT(platform.calls_of({"yfw_strdup"}), testing::Not(testing::Contains(copied("no-such-leaf", "YFW MAP"))));
}

TEST_P(EveryList, PassesForeignChildrenToItsAugmentParser) {
    platform.request_adds = true;
    EXPECT_EQ(call(GetParam().walker, tree(entry({leaf("foreign-leaf").in(ns::foreign)}))),
              YMAP_RC_AUGMENT_UNSUPPORTED);
    EXPECT_EQ(error_path(), "foreign-leaf");
}

TEST_P(EveryList, MarksAndPushesNothingInsideAWholeWalk) {
    request.walk_all = 1;
    yfw_datatree *in = tree(container(GetParam().tag));
    EXPECT_EQ(call(GetParam().walker, in), CERR_SUCCESS);
    EXPECT_TRUE(platform.calls_of({"yfw_map_add_to_node_hierarchy", "yfw_map_remove_from_node_hierarchy"}).empty());
    EXPECT_EQ(in->map_status, 0U);
    EXPECT_EQ(request.walk_all, 1U);
}

TEST_P(EveryList, ReadMasksTheSelectionOnEntry) {
    kind(YFW_KIND_GET_CONFIG);
    request.select_flags = 0xe0000000U;
    call(GetParam().walker, tree(entry({container("state", {leaf("no-such-leaf")})})));
    EXPECT_EQ(request.select_flags & 0xe0000000U, 0U);
}

TEST_P(EveryList, StaysBalancedWhenTheRequestNamesSeveralEntries) {
    yfw_datatree *first = tree(entry({}));
    yfw_datatree *second = tree(entry({}));
    platform.name_node(second, "second");
    platform.list_instances = {second, first};
    EXPECT_EQ(call(GetParam().walker, first), CERR_SUCCESS);
    EXPECT_EQ(platform.calls_of({"yfw_map_add_to_node_hierarchy"}).front(), push(node(GetParam().tag), 2));
    EXPECT_EQ(request.in_subtree, 0U);
    EXPECT_EQ(request.walk_all, 0U);
}

INSTANTIATE_TEST_SUITE_P(Lists, EveryList, testing::Values(amplifier_list, channel_list),
                         [](const auto &test) { return test_name(test.param.tag); });

TEST_F(OpenConfigWalkers, SkippedEntryIsDroppedWithoutError) {
    kind(YFW_KIND_EDIT);
    platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP, 0, "path=" + interface_list + " ");
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/2-AMP-BST")})})}));
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/2-AMP-BST"),
                                                           container("config", {leaf("target-gain", "1")})}))),
              CERR_SUCCESS);
    expect_actions({push(node("amplifier"), 2), current_list(oc_amplifier), leafref(oc_amplifier, node("name")),
                    open_interfaces(no_source), pop(node("amplifier"))});
}

TEST_F(OpenConfigWalkers, FailedListHandlerEndsTheEntry) {
    kind(YFW_KIND_EDIT);
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 1);
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/2-AMP-BST")})})}));
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/2-AMP-BST"),
                                                           container("config", {leaf("target-gain", "1")})}))),
              0x99U);
    expect_writes({open_interfaces(no_source)});
}

TEST_F(OpenConfigWalkers, DeleteOfAnEntryByItsKeyOpensTheNativeListForIt) {
    kind(YFW_KIND_EDIT);
    yfw_datatree *in = tree(container("amplifier", {key_leaf("0/2-AMP-BST")}).op(YFW_OP_DELETE));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    const Lines written = writes();
    ASSERT_FALSE(written.empty());
    EXPECT_EQ(written.front(), open_interfaces(node("amplifier", YFW_OP_DELETE)));
    EXPECT_THAT(written, testing::Contains(open_interfaces(node("amplifier", YFW_OP_DELETE))).Times(1));
    EXPECT_EQ(request.in_subtree, 0U);
    EXPECT_EQ(in->operation, static_cast<uint32_t>(YFW_OP_DELETE));
}

TEST_F(OpenConfigWalkers, SeveralEntriesOfOneRequestAreWalkedInOrder) {
    kind(YFW_KIND_EDIT);
    client_request(
        container("optical-amplifier", {container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")})})}));
    EXPECT_EQ(call(amplifiers, tree(container("amplifiers", {container("amplifier", {key_leaf("0/1-AMP-PRE")}),
                                                             container("amplifier", {key_leaf("0/3-AMP-BST")})}))),
              CERR_SUCCESS);
    expect_writes(lines(open_interfaces(no_source), write_interface_key("Ots0/1/0/0", node("name")),
                        open_interfaces(no_source), write_interface_key("Ots0/3/0/1", node("name"))));
}

// ---- The request's state while a walk runs ----------------------------------------------------------------------

TEST_F(OpenConfigWalkers, ReplaceTellsItsTwoPassesApart) {
    kind(YFW_KIND_EDIT);
    watch_writes();
    call(config, tree(container("config", {leaf("target-gain", "15")}).op(YFW_OP_REPLACE)));
    ASSERT_EQ(states_.size(), 4U);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(states_[i], (State{YFW_WALK_REPLACE_DELETE_PASS, 1, 0, 1})) << "removal " << i;
    EXPECT_EQ(states_[3], (State{YFW_WALK_REPLACE_MERGE_PASS, 1, 0, 0})) << "merge";
}

TEST_F(OpenConfigWalkers, ReplaceOfAnEntryTellsItsTwoPassesApart) {
    kind(YFW_KIND_EDIT);
    watch_writes();
    call(amplifier,
         tree(container("amplifier", {key_leaf("0/1-AMP-PRE"), container("config", {leaf("target-gain", "15")})})
                  .op(YFW_OP_REPLACE)));
    ASSERT_GE(states_.size(), 2U);
    EXPECT_EQ(states_.front().walk_flags, static_cast<uint32_t>(YFW_WALK_REPLACE_DELETE_PASS));
    EXPECT_EQ(states_.back().walk_flags, static_cast<uint32_t>(YFW_WALK_REPLACE_MERGE_PASS));
    EXPECT_EQ(states_.front().replace_in_progress, 1U);
    EXPECT_EQ(states_.back().replace_in_progress, 1U);
}

TEST_F(OpenConfigWalkers, WholeWalkIsMarkedWhileItRuns) {
    watch_writes();
    call(config, tree(container("config")));
    EXPECT_THAT(states_, testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(State{0, 0, 0, 1})));
}

TEST_F(OpenConfigWalkers, DeleteOfAnEntryByItsKeyOwnsTheSubtreeWhileItsHandlerRuns) {
    kind(YFW_KIND_EDIT);
    watch_writes();
    call(amplifier, tree(container("amplifier", {key_leaf("0/2-AMP-BST")}).op(YFW_OP_DELETE)));
    ASSERT_FALSE(states_.empty());
    EXPECT_EQ(states_.front().in_subtree, 2U);
    EXPECT_EQ(request.in_subtree, 0U);
}

TEST_F(OpenConfigWalkers, DeleteOfAListWithoutEntriesOwnsTheSubtreeForTheWalk) {
    kind(2);
    watch_writes();
    EXPECT_EQ(call(amplifier, tree(container("amplifier").op(YFW_OP_DELETE))), CERR_SUCCESS);
    ASSERT_FALSE(states_.empty());
    EXPECT_EQ(states_.front().in_subtree, 1U);
    EXPECT_EQ(request.in_subtree, 0U);
}

TEST_F(OpenConfigWalkers, DeleteOfAListWithoutEntriesGivesTheSubtreeBackAsItFoundIt) {
    kind(YFW_KIND_EDIT);
    request.in_subtree = 7;
    watch_writes();
    EXPECT_EQ(call(amplifier, tree(container("amplifier").op(YFW_OP_DELETE))), CERR_SUCCESS);
    ASSERT_FALSE(states_.empty());
    EXPECT_EQ(states_.front().in_subtree, 1U);
    EXPECT_EQ(request.in_subtree, 7U);
}

TEST_F(OpenConfigWalkers, DeleteOfAnEntryThatNamesMoreThanItsKeyOwnsNoSubtree) {
    kind(YFW_KIND_EDIT);
    const Node key = key_leaf("0/2-AMP-BST");
    const Node more = container("config", {leaf("enabled").op(YFW_OP_DELETE)});
    for (const bool key_first : {true, false}) {
        states_.clear();
        watch_writes();
        yfw_datatree *in =
            tree(container("amplifier", key_first ? std::vector<Node>{key, more} : std::vector<Node>{more, key})
                     .op(YFW_OP_DELETE));
        EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
        EXPECT_THAT(states_, testing::AllOf(testing::Not(testing::IsEmpty()),
                                            testing::Each(testing::Field(&State::in_subtree, 0U))));
    }
}

TEST_F(OpenConfigWalkers, DeleteOfAnEntryThatNamesNoKeyOwnsNoSubtree) {
    kind(2);
    watch_writes();
    yfw_datatree *in =
        tree(container("amplifier", {container("config", {leaf("enabled").op(YFW_OP_DELETE)})}).op(YFW_OP_DELETE));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    EXPECT_THAT(states_, testing::AllOf(testing::Not(testing::IsEmpty()),
                                        testing::Each(testing::Field(&State::in_subtree, 0U))));
}

// What an enclosing walker does that keeps a list walker from counting keys.
class UncountedKeys : public OpenConfigWalkers, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        OpenConfigWalkers::SetUp();
        kind(YFW_KIND_EDIT);
        (GetParam() ? request.walk_all : request.in_subtree) = 1;
    }
};

TEST_P(UncountedKeys, AreUsedButNeitherSeenNorChecked) {
    yfw_datatree *in = tree(container("amplifier", {key_leaf("0/2-AMP-BST"), container("config")}));
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    EXPECT_EQ(in->children[0].key_seen, 0);
    EXPECT_NE(in->children[0].node_flags2 & YFW_NODE_KEY_USED, 0);
    EXPECT_EQ(in->children[1].node_flags2, 0);
    EXPECT_TRUE(platform.calls_of({"yfw_map_check_oc_leafref"}).empty());
    EXPECT_THAT(writes(), testing::IsSupersetOf(write_interface_key("Ots0/2/0/1", node("name"))));
}

TEST_P(UncountedKeys, MayBeSeveralOrNone) {
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/1-AMP-PRE"), key_leaf("0/1-AMP-BST")}))),
              CERR_SUCCESS);
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {container("config")}))), CERR_SUCCESS);
    EXPECT_EQ(call(amplifier, tree(container("amplifier"))), CERR_SUCCESS);
}

TEST_P(UncountedKeys, DoNotMakeADeletedEntryOwnItsSubtree) {
    watch_writes();
    const uint32_t in_subtree = request.in_subtree;
    EXPECT_EQ(call(amplifier, tree(container("amplifier", {key_leaf("0/1-AMP-PRE")}).op(YFW_OP_DELETE))), CERR_SUCCESS);
    EXPECT_THAT(states_, testing::AllOf(testing::Not(testing::IsEmpty()),
                                        testing::Each(testing::Field(&State::in_subtree, in_subtree))));
    EXPECT_EQ(request.in_subtree, in_subtree);
}

TEST_P(UncountedKeys, LetAContainerBeDeletedWithWhatIsInIt) {
    EXPECT_EQ(call(config, tree(container("config", {leaf("enabled").op(YFW_OP_DELETE)}).op(YFW_OP_DELETE))),
              CERR_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Enclosing, UncountedKeys, testing::Bool(),
                         [](const auto &test) { return test.param ? "WholeWalk" : "OwnedSubtree"; });

TEST_F(OpenConfigWalkers, MergedEntryOwnsNoSubtree) {
    kind(YFW_KIND_EDIT);
    watch_writes();
    call(amplifier, tree(container("amplifier", {key_leaf("0/2-AMP-BST")})));
    EXPECT_THAT(states_, testing::AllOf(testing::Not(testing::IsEmpty()), testing::Each(State{0, 0, 0, 0})));
}

TEST_F(OpenConfigWalkers, OtherFlagsOfANodeAndOfTheRequestAreKept) {
    kind(YFW_KIND_EDIT);
    request.walk_flags = YFW_WALK_XPATH_ERROR;
    yfw_datatree *in =
        tree(container("amplifier",
                       {key_leaf("0/1-AMP-PRE"), container("config", {leaf("target-gain", "1")}), container("state")})
                 .op(YFW_OP_REPLACE));
    yfw_datatree *gain = &in->children[1].children[0];
    for (yfw_datatree *marked : {in, &in->children[0], &in->children[1], gain}) {
        marked->map_flags = 0x81;
        marked->node_flags2 = 0x40;
        marked->node_flags |= 0x80;
    }
    EXPECT_EQ(call(amplifier, in), CERR_SUCCESS);
    for (const yfw_datatree *marked : {in, &in->children[0], &in->children[1], gain}) {
        EXPECT_EQ(marked->map_flags, 0x81 | YFW_MAPF_VISITED) << marked->tag;
        EXPECT_EQ(marked->node_flags2 & 0x40, 0x40) << marked->tag;
        EXPECT_EQ(marked->node_flags & (0x80 | YFW_NODE_PRESENT), 0x80 | YFW_NODE_PRESENT) << marked->tag;
    }
    EXPECT_EQ(request.walk_flags, static_cast<uint32_t>(YFW_WALK_XPATH_ERROR));
}

class EntryChild : public OpenConfigWalkers, public testing::WithParamInterface<std::pair<std::string, std::string>> {};

TEST_P(EntryChild, IsReachedByItsTag) {
    lightweight_on();
    const OcNode &list = oc_node(GetParam().first);
    for (const OcNode &child : list.children)
        if (child.tag == GetParam().second) {
            call(list.walker(), tree(container(list.tag, {container(child.tag, {leaf("no-such-leaf")})})));
            EXPECT_THAT(started(), testing::Contains(child.walker()));
            return;
        }
    FAIL() << "no such child";
}

INSTANTIATE_TEST_SUITE_P(Lists, EntryChild,
                         testing::Values(std::pair{"opticalamplifier_amplifiers_amplifier", "name"},
                                         std::pair{"opticalamplifier_amplifiers_amplifier", "config"},
                                         std::pair{"opticalamplifier_amplifiers_amplifier", "state"},
                                         std::pair{"opticalamplifier_supervisorychannels_supervisorychannel",
                                                   "interface"},
                                         std::pair{"opticalamplifier_supervisorychannels_supervisorychannel", "state"}),
                         [](const auto &test) { return test_name(test.param.first + "_" + test.param.second); });

} // namespace
