// How a list of writes becomes a tree. Knows nothing of the models written in.
#include "framework/output_tree.h"

#include "framework/operation_words.h"
#include "seam/path_text.h"
#include "seam/text.h"

#include <algorithm>

namespace ocamp {

const OutputNode *OutputNode::child(std::string_view child_tag) const noexcept {
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const OutputNode &node) { return node.tag == child_tag; });
    return found == children.end() ? nullptr : &*found;
}

const std::string *OutputNode::child_value(std::string_view child_tag) const noexcept {
    const OutputNode *leaf = child(child_tag);
    return leaf != nullptr && leaf->value ? &*leaf->value : nullptr;
}

namespace {

OutputNode &make_open(OutputNode &parent, std::string_view tag, std::size_t index) {
    const auto known =
        std::find_if(parent.open.begin(), parent.open.end(), [&](const auto &pair) { return pair.first == tag; });
    if (known == parent.open.end())
        parent.open.emplace_back(tag, index);
    else
        known->second = index;
    return parent.children[index];
}

OutputNode &add_child(OutputNode &parent, std::string_view tag, std::string_view ns) {
    parent.children.push_back({.tag = std::string(tag), .ns = std::string(ns)});
    return make_open(parent, tag, parent.children.size() - 1);
}

OutputNode &open_child(OutputNode &parent, std::string_view tag, std::string_view ns) {
    const auto known =
        std::find_if(parent.open.begin(), parent.open.end(), [&](const auto &pair) { return pair.first == tag; });
    return known == parent.open.end() ? add_child(parent, tag, ns) : parent.children[known->second];
}

void open_entry_with_key(OutputNode &parent, std::string_view tag, const Write &write, std::size_t number) {
    for (std::size_t i = 0; i < parent.children.size(); ++i) {
        const std::string *key = parent.children[i].child_value(*write.key_name);
        if (parent.children[i].tag == tag && key != nullptr && *key == write.value) {
            make_open(parent, tag, i);
            return;
        }
    }
    OutputNode &entry = add_child(parent, tag, write.ns);
    entry.list_entry = true;
    OutputNode &key = add_child(entry, *write.key_name, write.ns);
    key.value = write.value;
    key.addressed = true;
    key.write = number;
}

void append_lines(std::string &text, const OutputNode &node, std::size_t depth) {
    text.append(2 * depth, ' ').append("<").append(node.tag).append(">");
    if (node.value) {
        text += " \"";
        append_escaped(text, *node.value, '"');
        text += '"';
    }
    if (node.operation.value_or(YFW_OP_MERGE) != YFW_OP_MERGE)
        text.append("  operation ").append(operation_word(*node.operation));
    text += '\n';
    for (const OutputNode &child : node.children)
        append_lines(text, child, depth + 1);
}

} // namespace

OutputTree::OutputTree(std::span<const Write> writes) {
    for (std::size_t number = 0; number < writes.size(); ++number)
        place(writes[number], number);
}

void OutputTree::place(const Write &write, std::size_t number) {
    const std::vector<std::string_view> steps = path_steps(write.path);
    if (steps.empty()) {
        unplaced_.push_back(write);
        return;
    }
    OutputNode *parent = &top_;
    for (std::size_t i = 0; i + 1 < steps.size(); ++i)
        parent = &open_child(*parent, steps[i], write.ns);
    if (write.key_name) {
        open_entry_with_key(*parent, steps.back(), write, number);
        return;
    }
    OutputNode &node =
        write.opens_list ? add_child(*parent, steps.back(), write.ns) : open_child(*parent, steps.back(), write.ns);
    node.list_entry = write.opens_list;
    node.addressed = true;
    node.ns = write.ns;
    node.value = write.value;
    node.operation = write.operation;
    node.source_path = write.source_path;
    node.source_value = write.source_value;
    node.write = number;
}

std::string output_text(const std::vector<OutputNode> &roots) {
    std::string text;
    for (const OutputNode &root : roots)
        append_lines(text, root, 0);
    return text;
}

} // namespace ocamp
