// Every leaf of the native models: it is reached by its tag, and the handler of its name calls the converter of its
// own.
#include "native_models_fixture.h"

namespace {

class NativeLeaves : public NativeModelTest, public testing::WithParamInterface<NativeLeaf> {
  protected:
    void SetUp() override {
        NativeModelTest::SetUp();
        stand_in(*GetParam().module);
    }
    const NativeLeaf &native_leaf = GetParam();
    const std::vector<NativeNode> path = native_path_to(GetParam().module, GetParam().parent);

    Node described() const { return leaf(native_leaf.tag, native_leaf.value).in(native_leaf.module->ns); }

    // What the converter does, and the write of the text that it returns.
    Lines converter_calls() {
        platform.forget_calls();
        std::string text;
        if (native_leaf.converter_returns_text())
            text = plugin().text_converter(native_leaf.converter)(ctx, tree(described()), &out);
        else
            call(native_leaf.converter, tree(described()));
        Lines calls = named_calls();
        if (native_leaf.converter_returns_text())
            calls.push_back(add(native_leaf.written, ns::openconfig, text.c_str()));
        platform.forget_calls();
        return calls;
    }
    Lines handler_calls() {
        const std::string handler = native_leaf.handler();
        if (!native_leaf.module->leaf_handlers_trace)
            return converter_calls();
        return lines(trc_of(handler, "Start"), converter_calls(), trc_of(handler, "End"));
    }
    Lines walker_calls(const Lines &first = {}) {
        return lines(trc_of(native_leaf.walker(), "Start"), first, handler_calls(),
                     trc_of(native_leaf.walker(), "End"));
    }
    cerrno walk(const Node &description) { return call(path.front().walker(), native_tree(path, {description})); }
    Lines whole(const Lines &inside) { return walk_down_to(path, walk_of(path.back(), inside)); }
};

TEST_P(NativeLeaves, AreGivenToTheirOwnConverterByTheHandlerOfTheirName) {
    const Lines expected = handler_calls();
    EXPECT_THAT(expected, testing::Contains(trc_of(native_leaf.converter, "Start")));
    EXPECT_EQ(call(native_leaf.handler(), tree(described())), CERR_SUCCESS);
    expect_named_calls(expected);
}

TEST_P(NativeLeaves, AreReachedByTheirTag) {
    const Lines expected = whole(walker_calls());
    EXPECT_EQ(walk(described()), CERR_SUCCESS);
    expect_named_calls(expected);
    EXPECT_EQ(request.walk_flags, 0U);
}

TEST_P(NativeLeaves, WithAnXpathErrorAreRecordedAndStillConverted) {
    const Lines expected = whole(walker_calls({trc_of(native_leaf.walker(), "got xpath error node ")}));
    EXPECT_EQ(walk(described().xpath_error()), CERR_SUCCESS);
    expect_named_calls(expected);
    EXPECT_EQ(request.walk_flags, uint32_t{YFW_WALK_XPATH_ERROR});
}

TEST_P(NativeLeaves, OfTheConfigurationAreWalkedForRequestsOfEveryKind) {
    for (const auto other : {std::optional<uint32_t>(YFW_KIND_GET_CONFIG), std::optional<uint32_t>(YFW_KIND_EDIT),
                             std::optional<uint32_t>(11), std::optional<uint32_t>()}) {
        kind_or_none(other);
        const bool only_the_root = GetParam().module->state_reads_only;
        const Lines expected =
            only_the_root ? walk_of(path.front(), {ignored(path.front(), path[1].tag)}) : whole(walker_calls());
        EXPECT_EQ(walk(described()), CERR_SUCCESS);
        expect_named_calls(expected);
    }
}

TEST_P(NativeLeaves, HandlerReturnsTheCodeOfItsConverterOrWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99);
    EXPECT_EQ(call(native_leaf.handler(), tree(described())), 0x99U);
    EXPECT_EQ(walk(described()), 0x99U);
}

TEST_P(NativeLeaves, HandlerRefusesMissingNodes) {
    context.ltrace_enabled = 0;
    expect_refuses_missing_nodes(native_leaf.handler(), native_leaf.module->leaf_handlers_trace);
}

TEST_P(NativeLeaves, HandlerOrItsConverterAssertsTheContext) {
    const bool handler_asserts = native_leaf.module->leaf_handlers_trace;
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_DEATH(call_handler_without_context(native_leaf.handler()),
                 (handler_asserts ? native_leaf.handler() : native_leaf.converter) +
                     "\\(yfw_map_ctx.*yfw_datatree.*\\).*NULL != ctx");
    EXPECT_DEATH(plugin().handler(native_leaf.handler())(nullptr, nullptr, nullptr),
                 native_leaf.handler() + "\\(yfw_map_ctx.*yfw_datatree.*\\).*NULL != ctx");
}

INSTANTIATE_TEST_SUITE_P(Models, NativeLeaves, testing::ValuesIn(native_leaves()),
                         [](const auto &test) { return native_test_name(test.param.module, test.param.word); });

} // namespace
