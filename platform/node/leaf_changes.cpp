// How trees are compared leaf by leaf. Knows no model.
#include "node/leaf_changes.h"

#include "seam/text.h"

#include <unordered_map>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct Leaf {
    std::string path, value, unit;
};

// The leaves of a tree in their order, and where each stands in it.
struct Leaves {
    std::vector<Leaf> order;
    std::unordered_map<std::string, std::size_t> places;

    explicit Leaves(const YangTree &tree) { add(tree.first()); }

    void add(const lyd_node *first) {
        for (const lyd_node *node = first; node != nullptr; node = node->next) {
            if (is_implicit(*node))
                continue;
            if (is_leaf(*node->schema)) {
                const char *unit = reinterpret_cast<const lysc_node_leaf *>(node->schema)->units;
                order.push_back({data_path(*node), leaf_text(*node), unit != nullptr ? unit : ""});
                places.emplace(order.back().path, order.size() - 1);
            }
            add(lyd_child(node));
        }
    }

    const Leaf *find(const std::string &path) const {
        const auto place = places.find(path);
        return place != places.end() ? &order[place->second] : nullptr;
    }
};

} // namespace

std::vector<LeafChange> leaf_changes(const YangTree &before, const YangTree &after) {
    const Leaves old_leaves(before), new_leaves(after);
    std::vector<LeafChange> changed;
    for (const Leaf &leaf : old_leaves.order) {
        const Leaf *now = new_leaves.find(leaf.path);
        if (now == nullptr)
            changed.push_back({leaf.path, leaf.value, std::nullopt, leaf.unit});
        else if (now->value != leaf.value)
            changed.push_back({leaf.path, leaf.value, now->value, leaf.unit});
    }
    for (const Leaf &leaf : new_leaves.order) {
        if (old_leaves.find(leaf.path) == nullptr)
            changed.push_back({leaf.path, std::nullopt, leaf.value, leaf.unit});
    }
    return changed;
}

std::string line_of(const LeafChange &change) {
    const std::string path = escaped(change.path);
    if (change.before && change.after)
        return fmt::format("~ {} {} -> {}", path, escaped(*change.before), escaped(*change.after));
    return fmt::format("{} {} {}", change.after ? '+' : '-', path,
                       escaped(change.after.value_or(change.before.value_or(""))));
}

std::vector<std::string> changes(const YangTree &before, const YangTree &after) {
    std::vector<std::string> lines;
    for (const LeafChange &change : leaf_changes(before, after))
        lines.push_back(line_of(change));
    return lines;
}

} // namespace ocamp
