// How keys name slots. Knows neither the node's data nor requests.
#include "node/slots.h"

#include <charconv>
#include <initializer_list>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr unsigned first_slot = 1;
constexpr unsigned last_slot = 3;

// The number between the two texts at the beginning of the key, such as 1 in "0/1-AMP-PRE".
std::optional<unsigned> number_between(std::string_view key, std::string_view before, std::string_view after) {
    if (!key.starts_with(before))
        return std::nullopt;
    key.remove_prefix(before.size());
    unsigned number = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
    // A number that is too large for any slot is one all the same.
    if (error == std::errc::invalid_argument || !std::string_view(end, key.data() + key.size()).starts_with(after))
        return std::nullopt;
    return error == std::errc() ? number : last_slot + 1;
}

} // namespace

std::optional<std::string> why_never_there(std::string_view key) {
    std::optional<unsigned> slot = number_between(key, "0/", "-AMP-");
    if (!slot)
        slot = number_between(key, "Optics0/", "/0/");
    if (!slot || (*slot >= first_slot && *slot <= last_slot))
        return std::nullopt;
    return fmt::format("this platform has slots {} to {}", first_slot, last_slot);
}

bool is_amplifier_name(std::string_view key) {
    return number_between(key, "0/", "-AMP-") && (key.ends_with("-AMP-PRE") || key.ends_with("-AMP-BST")) &&
           key.find("-AMP-") + std::string_view("-AMP-PRE").size() == key.size();
}

} // namespace ocamp
