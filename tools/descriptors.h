// The descriptors that a program is started with, by themselves. Knows nothing of what is read or written.
#pragma once

#include <string_view>

namespace ocamp {

/// Opens what is closed of the descriptors 0 to 2, so that no file of a node gets such a number and an error message
/// gets into it. Reading or writing them fails as before. False when standard output was closed: no answer can be given
/// then.
bool occupy_standard_descriptors() noexcept;

/// Writes the whole text; false when that failed, with errno set.
bool write_all(int descriptor, std::string_view text) noexcept;

} // namespace ocamp
