// What each role may ask for: the one place where that is said. Knows not how it is carried out.
#pragma once

#include "server/requests.h"

#include <optional>
#include <string>

namespace ocamp::server {

/// The least role that may ask for the operation at all.
Role least_role(const Operation &operation) noexcept;

/// Throws RequestError with access_denied unless the role may ask for it.
void check_role(const Principal &principal, const Operation &operation);

/// What native nodes an edit would change; the data path of one.
using NativeNode = std::optional<std::string>;

/// Throws RequestError with access_denied when somebody who may edit OpenConfig data alone would change a native node.
void check_native_edit(const Principal &principal, const NativeNode &native_node);

} // namespace ocamp::server
