// Who is at the other end of a connection, from the words that gRPC has for it. Knows no RPC.
#pragma once

#include "server/identity.h"

#include <string_view>

namespace ocamp::gnmi {

/// Of "ipv4:127.0.0.1:5000" or "ipv6:%5Bfe80::1%252%5D:5000", as server::AcceptedConnection writes the address:
/// "fe80::1%eth0". What is neither is the address itself.
server::Peer peer_of(std::string_view uri);

} // namespace ocamp::gnmi
