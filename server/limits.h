// The server's bounds, each with an option of ocampd. Adapters keep those of their door, the core all others.
#pragma once

#include <chrono>
#include <cstddef>

namespace ocamp::server {

/// Defaults are those of docs/server.md.
struct Limits {
    // Kept by the core.
    std::size_t sessions = 256;                 ///< of all users and protocols
    std::size_t sessions_per_user = 64;         ///< of one user
    std::size_t requests_in_flight = 64;        ///< of one session: submitted and not yet answered
    std::chrono::milliseconds change_poll{200}; ///< how often foreign changes are looked for while somebody listens

    // Kept by the adapters.
    std::size_t connections = 512;            ///< of one protocol, logged in or not
    std::size_t connections_per_address = 64; ///< not logged in yet, of one protocol
    std::size_t connections_per_user = 128;   ///< of gNMI; NETCONF's are sessions each
    std::chrono::seconds log_in_time{30};     ///< from the connection to the end of the log-in
    std::chrono::seconds idle_time{0};        ///< without a request; 0: for ever. Who has subscribed is not idle
    std::size_t message_size = std::size_t{4} * 1024 * 1024;    ///< bytes of one message of a client
    std::size_t nesting = 100;                                  ///< levels of a client's document
    std::size_t output_backlog = std::size_t{16} * 1024 * 1024; ///< bytes that a client has not read yet
};

} // namespace ocamp::server
