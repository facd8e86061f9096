// The connections that clients have, beside the service that serves them: how many there may be, and how long one may
// stay without a user. Knows no RPC; sees a connection's end by a descriptor of its own.
#pragma once

#include "server/identity.h"
#include "server/limits.h"
#include "server/listeners.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include <poll.h>

namespace ocamp::gnmi {

/// logged_in() and users_changed() may be called from any thread, all else from one.
class Connections {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Connections(const server::Limits &limits) : limits_(limits) {}

    /// What became of a connection that came.
    enum class Added {
        in,
        in_place_of_another, ///< the oldest without a user was ended for it, of its address or of any
        full,                ///< all have users: it is not kept
        exhausted            ///< no descriptor is left: it is not kept
    };
    Added add(const server::AcceptedConnection &accepted, Clock::time_point now);
    /// An RPC of this peer has proved its user. The connection counts for the first who has; false when that one has as
    /// many as one may have: the connection stays one without a user.
    bool logged_in(const server::Peer &peer, const std::string &user);

    /// Descriptors have run out: ends some of the oldest without a user.
    void make_room();
    /// The users have been read anew. Connections lose those who are gone; one that has none left has to prove one
    /// anew.
    void users_changed(const std::function<bool(const std::string &user)> &is_there, Clock::time_point now);

    /// Adds what tells the end of each connection; drop_ended() takes the same entries back.
    void watch(std::vector<pollfd> &watched) const;
    void drop_ended(std::span<const pollfd> watched);
    /// Bytes that a connection without a user may send: a handshake, and headers of many RPCs.
    static constexpr std::uint64_t most_bytes_without_user = std::uint64_t{2} * 1024 * 1024;
    /// Ends those that have had no user for Limits::log_in_time, or have sent more than they may.
    void end_late(Clock::time_point now);
    /// When the next one is late; the maximum for none.
    Clock::time_point next_end() const;

    std::size_t count() const;

  private:
    struct Held {
        server::Descriptor descriptor; // a second one of the connection's
        std::string address;
        std::string network; // of the address
        std::uint16_t port;
        Clock::time_point late;
        std::vector<std::string> users = {}; // who have been proved; it counts for the first
        bool ended = false;                  // shut down here, and soon gone
    };

    bool make_room_for(const std::string &network);
    static void end(Held &held) noexcept;
    static bool has_sent_too_much(const Held &held) noexcept;

    const server::Limits &limits_;
    mutable std::mutex mutex_; // guards what follows
    std::vector<Held> all_;    // the oldest first
};

} // namespace ocamp::gnmi
