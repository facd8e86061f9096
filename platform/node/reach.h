// Which part of a native entry a request reaches: of a whole entry, the leaves that its answer could be made of. Knows
// nothing of how it is shown.
#pragma once

#include "node/reader.h"

#include <map>
#include <optional>
#include <string>

namespace ocamp {

/// Whether the node that the walk had in hand answers, or could answer, what the run asked for. Keys that only name the
/// entries of an answer do not.
bool is_reached(const RunReport &run, const TakenNode &node);

/// The entry with the leaves that answer what the run asked for, and the keys on the way to them; none when there are
/// no such leaves.
std::optional<RequestNode> reached_part(const RunReport &run, const NativeWalkReport &walk);

/// Data paths of native leaves that the walk had in hand and did not take the value from, with the words that say so.
std::map<std::string, std::string> passed_over_leaves(const NativeWalkReport &walk);

} // namespace ocamp
