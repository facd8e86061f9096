// Changes native data by hand, configuration and operational data alike: what tests of a node and people at work on one
// need. Knows neither OpenConfig nor the plug-in.
#pragma once

#include "node/leaf_changes.h"
#include "node/node.h"

#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Each is one transaction on a node that was opened for writing, and gives what has become of the leaves. What the
/// native models say against it is thrown as RequestError, and nothing has changed then; FilterError for a path that
/// they do not have.

/// Gives one leaf a value. The path names every list entry on its way by all its keys; entries and containers that are
/// not there are made. Throws FilterError for a path that leads to no leaf, or to a key.
std::vector<LeafChange> set_native(Node &node, std::string_view path, const std::string &value);
/// Puts a document into the data, JSON or XML, the latter bare or in <data>: leaves and entries that are there already
/// get its values, the others are added, and what it does not hold stays. The document is valid by itself. Throws
/// DocumentError when it is none.
std::vector<LeafChange> put_native(Node &node, std::string_view document);
/// Takes away what a path leads to; a key that is left out, or is '*', stands for all entries. RequestError when there is
/// nothing.
std::vector<LeafChange> remove_native(Node &node, std::string_view path);

} // namespace ocamp
