// What became of the leaves of a tree: what edits and readers that watch tell of their work. Knows no model.
#pragma once

#include "yang/tree.h"

#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// One leaf with what it held and what it holds. Nothing here is escaped.
struct LeafChange {
    std::string path;                  ///< data path with keys
    std::optional<std::string> before; ///< none for a leaf that is new
    std::optional<std::string> after;  ///< none for a leaf that is gone
    std::string unit;                  ///< of both values, as the model says it, such as "dB"; empty when it says none
};

/// The leaves that differ: those that are gone or changed in the order of the first tree, then those that are new in
/// the order of the second. What libyang added by default is no leaf here.
std::vector<LeafChange> leaf_changes(const YangTree &before, const YangTree &after);

/// On one line, escaped: "+ path value" for a new leaf, "- path value" for one that is gone, "~ path old -> new" for a
/// changed one.
std::string line_of(const LeafChange &change);

/// A line for each leaf that differs, in the order of leaf_changes.
std::vector<std::string> changes(const YangTree &before, const YangTree &after);

} // namespace ocamp
