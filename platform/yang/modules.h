// The YANG modules that the program carries, so that it needs none beside it. Knows nothing of what they say.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace ocamp {

/// One module, all texts NUL-terminated and as old as the program.
struct YangModule {
    std::string_view name;
    const char *text;            ///< as it was published
    const char *terse = nullptr; ///< the same model without what only people read: a third of the text to compile
};

/// All that the program carries.
std::span<const YangModule> yang_modules() noexcept;

/// Stands for the texts of all of them: another one when any module is another.
std::int64_t modules_fingerprint() noexcept;

/// Schema paths of the nodes that the deviations module takes away, as schema_path writes them.
std::span<const std::string_view> unserved_paths() noexcept;

} // namespace ocamp
