// What ocamp does when memory runs out; linking it in is all it takes, but for this. Knows no command.
#pragma once

namespace ocamp {

/// The answer has got out, or the message of what failed. Memory that runs out from here on, while the program cleans
/// up, changes nothing any more: the process ends with this status.
void outcome_is_told(int status) noexcept;

} // namespace ocamp
