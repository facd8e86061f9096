// The protocols that this program was built with, a row each. Knows them by their names alone.
#include "server/adapter.h"
#include "server/gnmi/serve.h"

#include <array>

namespace ocamp::server {

std::span<const Protocol> protocols() noexcept {
    static constexpr std::array<Protocol, 1> rows{{
        {.name = "gnmi",
         .default_address = "127.0.0.1:9339",
         .description = "gNMI over gRPC",
         .calls_home = false,
         .tls = true,
         .serve = gnmi::serve},
    }};
    return rows;
}

} // namespace ocamp::server
