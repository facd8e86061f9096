// JSON documents of this program's own, read strictly. Knows nothing of what is in them.
#pragma once

#include "sysdb/json_error.h"

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace ocamp {

/// Members in the order of the document.
using Json = nlohmann::ordered_json;

/// Refuses what the library itself would take: a member given twice, a zero byte, and nesting deeper than the limit.
/// Throws JsonError.
Json parse_json(std::string_view text, int nesting_limit);

/// A value as an error shows it: whole when short.
std::string shown(const Json &value);

} // namespace ocamp
