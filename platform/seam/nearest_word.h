// Which known word someone may have meant. Knows nothing of what the words stand for.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ocamp {

/// The known word that takes the fewest mistakes of typing to become `word`: a character missing, too many, wrong, or
/// two neighbours exchanged. None when even that one takes more than a third of its length, or when `word` is far too
/// long to be any of them. Of words equally near, the first.
std::optional<std::string> nearest_word(std::string_view word, std::span<const std::string> known);

} // namespace ocamp
