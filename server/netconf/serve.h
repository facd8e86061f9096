// NETCONF over SSH in front of a core. The way in for who starts servers; knows no command line.
#pragma once

#include "server/adapter.h"

#include <memory>
#include <string>
#include <vector>

namespace ocamp::netconf {

/// Serves NETCONF on these sockets, which become the adapter's, and on connections that it makes itself to the
/// `call_home` addresses. `core` outlives it. Loads the protocol's modules first: the core must be idle until this
/// returns. Throws InputError, server::StateError and std::system_error.
std::unique_ptr<server::Adapter> serve(server::Core &core, std::vector<server::ListeningSocket> sockets,
                                       const std::vector<std::string> &call_home);

} // namespace ocamp::netconf
