// Who asks: users, their roles, and the sessions that they have. Knows neither protocols nor requests.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ocamp::server {

/// What a user may do; each may do what those before it may.
enum class Role {
    reader, ///< reads, validates, looks at sessions and locks
    // NOLINTNEXTLINE(readability-identifier-naming): without the underscore it is a keyword
    operator_, ///< edits, copies and commits OpenConfig data, and takes locks of its own
    admin      ///< edits native data and ends other sessions
};

/// "reader", "operator", "admin".
std::string_view word_of(Role role) noexcept;
/// None for another word.
std::optional<Role> role_of(std::string_view word) noexcept;

/// A user who has proved who it is.
struct Principal {
    std::string user;
    Role role = Role::reader;
};

/// Where a client came from.
struct Peer {
    std::string protocol; ///< "netconf", "gnmi"
    std::string address;  ///< without the port
    std::uint16_t port = 0;
};

/// What is counted and slowed as one client: an IPv4 address itself, of an IPv6 address the network of 64 bits that one
/// subscriber has for its own, such as "2001:db8:0:1::/64" or "fe80::/64%eth0". What is no address stays as it is.
std::string network_of(const std::string &address);

/// Tells sessions of one server run apart; the first is 1. What has no session of its own is 0.
using SessionId = std::uint32_t;
inline constexpr SessionId no_session = 0;

/// Why a session ended.
enum class SessionEnd {
    closed,  ///< the client asked for it
    killed,  ///< another session asked for it
    dropped, ///< the client vanished
    timeout, ///< the client was silent for too long
    refused, ///< the client broke the protocol or a limit
    shutdown ///< the server ends
};

/// "closed", "killed", "dropped", "timeout", "refused", "shutdown".
std::string_view word_of(SessionEnd end) noexcept;

/// One session, as it was when somebody asked.
struct SessionInfo {
    SessionId id = no_session;
    Principal principal;
    Peer peer;
    std::chrono::system_clock::time_point since;
};

/// Called once when the core ends a session by itself: killed or shutdown, and by whom (no_session: the server, as when
/// its user is gone). From
/// any thread, and never under a lock; it only hands over to the adapter, which then closes its connection. The session
/// is gone for the core by then: close_session need not be called any more, and does nothing.
using EndOfSession = std::function<void(SessionEnd end, SessionId by)>;

} // namespace ocamp::server
