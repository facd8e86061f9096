// The password of a user. Knows no connection.
#pragma once

#include "gnmi/options.h"

#include <optional>
#include <string>

namespace ocamp::gnmi_client {

/// From the file, the environment or the terminal, in this order; none when there is no user. Throws InputError when it
/// is nowhere.
std::optional<std::string> password_of(const Connection &connection);

} // namespace ocamp::gnmi_client
