// What a protocol brings, and what ocampd gives it. Knows no protocol.
#pragma once

#include "server/listeners.h"

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp::server {

class Core;

/// Serves one protocol on threads of its own from the end of its constructor to stop().
class Adapter {
  public:
    virtual ~Adapter() = default;

    /// SIGHUP: keys and certificates are read anew; users have been. Logs what goes wrong, and goes on with the old
    /// ones.
    virtual void reload() = 0;
    /// Accepts no more, ends its connections, and returns when its threads have ended, `limit` from now at the latest.
    /// The core has ended its sessions before.
    virtual void stop(std::chrono::milliseconds limit) = 0;
};

/// How a protocol over TLS proves who it is, and asks clients to. Paths of PEM files.
struct TlsSettings {
    std::string certificate = {}, key = {}; ///< both empty: the adapter makes its own
    std::string client_ca = {};             ///< signs client certificates; empty: none are asked for
    bool insecure = false;                  ///< no TLS, on loopback only
};

/// What an adapter serves with.
struct ServeSettings {
    std::vector<ListeningSocket> sockets;
    std::vector<std::string> call_home; ///< addresses that it connects to; only for a protocol that calls home
    TlsSettings tls = {};               ///< only for a protocol over TLS
};

/// A protocol that ocampd can serve.
struct Protocol {
    std::string_view name;            ///< also its option's and its inherited sockets': "netconf"
    std::string_view default_address; ///< "127.0.0.1:8300"
    std::string_view description;     ///< of its option
    bool calls_home;                  ///< has the option --NAME-call-home
    bool tls;                         ///< has the options of TlsSettings
    /// `core` outlives the adapter. Throws InputError, StateError and std::system_error.
    std::unique_ptr<Adapter> (*serve)(Core &core, ServeSettings settings);
};

/// All that this program was built with, one row each in protocols.cpp, which is the program's.
std::span<const Protocol> protocols() noexcept;

} // namespace ocamp::server
