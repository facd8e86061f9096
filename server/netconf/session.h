// One NETCONF session: bytes of a client in, bytes for it out, requests to the core between. Knows no transport.
#pragma once

#include "server/core.h"
#include "server/netconf/framing.h"
#include "server/netconf/mailbox.h"
#include "server/netconf/operations.h"
#include "server/netconf/request.h"
#include "server/netconf/statistics.h"

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ocamp::netconf {

/// What all sessions of a server share. All of it outlives them, and is used in one thread but for the core.
struct Surroundings {
    server::Core &core;
    std::shared_ptr<Mailbox> mailbox; ///< of that thread
    Statistics &statistics;
};

/// From the client's first byte on a channel to the end. Made by start() only, for it has to be shared with the core's
/// answers on their way. All in one thread.
class Session : public std::enable_shared_from_this<Session> {
  public:
    using Clock = std::chrono::steady_clock;

    /// Opens a session of the core and says hello. Throws server::SessionRefused.
    static std::shared_ptr<Session> start(const Surroundings &surroundings, const server::Principal &principal,
                                          const server::Peer &peer);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// Bytes of the client. What they ask for is under way when this returns, or waits for its turn.
    void receive(std::string_view bytes);
    /// False while so much waits that the client's bytes had better wait, too.
    bool wants_input() const noexcept;

    /// True when nothing that the client has asked for is left to do.
    bool is_quiet() const noexcept { return !current_ && waiting_.empty(); }

    /// What is to be sent, from its beginning. Empty for nothing.
    std::string_view output() const noexcept { return std::string_view(output_).substr(sent_); }
    /// That many bytes of it have been sent.
    void sent(std::size_t bytes);

    /// True when nothing more will come but what is in output().
    bool ended() const noexcept { return ended_; }
    /// Ends the session, which the client left or overstayed. Nothing for one that has ended.
    void end(server::SessionEnd reason);

    /// Whether the client has said hello.
    bool greeted() const noexcept { return greeted_; }
    /// Since when nothing has been asked; none while something is under way, or the client waits for events.
    std::optional<Clock::time_point> idle_since() const noexcept;

    server::SessionId id() const noexcept { return id_; }

  private:
    Session(const Surroundings &surroundings, const server::Principal &principal, const server::Peer &peer);

    void greet(const std::string &message);
    void next();
    void start_request(std::string message);
    void answer(server::Outcome outcome);
    void reply(std::string_view content);
    void reply_errors(const std::vector<RpcError> &errors);
    void subscribe(server::ReadFilter filter);
    void notify(const server::Event &event);
    void fail_stream(const FramingError &error);
    void send(std::string_view message);
    void refuse_client(std::string_view reason);
    MessageLimits message_limits() const noexcept;
    bool has_room() const noexcept;

    Surroundings surroundings_;
    server::Principal principal_;
    server::Peer peer_;
    server::SessionId id_ = server::no_session;
    MessageReader reader_;
    Framing framing_ = Framing::end_of_message; // of what is sent
    bool greeted_ = false;
    bool ended_ = false;
    std::deque<std::string> waiting_; // messages whose turn has not come
    std::size_t waiting_bytes_ = 0;
    std::optional<Request> current_;                 // under way
    std::optional<Task> task_;                       // of it
    std::optional<server::ReadFilter> event_filter_; // of the subscription; none: not subscribed
    server::Subscription subscription_;
    std::string output_;
    std::size_t sent_ = 0; // of output_
    Clock::time_point last_request_ = Clock::now();
};

} // namespace ocamp::netconf
