// List instances: the entries of one request that the framework holds on its stack for a list walker.
#include <algorithm>

#include "plugin_fixture.h"

namespace {

struct ListCase {
    std::string word, tag, key, list_path;
    std::string walker() const { return oc_walker(word); }
    std::string handler() const { return oc_handler("list", word); }
};

const ListCase amplifier_list{"opticalamplifier_amplifiers_amplifier", "amplifier", "name", oc_amplifier};
const ListCase channel_list{"opticalamplifier_supervisorychannels_supervisorychannel", "supervisory-channel",
                            "interface", oc_channel};

class InstanceTest : public PluginTest {
  protected:
    void SetUp() override {
        kind(YFW_KIND_EDIT);
        client_request(container("optical-amplifier"));
        lightweight_on();
    }
    void expect_last_line_is_the_end_of(const std::string &walker) const {
        ASSERT_FALSE(platform.lightweight().empty());
        const std::string &last = platform.lightweight().back().text;
        EXPECT_THAT(last, testing::AllOf(testing::HasSubstr(" " + walker + ":"), testing::EndsWith(",End")));
    }
};

class ListInstances : public InstanceTest, public testing::WithParamInterface<ListCase> {
  protected:
    void SetUp() override {
        InstanceTest::SetUp();
        own = entry("own", YFW_OP_MERGE);
    }
    // An entry that names its key, shown under a name of its own.
    yfw_datatree *entry(const std::string &name, uint32_t operation) {
        yfw_datatree *made = tree(container(GetParam().tag, {leaf(GetParam().key, name).key()}).op(operation));
        platform.name_node(made, name);
        return made;
    }
    cerrno walk() { return call(GetParam().walker(), own); }
    // A visit of another instance: entered, made current, its handler run, left.
    Lines visited(const std::string &name) const {
        return {push(node(name), 2), current_list(GetParam().list_path), pop(node(name))};
    }
    Lines visits() const {
        return platform.calls_of({"yfw_map_add_to_node_hierarchy", "yfw_map_update_current_list_node",
                                  "yfw_map_remove_from_node_hierarchy"});
    }
    void expect_said_end() const { expect_last_line_is_the_end_of(GetParam().walker()); }
    size_t handler_runs() const {
        const Lines functions = started();
        return static_cast<size_t>(std::count(functions.begin(), functions.end(), GetParam().handler()));
    }
    yfw_datatree *own = nullptr;
};

TEST_P(ListInstances, AreVisitedOnceEachWhereverTheOwnEntryStands) {
    const yfw_datatree *second = entry("second", YFW_OP_MERGE);
    const yfw_datatree *third = entry("third", YFW_OP_MERGE);
    for (size_t own_at = 0; own_at < 3; ++own_at) {
        platform.list_instances = {third, second};
        platform.list_instances.insert(platform.list_instances.begin() + static_cast<ptrdiff_t>(own_at), own);
        platform.forget_calls();
        EXPECT_EQ(walk(), CERR_SUCCESS);
        EXPECT_SAME_TEXT(text_of(visits()), text_of(lines(visited("own"), visited("second"), visited("third"))))
            << own_at;
        EXPECT_EQ(handler_runs(), 3U) << own_at;
        EXPECT_TRUE(platform.list_instances.empty()) << own_at;
    }
}

TEST_P(ListInstances, AreAllVisitedWhenTheOwnEntryIsNotAmongThem) {
    platform.list_instances = {entry("third", YFW_OP_MERGE), entry("second", YFW_OP_MERGE)};
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_SAME_TEXT(text_of(visits()), text_of(lines(visited("own"), visited("second"), visited("third"))));
    EXPECT_EQ(handler_runs(), 3U);
}

TEST_P(ListInstances, OfTheOwnEntryAloneRunNoFurtherHandler) {
    platform.list_instances = {own};
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_EQ(handler_runs(), 1U);
    EXPECT_TRUE(platform.list_instances.empty()) << "the walker of the next entry would visit it again";
}

TEST_P(ListInstances, AreTakenOffTheStackBeforeTheirVisit) {
    platform.list_instances = {own, entry("second", YFW_OP_MERGE)};
    walk();
    const Lines calls = platform.calls_of({"yfw_map_util_itree_stack_size", "yfw_map_util_itree_stack_peak",
                                           "yfw_map_util_itree_stack_pop", "yfw_map_util_itree_stack_push",
                                           "yfw_map_add_to_node_hierarchy", "yfw_map_remove_from_node_hierarchy"});
    EXPECT_SAME_TEXT(
        text_of(calls),
        text_of({push(node("own"), 2), pop(node("own")), "yfw_map_util_itree_stack_size",
                 "yfw_map_util_itree_stack_peak ctx", "yfw_map_util_itree_stack_pop ctx", push(node("second"), 2),
                 pop(node("second")), "yfw_map_util_itree_stack_peak ctx", "yfw_map_util_itree_stack_pop ctx"}));
}

TEST_P(ListInstances, AreDeletedAsRemovalsAndLeftWithTheirOperation) {
    for (const bool own_is_on_top : {true, false}) {
        own->operation = YFW_OP_DELETE;
        yfw_datatree *second = entry("second", YFW_OP_DELETE);
        platform.list_instances = own_is_on_top ? std::vector<const yfw_datatree *>{second, own}
                                                : std::vector<const yfw_datatree *>{own, second};
        std::vector<uint32_t> own_operations;
        std::vector<uint32_t> operations;
        platform.watch = [&](const std::string &function, const std::string &) {
            if (function == "yfw_map_update_current_list_node") {
                own_operations.push_back(own->operation);
                operations.clear();
            }
            operations.push_back(second->operation);
        };
        EXPECT_EQ(walk(), CERR_SUCCESS);
        platform.watch = nullptr;
        EXPECT_EQ(own_operations, (std::vector<uint32_t>{YFW_OP_DELETE, YFW_OP_DELETE}));
        EXPECT_THAT(operations, testing::Contains(static_cast<uint32_t>(YFW_OP_REMOVE))) << "while its handler runs";
        EXPECT_EQ(second->operation, static_cast<uint32_t>(YFW_OP_DELETE));
        EXPECT_NE(second->node_flags & YFW_NODE_OP_SET, 0);
        EXPECT_EQ(own->operation, static_cast<uint32_t>(YFW_OP_DELETE));
    }
}

TEST_P(ListInstances, ThatDoNotDeleteKeepTheirOperationThroughout) {
    for (const uint32_t operation : {YFW_OP_MERGE, YFW_OP_REPLACE, YFW_OP_CREATE, YFW_OP_REMOVE}) {
        yfw_datatree *second = entry("second", operation);
        platform.list_instances = {second, own};
        bool kept = true;
        platform.watch = [&](const std::string &, const std::string &) { kept &= second->operation == operation; };
        EXPECT_EQ(walk(), CERR_SUCCESS);
        platform.watch = nullptr;
        EXPECT_TRUE(kept) << operation;
        EXPECT_EQ(second->operation, operation);
        EXPECT_EQ(second->node_flags & YFW_NODE_OP_SET, 0);
    }
}

TEST_P(ListInstances, EndAtAStackThatGivesNoEntry) {
    const yfw_datatree *third = entry("third", YFW_OP_MERGE);
    platform.list_instances = {third, nullptr, entry("second", YFW_OP_MERGE)};
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_SAME_TEXT(text_of(visits()), text_of(lines(visited("own"), visited("second"))));
    EXPECT_EQ(platform.list_instances, (std::vector<const yfw_datatree *>{third, nullptr}));
    expect_said_end();
}

TEST_P(ListInstances, ThatCannotBeTakenOffTheStackFailTheWalk) {
    platform.list_instances = {entry("second", YFW_OP_MERGE)};
    platform.answer("yfw_map_util_itree_stack_pop", 0x66);
    EXPECT_EQ(walk(), 0x66U);
    EXPECT_EQ(handler_runs(), 1U) << "that of the own entry";
    expect_said_end();
}

TEST_P(ListInstances, ThatCannotBeEnteredFailTheWalk) {
    platform.list_instances = {entry("third", YFW_OP_MERGE), entry("second", YFW_OP_MERGE)};
    platform.answer("yfw_map_add_to_node_hierarchy", 0x77, 0, "<second>");
    EXPECT_EQ(walk(), 0x77U);
    EXPECT_SAME_TEXT(text_of(visits()), text_of(lines(visited("own"), push(node("second"), 2))));
    EXPECT_EQ(handler_runs(), 1U);
    expect_said_end();
}

TEST_P(ListInstances, ThatCannotBeMadeCurrentFailTheWalk) {
    platform.list_instances = {entry("third", YFW_OP_MERGE), entry("second", YFW_OP_MERGE)};
    platform.answer("yfw_map_update_current_list_node", 0x88, 2);
    EXPECT_EQ(walk(), 0x88U);
    EXPECT_SAME_TEXT(text_of(visits()), text_of(lines(visited("own"), visited("second"))));
    EXPECT_EQ(handler_runs(), 1U);
}

TEST_P(ListInstances, ThatCannotBeLeftFailTheWalk) {
    platform.list_instances = {entry("third", YFW_OP_MERGE), entry("second", YFW_OP_MERGE)};
    platform.answer("yfw_map_remove_from_node_hierarchy", 0x77, 0, "<second>");
    EXPECT_EQ(walk(), 0x77U);
    EXPECT_SAME_TEXT(text_of(visits()), text_of(lines(visited("own"), visited("second"))));
}

TEST_P(ListInstances, AreNotVisitedAfterTheOwnEntryFailed) {
    platform.list_instances = {entry("second", YFW_OP_MERGE), own};
    platform.answer("yfw_map_remove_from_node_hierarchy", 0x77, 0, "<own>");
    EXPECT_EQ(walk(), 0x77U);
    EXPECT_SAME_TEXT(text_of(visits()), text_of(visited("own")));
}

TEST_P(ListInstances, AreLeftToTheirWalkerInsideAWholeWalk) {
    request.walk_all = 1;
    platform.list_instances = {entry("second", YFW_OP_MERGE), own};
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_EQ(platform.list_instances.size(), 2U);
    EXPECT_EQ(handler_runs(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Lists, ListInstances, testing::Values(amplifier_list, channel_list),
                         [](const auto &test) { return test_name(test.param.tag); });

// ---- Skipped entries: only an amplifier's handler can skip, by what the framework answers -----------------------

class SkippedInstances : public InstanceTest {
  protected:
    void SetUp() override {
        InstanceTest::SetUp();
        for (const char *name : {"own", "second", "third"}) {
            entries.push_back(tree(container("amplifier", {leaf("name", name).key()}).op(YFW_OP_REMOVE)));
            platform.name_node(entries.back(), name);
        }
        platform.list_instances = {entries[2], entries[1], entries[0]};
    }
    // The handler of a removed amplifier opens the native list for it.
    static std::string opened(const std::string &name) {
        return add(interface_list, ns::ifmgr_cfg, nullptr, node(name, YFW_OP_REMOVE), {.list = 1});
    }
    void skip(const std::string &name) {
        platform.answer("yfw_map_datatree_add_path_flagged", YMAP_RC_SKIP, 0,
                        "source=" + node(name, YFW_OP_REMOVE) + " 0 1 0");
    }
    cerrno walk() { return call(amplifier_list.walker(), entries[0]); }
    void expect_said_end() const { expect_last_line_is_the_end_of(amplifier_list.walker()); }
    Lines opened_entries() const {
        Lines opened_lists;
        for (const std::string &write : writes())
            if (write.find("path=" + interface_list + " ") != std::string::npos)
                opened_lists.push_back(write);
        return opened_lists;
    }
    std::vector<yfw_datatree *> entries;
};

TEST_F(SkippedInstances, OwnEntryHidesNoOther) {
    skip("own");
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_SAME_TEXT(text_of(opened_entries()), text_of({opened("own"), opened("second"), opened("third")}));
    expect_said_end();
}

TEST_F(SkippedInstances, OwnEntryDoesNotHideTheFailureOfAnother) {
    skip("own");
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 0, "source=" + node("second", YFW_OP_REMOVE));
    EXPECT_EQ(walk(), 0x99U);
    EXPECT_SAME_TEXT(text_of(opened_entries()), text_of({opened("own"), opened("second")}));
    expect_said_end();
}

TEST_F(SkippedInstances, FurtherEntryHidesNoOther) {
    skip("second");
    EXPECT_EQ(walk(), CERR_SUCCESS);
    EXPECT_THAT(opened_entries(), testing::IsSupersetOf({opened("second"), opened("third")}));
    expect_said_end();
}

TEST_F(SkippedInstances, FailedHandlerOfAFurtherEntryEndsTheVisits) {
    platform.answer("yfw_map_datatree_add_path_flagged", 0x99, 0, "source=" + node("second", YFW_OP_REMOVE));
    EXPECT_EQ(walk(), 0x99U);
    EXPECT_THAT(opened_entries(), testing::Not(testing::Contains(opened("third"))));
}

} // namespace
