// What the beginning of a data path can become: nodes of a model, and entries by the keys that a node has. Knows no
// command line.
#pragma once

#include "yang/schema.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// The keys of the entries at a data path such as /optical-amplifier/amplifiers/amplifier, of lists with one key.
using EntryKeys = std::function<std::vector<std::string>(const std::string &path)>;

/// Whole paths that begin with `begun`, in model order: those of the nodes one step further, with a slash at the end
/// when more may follow, and of a list also one for each entry that `keys` gives. Nodes that the device does not serve
/// are left out. Empty when the path leads nowhere.
std::vector<std::string> completed_paths(const Schema &schema, std::string_view begun, const EntryKeys &keys);

} // namespace ocamp
