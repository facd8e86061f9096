// Programs of this project beside the one that runs. Knows none of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Ends this program by becoming the one of that name in the same folder. `what` it is stands in messages. Throws
/// InputError when there is none.
[[noreturn]] void become_program(const std::string &name, std::string_view what, std::vector<std::string> arguments);

} // namespace ocamp
