// Numbers of what is kept of a line, which a damaged or edited file may hold anything for. Knows nothing of what they
// count.
#pragma once

#include "seam/json_text.h"

#include <cstdint>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

/// A whole number from `lowest` to `highest`: nlohmann converts every number, with an undefined result where it does
/// not fit. Throws JsonError.
template <class Whole>
Whole whole_number(const Json &value, Whole lowest = std::numeric_limits<Whole>::min(),
                   Whole highest = std::numeric_limits<Whole>::max()) {
    const bool fits = value.is_number_unsigned()  ? std::in_range<Whole>(value.get<std::uint64_t>())
                      : value.is_number_integer() ? std::in_range<Whole>(value.get<std::int64_t>())
                                                  : false;
    if (const Whole number = fits ? value.get<Whole>() : Whole{}; fits && number >= lowest && number <= highest)
        return number;
    throw JsonError(
        fmt::format("the state is damaged: {}, expected a whole number from {} to {}", shown(value), lowest, highest));
}

} // namespace ocamp
