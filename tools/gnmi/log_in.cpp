// Where passwords come from.
#include "gnmi/log_in.h"

#include "password.h"
#include "seam/input_error.h"
#include "text_io.h"

#include <algorithm>
#include <cstdlib>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp::gnmi_client {

namespace {

constexpr const char *password_variable = "OCAMP_GNMI_PASSWORD";

std::string first_line(std::string text) {
    text.resize(std::min(text.find('\n'), text.size()));
    if (text.ends_with('\r'))
        text.pop_back();
    return text;
}

} // namespace

// Never from the command line, which every process may read.
std::optional<std::string> password_of(const Connection &connection) {
    if (connection.username.empty())
        return std::nullopt;
    if (!connection.password_file.empty())
        return first_line(read_input(connection.password_file));
    if (const char *password = std::getenv(password_variable); password != nullptr)
        return password;
    if (isatty(STDIN_FILENO) != 0)
        return ask_password(fmt::format("Password of {}: ", connection.username));
    throw InputError(fmt::format("no password of {}, expected --password-file, {} or a terminal", connection.username,
                                 password_variable));
}

} // namespace ocamp::gnmi_client
