// Every container and list of the native models, walked from where the framework begins.
#include "native_models_fixture.h"

namespace {

class NativeNodes : public NativeModelTest, public testing::WithParamInterface<NativeNode> {
  protected:
    void SetUp() override {
        NativeModelTest::SetUp();
        stand_in(*GetParam().module);
    }
    const std::vector<NativeNode> path = native_path_to(GetParam().module, GetParam().word);
    cerrno walk(const std::vector<Node> &children) { return call(path.front().walker(), native_tree(path, children)); }
    // The whole sequence when the node has children that do this.
    Lines whole(const Lines &inside) { return walk_down_to(path, walk_of(path.back(), inside)); }
    // The same for a node without children.
    Lines whole_of_an_empty_node() {
        Lines calls = walk_of(path.back(), {});
        if (path.back().is_list() && path.back().module->reports_empty_entries)
            calls.insert(calls.begin() + 1, err_of(path.back().walker(), "No keys specified with a list node."));
        return walk_down_to(path, calls);
    }
};

TEST_P(NativeNodes, WithoutChildrenAreReportedOnlyAsListEntriesOfTheConfigurationModels) {
    const Lines expected = whole_of_an_empty_node();
    EXPECT_EQ(walk({}), CERR_SUCCESS);
    expect_named_calls(expected);
}

TEST_P(NativeNodes, IgnoreUnknownNativeChildrenAndGoOn) {
    const Lines expected = whole({ignored(path.back(), "x"), ignored(path.back(), "y")});
    EXPECT_EQ(walk({leaf("x", "1"), container("y", {leaf("z")})}), CERR_SUCCESS);
    expect_named_calls(expected);
}

TEST_P(NativeNodes, GiveForeignChildrenToTheirOwnAugmentParser) {
    const std::string parser = path.back().augment_parser();
    const Lines parsed =
        path.back().augments_silently ? Lines{} : Lines{trc_of(parser, "Start"), trc_of(parser, "End")};
    const Lines expected = whole(lines(parsed, ignored(path.back(), "x")));
    EXPECT_EQ(walk({leaf("f", "1").in(ns::foreign), leaf("x", "1")}), CERR_SUCCESS);
    expect_named_calls(expected);
}

TEST_P(NativeNodes, AreLeftInOrderAfterAnUntaggedChild) {
    const Lines expected = whole({err_of(path.back().walker(), "Tag name is not available!"), error_path_call()});
    EXPECT_EQ(walk({untagged(), leaf("x", "1")}), YMAP_RC_BAD_SUBTREE);
    expect_named_calls(expected);
}

TEST_P(NativeNodes, WithMissingChildrenAreRefusedAndNotEntered) {
    const NativeNode &last = path.back();
    const char *message = last.is_list() && last.module->broken_entries_lack_keys
                              ? "No keys specified with a list node."
                              : "Failed to get subtrees!";
    const Lines expected =
        walk_down_to(path, {trc_of(last.walker(), "Start"), err_of(last.walker(), message), copied(last.tag, "YFW MAP"),
                            error_path_call(), trc_of(last.walker(), "End")});
    EXPECT_EQ(call(path.front().walker(), native_tree_around(path, container(last.tag).missing_children(2))),
              YMAP_RC_BAD_SUBTREE);
    expect_named_calls(expected);
}

TEST_P(NativeNodes, OfTheConfigurationAreWalkedForRequestsOfEveryKind) {
    for (const auto other : {std::optional<uint32_t>(YFW_KIND_GET_CONFIG), std::optional<uint32_t>(YFW_KIND_EDIT),
                             std::optional<uint32_t>(9), std::optional<uint32_t>(11), std::optional<uint32_t>()}) {
        kind_or_none(other);
        const bool walked_whole = !GetParam().module->state_reads_only || path.size() == 1;
        const Lines expected =
            walked_whole ? whole_of_an_empty_node() : walk_of(path.front(), {ignored(path.front(), path[1].tag)});
        EXPECT_EQ(walk({}), CERR_SUCCESS);
        expect_named_calls(expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Models, NativeNodes, testing::ValuesIn(native_nodes()),
                         [](const auto &test) { return native_test_name(test.param.module, test.param.word); });

// ---- Lists ------------------------------------------------------------------------------------------------------

class NativeLists : public NativeNodes {
  protected:
    // What happens with an entry that is not made current.
    Lines refused_entry() const {
        const NativeNode &list = path.back();
        return {trc_of(list.walker(), "Start"), push(node(list.tag), 2), current_list(list.list_path),
                pop(node(list.tag)), trc_of(list.walker(), "End")};
    }
    void refuse_entries(cerrno code) {
        platform.answer("yfw_map_update_current_list_node", code, 0, "\"" + path.back().list_path + "\"");
    }
    yfw_datatree *two_entries() const { return two_entries_; }
    void SetUp() override {
        NativeNodes::SetUp();
        const std::vector<NativeNode> above(path.begin(), path.end() - 1);
        const Node entry = container(path.back().tag, {leaf("x", "1")});
        two_entries_ = native_tree(above, {entry, entry});
    }

  private:
    yfw_datatree *two_entries_ = nullptr;
};

TEST_P(NativeLists, DropAnEntryThatTheCurrentListNodeSkipsAndGoOnWithTheNext) {
    const Lines expected = walk_down_to(path, lines(refused_entry(), refused_entry()));
    refuse_entries(YMAP_RC_SKIP);
    EXPECT_EQ(call(path.front().walker(), two_entries()), CERR_SUCCESS);
    expect_named_calls(expected);
}

TEST_P(NativeLists, EndTheWalkWithAnyOtherCodeOfTheCurrentListNode) {
    const Lines expected = walk_down_to(path, refused_entry());
    refuse_entries(0x88);
    EXPECT_EQ(call(path.front().walker(), two_entries()), 0x88U);
    expect_named_calls(expected);
}

std::vector<NativeNode> native_lists() {
    std::vector<NativeNode> lists;
    for (const NativeNode &native_node : native_nodes())
        if (native_node.is_list())
            lists.push_back(native_node);
    return lists;
}

INSTANTIATE_TEST_SUITE_P(Models, NativeLists, testing::ValuesIn(native_lists()),
                         [](const auto &test) { return native_test_name(test.param.module, test.param.word); });

// ---- Handlers ---------------------------------------------------------------------------------------------------

class NativeNodeHandlers : public PluginTest, public testing::WithParamInterface<NativeNode> {
  protected:
    const NativeNode &native_node = GetParam();
    // The default handlers of the history do nothing, not even check.
    bool is_silent() const { return native_node.handler.find("duck_map") != std::string::npos; }
    // List handlers that only hand over do not trace.
    bool traces_start() const {
        return !native_node.is_list() || native_node.module->leaf_handlers_trace || native_node.tag == "optics-port";
    }
};

TEST_P(NativeNodeHandlers, RefuseMissingNodesUnlessTheyAreSilent) {
    if (is_silent()) {
        EXPECT_EQ(native_node.is_list() ? call(native_node.handler, nullptr)
                                        : call_container(native_node.handler, nullptr, 1),
                  CERR_SUCCESS);
        expect_calls({});
    } else if (native_node.is_list()) {
        expect_refuses_missing_nodes(native_node.handler, traces_start());
    } else {
        expect_container_refuses_missing_nodes(native_node.handler);
    }
}

TEST_P(NativeNodeHandlers, AssertTheirContextUnlessTheyAreSilent) {
    const auto handle_nothing = [this] {
        return native_node.is_list() ? plugin().handler(native_node.handler)(nullptr, nullptr, nullptr)
                                     : plugin().container_handler(native_node.handler)(nullptr, nullptr, 0, nullptr);
    };
    if (is_silent()) {
        EXPECT_EQ(handle_nothing(), CERR_SUCCESS);
        return;
    }
    GTEST_FLAG_SET(death_test_style, "fast");
    // A container's own name or the default handler's that bears it too.
    EXPECT_DEATH(handle_nothing(), "ymap_xo_.*\\(yfw_map_ctx.*yfw_datatree.*\\).*NULL != ctx");
}

INSTANTIATE_TEST_SUITE_P(Models, NativeNodeHandlers, testing::ValuesIn(native_nodes()),
                         [](const auto &test) { return native_test_name(test.param.module, test.param.word); });

// ---- Augment parsers --------------------------------------------------------------------------------------------

struct AugmentParser {
    std::string name;
    bool is_silent;
};

std::vector<AugmentParser> augment_parsers() {
    std::vector<AugmentParser> parsers;
    for (const NativeNode &native_node : native_nodes())
        parsers.push_back({native_node.augment_parser(), native_node.augments_silently});
    const std::string optics_cfg = native_nodes().front().module->prefix;
    parsers.push_back({optics_cfg + "lvla_interface_configuration_parse_augments", false});
    return parsers;
}

class NativeAugmentParser : public PluginTest, public testing::WithParamInterface<AugmentParser> {};

TEST_P(NativeAugmentParser, SucceedsWithoutOutput) {
    EXPECT_EQ(call(GetParam().name, tree(leaf("x", "1").in(ns::foreign))), CERR_SUCCESS);
    expect_calls(GetParam().is_silent ? Lines{} : Lines{trc("Start"), trc("End")});
}

TEST_P(NativeAugmentParser, RefusesMissingNodesUnlessItIsSilent) {
    if (!GetParam().is_silent)
        return expect_refuses_missing_nodes(GetParam().name, true);
    EXPECT_EQ(call(GetParam().name, nullptr), CERR_SUCCESS);
    EXPECT_EQ(plugin().handler(GetParam().name)(ctx, tree(leaf("x")), nullptr), CERR_SUCCESS);
    expect_calls({});
}

TEST_P(NativeAugmentParser, AssertsItsContextUnlessItIsSilent) {
    if (!GetParam().is_silent)
        return expect_context_assertion(GetParam().name, call_handler_without_context);
    EXPECT_EQ(plugin().handler(GetParam().name)(nullptr, tree(leaf("x")), &out), CERR_SUCCESS);
    expect_calls({});
}

INSTANTIATE_TEST_SUITE_P(Models, NativeAugmentParser, testing::ValuesIn(augment_parsers()),
                         [](const auto &test) { return test.param.name; });

} // namespace
