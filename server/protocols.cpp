// The protocols that this program was built with, a row each. Knows them by their names alone.
#include "server/adapter.h"
#include "server/netconf/serve.h"

#include <array>

namespace ocamp::server {

std::span<const Protocol> protocols() noexcept {
    static constexpr std::array<Protocol, 1> rows{{
        {.name = "netconf",
         .default_address = "127.0.0.1:8300",
         .description = "NETCONF over SSH",
         .calls_home = true,
         .serve = netconf::serve},
    }};
    return rows;
}

} // namespace ocamp::server
