// How ocamp goes on as the server.
#pragma once

#include <string>
#include <vector>

namespace ocamp {

/// This process becomes ocampd with these arguments. Throws InputError when there is none beside this program.
[[noreturn]] void become_server(std::vector<std::string> arguments);

} // namespace ocamp
