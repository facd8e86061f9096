// The walk over native answers that all five native modules share. A module says with its rows and its NativeModule in
// what it differs.
#pragma once

#include "ymap_rows.h"

namespace ymap::native {

/// Whether the request calls for a walk over the module's data.
inline bool walks_children(const NativeModule &module, yfw_map_ctx ctx) {
    return module.data == ModuleData::configuration || reads_state(ctx);
}

// A row is a type of ymap_native_rows.h.

template <class Row>
cerrno walk(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);

template <class Row>
cerrno end(yfw_map_ctx ctx, cerrno result) {
    ymap_trc_at(Row::function, ctx, "End");
    return result;
}

/// Refuses a node whose children are announced and not there.
template <class Row>
cerrno check_children(yfw_map_ctx ctx, const yfw_datatree *node) {
    if (!children_of(node).missing())
        return CERR_SUCCESS;
    if constexpr (Row::kind == NodeKind::list && Row::Module::properties.data == ModuleData::operational)
        ymap_err_at(Row::function, ctx, "No keys specified with a list node.");
    else
        ymap_err_at(Row::function, ctx, "Failed to get subtrees!");
    fail_at(ctx, node->tag);
    return YMAP_RC_BAD_SUBTREE;
}

/// A child that no row of Row takes: the module's own are ignored, others go to the augment parser.
template <class Row>
cerrno pass_over(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out) {
    if (yfw_map_do_these_match(child->ns, Row::Module::properties.ns) == 0)
        return Row::parse_augments(ctx, child, out);
    if constexpr (Row::Module::properties.unknown_tag_is_named)
        ymap_trc_at(Row::function, ctx, "Unsupported tag `%s`. Ignoring.", child->tag);
    else
        ymap_trc_at(Row::function, ctx, "Unsupported tag. Ignoring.");
    return CERR_SUCCESS;
}

/// Walks each child of a container or list entry as the row that its tag names. Ends at the first result that is not 0.
template <class Row>
cerrno walk_children(yfw_map_ctx ctx, const yfw_datatree *node, yfw_datatree *out) {
    for (const yfw_datatree &child : children_of(node)) {
        if (child.tag == nullptr) {
            ymap_err_at(Row::function, ctx, "Tag name is not available!");
            fail_at(ctx, nullptr);
            return YMAP_RC_BAD_SUBTREE;
        }
        cerrno result = CERR_SUCCESS;
        if (!Row::Module::template walk_named_child<Row>(ctx, &child, out, result))
            result = pass_over<Row>(ctx, &child, out);
        if (result != CERR_SUCCESS)
            return result;
    }
    return CERR_SUCCESS;
}

/// Walks `child` as row Child if its tag is Child's and the request calls for it. An entry that a list handler
/// skipped is dropped: the walk goes on with the next child.
template <class Child>
bool walk_if_named(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out, cerrno &result) {
    if (yfw_map_do_these_match(child->tag, Child::tag) == 0 || !walks_children(Child::Module::properties, ctx))
        return false;
    result = walk<Child>(ctx, child, out);
    if (Child::kind == NodeKind::list && result == YMAP_RC_SKIP)
        result = CERR_SUCCESS;
    return true;
}

/// The container is on the node hierarchy while its handler runs and its children are walked.
template <class Row>
cerrno walk_container(yfw_map_ctx ctx, const yfw_datatree *node, yfw_datatree *out) {
    cerrno result = yfw_map_add_to_node_hierarchy(ctx, node, YFW_LEVEL_CONTAINER);
    if (result != CERR_SUCCESS)
        return result;
    result = Row::handle(ctx, node, children_of(node).count, out);
    if (result == CERR_SUCCESS)
        result = walk_children<Row>(ctx, node, out);
    return leave_hierarchy(ctx, node, result);
}

inline uint32_t output_list_length(yfw_map_ctx ctx) {
    return ctx->req_ctx != nullptr ? ctx->req_ctx->output_list_count : 0;
}

/// Walks an entry whose handler took it; the entry is in the request's output list for as long as that lasts.
template <class Row>
cerrno walk_registered_entry(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out, cerrno result) {
    const uint32_t length_before = output_list_length(ctx);
    yfw_add_to_output_list_ctx(ctx, entry, out);
    const bool registered = output_list_length(ctx) > length_before;
    if (result == CERR_SUCCESS)
        result = walk_children<Row>(ctx, entry, out);
    result = leave_hierarchy(ctx, entry, result);
    if (registered)
        yfw_remove_from_output_list_ctx(ctx, entry, out);
    return result;
}

/// Likewise an entry, which is the framework's current one besides. An entry that its handler skipped is not walked.
template <class Row>
cerrno walk_list_entry(yfw_map_ctx ctx, const yfw_datatree *entry, yfw_datatree *out) {
    const Children children = children_of(entry);
    if constexpr (Row::Module::properties.data == ModuleData::configuration)
        if (children.count == 0)
            ymap_err_at(Row::function, ctx, "No keys specified with a list node.");
    cerrno result = yfw_map_add_to_node_hierarchy(ctx, entry, YFW_LEVEL_LIST_ENTRY);
    if (result != CERR_SUCCESS)
        return result;
    result = yfw_map_update_current_list_node(ctx, Row::path);
    if (result != CERR_SUCCESS)
        return leave_hierarchy(ctx, entry, result);
    for (yfw_datatree &child : children)
        if (Row::is_key(child.tag))
            mark_key(&child);
    result = Row::handle(ctx, entry, out);
    if (result != YMAP_RC_SKIP)
        return walk_registered_entry<Row>(ctx, entry, out, result);
    result = leave_hierarchy(ctx, entry, CERR_SUCCESS); // a skip is no failure, a pop that fails is one
    if (result != CERR_SUCCESS)
        return result;
    return Row::Module::properties.skip_becomes_success ? CERR_SUCCESS : YMAP_RC_SKIP;
}

/// Tells of an xpath error that the leaf carries, and lets its handler run.
template <class Row>
cerrno walk_leaf(yfw_map_ctx ctx, const yfw_datatree *leaf, yfw_datatree *out) {
    if ((leaf->node_flags2 & YFW_NODE_XPATH_ERROR) != 0 && leaf->node_type == YFW_NODE_TYPE_XPATH_ERROR) {
        ymap_trc_at(Row::function, ctx, "got xpath error node "); // the blank at the end is relied on
        if (ctx->req_ctx != nullptr)
            ctx->req_ctx->walk_flags |= YFW_WALK_XPATH_ERROR;
    }
    return Row::handle(ctx, leaf, out);
}

/// Walks one node of a native answer. The context is known to be there.
template <class Row>
cerrno walk(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    ymap_trc_at(Row::function, ctx, "Start");
    YMAP_REQUIRE_NODES(Row::function, ctx, in, out, YMAP_RC_INVALID_ARGS);
    if constexpr (Row::kind == NodeKind::leaf) {
        return end<Row>(ctx, walk_leaf<Row>(ctx, in, out));
    } else {
        if (const cerrno refused = check_children<Row>(ctx, in); refused != CERR_SUCCESS)
            return end<Row>(ctx, refused);
        if constexpr (Row::kind == NodeKind::container)
            return end<Row>(ctx, walk_container<Row>(ctx, in, out));
        else
            return end<Row>(ctx, walk_list_entry<Row>(ctx, in, out));
    }
}

} // namespace ymap::native
