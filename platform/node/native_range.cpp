// How ranges are scaled and written. Knows neither requests nor the plug-in.
#include "node/native_range.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>

#include <fmt/format.h>

namespace ocamp {

namespace {

// "0.1 dB" as one fraction digit and " dB"; a unit without such a scale has none.
struct Unit {
    std::size_t digits = 0;
    std::string_view name = {};
};

// Empty for a leaf that states none.
std::string_view units_of(const lysc_node &leaf) {
    const char *units = reinterpret_cast<const lysc_node_leaf &>(leaf).units;
    return units != nullptr ? units : "";
}

Unit unit_of(const lysc_node &leaf) {
    const std::string_view text = units_of(leaf);
    const std::size_t end = text.find(' ');
    const std::string_view scale = text.substr(0, end);
    const bool power_of_ten =
        scale.starts_with("0.") && scale.ends_with('1') && scale.find_first_not_of('0', 2) == scale.size() - 1;
    if (power_of_ten && end != std::string_view::npos)
        return {.digits = scale.size() - 2, .name = text.substr(end + 1)};
    return {.name = text};
}

// A whole number of the smallest steps, with so many fraction digits.
std::string scaled(std::int64_t steps, std::size_t digits) {
    // The smallest number has no positive counterpart.
    const auto size = steps < 0 ? 0 - static_cast<std::uint64_t>(steps) : static_cast<std::uint64_t>(steps);
    std::string text = std::to_string(size);
    if (digits > 0) {
        if (text.size() <= digits)
            text.insert(0, digits + 1 - text.size(), '0');
        text.insert(text.size() - digits, 1, '.');
    }
    return steps < 0 ? "-" + text : text;
}

// The range of a number of at most 32 bits: every bound fits.
const lysc_range *range_of(const lysc_type &type) {
    return is_short_integer(type) ? reinterpret_cast<const lysc_type_num &>(type).range : nullptr;
}

} // namespace

std::optional<std::string> held_range(const lysc_node &leaf) {
    const lysc_range *range = range_of(type_of(leaf));
    if (range == nullptr)
        return std::nullopt;
    const Unit unit = unit_of(leaf);
    std::string text;
    LY_ARRAY_COUNT_TYPE part = 0;
    LY_ARRAY_FOR(range->parts, part) {
        text += fmt::format("{}{} to {}", part == 0 ? "" : " or ", scaled(range->parts[part].min_64, unit.digits),
                            scaled(range->parts[part].max_64, unit.digits));
    }
    return unit.name.empty() ? text : fmt::format("{} {}", text, unit.name);
}

std::optional<std::string> passed_range(const lysc_node &leaf, std::string_view number) {
    if (type_of(leaf).basetype != LY_TYPE_DEC64)
        return std::nullopt;
    const auto &type = reinterpret_cast<const lysc_type_dec &>(type_of(leaf));
    const std::size_t parts = type.range != nullptr ? LY_ARRAY_COUNT(type.range->parts) : 0;
    const std::int64_t smallest = parts != 0 ? type.range->parts[0].min_64 : std::numeric_limits<std::int64_t>::min();
    const std::int64_t largest =
        parts != 0 ? type.range->parts[parts - 1].max_64 : std::numeric_limits<std::int64_t>::max();
    number.remove_prefix(number.starts_with('+') ? 1 : 0);
    double value = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error == std::errc::invalid_argument || end != number.data() + number.size())
        return std::nullopt;
    const double steps = value * std::pow(10.0, type.fraction_digits);
    if (error == std::errc() && steps >= static_cast<double>(smallest) && steps <= static_cast<double>(largest))
        return std::nullopt;
    return fmt::format("{} to {}{}{}", scaled(smallest, type.fraction_digits), scaled(largest, type.fraction_digits),
                       units_of(leaf).empty() ? "" : " ", units_of(leaf));
}

} // namespace ocamp
