// How edits change trees of their own model. Knows neither the plug-in nor where data is kept.
#include "node/tree_edit.h"

#include "framework/operation_words.h"
#include "node/edit_checks.h"
#include "yang/error.h"
#include "yang/request_error.h"

#include <fmt/format.h>

namespace ocamp {

namespace {

class TreeEditor {
  public:
    explicit TreeEditor(YangTree &tree) : tree_(tree) {}

    // `parent`: NULL at the top.
    void apply(const EditNode &node, lyd_node *parent) {
        if (node.schema == nullptr)
            throw RequestError(error_tag::unknown_element, node.path, "the model has no such node");
        if (is_key_leaf(node))
            return;
        lyd_node *instance = is_list(*node.schema) ? find_entry(tree_.below(parent), *node.schema, node.keys())
                                                   : find_instance(tree_.below(parent), *node.schema);
        if (instance != nullptr && (is_deleted(node) || is_operation(node, YFW_OP_REPLACE))) {
            tree_.remove(instance);
            instance = nullptr;
        }
        if (is_deleted(node))
            return;
        if (is_leaf(*node.schema))
            apply_leaf(node, parent);
        else
            apply_inner(node, parent, instance);
    }

  private:
    void apply_leaf(const EditNode &node, lyd_node *parent) {
        // Without an operation the leaf only stands there; that it does has been asked before.
        if (node.operation)
            refused(node, [&] { return tree_.set_leaf(parent, *node.schema, node.value.value_or("")); });
    }

    void apply_inner(const EditNode &node, lyd_node *parent, lyd_node *instance) {
        if (instance == nullptr)
            instance = refused(node, [&] {
                return is_list(*node.schema) ? tree_.add_entry(parent, *node.schema, node.keys())
                                             : tree_.add_container(parent, *node.schema);
            });
        for (const EditNode &child : node.children)
            apply(child, instance);
        // A container that says nothing by being there is not there.
        if (node.schema->nodetype == LYS_CONTAINER && (node.schema->flags & LYS_PRESENCE) == 0 &&
            tree_.below(instance) == nullptr)
            tree_.remove(instance);
    }

    // Result of `change`; what libyang says against it becomes a refusal of the node.
    template <class Change>
    static lyd_node *refused(const EditNode &node, Change change) {
        try {
            return change();
        } catch (const YangError &error) {
            throw RequestError(error_tag::invalid_value, node.path, std::string(error.complaint()));
        }
    }

    YangTree &tree_;
};

void check_node_kept(const EditNode &node, lyd_node *siblings) {
    if (node.schema == nullptr || is_deleted(node) || is_key_leaf(node))
        return;
    const lyd_node *instance = instance_of(node, siblings);
    if (is_leaf(*node.schema) && node.operation && (instance == nullptr || leaf_text(*instance) != node.value))
        throw RequestError(error_tag::operation_failed, node.path,
                           fmt::format("the same edit asks for '{}' here and for '{}' on the other side of the mapping",
                                       node.value.value_or(""),
                                       instance != nullptr ? leaf_text(*instance) : std::string("nothing")));
    for (const EditNode &child : node.children)
        check_node_kept(child, instance != nullptr ? lyd_child(instance) : nullptr);
}

} // namespace

void apply_edit(const EditRequest &edit, YangTree &tree) {
    for (const EditNode &root : edit.roots())
        check_before(root, tree.first());
    TreeEditor editor(tree);
    for (const EditNode &root : edit.roots())
        editor.apply(root, nullptr);
}

void check_kept(const EditRequest &edit, const YangTree &tree) {
    for (const EditNode &root : edit.roots())
        check_node_kept(root, tree.first());
}

} // namespace ocamp
