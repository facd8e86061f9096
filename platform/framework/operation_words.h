// The words of the edit operations, in the order of enum yfw_operation. Knows nothing of edits.
#pragma once

#include "yfw_platform.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ocamp {

/// The word of each operation, at its number.
inline constexpr std::array<std::string_view, 5> operation_words{"merge", "replace", "create", "delete", "remove"};

/// "unknown" for a number that is no operation.
inline std::string_view operation_word(std::uint32_t operation) noexcept {
    return operation < operation_words.size() ? operation_words[operation] : "unknown";
}

/// None for a word that names no operation.
inline std::optional<std::uint32_t> operation_of(std::string_view word) noexcept {
    for (std::uint32_t i = 0; i < operation_words.size(); ++i) {
        if (operation_words[i] == word)
            return i;
    }
    return std::nullopt;
}

/// True for delete and remove.
inline bool deletes(std::uint32_t operation) noexcept {
    return operation == YFW_OP_DELETE || operation == YFW_OP_REMOVE;
}

} // namespace ocamp
