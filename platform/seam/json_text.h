// JSON documents of this program's own, read strictly. Knows nothing of what is in them.
#pragma once

#include "seam/json_error.h"

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace ocamp {

/// Members in the order of the document.
using Json = nlohmann::ordered_json;

/// Refuses what the library itself would take: a member given twice, a zero byte, nesting deeper than the limit, and
/// objects of more than 500 members.
/// Throws JsonError.
Json parse_json(std::string_view text, std::size_t nesting_limit);

/// A value as an error shows it: whole when short.
std::string shown(const Json &value);

} // namespace ocamp
