// The line-card slots of this platform, as the keys of amplifiers and supervisory channels name them. Knows neither the
// node's data nor requests.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ocamp {

/// Why no entry of that key can ever be there: it names a slot that the platform does not have. None for a key of one
/// of its slots, filled or not, and for a key that names no slot at all.
std::optional<std::string> why_never_there(std::string_view key);

/// True for a key as amplifiers have them, 0/SLOT-AMP-PRE or 0/SLOT-AMP-BST; the platform need not have the slot.
bool is_amplifier_name(std::string_view key);

} // namespace ocamp
