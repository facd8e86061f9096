// The seam header from both languages: records made in C++ are read in C, and the fixed codes and layouts hold.
#include <type_traits>

#include "plugin_fixture.h"

extern "C" {
int header_test_read_kind(const struct yfw_map_ctx_s *context);
int header_test_leaf_matches(const yfw_datatree *node, const char *tag);
}

namespace {

class SeamHeader : public PluginTest {};

TEST_F(SeamHeader, RecordsMadeInCppAreReadInC) {
    kind(YFW_KIND_EDIT);
    EXPECT_EQ(header_test_read_kind(ctx), 1);
    EXPECT_NE(header_test_leaf_matches(tree(leaf("target-gain", "1")), "target-gain"), 0);
    EXPECT_EQ(header_test_leaf_matches(tree(leaf("target-gain", "1")), "enabled"), 0);
    EXPECT_EQ(header_test_leaf_matches(tree(leaf("target-gain", "1")), nullptr), 0);
}

TEST(SeamHeaderValues, ResultCodesAreThoseThatClientsKnow) {
    EXPECT_EQ(CERR_SUCCESS, 0U);
    EXPECT_EQ(YMAP_RC_BAD_SUBTREE, 0xaaf29e00U);
    EXPECT_EQ(YMAP_RC_INVALID_ARGS, 0xaaf2a000U);
    EXPECT_EQ(YMAP_RC_UNSUPPORTED, 0xaaf2ee00U);
    EXPECT_EQ(YMAP_RC_BAD_KEY, 0xaaf2f000U);
    EXPECT_EQ(YMAP_RC_KEY_DELETE, 0xaaf2f200U);
    EXPECT_EQ(YMAP_RC_SKIP, 0xaaf2f600U);
    EXPECT_EQ(YMAP_RC_AUGMENT_UNSUPPORTED, 0xaaf2f800U);
    EXPECT_EQ(SYSDB_RC_UNAVAILABLE, 0x8081c200U);
}

TEST(SeamHeaderValues, OperationsAndFlagsAreThoseThatClientsKnow) {
    EXPECT_EQ(YFW_OP_MERGE, 0);
    EXPECT_EQ(YFW_OP_REPLACE, 1);
    EXPECT_EQ(YFW_OP_CREATE, 2);
    EXPECT_EQ(YFW_OP_DELETE, 3);
    EXPECT_EQ(YFW_OP_REMOVE, 4);
    EXPECT_EQ(YFW_NODE_PRESENT, 0x01);
    EXPECT_EQ(YFW_NODE_KEY, 0x02);
    EXPECT_EQ(YFW_NODE_OP_SET, 0x10);
    EXPECT_EQ(YFW_NODE_HAS_CHILDREN, 0x40);
    EXPECT_EQ(YFW_NODE_KEY_USED, 0x02);
    EXPECT_EQ(YFW_NODE_XPATH_ERROR, 0x08);
    EXPECT_EQ(YFW_MAPF_VISITED, 0x04);
    EXPECT_EQ(YFW_WALK_REPLACE_DELETE_PASS, 0x40);
    EXPECT_EQ(YFW_WALK_REPLACE_MERGE_PASS, 0x80);
    EXPECT_EQ(YFW_WALK_XPATH_ERROR, 0x100);
}

TEST(SeamHeaderLayout, RecordsArePlain) {
    EXPECT_TRUE(std::is_standard_layout_v<yfw_datatree> && std::is_trivial_v<yfw_datatree>);
    EXPECT_TRUE(std::is_standard_layout_v<yfw_map_request> && std::is_trivial_v<yfw_map_request>);
    EXPECT_TRUE(std::is_standard_layout_v<yfw_map_ctx_s> && std::is_trivial_v<yfw_map_ctx_s>);
    EXPECT_LT(offsetof(yfw_map_ctx_s, req_ctx), offsetof(yfw_map_ctx_s, debug_filter));
    EXPECT_EQ(sizeof(yfw_map_ctx_s::print_state), 2 * sizeof(uint32_t));
    EXPECT_LT(offsetof(yfw_datatree, operation), offsetof(yfw_datatree, children));
    EXPECT_LT(offsetof(yfw_map_request, plist), offsetof(yfw_map_request, reg_dup_datatree));
}

} // namespace
