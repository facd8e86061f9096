// Walkers of the OpenConfig model: one exported walker a row, all of one pattern. A walker checks its node, puts it
// on the node hierarchy, lets the node's handler run and walks the children. Knows nothing of native models.
#include "openconfig_rows.h"

#include <type_traits>

namespace ymap::openconfig {
namespace {

// Bits of yfw_map_request.select_flags, kept for reads only.
constexpr uint32_t select_all = 0x1;            // only keys were named: the whole entry is wanted
constexpr uint32_t select_leaf = 0x2;           // a leaf other than a key was named
constexpr uint32_t select_key = 0x4;            // a key leaf was named
constexpr uint32_t select_key_sticky = 0x10000; // likewise, and kept by the mask below
// What is kept when a walk begins and when it ends: of the bits above only the sticky one. Not a mask of one-bits: of
// the bits without a name every fourth is kept, and clients rely on it.
constexpr uint32_t kept_bits = 0x11111110;

// Request kinds that the seam has no name for; what they are for is the framework's. They are edits to this walk. A
// list entry must name its keys in both: in the one exactly as in YFW_KIND_EDIT, in the other at least once.
constexpr uint32_t kind_keyed_exactly = 15;
constexpr uint32_t kind_keyed_at_least_once = 8;

// Values of yfw_map_request.in_subtree while a delete is walked.
constexpr uint32_t in_deleted_list = 1;
constexpr uint32_t in_deleted_entry = 2;

/// What walkers read and write of the request. Without request state it reads as zero and keeps nothing.
class WalkState {
  public:
    explicit WalkState(yfw_map_ctx ctx) : ctx_(ctx), request_(ctx->req_ctx) {}

    bool walking_all() const { return request_ != nullptr && request_->walk_all == 1; }
    bool in_subtree() const { return request_ != nullptr && request_->in_subtree != 0; }
    bool selected(uint32_t bits) const { return request_ != nullptr && (request_->select_flags & bits) != 0; }
    bool in_delete_pass() const {
        return request_ != nullptr && (request_->walk_flags & YFW_WALK_REPLACE_DELETE_PASS) != 0;
    }
    /// Kinds for which a list entry must name its keys.
    bool needs_keys() const {
        const uint32_t kind = request_kind(ctx_);
        return kind == YFW_KIND_EDIT || kind == kind_keyed_at_least_once || kind == kind_keyed_exactly;
    }

    void set_walking_all(bool on) {
        if (request_ != nullptr)
            request_->walk_all = on ? 1 : 0;
    }
    /// Returns what it was.
    uint32_t set_in_subtree(uint32_t value) {
        if (request_ == nullptr)
            return 0;
        const uint32_t before = request_->in_subtree;
        request_->in_subtree = value;
        return before;
    }
    void select(uint32_t bits) {
        if (request_ != nullptr)
            request_->select_flags |= bits;
    }
    void deselect(uint32_t bits) {
        if (request_ != nullptr)
            request_->select_flags &= ~bits;
    }
    void mask_selection() {
        if (request_ != nullptr)
            request_->select_flags &= kept_bits;
    }
    void begin_delete_pass() {
        if (request_ == nullptr)
            return;
        request_->walk_flags |= YFW_WALK_REPLACE_DELETE_PASS;
        request_->replace_in_progress = 1;
    }
    void begin_merge_pass() {
        if (request_ == nullptr)
            return;
        request_->walk_flags |= YFW_WALK_REPLACE_MERGE_PASS;
        request_->walk_flags &= ~uint32_t{YFW_WALK_REPLACE_DELETE_PASS};
    }
    /// What a replace finds and leaves behind: no pass, or that of a replace around it.
    struct ReplacePass {
        uint32_t flags, in_progress;
    };
    ReplacePass replace_pass() const {
        return request_ != nullptr ? ReplacePass{request_->walk_flags & replace_passes, request_->replace_in_progress}
                                   : ReplacePass{0, 0};
    }
    void set_replace_pass(ReplacePass pass) {
        if (request_ == nullptr)
            return;
        request_->walk_flags = (request_->walk_flags & ~replace_passes) | pass.flags;
        request_->replace_in_progress = pass.in_progress;
    }

  private:
    static constexpr uint32_t replace_passes = YFW_WALK_REPLACE_DELETE_PASS | YFW_WALK_REPLACE_MERGE_PASS;

    yfw_map_ctx ctx_;
    yfw_map_request *request_;
};

template <class Row>
cerrno walk(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);

/// Walks `child` as the child row of Row that its tag names. False when Row has no such child.
template <class Row>
bool walk_named_child(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out, cerrno &result) {
#define OC_NODE(parent, word, node_tag)                                                                                \
    if constexpr (std::is_same_v<parent, Row>) {                                                                       \
        if (yfw_map_do_these_match(child->tag, node_tag) != 0) {                                                       \
            result = walk<word>(ctx, child, out);                                                                      \
            return true;                                                                                               \
        }                                                                                                              \
    }
#include "openconfig_optical_amplifier.def"
    return false;
}

/// Walks every child row of Row with Row's own node, in the order of the model; what they return does not matter.
template <class Row>
void walk_every_child(yfw_map_ctx ctx, const yfw_datatree *node, yfw_datatree *out) {
#define OC_NODE(parent, word, tag)                                                                                     \
    if constexpr (std::is_same_v<parent, Row>)                                                                         \
        walk<word>(ctx, node, out);
#include "openconfig_optical_amplifier.def"
}

/// The walk of one container, or of one list entry.
template <class Row>
class NodeWalk {
    static constexpr bool is_list = Row::kind == NodeKind::list;

  public:
    NodeWalk(yfw_map_ctx ctx, yfw_datatree *node, yfw_datatree *out)
        : ctx_(ctx), node_(node), out_(out), state_(ctx), children_(children_of(node)) {}

    cerrno run() {
        if (children_.missing()) {
            ymap_err_at(Row::function, ctx_, "Failed to get subtrees!");
            fail_at(ctx_, node_->tag);
            return end(YMAP_RC_BAD_SUBTREE);
        }
        if (const cerrno refused = refuse_before_entering(); refused != CERR_SUCCESS)
            return end(refused);
        if (const cerrno refused = enter(); refused != CERR_SUCCESS)
            return end(refused);
        cerrno result = check_entry();
        if (result == CERR_SUCCESS)
            result = node_->operation == YFW_OP_REPLACE ? replace() : walk_node(children_named(), CERR_SUCCESS);
        result = leave(result);
        if (result == CERR_SUCCESS)
            result = visit_further_entries();
        return end(result);
    }

  private:
    cerrno end(cerrno result) {
        ymap_trc_at(Row::function, ctx_, "End");
        return result;
    }

    cerrno refuse_before_entering() {
        if (state_.walking_all() || state_.in_subtree())
            return CERR_SUCCESS;
        if constexpr (is_list) {
            if (children_.count == 0 && state_.needs_keys()) {
                ymap_err_at(Row::function, ctx_, "No keys specified with a list node.");
                fail_at(ctx_, node_->tag);
                return YMAP_RC_BAD_SUBTREE;
            }
        } else if (children_.count != 0 && yfw_map_is_request_delete(node_) != 0) {
            // A delete names the container alone.
            ymap_trc_at(Row::function, ctx_, "Delete request with subtree present");
            return YMAP_RC_INVALID_ARGS;
        }
        return CERR_SUCCESS;
    }

    cerrno enter() {
        if (state_.walking_all())
            return CERR_SUCCESS;
        const int level = is_list ? YFW_LEVEL_LIST_ENTRY : YFW_LEVEL_CONTAINER;
        if (const cerrno result = yfw_map_add_to_node_hierarchy(ctx_, node_, level); result != CERR_SUCCESS)
            return result;
        entered_ = true;
        node_->map_status = is_list ? YFW_MAP_STATUS_LIST_ENTRY : YFW_MAP_STATUS_CONTAINER;
        node_->map_flags |= YFW_MAPF_VISITED;
        if (is_read(ctx_))
            state_.mask_selection();
        return CERR_SUCCESS;
    }

    cerrno leave(cerrno result) { return entered_ ? leave_hierarchy(ctx_, node_, result) : result; }

    /// Makes a list entry the current one and checks its keys.
    cerrno check_entry() {
        if constexpr (is_list) {
            if (const cerrno result = yfw_map_update_current_list_node(ctx_, Row::path); result != CERR_SUCCESS)
                return result;
            if (state_.walking_all() || state_.in_subtree())
                return CERR_SUCCESS;
            if (const cerrno result = count_keys(); result != CERR_SUCCESS)
                return result;
            return check_key_counts();
        }
        return CERR_SUCCESS;
    }

    cerrno count_keys() {
        for (yfw_datatree &child : children_) {
            if (!is_key_child(child)) {
                has_other_children_ = true;
                continue;
            }
            if (state_.needs_keys()) {
                const cerrno result = yfw_map_check_oc_leafref(ctx_, Row::path, "config", &child, out_);
                if (result != CERR_SUCCESS) {
                    ymap_err_at(Row::function, ctx_, "leafref value check fail");
                    fail_at(ctx_, child.tag);
                    return result;
                }
            }
            ++named_keys_;
            if ((child.node_flags & YFW_NODE_KEY) != 0)
                ++flagged_keys_;
            mark_key(&child);
        }
        return CERR_SUCCESS;
    }

    cerrno check_key_counts() {
        if (children_.count == 0)
            return CERR_SUCCESS;
        const uint32_t kind = request_kind(ctx_);
        bool valid = false;
        if (kind == YFW_KIND_EDIT || kind == kind_keyed_exactly)
            valid = flagged_keys_ == 1 && named_keys_ < 2;
        else // the counts are OR-ed, not compared one by one; clients rely on it
            valid = (flagged_keys_ | named_keys_) <= 1 && (kind != kind_keyed_at_least_once || flagged_keys_ >= 1);
        if (valid)
            return CERR_SUCCESS;
        ymap_err_at(Row::function, ctx_, "List key node error.");
        fail_at(ctx_, Row::key);
        return YMAP_RC_BAD_KEY;
    }

    /// The child count, which also tells handlers that named children are walked; 0 calls for a whole walk.
    uint32_t children_named() const {
        return state_.walking_all() && state_.selected(select_all) ? 0 : children_.count;
    }

    static void set_operation(yfw_datatree *node, uint32_t operation) {
        node->operation = operation;
        node->node_flags |= YFW_NODE_OP_SET;
    }

    /// Two passes over the node. In the first (YFW_WALK_REPLACE_DELETE_PASS) it is a remove: what is there goes. In the
    /// second (YFW_WALK_REPLACE_MERGE_PASS), it is a merge: what the request holds comes. When the first fails, its
    /// result stands and the second does no more than end the walk. Afterwards the node is a replace again.
    cerrno replace() {
        const uint32_t named_children = children_named();
        const auto enclosing = state_.replace_pass();
        set_operation(node_, YFW_OP_REMOVE);
        state_.begin_delete_pass();
        const cerrno removed = remove_what_is_there(named_children);
        set_operation(node_, YFW_OP_MERGE);
        state_.begin_merge_pass();
        const cerrno result = walk_node(named_children, removed);
        state_.set_replace_pass(enclosing);
        set_operation(node_, YFW_OP_REPLACE);
        return result;
    }

    /// A container is deleted as a whole, without its children. A list entry keeps them: its key says which entry.
    cerrno remove_what_is_there(uint32_t named_children) {
        if constexpr (is_list)
            return walk_node(named_children, CERR_SUCCESS);
        const Children saved = children_;
        node_->children = nullptr;
        node_->child_count = 0;
        node_->node_flags &= static_cast<uint8_t>(~YFW_NODE_HAS_CHILDREN);
        const cerrno result = walk_node(0, CERR_SUCCESS);
        node_->children = saved.first;
        node_->child_count = saved.count;
        node_->node_flags |= YFW_NODE_HAS_CHILDREN;
        return result;
    }

    /// One pass over the node and its children. `so_far` is the result of an earlier pass; after a failure only the
    /// selection and the whole walk are left to do.
    cerrno walk_node(uint32_t named_children, cerrno so_far) {
        const bool deletes_list = so_far == CERR_SUCCESS && deletes_list_without_entries();
        const uint32_t in_subtree_before = deletes_list ? state_.set_in_subtree(in_deleted_list) : 0;
        const cerrno result = handle_and_walk(named_children, so_far);
        if (deletes_list)
            state_.set_in_subtree(in_subtree_before);
        return result;
    }

    cerrno handle_and_walk(uint32_t named_children, cerrno so_far) {
        cerrno result = so_far;
        if (result == CERR_SUCCESS) {
            result = call_handler(named_children);
            if (result == YMAP_RC_SKIP) // the entry is dropped; a replace still has its second pass
                return CERR_SUCCESS;
            if (result != CERR_SUCCESS)
                return result;
            if (named_children != 0)
                result = walk_named_children();
        }
        if (state_.selected(select_key) && !state_.selected(select_leaf)) {
            state_.select(select_all);
            state_.deselect(select_key | select_leaf);
        }
        if ((named_children == 0 || state_.selected(select_all)) &&
            (is_read(ctx_) || yfw_map_is_request_delete(node_) != 0))
            walk_whole();
        return result;
    }

    bool deletes_list_without_entries() const {
        if constexpr (is_list)
            return children_.count == 0 && yfw_map_is_request_delete(node_) != 0;
        return false;
    }

    bool deletes_entry_by_key_alone() const {
        return named_keys_ != 0 && !has_other_children_ && yfw_map_is_request_delete(node_) != 0;
    }

    cerrno call_handler(uint32_t named_children) {
        if constexpr (is_list) {
            if (!deletes_entry_by_key_alone())
                return Row::handle(ctx_, node_, out_);
            state_.set_in_subtree(in_deleted_entry);
            const cerrno result = Row::handle(ctx_, node_, out_);
            state_.set_in_subtree(0);
            return result;
        } else {
            return Row::handle(ctx_, node_, named_children, out_);
        }
    }

    cerrno walk_named_children() {
        cerrno result = CERR_SUCCESS;
        for (yfw_datatree &child : children_) {
            result = walk_child(child);
            if (result != CERR_SUCCESS)
                break;
        }
        return result;
    }

    cerrno walk_child(yfw_datatree &child) {
        if (child.tag == nullptr)
            return refuse_child_without_tag();
        const bool is_key = is_key_child(child);
        if (is_key && yfw_map_is_request_delete(&child) != 0) {
            ymap_err_at(Row::function, ctx_, "The key node should not have delete operation.");
            yfw_oc_error_path(ctx_);
            return YMAP_RC_KEY_DELETE;
        }
        if (waits_for_second_pass(child))
            return CERR_SUCCESS;
        cerrno result = CERR_SUCCESS;
        if (walk_named_child<Row>(ctx_, &child, out_, result)) {
            if (is_key)
                child.node_flags2 |= YFW_NODE_KEY_USED;
            return result;
        }
        if (yfw_map_do_these_match(child.ns, OPENCONFIG_NS) == 0)
            return Row::parse_augments(ctx_, &child, out_);
        return refuse_unknown_child(child);
    }

    static bool is_key_child(const yfw_datatree &child) {
        if constexpr (is_list)
            return yfw_map_do_these_match(child.tag, Row::key) != 0;
        return false;
    }

    /// What an entry's configuration becomes is the matter of a replace's second pass.
    bool waits_for_second_pass(const yfw_datatree &child) const {
        using Config = lvla_opticalamplifier_amplifier_config;
        if constexpr (std::is_same_v<Row, Config::Parent>)
            return state_.in_delete_pass() && yfw_map_do_these_match(child.tag, Config::tag) != 0;
        return false;
    }

    cerrno refuse_child_without_tag() {
        if constexpr (is_list)
            ymap_err_at(Row::function, ctx_, "Empty list key specified.");
        else
            ymap_err_at(Row::function, ctx_, "Tag name is not available!");
        fail_at(ctx_, nullptr);
        return is_list ? YMAP_RC_BAD_KEY : YMAP_RC_BAD_SUBTREE;
    }

    /// A read ignores what the model does not have; an edit fails.
    cerrno refuse_unknown_child(const yfw_datatree &child) {
        if constexpr (is_list) // no blank before "is"; clients rely on it
            ymap_err_at(Row::function, ctx_, "Unsupported tag `%s`is specified in the request.", child.tag);
        else
            ymap_err_at(Row::function, ctx_, "Unsupported tag `%s` is specified in the request.", child.tag);
        if (is_read(ctx_))
            return CERR_SUCCESS;
        fail_at(ctx_, child.tag);
        return YMAP_RC_UNSUPPORTED;
    }

    void walk_whole() {
        const bool begins_here = !state_.walking_all();
        if (begins_here)
            state_.set_walking_all(true);
        const bool deletes = node_->operation == YFW_OP_DELETE;
        if (deletes) // parts of the subtree may be absent, which a remove forgives
            set_operation(node_, YFW_OP_REMOVE);
        walk_every_child<Row>(ctx_, node_, out_);
        if (deletes)
            set_operation(node_, YFW_OP_DELETE);
        Row::parse_augments(ctx_, node_, out_);
        if (begins_here) {
            state_.set_walking_all(false);
            state_.mask_selection();
            state_.deselect(select_key | select_leaf);
        }
    }

    /// Instances that the framework holds on its stack for this list: of the others than this entry, which may stand
    /// anywhere among them, only the handlers run. On success the stack is used up and nothing is pushed back on it:
    /// what stayed there would be visited again by the walker of the next entry. After a failure the rest stays there,
    /// and the framework discards it with the request.
    cerrno visit_further_entries() {
        if constexpr (is_list) {
            if (!entered_)
                return CERR_SUCCESS;
            for (uint32_t left = yfw_map_util_itree_stack_size(ctx_); left > 0; --left) {
                auto *entry = const_cast<yfw_datatree *>(yfw_map_util_itree_stack_peak(ctx_));
                if (entry == nullptr)
                    break;
                cerrno result = yfw_map_util_itree_stack_pop(ctx_);
                if (result == CERR_SUCCESS && entry != node_)
                    result = visit_entry(entry);
                if (result != CERR_SUCCESS)
                    return result;
            }
        }
        return CERR_SUCCESS;
    }

    cerrno visit_entry(yfw_datatree *entry) {
        if (const cerrno result = yfw_map_add_to_node_hierarchy(ctx_, entry, YFW_LEVEL_LIST_ENTRY);
            result != CERR_SUCCESS)
            return result;
        cerrno result = yfw_map_update_current_list_node(ctx_, Row::path);
        if (result == CERR_SUCCESS) {
            const bool deletes = entry->operation == YFW_OP_DELETE;
            if (deletes)
                set_operation(entry, YFW_OP_REMOVE);
            result = Row::handle(ctx_, entry, out_);
            if (deletes)
                set_operation(entry, YFW_OP_DELETE);
        }
        return leave_hierarchy(ctx_, entry, result == YMAP_RC_SKIP ? CERR_SUCCESS : result);
    }

    yfw_map_ctx ctx_;
    yfw_datatree *node_;
    yfw_datatree *out_;
    WalkState state_;
    Children children_;
    bool entered_ = false;
    // Of a list entry:
    uint32_t named_keys_ = 0;
    uint32_t flagged_keys_ = 0;
    bool has_other_children_ = false;
};

template <class Row>
cerrno walk_leaf(yfw_map_ctx ctx, yfw_datatree *leaf, yfw_datatree *out) {
    const cerrno result = Row::handle(ctx, leaf, out);
    WalkState state(ctx);
    if (!state.walking_all() && !state.in_subtree()) {
        leaf->map_status = YFW_MAP_STATUS_LEAF;
        leaf->map_flags |= YFW_MAPF_VISITED;
        if (is_read(ctx)) {
            if ((leaf->node_flags & YFW_NODE_KEY) != 0) {
                state.select(select_key | select_key_sticky);
                leaf->map_status = YFW_MAP_STATUS_READ_KEY;
            } else {
                state.select(select_leaf);
            }
        }
    }
    ymap_trc_at(Row::function, ctx, "End");
    return result;
}

template <class Row>
cerrno walk(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    ymap_trc_at(Row::function, ctx, "Start");
    YMAP_REQUIRE_NODES(Row::function, ctx, in, out, YMAP_RC_INVALID_ARGS);
    auto *node = const_cast<yfw_datatree *>(in); // walkers mark the nodes that they take
    if constexpr (Row::kind == NodeKind::leaf)
        return walk_leaf<Row>(ctx, node, out);
    else
        return NodeWalk<Row>(ctx, node, out).run();
}

} // namespace
} // namespace ymap::openconfig

#define DEFINE_Walker(name, row)                                                                                       \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        return ymap::openconfig::walk<ymap::openconfig::row>(ctx, in, out);                                            \
    }
#include "openconfig_exports.h"
