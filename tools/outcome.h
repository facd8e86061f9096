// What the one who runs a program has been told of its outcome. Knows no command.
#pragma once

#include <optional>

namespace ocamp {

/// The answer has got out, or the message of what failed. What goes wrong from here on, while the program cleans up,
/// changes nothing any more: the process ends with this status.
void outcome_is_told(int status) noexcept;

/// The status that was told, if one was.
std::optional<int> told_outcome() noexcept;

} // namespace ocamp
