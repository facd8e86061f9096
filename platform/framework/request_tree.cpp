// How trees are frozen into the layout of the seam, and how they are shown. Knows nothing of what the nodes mean.
#include "framework/request_tree.h"

#include "framework/operation_words.h"
#include "seam/path_text.h"
#include "seam/text.h"

#include <algorithm>

namespace ocamp {

namespace {

constexpr std::size_t shown_depth = 64;

void append_quoted(std::string &line, std::string_view text) {
    line += '"';
    append_escaped(line, text, '"');
    line += '"';
}

void append_lines(std::string &text, const yfw_datatree &node, std::size_t depth) {
    text.append(2 * depth, ' ');
    append_node_text(text, &node);
    if (node.operation != YFW_OP_MERGE)
        text.append("  operation ").append(operation_word(node.operation));
    text += '\n';
    if (depth + 1 == shown_depth || node.children == nullptr)
        return;
    for (std::uint32_t i = 0; i < node.child_count; ++i)
        append_lines(text, node.children[i], depth + 1);
}

} // namespace

std::string key_predicates(const RequestNode &node) {
    std::string predicates;
    for (const RequestNode &child : node.children) {
        if (child.key && child.value)
            predicates += step_with_key("", child.tag, *child.value);
    }
    return predicates;
}

DataTree::DataTree(const RequestNode &root) : root_(1) {
    freeze(root, root_.front(), 0);
}

char *DataTree::keep(std::string_view text) {
    return texts_.emplace_back(text).data();
}

void DataTree::freeze(const RequestNode &from, yfw_datatree &to, std::size_t parent) {
    const std::size_t place = places_.size();
    to = {};
    to.tag = keep(from.tag);
    places_.push_back({&to, parent, to.tag, key_predicates(from)});
    to.ns = keep(from.ns);
    to.value = from.value ? keep(*from.value) : nullptr;
    to.operation = from.operation;
    to.node_flags = YFW_NODE_PRESENT;
    if (from.key)
        to.node_flags |= YFW_NODE_KEY;
    if (from.children.empty())
        return;
    std::vector<yfw_datatree> &children = child_arrays_.emplace_back(from.children.size());
    to.node_flags |= YFW_NODE_HAS_CHILDREN;
    to.children = children.data();
    to.child_count = static_cast<std::uint32_t>(children.size());
    for (std::size_t i = 0; i < children.size(); ++i)
        freeze(from.children[i], children[i], place);
}

std::string DataTree::path_of(const yfw_datatree *node) const {
    const auto found = std::find_if(places_.begin(), places_.end(), [&](const Place &p) { return p.node == node; });
    if (node == nullptr || found == places_.end())
        return {};
    std::string path;
    for (auto at = static_cast<std::size_t>(found - places_.begin());; at = places_[at].parent) {
        path.insert(0, std::string("/").append(places_[at].tag).append(places_[at].keys));
        if (at == places_[at].parent)
            return path;
    }
}

void append_node_text(std::string &line, const yfw_datatree *node) {
    if (node == nullptr) {
        line += "NULL";
        return;
    }
    line += '<';
    append_escaped(line, node->tag != nullptr ? node->tag : "");
    const std::uint32_t count = node->children != nullptr ? node->child_count : 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const yfw_datatree &child = node->children[i];
        if ((child.node_flags & YFW_NODE_KEY) == 0 || child.tag == nullptr || child.value == nullptr)
            continue;
        line += ' ';
        append_escaped(line, child.tag);
        line += '=';
        append_quoted(line, child.value);
    }
    line += '>';
    if (node->value != nullptr) {
        line += ' ';
        append_quoted(line, node->value);
    }
}

std::string tree_text(const yfw_datatree &root) {
    std::string text;
    append_lines(text, root, 0);
    return text;
}

} // namespace ocamp
