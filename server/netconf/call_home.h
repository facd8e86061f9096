// Connections that the server makes itself, to clients that wait for it (RFC 8071). Knows not what is said on them.
#pragma once

#include "server/event_log.h"
#include "server/listeners.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

namespace ocamp::netconf {

/// Keeps one connection to each address: what fails or ends is tried again, after one second first and twice as long
/// each time, up to a minute. All in one thread.
class CallHome {
  public:
    using Clock = std::chrono::steady_clock;

    /// ADDRESS:PORT each, with an IPv6 address in brackets; names are resolved here and now. Throws ListenError.
    CallHome(const std::vector<std::string> &addresses, server::EventLog &log);

    /// Whom to call; the number of the list.
    std::size_t size() const noexcept { return clients_.size(); }
    /// Adds to what poll() watches.
    void watch(std::vector<pollfd> &watched) const;
    /// When there is something to do at the latest.
    std::optional<Clock::time_point> deadline() const noexcept;

    /// A connection that has been made, and to which client.
    struct Made {
        server::AcceptedConnection connection;
        std::size_t client;
    };
    /// Begins what is due, and gives what has come about.
    std::vector<Made> run(Clock::time_point now);
    /// The connection to that client has ended; `served`: somebody has logged in on it.
    void ended(std::size_t client, bool served, Clock::time_point now);

  private:
    struct Client {
        std::string address;
        sockaddr_storage place = {};
        socklen_t place_size = 0;
        server::Descriptor connecting = server::Descriptor();
        bool connected = false;
        Clock::time_point next = {};
        std::chrono::seconds pause{1};
    };

    void begin(Client &client, Clock::time_point now);
    void fail(Client &client, int error, Clock::time_point now);
    static void pause(Client &client, Clock::time_point now);

    server::EventLog &log_;
    std::vector<Client> clients_;
};

} // namespace ocamp::netconf
