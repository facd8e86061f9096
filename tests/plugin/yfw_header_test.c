/* The seam header in plain C11: it must compile alone, and its records must be usable from C. */
#include "yfw_platform.h"

int header_test_read_kind(const struct yfw_map_ctx_s *context);
int header_test_leaf_matches(const yfw_datatree *node, const char *tag);

int header_test_read_kind(const struct yfw_map_ctx_s *context) {
    return (int)*context->req_ctx->request_kind;
}

int header_test_leaf_matches(const yfw_datatree *node, const char *tag) {
    return node->child_count == 0 && yfw_map_do_these_match(node->tag, tag) != 0;
}
