// gNMI in front of a core. The way in for who starts servers; knows no command line.
#pragma once

#include "server/adapter.h"

#include <memory>

namespace ocamp::gnmi {

/// Serves gNMI on the sockets of the settings. `core` outlives it. Without TLS on loopback only. Throws InputError,
/// server::StateError and std::system_error.
std::unique_ptr<server::Adapter> serve(server::Core &core, server::ServeSettings settings);

} // namespace ocamp::gnmi
