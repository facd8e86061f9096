// What became of a tree, leaf by leaf: what edits, readers that watch and the server's feed tell of their work. Knows
// neither edits nor who made them.
#pragma once

#include "yang/tree.h"

#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// A leaf or list entry that is there in one of two trees only, or has another value. A whole new or removed entry is
/// told by itself and leaf by leaf below it. Nothing here is escaped.
struct LeafChange {
    std::string path;                       ///< data path with keys, module names only where the module changes
    bool leaf = true;                       ///< false for a list entry
    bool configuration = true;              ///< false for state
    std::optional<std::string> before = {}; ///< canonical value; none when it is new. Of an entry: an empty text
    std::optional<std::string> after = {};  ///< none when it is gone
    std::string unit = {}; ///< of both values, as the model says it, such as "dB"; empty when it says none

    bool is_new() const noexcept { return !before; }
    bool is_gone() const noexcept { return !after; }
};

/// The unit of a leaf as its model says it, such as "dB"; empty when it says none.
std::string model_unit(const lysc_node &leaf);

/// From `before` to `after`: first what is gone or has another value, in the order of `before`, then what is new, in
/// the order of `after`. Nodes that are there by default are not.
std::vector<LeafChange> leaf_changes(const YangTree &before, const YangTree &after);

/// The same without list entries: what people are told, as the leaves of an entry say that it came or went.
std::vector<LeafChange> changed_leaves(const YangTree &before, const YangTree &after);

/// On one line, escaped: "+ path value" for a new leaf, "- path value" for one that is gone, "~ path old -> new" for a
/// changed one.
std::string line_of(const LeafChange &change);

/// A line for each leaf that differs, in the order of changed_leaves.
std::vector<std::string> changes(const YangTree &before, const YangTree &after);

} // namespace ocamp
