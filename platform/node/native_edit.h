// Carries a native edit out on the native configuration. Knows neither OpenConfig's model nor the plug-in.
#pragma once

#include "framework/output_tree.h"
#include "yang/tree.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Data paths of the configuration entries that stand for what an OpenConfig path names.
using EntriesBehind = std::function<std::vector<std::string>(const std::string &openconfig_path)>;

/// Changes `running` as the edit says, node after node. An edit of a list entry that is given without its keys, which
/// can only delete, is an edit of exactly those entries that `entries_behind` gives for the source of the edit. Throws
/// RequestError with the OpenConfig path that a refused node comes from.
void apply_native_edit(const Schema &schema, const std::vector<OutputNode> &edit, const EntriesBehind &entries_behind,
                       YangTree &running);

} // namespace ocamp
