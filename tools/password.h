// Passwords that are typed. Knows nothing of users.
#pragma once

#include <string>
#include <string_view>

namespace ocamp {

/// The first line of standard input. Throws InputError when there is none.
std::string read_password_line();

/// Asks at the terminal, which does not show what is typed. Throws InputError.
std::string ask_password(std::string_view prompt);

} // namespace ocamp
