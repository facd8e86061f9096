// How native edits are carried out. Knows neither OpenConfig's model nor the plug-in.
#include "node/native_edit.h"

#include "framework/operation_words.h"
#include "log/stages.h"
#include "node/leaf_changes.h"
#include "node/native_range.h"
#include "node/slots.h"
#include "seam/text.h"
#include "yang/error.h"
#include "yang/request_error.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Operation of an entry: its own, else that of the first key that has one.
std::uint32_t entry_operation(const OutputNode &entry, const lysc_node &list) {
    if (entry.operation)
        return *entry.operation;
    for (const lysc_node *key : list_keys(list)) {
        const OutputNode *leaf = entry.child(key->name);
        if (leaf != nullptr && leaf->operation)
            return *leaf->operation;
    }
    return YFW_OP_MERGE;
}

// The place in the OpenConfig request that a native node comes from, or, when it has none, anything below it.
std::string source_of(const OutputNode &node) {
    if (!node.source_path.empty())
        return node.source_path;
    for (const OutputNode &child : node.children) {
        if (std::string source = source_of(child); !source.empty())
            return source;
    }
    return {};
}

class NativeEditor {
  public:
    NativeEditor(const Schema &schema, const EntriesBehind &entries_behind, YangTree &running)
        : schema_(schema), entries_behind_(entries_behind), running_(running) {}

    void apply(const OutputNode &node, const lysc_node *parent_schema, lyd_node *parent) {
        const lysc_node *schema = schema_.find(parent_schema, node.tag);
        if (schema == nullptr)
            throw RequestError(error_tag::operation_failed, source_of(node),
                               fmt::format("the native models have no node '{}'", node.tag));
        if (is_list(*schema))
            apply_entry(node, *schema, parent);
        else if (is_leaf(*schema))
            apply_leaf(node, *schema, parent);
        else
            apply_container(node, *schema, parent);
    }

  private:
    void apply_children(const OutputNode &node, const lysc_node &schema, lyd_node *instance) {
        for (const OutputNode &child : node.children)
            apply(child, &schema, instance);
    }

    void apply_container(const OutputNode &node, const lysc_node &schema, lyd_node *parent) {
        lyd_node *container = find_instance(running_.below(parent), schema);
        const std::uint32_t operation = node.operation.value_or(YFW_OP_MERGE);
        if (container != nullptr && (deletes(operation) || operation == YFW_OP_REPLACE)) {
            running_.remove(container);
            container = nullptr;
        }
        if (deletes(operation))
            return;
        if (container == nullptr)
            container = running_.add_container(parent, schema);
        apply_children(node, schema, container);
    }

    void apply_entry(const OutputNode &node, const lysc_node &schema, lyd_node *parent) {
        const std::uint32_t operation = entry_operation(node, schema);
        const std::optional<std::vector<std::string>> keys = keys_of(node, schema);
        if (!keys) {
            if (!deletes(operation))
                throw RequestError(error_tag::operation_failed, source_of(node),
                                   fmt::format("the native entry of '{}' has no key", node.tag));
            remove_entries_behind(source_of(node), schema, parent);
            return;
        }
        lyd_node *entry = find_entry(running_.below(parent), schema, *keys);
        // Whether what a delete or a create names exists for the client has been asked before: here there may be
        // nothing left of the one, and something of the other.
        if (entry != nullptr && (deletes(operation) || operation == YFW_OP_REPLACE)) {
            running_.remove(entry);
            entry = nullptr;
        }
        if (deletes(operation))
            return;
        if (entry == nullptr)
            entry = refused_natively(named_by(node, schema), schema,
                                     [&] { return running_.add_entry(parent, schema, *keys); });
        apply_children(node, schema, entry);
    }

    void remove_entries_behind(const std::string &source, const lysc_node &list, lyd_node *parent) {
        const std::vector<std::string> paths = entries_behind_(source);
        for (lyd_node *at = running_.below(parent), *next = nullptr; at != nullptr; at = next) {
            next = at->next;
            if (at->schema == &list && std::find(paths.begin(), paths.end(), data_path(*at)) != paths.end())
                running_.remove(at);
        }
    }

    void apply_leaf(const OutputNode &node, const lysc_node &schema, lyd_node *parent) {
        if (is_key(schema))
            return;
        lyd_node *leaf = find_instance(running_.below(parent), schema);
        const std::uint32_t operation = node.operation.value_or(YFW_OP_MERGE);
        if (deletes(operation)) {
            if (leaf != nullptr)
                running_.remove(leaf);
            return;
        }
        if (!node.value)
            throw RequestError(error_tag::operation_failed, source_of(node),
                               fmt::format("the native leaf '{}' was given no value", node.tag));
        refused_natively(node, schema, [&] { return running_.set_leaf(parent, schema, *node.value); });
    }

    // The key of an entry that a client gave; the entry itself when it gave none.
    static const OutputNode &named_by(const OutputNode &entry, const lysc_node &list) {
        for (const lysc_node *key : list_keys(list)) {
            const OutputNode *leaf = entry.child(key->name);
            if (leaf != nullptr && leaf->source_value)
                return *leaf;
        }
        return entry;
    }

    // Result of `change`; what the native model says against it becomes a refusal of the node's source, told of the
    // value that the client sent.
    template <class Change>
    lyd_node *refused_natively(const OutputNode &node, const lysc_node &schema, Change change) {
        try {
            return change();
        } catch (const YangError &error) {
            const std::optional<std::string> &value = node.source_value ? node.source_value : node.value;
            if (const std::optional<std::string> never =
                    is_leaf(schema) ? std::nullopt : why_never_there(value.value_or("")))
                throw RequestError(error_tag::invalid_value, source_of(node), *never);
            const std::optional<std::string> range = is_leaf(schema) ? held_range(schema) : std::nullopt;
            throw RequestError(error_tag::invalid_value, source_of(node),
                               fmt::format("{}{}",
                                           value ? fmt::format("'{}': ", shortened(*value, longest_shown_value)) : "",
                                           range ? "the node holds " + *range
                                                 : fmt::format("the native model refuses it: {}", error.complaint())));
        }
    }

    // None when the edit leaves a key out.
    static std::optional<std::vector<std::string>> keys_of(const OutputNode &entry, const lysc_node &list) {
        std::vector<std::string> keys;
        for (const lysc_node *key : list_keys(list)) {
            const std::string *value = entry.child_value(key->name);
            if (value == nullptr)
                return std::nullopt;
            keys.push_back(*value);
        }
        return keys;
    }

    const Schema &schema_;
    const EntriesBehind &entries_behind_;
    YangTree &running_;
};

} // namespace

void apply_native_edit(const Schema &schema, const std::vector<OutputNode> &edit, const EntriesBehind &entries_behind,
                       YangTree &running) {
    const StageMark stage(Stage::apply);
    NativeEditor editor(schema, entries_behind, running);
    for (const OutputNode &root : edit)
        editor.apply(root, nullptr, nullptr);
}

} // namespace ocamp
