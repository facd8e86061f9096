// The YANG modules that the program carries, so that it needs none beside it. Knows nothing of what they say.
#pragma once

#include <span>
#include <string_view>

namespace ocamp {

/// One module, both texts NUL-terminated and as old as the program.
struct YangModule {
    std::string_view name;
    const char *text;
};

/// All that the program carries.
std::span<const YangModule> yang_modules() noexcept;

} // namespace ocamp
