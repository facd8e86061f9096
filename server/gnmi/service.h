// The service itself, behind a small face: gRPC's headers are dear, and stay in service.cpp. Knows how RPCs come and
// go, and hands what is in them over.
#pragma once

#include "server/core.h"
#include "server/gnmi/certificate.h"
#include "server/listeners.h"

#include <chrono>
#include <functional>
#include <memory>

namespace ocamp::gnmi {

/// gRPC's server with the service, for connections that somebody else accepts. Safe from any thread.
class Service {
  public:
    /// Called from any thread when an RPC of a peer has proved its user. False: the user may have no more connections.
    using LoggedIn = std::function<bool(const server::Peer &peer, const std::string &user)>;

    /// `core` and `certificates` outlive it. Without certificates, which NULL means, there is no TLS.
    Service(server::Core &core, const Certificates *certificates, LoggedIn logged_in);
    ~Service();
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    /// Serves a connection: the descriptor is the service's from now on.
    void serve(server::Descriptor connection, int listener);
    /// The users have been read anew: streams of those who are gone or have another role now end.
    void users_changed();
    /// Ends all RPCs and connections.
    void stop(std::chrono::milliseconds limit);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ocamp::gnmi
