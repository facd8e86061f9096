// The calls of the seam into the framework: what they do to a run, and that misuse is a code and never more.
#include "framework/mapping_run.h"
#include "log/log.h"
#include "seam/calls.h"
#include "seam/codes.h"
#include "seam/failure.h"
#include "seam/guard.h"
#include "support/files.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <set>

#include <gmock/gmock.h>

namespace {

bool no_memory_for_copies = false;

} // namespace

// In front of the C library's.
extern "C" char *strdup(const char *text) noexcept {
    const std::size_t size = std::strlen(text) + 1;
    void *copy = no_memory_for_copies ? nullptr : std::malloc(size);
    return copy != nullptr ? static_cast<char *>(std::memcpy(copy, text, size)) : nullptr;
}

using namespace ocamp;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char *list_path = "/optical-amplifier/amplifiers/amplifier";

RequestNode request(std::uint32_t operation = YFW_OP_MERGE) {
    RequestNode name{.tag = "name", .ns = "urn:m", .value = "0/1-AMP-PRE", .key = true};
    RequestNode config{.tag = "config", .ns = "urn:m", .operation = operation};
    config.children.push_back({.tag = "name", .ns = "urn:m", .value = "0/1-AMP-PRE"});
    config.children.push_back({.tag = "target-gain", .ns = "urn:m", .value = "15.5", .operation = operation});
    RequestNode entry{.tag = "amplifier", .ns = "urn:m", .children = {name, config}};
    RequestNode list{.tag = "amplifiers", .ns = "urn:m", .children = {entry}};
    return {.tag = "optical-amplifier", .ns = "urn:m", .children = {list}};
}

class SeamCalls : public testing::Test {
  protected:
    const yfw_datatree *root() const { return run.request(); }
    const yfw_datatree *entry() const { return &root()->children[0].children[0]; }
    const yfw_datatree *config() const { return &entry()->children[1]; }
    const yfw_datatree *gain() const { return &config()->children[1]; }
    void enter_entry() {
        ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, root(), 1), CERR_SUCCESS);
        ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, &root()->children[0], 1), CERR_SUCCESS);
        ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, entry(), 2), CERR_SUCCESS);
    }
    cerrno write(const char *path, const char *value, const yfw_datatree *source = nullptr,
                 std::uint32_t list_flag = 0) {
        return yfw_map_datatree_add_path_flagged(ctx, run.output(), path, "urn:n", value, source, 0, list_flag, 0);
    }

    MappingRun run{YFW_KIND_EDIT, request()};
    yfw_map_ctx ctx = run.context();
};

TEST_F(SeamCalls, StateOfARunIsAsTheSeamDescribesIt) {
    const yfw_map_request &state = *ctx->req_ctx;
    EXPECT_EQ(*state.request_kind, std::uint32_t{YFW_KIND_EDIT});
    EXPECT_EQ(state.node_data_count, 1U);
    EXPECT_EQ(state.node_data, root());
    EXPECT_STREQ(state.reg_dup_datatree.tag, "");
    EXPECT_EQ(state.reg_dup_datatree.node_flags, YFW_NODE_PRESENT | YFW_NODE_HAS_CHILDREN);
    ASSERT_EQ(state.reg_dup_datatree.child_count, 1U);
    EXPECT_STREQ(state.reg_dup_datatree.children[0].tag, "optical-amplifier");
    EXPECT_NE(state.reg_dup_datatree.children, root());
    EXPECT_EQ(state.hierarchy_len, 0);
    EXPECT_EQ(state.native_path, nullptr);
    EXPECT_EQ(state.native_path_depth, 0U);
}

TEST_F(SeamCalls, RunWithoutPathHasNoDuplicate) {
    MappingRun bare(YFW_KIND_GET, std::nullopt);
    EXPECT_EQ(bare.state().reg_dup_datatree.child_count, 0U);
    EXPECT_EQ(bare.request(), nullptr);
    EXPECT_EQ(bare.state().node_data_count, 0U);
}

TEST_F(SeamCalls, HierarchyShowsItsNodesAndTheOutermostEntry) {
    enter_entry();
    const yfw_map_request &state = *ctx->req_ctx;
    ASSERT_EQ(state.hierarchy_len, 3);
    EXPECT_EQ(state.hierarchy[2], entry());
    EXPECT_EQ(state.native_list, entry());
    EXPECT_EQ(state.current_node, entry());
    EXPECT_EQ(state.parent_node, &root()->children[0]);
    EXPECT_EQ(yfw_map_remove_from_node_hierarchy(ctx, entry()), CERR_SUCCESS);
    EXPECT_EQ(state.hierarchy_len, 2);
    EXPECT_EQ(state.native_list, nullptr);
}

TEST_F(SeamCalls, HierarchyRefusesMisuse) {
    EXPECT_EQ(yfw_map_remove_from_node_hierarchy(ctx, root()), rc_hierarchy_empty);
    EXPECT_EQ(yfw_map_add_to_node_hierarchy(ctx, nullptr, 1), rc_invalid_argument);
    EXPECT_EQ(yfw_map_add_to_node_hierarchy(ctx, root(), 0), rc_invalid_argument);
    EXPECT_EQ(yfw_map_add_to_node_hierarchy(ctx, root(), 3), rc_invalid_argument);
    enter_entry();
    EXPECT_EQ(yfw_map_remove_from_node_hierarchy(ctx, root()), rc_node_not_on_top);
    EXPECT_EQ(yfw_map_remove_from_node_hierarchy(ctx, nullptr), rc_invalid_argument);
    EXPECT_EQ(ctx->req_ctx->hierarchy_len, 3);
}

TEST_F(SeamCalls, HierarchyHas255LevelsAtMost) {
    for (int level = 0; level < 255; ++level)
        ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, root(), 1), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_add_to_node_hierarchy(ctx, root(), 1), rc_hierarchy_full);
    EXPECT_EQ(ctx->req_ctx->hierarchy_len, 255);
}

TEST_F(SeamCalls, NamesMatchWhenBothAreThereAndEqual) {
    EXPECT_NE(yfw_map_do_these_match("optics", "optics"), 0);
    EXPECT_EQ(yfw_map_do_these_match("optics", "optic"), 0);
    EXPECT_EQ(yfw_map_do_these_match("optics", nullptr), 0);
    EXPECT_EQ(yfw_map_do_these_match(nullptr, nullptr), 0);
}

TEST_F(SeamCalls, DeleteAndRemoveDelete) {
    const std::array<int, 5> deletes{0, 0, 0, 1, 1};
    for (std::uint32_t operation = 0; operation < deletes.size(); ++operation) {
        yfw_datatree node = {};
        node.operation = operation;
        EXPECT_EQ(yfw_map_is_request_delete(&node) != 0, deletes[operation] != 0) << operation;
    }
    EXPECT_EQ(yfw_map_is_request_delete(nullptr), 0);
}

TEST_F(SeamCalls, OnlyAnEditThatDoesNotDeleteAdds) {
    EXPECT_NE(yfw_map_is_request_add(ctx), 0);
    MappingRun read(YFW_KIND_GET, request());
    EXPECT_EQ(yfw_map_is_request_add(read.context()), 0);
    MappingRun config_read(YFW_KIND_GET_CONFIG, request());
    EXPECT_EQ(yfw_map_is_request_add(config_read.context()), 0);
    MappingRun removal(YFW_KIND_EDIT, request(YFW_OP_REMOVE));
    const yfw_datatree *removed = &removal.request()->children[0].children[0].children[1];
    ASSERT_EQ(yfw_map_add_to_node_hierarchy(removal.context(), removed, 1), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_is_request_add(removal.context()), 0);
}

TEST_F(SeamCalls, CurrentListIsTheOneJustEntered) {
    enter_entry();
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, list_path), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, "/a1:optical-amplifier/a1:amplifiers/a1:amplifier"), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, "/optical-amplifier/amplifiers"), rc_unknown_path);
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, "amplifier"), rc_unknown_path);
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, nullptr), rc_invalid_argument);
}

TEST_F(SeamCalls, ListNeedNotBeEnteredInAWalkOfEverything) {
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, list_path), CERR_SUCCESS) << "nor anything else";
    ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, root(), 1), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, list_path), CERR_SUCCESS);
}

TEST_F(SeamCalls, KeyMustNotDifferFromTheLeafItRefersTo) {
    yfw_datatree *out = run.output();
    const yfw_datatree *key = &entry()->children[0];
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", key, out), rc_no_list_entry);
    enter_entry();
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", key, out), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "state", key, out), CERR_SUCCESS); // no such container
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "name", key, out), CERR_SUCCESS);  // nothing below it
    char other[] = "0/1-AMP-BST";
    yfw_datatree wrong_key = *key;
    wrong_key.value = other;
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", &wrong_key, out), rc_leafref_mismatch);
    wrong_key.value = nullptr;
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", &wrong_key, out), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, nullptr, key, out), rc_invalid_argument);
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", nullptr, out), rc_invalid_argument);
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, nullptr, "config", key, out), rc_invalid_argument);
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", key, nullptr), rc_invalid_argument);
}

// As a plug-in may hand them over: of no request, and without what nodes of requests have.
TEST_F(SeamCalls, NodesMayLackTagsAndChildren) {
    char text[] = "0/1-AMP-PRE", other[] = "0/1-AMP-BST";
    std::array<yfw_datatree, 2> leaves{}, children{};
    leaves[1].tag = "name";
    leaves[1].value = other;
    children[1].tag = "config";
    children[1].children = leaves.data();
    children[1].child_count = leaves.size();
    yfw_datatree strange = {};
    strange.tag = "amplifier";
    strange.children = children.data();
    strange.child_count = children.size();
    ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, &strange, 2), CERR_SUCCESS);
    yfw_datatree key = {};
    key.value = text;
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", &key, run.output()), CERR_SUCCESS) << "of no leaf";
    key.tag = "name";
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", &key, run.output()), rc_leafref_mismatch);
    leaves[1].value = nullptr;
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", &key, run.output()), CERR_SUCCESS);

    const char *found = nullptr;
    children[1].tag = "name";
    children[1].value = text;
    EXPECT_EQ(yfw_map_get_node_info(ctx, &strange, list_path, "name", &found), CERR_SUCCESS);
    EXPECT_STREQ(found, text);
    strange.children = nullptr;
    EXPECT_EQ(yfw_map_get_node_info(ctx, &strange, list_path, "name", &found), CERR_SUCCESS);
    EXPECT_EQ(found, nullptr);
    strange.tag = nullptr;
    EXPECT_EQ(yfw_map_get_node_info(ctx, &strange, list_path, "name", &found), rc_unknown_path);
}

TEST_F(SeamCalls, EntriesAreStacked) {
    EXPECT_EQ(yfw_map_util_itree_stack_size(ctx), 0U);
    EXPECT_EQ(yfw_map_util_itree_stack_peak(ctx), nullptr);
    EXPECT_EQ(yfw_map_util_itree_stack_pop(ctx), rc_stack_empty);
    EXPECT_EQ(yfw_map_util_itree_stack_push(ctx, nullptr), rc_invalid_argument);
    EXPECT_EQ(yfw_map_util_itree_stack_push(ctx, entry()), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_util_itree_stack_peak(ctx), entry());
    EXPECT_EQ(yfw_map_util_itree_stack_size(ctx), 1U);
    EXPECT_EQ(yfw_map_util_itree_stack_pop(ctx), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_util_itree_stack_size(ctx), 0U);
    for (int i = 0; i < 255; ++i)
        ASSERT_EQ(yfw_map_util_itree_stack_push(ctx, entry()), CERR_SUCCESS);
    EXPECT_EQ(yfw_map_util_itree_stack_push(ctx, entry()), rc_stack_full);
}

TEST_F(SeamCalls, WritesKeepTheirOrderAndTheirSource) {
    EXPECT_EQ(write("/l", nullptr, nullptr, 1), CERR_SUCCESS);
    EXPECT_EQ(write("/l/leaf", "155", gain()), CERR_SUCCESS);
    ASSERT_EQ(run.writes().size(), 2U);
    EXPECT_TRUE(run.writes()[0].opens_list);
    EXPECT_EQ(run.writes()[0].value, std::nullopt);
    EXPECT_EQ(run.writes()[0].operation, std::nullopt);
    EXPECT_EQ(run.writes()[1].operation, YFW_OP_MERGE);
    EXPECT_EQ(run.writes()[1].source_path,
              "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config/target-gain");
}

TEST_F(SeamCalls, ASourceOfARunWithoutRequestHasNoPath) {
    MappingRun bare(YFW_KIND_GET, std::nullopt);
    ASSERT_EQ(yfw_map_datatree_add_path_flagged(bare.context(), bare.output(), "/l", "urn:n", "v", gain(), 0, 0, 0),
              CERR_SUCCESS);
    EXPECT_EQ(bare.writes()[0].source_path, "");
    EXPECT_EQ(bare.writes()[0].source_value, "15.5");
}

TEST_F(SeamCalls, AWriteThatLeadsNowhereIsToldInTheDebugLog) {
    const support::TemporaryFolder folder;
    const std::string file = (folder.path() / "debug").string();
    {
        const LogSession session({.debug_log = file, .level = log_errors, .trace = {}});
        EXPECT_EQ(write("amplifier/name", "x"), CERR_SUCCESS);
        EXPECT_EQ(write("/amplifier/name", "x"), CERR_SUCCESS);
    }
    EXPECT_EQ(support::read_file(file), "ERR: platform: yfw_map_datatree_add_path_flagged: no absolute path, the write "
                                        "leads nowhere\n");
    EXPECT_EQ(run.writes().size(), 2U) << "what is made of it is for others to say";
}

TEST_F(SeamCalls, OperationIsThatOfTheSourceWhenTheWriteWasMade) {
    MappingRun replaced(YFW_KIND_EDIT, request(YFW_OP_REPLACE));
    auto *source = const_cast<yfw_datatree *>(&replaced.request()->children[0].children[0].children[1]);
    source->operation = YFW_OP_REMOVE;
    ASSERT_EQ(yfw_map_datatree_add_path_flagged(replaced.context(), replaced.output(), "/l", "urn:n", nullptr, source,
                                                0, 1, 0),
              CERR_SUCCESS);
    source->operation = YFW_OP_MERGE;
    EXPECT_EQ(replaced.writes()[0].operation, YFW_OP_REMOVE);
}

TEST_F(SeamCalls, WritesRefuseMisuse) {
    yfw_datatree stranger = {};
    const auto call = [&](yfw_datatree *out, const char *path, const char *ns, std::uint32_t zero, std::uint32_t list,
                          std::uint32_t follow) {
        return yfw_map_datatree_add_path_flagged(ctx, out, path, ns, "v", nullptr, zero, list, follow);
    };
    EXPECT_EQ(call(&stranger, "/l", "n", 0, 0, 0), rc_invalid_argument);
    EXPECT_EQ(call(nullptr, "/l", "n", 0, 0, 0), rc_invalid_argument);
    EXPECT_EQ(call(run.output(), nullptr, "n", 0, 0, 0), rc_invalid_argument);
    EXPECT_EQ(call(run.output(), "/l", nullptr, 0, 0, 0), rc_invalid_argument);
    EXPECT_EQ(call(run.output(), "/l", "n", 1, 0, 0), rc_invalid_argument);
    EXPECT_EQ(call(run.output(), "/l", "n", 0, 2, 0), rc_invalid_argument);
    EXPECT_EQ(call(run.output(), "/l", "n", 0, 0, 2), rc_invalid_argument);
    EXPECT_THAT(run.writes(), IsEmpty());
}

TEST_F(SeamCalls, EntryFoundOrAddedIsTheKeyList) {
    yfw_datatree *plist = &ctx->req_ctx->plist;
    ASSERT_EQ(yfw_map_search_or_add_list(ctx, run.output(), plist, list_path, "0/1-AMP-PRE", "name", "urn:m"),
              CERR_SUCCESS);
    EXPECT_STREQ(plist->tag, "amplifier");
    EXPECT_EQ(plist->node_flags, YFW_NODE_PRESENT | YFW_NODE_HAS_CHILDREN);
    ASSERT_EQ(plist->child_count, 1U);
    EXPECT_STREQ(plist->children[0].tag, "name");
    EXPECT_STREQ(plist->children[0].value, "0/1-AMP-PRE");
    EXPECT_EQ(plist->children[0].node_flags, YFW_NODE_PRESENT | YFW_NODE_KEY);
    // The key may be the text of the key list itself.
    ASSERT_EQ(
        yfw_map_search_or_add_list(ctx, run.output(), plist, list_path, plist->children[0].value, "name", "urn:m"),
        CERR_SUCCESS);
    EXPECT_STREQ(plist->children[0].value, "0/1-AMP-PRE");
}

TEST_F(SeamCalls, FindOrAddRefusesMisuse) {
    yfw_datatree *plist = &ctx->req_ctx->plist, stranger = {};
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, run.output(), &stranger, list_path, "k", "name", "n"),
              rc_invalid_argument);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, nullptr, plist, list_path, "k", "name", "n"), rc_invalid_argument);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, run.output(), plist, list_path, nullptr, "name", "n"),
              rc_invalid_argument);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, run.output(), plist, nullptr, "k", "name", "n"), rc_invalid_argument);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, run.output(), plist, list_path, "k", nullptr, "n"), rc_invalid_argument);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, run.output(), plist, list_path, "k", "name", nullptr),
              rc_invalid_argument);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, run.output(), plist, "amplifier", "k", "name", "n"), rc_unknown_path);
}

TEST_F(SeamCalls, NodeInfoGivesTheKeyOrNothing) {
    const char *key = "untouched";
    EXPECT_EQ(yfw_map_get_node_info(ctx, entry(), list_path, "name", &key), CERR_SUCCESS);
    EXPECT_STREQ(key, "0/1-AMP-PRE");
    EXPECT_EQ(yfw_map_get_node_info(ctx, entry(), list_path, "number", &key), CERR_SUCCESS);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(yfw_map_get_node_info(ctx, entry(), "/x/y", "name", &key), rc_unknown_path);
    EXPECT_EQ(yfw_map_get_node_info(ctx, nullptr, list_path, "name", &key), rc_invalid_argument);
    EXPECT_EQ(yfw_map_get_node_info(ctx, entry(), list_path, "name", nullptr), rc_invalid_argument);
    EXPECT_EQ(yfw_map_get_node_info(ctx, entry(), nullptr, "name", &key), rc_invalid_argument);
    EXPECT_EQ(yfw_map_get_node_info(ctx, entry(), list_path, nullptr, &key), rc_invalid_argument);
}

TEST_F(SeamCalls, OutputListCountsEachEntryOnce) {
    const std::uint32_t &count = ctx->req_ctx->output_list_count;
    EXPECT_EQ(yfw_add_to_output_list_ctx(ctx, entry(), run.output()), CERR_SUCCESS);
    EXPECT_EQ(yfw_add_to_output_list_ctx(ctx, entry(), run.output()), CERR_SUCCESS);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(yfw_remove_from_output_list_ctx(ctx, root(), run.output()), rc_no_list_entry);
    EXPECT_EQ(yfw_remove_from_output_list_ctx(ctx, entry(), run.output()), CERR_SUCCESS);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(yfw_add_to_output_list_ctx(ctx, nullptr, run.output()), rc_invalid_argument);
    EXPECT_EQ(yfw_add_to_output_list_ctx(ctx, entry(), nullptr), rc_invalid_argument);
    EXPECT_EQ(yfw_add_to_output_list_ctx(ctx, entry(), run.output()), CERR_SUCCESS);
    EXPECT_EQ(yfw_remove_from_output_list_ctx(ctx, entry(), nullptr), rc_invalid_argument);
    EXPECT_EQ(count, 1U);
}

TEST_F(SeamCalls, ErrorPathIsTheLevelAndTheTagThatFailed) {
    enter_entry();
    ASSERT_EQ(yfw_map_add_to_node_hierarchy(ctx, config(), 1), CERR_SUCCESS);
    yfw_oc_error_path(ctx);
    ctx->req_ctx->error_path = yfw_strdup("min-gain", "YFW MAP");
    const std::string level = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config";
    EXPECT_EQ(run.error_path(), level + "/min-gain");
    xos_named_free(ctx->req_ctx->error_path);
    ctx->req_ctx->error_path = yfw_strdup("config", "YFW MAP");
    EXPECT_EQ(run.error_path(), level);
}

TEST_F(SeamCalls, ErrorThatNobodyPlacedIsThatOfTheWholeRequest) {
    EXPECT_EQ(run.error_path(), "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']");
}

TEST_F(SeamCalls, ErrorPathWithoutTagIsTheLevel) {
    enter_entry();
    yfw_oc_error_path(ctx);
    const std::string level = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']";
    EXPECT_EQ(run.error_path(), level);
    ctx->req_ctx->error_path = yfw_strdup("", "YFW MAP");
    EXPECT_EQ(run.error_path(), level);
}

TEST_F(SeamCalls, ErrorAtNoLevelOfTheRequestIsThatOfWhatTheRequestIsAbout) {
    yfw_oc_error_path(ctx);
    EXPECT_EQ(run.error_path(), "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']");
    const yfw_datatree of_no_request = {};
    for (std::optional<RequestNode> request :
         {std::optional<RequestNode>(), std::optional(RequestNode{.tag = "leaf", .ns = "urn:m", .value = "1"}),
          std::optional(RequestNode{.tag = "leaf",
          .ns = "urn:m",
          .operation = YFW_OP_DELETE,
          .children = {{.tag = "inner", .ns = "urn:m"}}})}) {
        MappingRun other(YFW_KIND_EDIT, request);
        ASSERT_EQ(yfw_map_add_to_node_hierarchy(other.context(), &of_no_request, 1), CERR_SUCCESS);
        yfw_oc_error_path(other.context());
        EXPECT_EQ(other.error_path(), request ? "/leaf" : "");
    }
}

TEST_F(SeamCalls, NextWalkBeginsWithoutWhatTheLastOneLeft) {
    enter_entry();
    ASSERT_EQ(write("/l", "v"), CERR_SUCCESS);
    ASSERT_EQ(yfw_add_to_output_list_ctx(ctx, entry(), run.output()), CERR_SUCCESS);
    ctx->req_ctx->walk_all = 1;
    ctx->req_ctx->error_path = yfw_strdup("x", "YFW MAP");
    run.begin_walk();
    EXPECT_THAT(run.writes(), IsEmpty());
    EXPECT_EQ(ctx->req_ctx->hierarchy_len, 0);
    EXPECT_EQ(ctx->req_ctx->output_list_count, 0U);
    EXPECT_EQ(ctx->req_ctx->walk_all, 0U);
    EXPECT_EQ(ctx->req_ctx->error_path, nullptr);
    EXPECT_EQ(ctx->req_ctx->plist.tag, nullptr);
}

TEST_F(SeamCalls, NativePathIsTwoLevelsDeep) {
    run.set_native_path(RequestNode{.tag = "interface-configuration", .ns = "urn:n"});
    EXPECT_STREQ(ctx->req_ctx->native_path->tag, "interface-configuration");
    EXPECT_EQ(ctx->req_ctx->native_path_depth, 2U);
    run.set_native_path(std::nullopt);
    EXPECT_EQ(ctx->req_ctx->native_path, nullptr);
    EXPECT_EQ(ctx->req_ctx->native_path_depth, 0U);
}

// Every call that takes a context, made with one that belongs to no run.
void expect_refused(yfw_map_ctx ctx) {
    yfw_datatree node = {};
    const char *key = nullptr;
    EXPECT_EQ(yfw_map_add_to_node_hierarchy(ctx, &node, 1), rc_bad_handle);
    EXPECT_EQ(yfw_map_remove_from_node_hierarchy(ctx, &node), rc_bad_handle);
    EXPECT_EQ(yfw_map_is_request_add(ctx), 0);
    EXPECT_EQ(yfw_map_update_current_list_node(ctx, list_path), rc_bad_handle);
    EXPECT_EQ(yfw_map_check_oc_leafref(ctx, list_path, "config", &node, &node), rc_bad_handle);
    EXPECT_EQ(yfw_map_util_itree_stack_size(ctx), 0U);
    EXPECT_EQ(yfw_map_util_itree_stack_peak(ctx), nullptr);
    EXPECT_EQ(yfw_map_util_itree_stack_push(ctx, &node), rc_bad_handle);
    EXPECT_EQ(yfw_map_util_itree_stack_pop(ctx), rc_bad_handle);
    EXPECT_EQ(yfw_map_datatree_add_path_flagged(ctx, &node, "/l", "n", "v", nullptr, 0, 0, 0), rc_bad_handle);
    EXPECT_EQ(yfw_map_search_or_add_list(ctx, &node, &node, list_path, "k", "name", "n"), rc_bad_handle);
    EXPECT_EQ(yfw_map_get_node_info(ctx, &node, list_path, "name", &key), rc_bad_handle);
    EXPECT_EQ(yfw_add_to_output_list_ctx(ctx, &node, &node), rc_bad_handle);
    EXPECT_EQ(yfw_remove_from_output_list_ctx(ctx, &node, &node), rc_bad_handle);
    yfw_oc_error_path(ctx);
    yfw_map_print_datatree_internal(ctx, &node, "label");
}

TEST(WrongHandle, NullIsRefused) {
    expect_refused(nullptr);
}

TEST(WrongHandle, ContextOfNoRunIsRefused) {
    yfw_map_ctx_s stranger = {};
    expect_refused(&stranger);
}

TEST(WrongHandle, ContextOfARunThatIsOverIsRefused) {
    yfw_map_ctx ended = nullptr;
    {
        MappingRun run(YFW_KIND_GET, request());
        ended = run.context();
    }
    expect_refused(ended);
}

TEST(TextCalls, CopiesAreCutAndTerminated) {
    char buffer[6];
    EXPECT_EQ(yfw_strcpy_s("t", buffer, sizeof buffer, "12345"), CERR_SUCCESS);
    EXPECT_STREQ(buffer, "12345");
    EXPECT_EQ(yfw_strcpy_s("t", buffer, sizeof buffer, "1234567"), rc_text_cut);
    EXPECT_STREQ(buffer, "12345");
    EXPECT_EQ(yfw_strncpy_s("t", buffer, sizeof buffer, "abcdef", 2), CERR_SUCCESS);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(yfw_strcat_s("t", buffer, sizeof buffer, "cd"), CERR_SUCCESS);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(yfw_strcat_s("t", buffer, sizeof buffer, "efgh"), rc_text_cut);
    EXPECT_STREQ(buffer, "abcde");
    EXPECT_EQ(yfw_strcpy_s("t", buffer, 1, "x"), rc_text_cut);
    EXPECT_STREQ(buffer, "");
}

TEST(TextCalls, CopiesReadNoFurtherThanTheyAreTold) {
    const std::array<char, 2> unterminated{'a', 'b'};
    char buffer[8];
    EXPECT_EQ(yfw_strncpy_s("t", buffer, sizeof buffer, unterminated.data(), unterminated.size()), CERR_SUCCESS);
    EXPECT_STREQ(buffer, "ab");
}

TEST(TextCalls, CopiesRefuseWhatIsMissing) {
    char buffer[4] = "old";
    EXPECT_EQ(yfw_strcpy_s("t", nullptr, 4, "x"), rc_invalid_argument);
    EXPECT_EQ(yfw_strcpy_s("t", buffer, 0, "x"), rc_invalid_argument);
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(yfw_strcpy_s(nullptr, buffer, 4, nullptr), rc_invalid_argument);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(yfw_strcat_s("t", buffer, 4, nullptr), rc_invalid_argument);
    EXPECT_EQ(yfw_strcat_s("t", nullptr, 4, "x"), rc_invalid_argument);
    char full[3] = {'a', 'b', 'c'};
    EXPECT_EQ(yfw_strcat_s("t", full, sizeof full, "x"), rc_invalid_argument);
    EXPECT_EQ(yfw_strncpy_s("t", nullptr, 4, "x", 1), rc_invalid_argument);
}

TEST(TextCalls, DuplicatesAreFreedByName) {
    char *copy = yfw_strdup("tag", "YFW MAP");
    EXPECT_STREQ(copy, "tag");
    xos_named_free(copy);
    xos_named_free(nullptr);
    EXPECT_EQ(yfw_strdup(nullptr, "YFW MAP"), nullptr);
}

TEST(TextCalls, CopyThatFindsNoMemoryFailsTheRun) {
    const FailureWatch watch;
    EXPECT_EQ(yfw_strdup(nullptr, "YFW MAP"), nullptr);
    EXPECT_NO_THROW(watch.check());
    no_memory_for_copies = true;
    EXPECT_EQ(yfw_strdup("tag", "YFW MAP"), nullptr);
    no_memory_for_copies = false;
    EXPECT_THROW(watch.check(), PlatformFailure);
}

class Recorder : public CallObserver {
  public:
    Recorder() { set_call_observer(this); }
    ~Recorder() override { set_call_observer(nullptr); }
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;
    void on_call(std::string_view text) override { lines.emplace_back(text); }
    std::vector<std::string> lines;
};

TEST_F(SeamCalls, CallsAreObservedWithArgumentsAndResult) {
    const Recorder recorder;
    yfw_map_add_to_node_hierarchy(ctx, entry(), 2);
    write("/l/leaf", "155", gain());
    yfw_map_remove_from_node_hierarchy(ctx, root());
    ASSERT_EQ(recorder.lines.size(), 3U);
    EXPECT_EQ(recorder.lines[0], "yfw_map_add_to_node_hierarchy(ctx, <amplifier name=\"0/1-AMP-PRE\">, 2) = 0");
    EXPECT_EQ(recorder.lines[1], "yfw_map_datatree_add_path_flagged(ctx, out, \"/l/leaf\", \"urn:n\", \"155\", "
                                 "<target-gain> \"15.5\", 0, 0, 0) = 0");
    EXPECT_THAT(recorder.lines[2], HasSubstr("= 0x4f430132"));
}

TEST_F(SeamCalls, EveryCallIsObserved) {
    const Recorder recorder;
    const char *value = nullptr;
    yfw_datatree *out = run.output(), *plist = &ctx->req_ctx->plist;
    const yfw_datatree *name = &entry()->children[0];
    enter_entry();
    yfw_map_do_these_match("a", "b");
    yfw_map_is_request_delete(gain());
    yfw_map_is_request_add(ctx);
    yfw_map_update_current_list_node(ctx, list_path);
    yfw_map_check_oc_leafref(ctx, list_path, "config", name, out);
    yfw_map_util_itree_stack_push(ctx, entry());
    yfw_map_util_itree_stack_size(ctx);
    yfw_map_util_itree_stack_peak(ctx);
    yfw_map_util_itree_stack_pop(ctx);
    yfw_map_search_or_add_list(ctx, out, plist, list_path, "k", "name", "urn:m");
    yfw_map_get_node_info(ctx, entry(), list_path, "name", &value);
    yfw_add_to_output_list_ctx(ctx, entry(), out);
    yfw_remove_from_output_list_ctx(ctx, entry(), out);
    yfw_map_remove_from_node_hierarchy(ctx, entry());
    yfw_oc_error_path(ctx);
    yfw_map_print_datatree_internal(ctx, gain(), "label");
    char text[8] = "";
    yfw_strcpy_s("caller", text, sizeof text, "one");
    yfw_strncpy_s("caller", text, sizeof text, "two", 2);
    yfw_strcat_s(nullptr, text, sizeof text, "three");
    char *copy = yfw_strdup("copied", "label");
    xos_named_free(copy);
    const std::string key = "<name> \"0/1-AMP-PRE\"", amplifier = "<amplifier name=\"0/1-AMP-PRE\">";
    const std::string path = std::string("\"") + list_path + '"';
    EXPECT_THAT(recorder.lines,
                testing::ElementsAre(
                    "yfw_map_add_to_node_hierarchy(ctx, <optical-amplifier>, 1) = 0",
                    "yfw_map_add_to_node_hierarchy(ctx, <amplifiers>, 1) = 0",
                    "yfw_map_add_to_node_hierarchy(ctx, " + amplifier + ", 2) = 0",
                    "yfw_map_do_these_match(\"a\", \"b\") = 0", "yfw_map_is_request_delete(<target-gain> \"15.5\") = 0",
                    "yfw_map_is_request_add(ctx) = 1", "yfw_map_update_current_list_node(ctx, " + path + ") = 0",
                    "yfw_map_check_oc_leafref(ctx, " + path + ", \"config\", " + key + ", out) = 0",
                    "yfw_map_util_itree_stack_push(ctx, " + amplifier + ") = 0",
                    "yfw_map_util_itree_stack_size(ctx) = 1", "yfw_map_util_itree_stack_peak(ctx) = " + amplifier,
                    "yfw_map_util_itree_stack_pop(ctx) = 0",
                    "yfw_map_search_or_add_list(ctx, out, plist, " + path + ", \"k\", \"name\", \"urn:m\") = 0",
                    "yfw_map_get_node_info(ctx, " + amplifier + ", " + path + ", \"name\", \"0/1-AMP-PRE\") = 0",
                    "yfw_add_to_output_list_ctx(ctx, " + amplifier + ", out) = 0",
                    "yfw_remove_from_output_list_ctx(ctx, " + amplifier + ", out) = 0",
                    "yfw_map_remove_from_node_hierarchy(ctx, " + amplifier + ") = 0", "yfw_oc_error_path(ctx)",
                    "yfw_map_print_datatree_internal(ctx, <target-gain> \"15.5\", \"label\")",
                    "yfw_strcpy_s(\"caller\", 8, \"one\") = 0", "yfw_strncpy_s(\"caller\", 8, \"two\", 2) = 0",
                    "yfw_strcat_s(NULL, 8, \"three\") = 0", "yfw_strdup(\"copied\", \"label\") = \"copied\""));
}

std::vector<std::string> told;

// What the calls that it makes are refused with, without the names of the calls.
template <class Calls>
std::vector<std::string> refusals(Calls calls) {
    told.clear();
    set_refusal_writer([](std::string_view text) noexcept { told.emplace_back(text.substr(text.find(": ") + 2)); });
    calls();
    set_refusal_writer(nullptr);
    return told;
}

TEST(TextCalls, RoomOfNoBytesIsToldFromATextWithoutEnd) {
    char text[2] = {'a', 'b'};
    EXPECT_THAT(refusals([&] {
                    yfw_strcat_s("caller", text, 0, "x");
                    yfw_strcat_s("caller", text, sizeof text, "x");
                }),
                testing::ElementsAre("a text to append or room for it is missing", "the text to append to has no end"));
}

TEST_F(SeamCalls, RefusalsOfAWalkSayWhatIsWrong) {
    yfw_datatree *out = run.output();
    EXPECT_THAT(refusals([&] {
                    yfw_map_remove_from_node_hierarchy(ctx, root());
                    yfw_map_check_oc_leafref(ctx, list_path, "config", entry(), out);
                    enter_entry();
                    yfw_map_add_to_node_hierarchy(ctx, nullptr, 1);
                    yfw_map_add_to_node_hierarchy(ctx, root(), 3);
                    yfw_map_remove_from_node_hierarchy(ctx, nullptr);
                    yfw_map_remove_from_node_hierarchy(ctx, root());
                    yfw_map_is_request_delete(nullptr);
                    yfw_map_update_current_list_node(ctx, nullptr);
                    yfw_map_update_current_list_node(ctx, "/x");
                    yfw_map_check_oc_leafref(ctx, list_path, "config", nullptr, out);
                    yfw_datatree wrong_key = entry()->children[0];
                    char other[] = "other";
                    wrong_key.value = other;
                    yfw_map_check_oc_leafref(ctx, list_path, "config", &wrong_key, out);
                    yfw_map_util_itree_stack_pop(ctx);
                    yfw_map_util_itree_stack_push(ctx, nullptr);
                    for (int i = 0; i < 256; ++i)
                        yfw_map_util_itree_stack_push(ctx, entry());
                    for (int i = 3; i < 256; ++i)
                        yfw_map_add_to_node_hierarchy(ctx, root(), 1);
                    yfw_map_print_datatree_internal(ctx, nullptr, "label");
                    yfw_oc_error_path(nullptr);
                }),
                testing::ElementsAre("nothing to remove", "no list entry is entered", "no node",
                                     "level is neither 1 nor 2", "no node", "the node is not the last one added",
                                     "no node", "no path", "not the path of the list just entered",
                                     "a path, a container, a key or the output is missing",
                                     "the key differs from the leaf that it refers to", "nothing to pop", "no node",
                                     "255 entries are the most", "255 levels are the most", "no tree",
                                     "not the context of a mapping run"));
}

TEST_F(SeamCalls, RefusalsOfWritesSayWhatIsWrong) {
    yfw_datatree *out = run.output(), *plist = &ctx->req_ctx->plist, stranger = {};
    const char *key = nullptr;
    EXPECT_THAT(refusals([&] {
                    yfw_map_datatree_add_path_flagged(ctx, &stranger, "/l", "n", "v", nullptr, 0, 0, 0);
                    yfw_map_datatree_add_path_flagged(ctx, out, "/l", nullptr, "v", nullptr, 0, 0, 0);
                    yfw_map_datatree_add_path_flagged(ctx, out, "/l", "n", "v", nullptr, 0, 2, 0);
                    yfw_map_search_or_add_list(ctx, out, &stranger, list_path, "k", "name", "n");
                    yfw_map_search_or_add_list(ctx, out, plist, list_path, "k", nullptr, "n");
                    yfw_map_search_or_add_list(ctx, out, plist, "amplifier", "k", "name", "n");
                    yfw_map_get_node_info(ctx, entry(), list_path, "name", nullptr);
                    yfw_map_get_node_info(ctx, entry(), "/x", "name", &key);
                    yfw_add_to_output_list_ctx(ctx, nullptr, out);
                    yfw_remove_from_output_list_ctx(ctx, nullptr, out);
                    yfw_remove_from_output_list_ctx(ctx, entry(), out);
                }),
                testing::ElementsAre("not the output of this run", "no path or no namespace",
                                     "the zero is not 0, or a flag is neither 0 nor 1", "not the key list of this run",
                                     "a path, a key or the namespace is missing", "not an absolute path",
                                     "the entry, its path, its key or the result is missing",
                                     "the path is not that of the entry", "no entry", "no entry",
                                     "the entry is not in the output list"));
}

TEST_F(SeamCalls, TreesAreWrittenIntoTheDebugLogLineByLine) {
    const support::TemporaryFolder folder;
    const std::string file = (folder.path() / "debug").string();
    {
        LogSession session({.debug_log = file, .level = log_traces, .trace = {}});
        session.attach(*ctx);
        yfw_map_print_datatree_internal(ctx, config(), "label");
        yfw_map_print_datatree_internal(ctx, gain(), nullptr);
    }
    LogSession({}).attach(*ctx);
    yfw_map_print_datatree_internal(ctx, gain(), "nowhere");
    EXPECT_EQ(support::read_file(file), "TRC: platform: label:\n"
                                        "TRC: platform: <config>\n"
                                        "TRC: platform:   <name> \"0/1-AMP-PRE\"\n"
                                        "TRC: platform:   <target-gain> \"15.5\"\n"
                                        "TRC: platform: tree:\n"
                                        "TRC: platform: <target-gain> \"15.5\"\n");
}

} // namespace
