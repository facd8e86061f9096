// What the server's program does in front of a core: adapters that begin, read anew and end, and the signals that ask
// for it. Knows no command line.
#pragma once

#include "server/adapter.h"
#include "server/core.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <csignal>

namespace ocamp {

/// Listening sockets by protocol. One without any serves only those that it calls.
using ServedSockets = std::map<std::string, std::vector<server::ListeningSocket>>;
/// Clients that a protocol calls, by protocol.
using CalledClients = std::map<std::string, std::vector<std::string>>;

/// What adapters serve with besides sockets.
struct ServingSettings {
    CalledClients call_home = {};
    server::TlsSettings tls = {};
};

/// The adapters of one core.
class Serving {
  public:
    /// `core` outlives this. The core of any node must be idle until the first one of a process is made, as that loads
    /// the protocols' modules. Throws as the protocols' serve.
    Serving(server::Core &core, ServedSockets sockets, const ServingSettings &settings = {});

    /// " NAME=ADDRESS:PORT" for each socket.
    const std::string &addresses() const noexcept { return addresses_; }
    /// Users, keys and certificates anew. What goes wrong is logged.
    void reload();
    /// The core has been stopped before.
    void stop();

  private:
    server::Core &core_;
    std::vector<std::unique_ptr<server::Adapter>> adapters_;
    std::string addresses_;
};

/// SIGTERM, SIGINT and SIGHUP: blocked before there are threads, and waited for by one of them.
sigset_t awaited_signals() noexcept;

/// Ends the process when the orderly way takes too long, as behind a disk that hangs. `status`: its exit status.
void end_in_time(int status = 0);

} // namespace ocamp
