// The check of options that take a whole number: without it CLI11 wraps what is negative or too large. Knows no option.
#pragma once

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

#include <fmt/format.h>

namespace ocamp {

/// For CLI::Option::check: a complaint about a text that is no number from `Lowest` to `Highest`, or nothing.
template <std::uint64_t Highest = std::numeric_limits<std::uint64_t>::max(), std::uint64_t Lowest = 0>
std::string refuse_no_whole_number(const std::string &text) {
    std::uint64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc{} && stop == end && number >= Lowest && number <= Highest)
        return {};
    return fmt::format("'{}', expected a whole number from {} to {}", text, Lowest, Highest);
}

} // namespace ocamp
