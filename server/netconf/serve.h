// NETCONF over SSH in front of a core. The way in for who starts servers; knows no command line.
#pragma once

#include "server/adapter.h"

#include <memory>

namespace ocamp::netconf {

/// Serves NETCONF on the sockets of the settings and on connections that it makes itself to their `call_home`
/// addresses. `core` outlives it. Loads the protocol's modules first: the core must be idle until this returns. Throws
/// InputError, server::StateError and std::system_error.
std::unique_ptr<server::Adapter> serve(server::Core &core, server::ServeSettings settings);

} // namespace ocamp::netconf
