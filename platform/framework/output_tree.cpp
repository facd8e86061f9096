// How a list of writes becomes a tree. Knows nothing of the models written in.
#include "framework/output_tree.h"

#include "framework/operation_words.h"
#include "log/stages.h"
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

std::vector<const OutputNode *> children_with_tag(const std::vector<const OutputNode *> &nodes, std::string_view tag) {
    std::vector<const OutputNode *> found;
    for (const OutputNode *node : nodes) {
        for (const OutputNode &child : node->children) {
            if (child.tag == tag)
                found.push_back(&child);
        }
    }
    return found;
}

namespace {

constexpr std::size_t usual_children = 4;

// The child that further writes with the tag go into; NULL when there is none yet.
OutputNode *find_open(OutputNode &parent, std::string_view tag) noexcept {
    // From the end: the entry that was opened last is asked for most.
    const auto found = std::find_if(parent.children.rbegin(), parent.children.rend(),
                                    [&](const OutputNode &child) { return child.open && child.tag == tag; });
    return found == parent.children.rend() ? nullptr : &*found;
}

// Before another child with the tag is opened.
void close(OutputNode &parent, std::string_view tag) noexcept {
    if (OutputNode *known = find_open(parent, tag); known != nullptr)
        known->open = false;
}

// Opens it; none with that tag may be open.
OutputNode &add_child(OutputNode &parent, std::string_view tag, const std::string &ns) {
    // Few nodes have one child alone, and a node is dear to move.
    if (parent.children.empty())
        parent.children.reserve(usual_children);
    OutputNode &child = parent.children.emplace_back();
    child.tag = tag;
    child.ns = ns;
    child.open = true;
    return child;
}

OutputNode &open_child(OutputNode &parent, std::string_view tag, const std::string &ns) {
    OutputNode *known = find_open(parent, tag);
    return known != nullptr ? *known : add_child(parent, tag, ns);
}

OutputNode &add_entry(OutputNode &parent, std::string_view tag, const std::string &ns) {
    close(parent, tag);
    OutputNode &entry = add_child(parent, tag, ns);
    entry.list_entry = true;
    return entry;
}

void open_entry_with_key(OutputNode &parent, std::string_view tag, const Write &write, std::size_t number) {
    for (OutputNode &child : parent.children) {
        const std::string *key = child.tag == tag ? child.child_value(*write.key_name) : nullptr;
        if (key != nullptr && *key == write.value) {
            close(parent, tag);
            child.open = true;
            return;
        }
    }
    OutputNode &key = add_child(add_entry(parent, tag, write.ns), *write.key_name, write.ns);
    key.value = write.value;
    key.addressed = true;
    key.write = number;
}

void place(OutputNode &parent, std::string_view tag, const Write &write, std::size_t number) {
    if (write.key_name) {
        open_entry_with_key(parent, tag, write, number);
        return;
    }
    OutputNode &node = write.opens_list ? add_entry(parent, tag, write.ns) : open_child(parent, tag, write.ns);
    node.list_entry = write.opens_list;
    node.addressed = true;
    node.ns = write.ns;
    node.value = write.value;
    node.operation = write.operation;
    node.source_path = write.source_path;
    node.source_value = write.source_value;
    node.write = number;
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
    const StageMark stage(Stage::put_together);
    // Writes come in groups below one node, and the way to it is long: it is gone once a group. The node stays where it
    // is, as only its own children grow meanwhile.
    OutputNode *parent = nullptr;
    std::string_view path_of_parent;
    for (std::size_t number = 0; number < writes.size(); ++number) {
        const Write &write = writes[number];
        const std::string_view above = std::string_view(write.path).substr(0, write.path.rfind('/'));
        const bool same_group = parent != nullptr && above == path_of_parent && !last_step(write.path).empty();
        if (!same_group && !leads_somewhere(write.path)) {
            unplaced_.push_back(write);
            continue;
        }
        if (!same_group) {
            parent = &way_to(above, write.ns);
            path_of_parent = above;
        }
        place(*parent, last_step(write.path), write, number);
    }
}

// The node at the end of a path, through what is open, and made where nothing is.
OutputNode &OutputTree::way_to(std::string_view path, const std::string &ns) {
    OutputNode *node = &top_;
    while (!path.empty())
        node = &open_child(*node, take_step(path), ns);
    return *node;
}

std::string output_text(const std::vector<OutputNode> &roots) {
    std::string text;
    for (const OutputNode &root : roots)
        append_lines(text, root, 0);
    return text;
}

} // namespace ocamp
