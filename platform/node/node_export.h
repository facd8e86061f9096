// A node as a folder of documents, from which the same node can be made again. Knows neither the plug-in nor
// OpenConfig.
#pragma once

#include "node/node.h"

#include <filesystem>

namespace ocamp {

/// Writes what Node::init takes: native/running.json, a file in native/ for each module with operational data, and
/// sysdb/items.json. The folder, which may exist but must be empty, is there afterwards with all of it or as it was.
/// Throws NodeError for a folder that is no room for it, DamageError for a node with a record that cannot be decoded,
/// and std::system_error.
void export_node(Node &node, const std::filesystem::path &folder);

} // namespace ocamp
