// What a native leaf can hold, told to a client in the unit of the OpenConfig leaf that is mapped to it. The unit of
// the native leaf, such as "0.1 dB", says the scale. Knows neither requests nor the plug-in.
#pragma once

#include "yang/schema.h"

#include <optional>
#include <string>
#include <string_view>

namespace ocamp {

/// The range of a whole number in the unit behind its scale: "0.0 to 40.0 dB" for 0..400 of "0.1 dB", "1 to 45 minutes"
/// for 1..45 of "minutes". None for a leaf of another type and for one whose type has no range of its own.
std::optional<std::string> held_range(const lysc_node &leaf);

/// The range of a decimal leaf of any model when the text is a number outside it: "0.00 to 92233720368547758.07 dB".
/// None for every other text or leaf.
std::optional<std::string> passed_range(const lysc_node &leaf, std::string_view number);

} // namespace ocamp
