// Changes native data by hand, configuration and operational data alike: what tests of a node and people at work on one
// need. Knows neither OpenConfig nor the plug-in.
#pragma once

#include "node/leaf_changes.h"
#include "node/node.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Called with what becomes of the leaves before anything is stored: what it makes ready to be told needs no memory
/// once the change is made.
using TellChanges = std::function<void(const std::vector<LeafChange> &changed)>;

/// Each is one transaction on a node that was opened for writing. What the native models say against it is thrown as
/// RequestError, and nothing has changed then; PathError for a path that they do not have.

/// Gives one leaf a value. The path names every list entry on its way by all its keys; entries and containers that are
/// not there are made. Throws PathError for a path that leads to no leaf, or to a key.
void set_native(Node &node, std::string_view path, const std::string &value, const TellChanges &tell);
/// Puts what parse_native_document gave into the data: leaves and entries that are there already get its values, the
/// others are added, and what it does not hold stays.
void put_native(Node &node, const YangTree &document, const TellChanges &tell);
/// Takes away what a path leads to; a key that is left out, or is '*', stands for all entries. RequestError when there
/// is nothing.
void remove_native(Node &node, std::string_view path, const TellChanges &tell);

} // namespace ocamp
