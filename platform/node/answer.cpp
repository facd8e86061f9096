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

std::string with_keys(std::string path, const lysc_node &list, const std::vector<std::string> &keys) {
    for (std::size_t i = 0; i < keys.size(); ++i)
        path += step_with_key("", list_keys(list)[i]->name, keys[i]);
    return path;
}

} // namespace

void Answer::add(const OutputTree &output, std::vector<Placement> *placements) {
    const StageMark stage(Stage::put_together);
    placements_ = placements;
    for (const OutputNode &root : output.roots())
        place(nullptr, nullptr, root, "");
    for (const Write &write : output.unplaced())
        dropped_.push_back({write.path, write.value.value_or(""), "the path is not absolute"});
}

void Answer::place(lyd_node *parent, const lysc_node *parent_schema, const OutputNode &from, const std::string &above) {
    const std::string path = above + "/" + from.tag;
    const lysc_node *schema = schema_.find(parent_schema, from.tag, from.ns);
    if (schema == nullptr)
        drop(from, path, "the model has no such node");
    else if (configuration_only_ && !is_configuration(*schema))
        drop(from, path, "state in a read of configuration");
    else if (is_leaf(*schema))
        place_leaf(parent, *schema, from, path);
    else if (is_list(*schema))
        place_entry(parent, *schema, from, path);
    else
        place_container(parent, *schema, from, path);
}

void Answer::place_leaf(lyd_node *parent, const lysc_node &schema, const OutputNode &from, const std::string &path) {
    for (const OutputNode &child : from.children)
        drop(child, path + "/" + child.tag, "the model has no such node");
    if (is_key(schema))
        note(from, path, "");
    if (is_key(schema) || !from.addressed)
        return;
    if (!from.value || from.value->empty()) {
        drop(from, path, from.value ? "empty text" : "no value");
        return;
    }
    try {
        tree_.set_leaf(parent, schema, *from.value);
        note(from, path, "");
    } catch (const YangError &error) {
        drop(from, path, error.what());
    }
}

void Answer::place_entry(lyd_node *parent, const lysc_node &schema, const OutputNode &from, const std::string &path) {
    const std::optional<std::vector<std::string>> keys = keys_of(schema, from);
    if (!keys) {
        drop(from, path, "its list entry has no key");
        return;
    }
    lyd_node *entry = find_entry(tree_.below(parent), schema, *keys);
    if (entry == nullptr) {
        try {
            entry = tree_.add_entry(parent, schema, *keys);
        } catch (const YangError &error) {
            drop(from, path, error.what());
            return;
        }
    }
    place_children(entry, schema, from, with_keys(path, schema, *keys));
}

void Answer::place_container(lyd_node *parent, const lysc_node &schema, const OutputNode &from,
                             const std::string &path) {
    lyd_node *container = find_instance(tree_.below(parent), schema);
    if (container == nullptr)
        container = tree_.add_container(parent, schema);
    place_children(container, schema, from, path);
    // Everything below may have been dropped.
    if (tree_.below(container) == nullptr)
        tree_.remove(container);
}

void Answer::place_children(lyd_node *node, const lysc_node &schema, const OutputNode &from, const std::string &path) {
    for (const OutputNode &child : from.children)
        place(node, &schema, child, path);
}

void Answer::note(const OutputNode &from, const std::string &path, const std::string &dropped) {
    if (placements_ != nullptr && from.write)
        placements_->push_back({path, *from.write, from.value.value_or(""), dropped});
}

void Answer::drop(const OutputNode &from, const std::string &path, const std::string &reason) {
    if (from.children.empty() && !from.list_entry) {
        dropped_.push_back({path, from.value.value_or(""), reason});
        note(from, path, reason);
    }
    for (const OutputNode &child : from.children)
        drop(child, path + "/" + child.tag, reason);
}

} // namespace ocamp
