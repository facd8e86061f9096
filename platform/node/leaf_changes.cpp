// How trees are compared leaf by leaf. Knows neither edits nor who made them.
#include "node/leaf_changes.h"

#include "seam/text.h"

#include <unordered_map>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Leaves and list entries of a tree in its order.
class Content {
  public:
    explicit Content(const YangTree &tree) { add(tree.first()); }

    const std::vector<LeafChange> &in_order() const noexcept { return order_; }
    // NULL when the tree has nothing there.
    const LeafChange *find(const std::string &path) const {
        const auto found = by_path_.find(path);
        return found == by_path_.end() ? nullptr : &order_[found->second];
    }

  private:
    // `after` holds the value until the trees have been compared.
    void add(const lyd_node *first) {
        for (const lyd_node *node = first; node != nullptr; node = node->next) {
            if (is_implicit(*node))
                continue;
            const bool leaf = is_leaf(*node->schema);
            if (leaf || is_list(*node->schema)) {
                order_.push_back({.path = data_path(*node),
                                  .leaf = leaf,
                                  .configuration = is_configuration(*node->schema),
                                  .after = leaf ? leaf_text(*node) : std::string(),
                                  .unit = leaf ? model_unit(*node->schema) : std::string()});
                by_path_.emplace(order_.back().path, order_.size() - 1);
            }
            add(lyd_child(node));
        }
    }

    std::vector<LeafChange> order_;
    std::unordered_map<std::string, std::size_t> by_path_;
};

} // namespace

std::string model_unit(const lysc_node &leaf) {
    const char *unit = reinterpret_cast<const lysc_node_leaf &>(leaf).units;
    return unit != nullptr ? unit : "";
}

std::vector<LeafChange> leaf_changes(const YangTree &before, const YangTree &after) {
    const Content earlier(before), later(after);
    std::vector<LeafChange> changes;
    for (const LeafChange &old : earlier.in_order()) {
        const LeafChange *now = later.find(old.path);
        if (now != nullptr && now->after == old.after)
            continue;
        LeafChange &change = changes.emplace_back(old);
        change.before = old.after;
        change.after = now != nullptr ? now->after : std::nullopt;
    }
    for (const LeafChange &now : later.in_order()) {
        if (earlier.find(now.path) == nullptr)
            changes.push_back(now);
    }
    return changes;
}

std::vector<LeafChange> changed_leaves(const YangTree &before, const YangTree &after) {
    std::vector<LeafChange> changes = leaf_changes(before, after);
    std::erase_if(changes, [](const LeafChange &change) { return !change.leaf; });
    return changes;
}

std::string line_of(const LeafChange &change) {
    const std::string path = escaped(change.path);
    if (change.is_gone())
        return fmt::format("- {} {}", path, escaped(*change.before));
    if (change.is_new())
        return fmt::format("+ {} {}", path, escaped(*change.after));
    return fmt::format("~ {} {} -> {}", path, escaped(*change.before), escaped(*change.after));
}

std::vector<std::string> changes(const YangTree &before, const YangTree &after) {
    std::vector<std::string> lines;
    for (const LeafChange &change : changed_leaves(before, after))
        lines.push_back(line_of(change));
    return lines;
}

} // namespace ocamp
