// How a request is held against what a walk did. Knows nothing of how it is shown.
#include "node/reach.h"

#include "node/mapping_rows.h"
#include "seam/path_text.h"

#include <algorithm>
#include <set>
#include <span>
#include <vector>

namespace ocamp {

namespace {

// Whether the request asks for the node at the path, given without keys, from the request's root on.
bool asks_for(const RequestNode &request, std::span<const std::string_view> steps) {
    if (steps.empty() || steps.front() != request.tag)
        return false;
    if (std::all_of(request.children.begin(), request.children.end(), is_named_key))
        return true;
    return std::any_of(request.children.begin(), request.children.end(), [&](const RequestNode &child) {
        return !is_named_key(child) && asks_for(child, steps.subspan(1));
    });
}

bool asks_for(const RequestNode &request, std::string_view path) {
    const std::vector<std::string_view> steps = path_steps(path);
    return asks_for(request, std::span(steps));
}

// The part of the tree that leads to those paths, with the keys on the way.
std::optional<RequestNode> part_with(const RequestNode &node, const std::string &above,
                                     const std::set<std::string> &reached) {
    const std::string path = above + "/" + node.tag + key_predicates(node);
    if (node.children.empty())
        return reached.contains(path) ? std::optional(node) : std::nullopt;
    RequestNode part = node;
    part.children.clear();
    bool any = false;
    for (const RequestNode &child : node.children) {
        std::optional<RequestNode> inner = part_with(child, path, reached);
        any = any || inner;
        if (inner || child.key)
            part.children.push_back(inner ? *std::move(inner) : child);
    }
    return any ? std::optional(std::move(part)) : std::nullopt;
}

// A value of the system database was looked for, and the node's own was not taken.
bool is_passed_over(const TakenNode &node) {
    const bool may_be_elsewhere = std::any_of(mapping_rows().begin(), mapping_rows().end(), [&](const MappingRow &row) {
        return row.native == node.place && !row.getter.empty();
    });
    return may_be_elsewhere && !node.looks.empty() &&
           std::none_of(node.writes.begin(), node.writes.end(),
                        [](const TracedWrite &write) { return write.source == TracedWrite::Source::node; });
}

} // namespace

bool is_reached(const RunReport &run, const TakenNode &node) {
    const bool wrote = std::any_of(node.writes.begin(), node.writes.end(),
                                   [&](const TracedWrite &write) { return asks_for(run.request, write.path); });
    return wrote || std::any_of(mapping_rows().begin(), mapping_rows().end(), [&](const MappingRow &row) {
               return row.native == node.place && asks_for(run.request, row.openconfig);
           });
}

std::optional<RequestNode> reached_part(const RunReport &run, const NativeWalkReport &walk) {
    std::set<std::string> reached;
    for (const TakenNode &node : walk.trace) {
        if (node.leaf && is_reached(run, node))
            reached.insert(node.path);
    }
    return part_with(walk.tree, "", reached);
}

std::map<std::string, std::string> passed_over_leaves(const NativeWalkReport &walk) {
    std::map<std::string, std::string> words;
    for (const TakenNode &node : walk.trace) {
        if (is_passed_over(node))
            words[node.path] = "not used: the value is that of the system database";
    }
    return words;
}

} // namespace ocamp
