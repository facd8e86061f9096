// How written nodes find their place in the model, or are dropped. Knows nothing of native models.
#include "node/answer.h"

#include "log/stages.h"

#include "seam/path_text.h"
#include "yang/error.h"

#include <optional>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Keys of an entry in the list's order; none when one is missing or empty.
std::optional<std::vector<std::string>> keys_of(const lysc_node &list, const OutputNode &entry) {
    std::vector<std::string> keys;
    for (const lysc_node *key : list_keys(list)) {
        const std::string *value = entry.child_value(key->name);
        if (value == nullptr || value->empty())
            return std::nullopt;
        keys.push_back(*value);
    }
    return keys;
}

} // namespace

// A node of the output and those above it, without keys for what is no list entry. It becomes a path only when
// something is dropped, which is seldom.
struct Answer::Place {
    const Place *above;
    const OutputNode &node;
    const lysc_node *list = nullptr;
    const std::vector<std::string> *keys = nullptr; // of `list`

    std::string path() const {
        std::string text = above != nullptr ? above->path() : std::string();
        text.append("/").append(node.tag);
        for (std::size_t i = 0; keys != nullptr && i < keys->size(); ++i)
            text += step_with_key("", list_keys(*list)[i]->name, (*keys)[i]);
        return text;
    }
};

void Answer::add(const OutputTree &output, std::vector<Placement> *placements) {
    const StageMark stage(Stage::put_together);
    placements_ = placements;
    for (const OutputNode &root : output.roots())
        place(nullptr, nullptr, {.above = nullptr, .node = root});
    for (const Write &write : output.unplaced())
        dropped_.push_back({write.path, write.value.value_or(""), "the path is not absolute"});
}

void Answer::place(lyd_node *parent, const lysc_node *parent_schema, const Place &from) {
    const lysc_node *schema = schema_.find(parent_schema, from.node.tag, from.node.ns);
    if (schema == nullptr)
        drop(from, "the model has no such node");
    else if (configuration_only_ && !is_configuration(*schema))
        drop(from, "state in a read of configuration");
    else if (is_leaf(*schema))
        place_leaf(parent, *schema, from);
    else if (is_list(*schema))
        place_entry(parent, *schema, from);
    else
        place_container(parent, *schema, from);
}

void Answer::place_leaf(lyd_node *parent, const lysc_node &schema, const Place &from) {
    for (const OutputNode &child : from.node.children)
        drop({.above = &from, .node = child}, "the model has no such node");
    if (is_key(schema))
        note(from, "");
    if (is_key(schema) || !from.node.addressed)
        return;
    const std::optional<std::string> &value = from.node.value;
    if (!value || value->empty()) {
        drop(from, value ? "empty text" : "no value");
        return;
    }
    try {
        tree_.set_leaf(parent, schema, *value);
        note(from, "");
    } catch (const YangError &error) {
        drop(from, error.what());
    }
}

void Answer::place_entry(lyd_node *parent, const lysc_node &schema, const Place &from) {
    const std::optional<std::vector<std::string>> keys = keys_of(schema, from.node);
    if (!keys) {
        drop(from, "its list entry has no key");
        return;
    }
    lyd_node *entry = find_entry(tree_.below(parent), schema, *keys);
    if (entry == nullptr) {
        try {
            entry = tree_.add_entry(parent, schema, *keys);
        } catch (const YangError &error) {
            drop(from, error.what());
            return;
        }
    }
    place_children(entry, schema, {.above = from.above, .node = from.node, .list = &schema, .keys = &*keys});
}

void Answer::place_container(lyd_node *parent, const lysc_node &schema, const Place &from) {
    lyd_node *container = find_instance(tree_.below(parent), schema);
    if (container == nullptr)
        container = tree_.add_container(parent, schema);
    place_children(container, schema, from);
    // Everything below may have been dropped.
    if (tree_.below(container) == nullptr)
        tree_.remove(container);
}

void Answer::place_children(lyd_node *node, const lysc_node &schema, const Place &from) {
    for (const OutputNode &child : from.node.children)
        place(node, &schema, {.above = &from, .node = child});
}

void Answer::note(const Place &from, const std::string &dropped) {
    if (placements_ != nullptr && from.node.write)
        placements_->push_back({from.path(), *from.node.write, from.node.value.value_or(""), dropped});
}

void Answer::drop(const Place &from, const std::string &reason) {
    if (from.node.children.empty() && !from.node.list_entry) {
        dropped_.push_back({from.path(), from.node.value.value_or(""), reason});
        note(from, reason);
    }
    for (const OutputNode &child : from.node.children)
        drop({.above = &from, .node = child}, reason);
}

} // namespace ocamp
