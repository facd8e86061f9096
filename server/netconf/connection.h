// One SSH connection of a client: key exchange, log-in, the channel with its session, and the end. Knows libssh, and no
// message of NETCONF's.
#pragma once

#include "server/core.h"
#include "server/listeners.h"
#include "server/netconf/mailbox.h"
#include "server/netconf/session.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <libssh/callbacks.h>
#include <libssh/libssh.h>
#include <libssh/server.h>

namespace ocamp::netconf {

/// What all connections share; outlives them.
struct Door {
    const Surroundings &surroundings;
    ssh_bind bind; ///< with the host key
};

/// All in one thread. Made by accept() only, for it has to be shared with answers on their way.
class Connection : public std::enable_shared_from_this<Connection> {
  public:
    using Clock = std::chrono::steady_clock;

    /// Takes the connection over, whoever made it. Throws std::runtime_error when libssh refuses it.
    static std::shared_ptr<Connection> accept(const Door &door, server::AcceptedConnection accepted);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// For poll().
    int descriptor() const noexcept { return descriptor_; }
    short wanted_events() const noexcept;

    /// Does what there is to do: `ready` when poll() has said something of the descriptor.
    void run(bool ready, Clock::time_point now);
    /// When run() is to be called at the latest; none: not before something happens.
    std::optional<Clock::time_point> deadline() const noexcept;

    /// True when nothing is left but to take it apart.
    bool finished() const noexcept { return finished_; }
    bool logged_in() const noexcept { return principal_.has_value(); }
    const server::Peer &peer() const noexcept { return peer_; }
    /// Ends it as soon as what is to be sent is sent, `grace` from now at the latest.
    void close(server::SessionEnd reason, std::chrono::milliseconds grace);

  private:
    Connection(const Door &door, server::AcceptedConnection accepted);

    void exchange_keys();
    void take_messages();
    void take(ssh_message message);
    void take_log_in(ssh_message message);
    void take_password(ssh_message message);
    void take_public_key(ssh_message message);
    void open_channel(ssh_message message);
    void start_session(ssh_message message);
    void answer_log_in(const server::LogInAnswer &answer);
    void refuse_log_in(ssh_message message);
    void let_in(const server::Principal &principal, ssh_message message);
    void pump(bool ready);
    bool read_channel();
    bool write_channel();
    bool can_write() const noexcept;
    void check_times(Clock::time_point now);
    void drop(std::string_view reason);

    const Door &door_;
    server::Peer peer_;
    int descriptor_; // libssh's
    std::unique_ptr<ssh_session_struct, void (*)(ssh_session)> session_;
    std::unique_ptr<ssh_event_struct, void (*)(ssh_event)> event_;
    bool keys_exchanged_ = false;

    // An attempt to log in whose answer is on its way.
    std::unique_ptr<ssh_message_struct, void (*)(ssh_message)> attempt_;
    unsigned attempts_ = 0;
    std::optional<server::Principal> principal_;

    ssh_channel channel_ = nullptr; // the session's
    ssh_channel_callbacks_struct callbacks_ = {};
    std::shared_ptr<Session> netconf_;
    bool held_back_ = false;   // bytes of the client's may be in the channel that the session has not taken
    bool input_ended_ = false; // the client says nothing more, and may wait for answers
    bool channel_closed_ = false;
    std::optional<Clock::time_point> close_by_;
    bool finished_ = false;
    Clock::time_point since_ = Clock::now();
};

} // namespace ocamp::netconf
