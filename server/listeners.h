// Listening sockets: made for addresses, or inherited from who started the server. Knows no protocol.
#pragma once

#include "seam/input_error.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ocamp::server {

/// An address that cannot be listened on. The text names it and the reason.
class ListenError : public InputError {
  public:
    using InputError::InputError;
};

/// A file descriptor with an owner.
class Descriptor {
  public:
    explicit Descriptor(int number = -1) noexcept : number_(number) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        reset(std::exchange(other.number_, -1));
        return *this;
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const noexcept { return number_; } ///< -1: none
    int release() noexcept { return std::exchange(number_, -1); }
    void reset(int number = -1) noexcept;

  private:
    int number_;
};

/// A non-blocking stream socket that listens.
struct ListeningSocket {
    Descriptor descriptor;
    std::string address; ///< "127.0.0.1:8300", "[::1]:8300": the port is the one that was given when 0 was asked for
};

/// ADDRESS:PORT, with an IPv6 address in brackets; names are resolved, and port 0 takes any that is free. Throws
/// ListenError.
std::vector<ListeningSocket> listen_on(std::string_view address);

/// Sockets that a service manager handed over (LISTEN_FDS), by the names it gave them. The environment is taken away.
/// Call it once, before threads start. Throws ListenError for one that is no listening stream socket.
std::map<std::string, std::vector<ListeningSocket>> inherited_sockets();

/// A connection that was accepted.
struct AcceptedConnection {
    Descriptor descriptor; ///< non-blocking
    std::string address;   ///< of the peer, without port
    std::uint16_t port = 0;
};

/// What waits at a listening socket.
struct Accepted {
    std::optional<AcceptedConnection> connection; ///< none: nobody waits
    bool exhausted = false; ///< somebody waits, and there is no descriptor or memory: let some time pass
};

/// Lets the system end a connection whose peer has gone without a word, as behind a cable that was pulled: silent for a
/// minute, or for a minute with something unacknowledged. What cannot be set is left as it is.
void watch_peer(const Descriptor &connection) noexcept;

/// The next connection, with its peer watched. Never blocks.
Accepted accept_from(const ListeningSocket &socket);

} // namespace ocamp::server
