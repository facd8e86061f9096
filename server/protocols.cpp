// The protocols that this program was built with, a row each. Knows them by their names alone.
#include "server/adapter.h"
#include "server/gnmi/serve.h"
#include "server/netconf/serve.h"

namespace ocamp::server {

std::span<const Protocol> protocols() noexcept {
    static constexpr Protocol rows[] = {
        {.name = "netconf",
         .default_address = "127.0.0.1:8300",
         .description = "NETCONF over SSH",
         .calls_home = true,
         .tls = false,
         .serve = netconf::serve},
        {.name = "gnmi",
         .default_address = "127.0.0.1:9339",
         .description = "gNMI over gRPC",
         .calls_home = false,
         .tls = true,
         .serve = gnmi::serve},
    };
    return rows;
}

} // namespace ocamp::server
