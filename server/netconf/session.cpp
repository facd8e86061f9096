// How a session goes. Knows no transport.
#include "server/netconf/session.h"

#include "server/netconf/notifications.h"
#include "yang/error.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

// What an exception while a reply is made means to the client.
RpcError error_of(const std::exception &error) {
    if (dynamic_cast<const YangError *>(&error) != nullptr || dynamic_cast<const InputError *>(&error) != nullptr)
        return {.tag = ErrorTag::invalid_value, .message = error.what()};
    return {.tag = ErrorTag::operation_failed, .message = error.what()};
}

} // namespace

Session::Session(const Surroundings &surroundings, const server::Principal &principal, const server::Peer &peer)
    : surroundings_(surroundings), principal_(principal), peer_(peer),
      reader_(surroundings.core.limits().message_size) {}

std::shared_ptr<Session> Session::start(const Surroundings &surroundings, const server::Principal &principal,
                                        const server::Peer &peer) {
    std::shared_ptr<Session> session(new Session(surroundings, principal, peer));
    const std::weak_ptr<Session> weak = session;
    session->id_ = surroundings.core.open_session(
        principal, peer, [weak, mailbox = surroundings.mailbox](server::SessionEnd reason, server::SessionId) {
            mailbox->post([weak, reason] {
                if (const auto still = weak.lock())
                    still->end(reason);
            });
        });
    Statistics &statistics = surroundings.statistics;
    ++statistics.in_sessions;
    statistics.sessions[session->id_] = {
        .user = principal.user, .address = peer.address, .since = std::chrono::system_clock::now(), .counters = {}};
    session->send(server_hello(session->id_));
    return session;
}

Session::~Session() {
    end(server::SessionEnd::dropped);
}

MessageLimits Session::message_limits() const noexcept {
    return {.depth = surroundings_.core.limits().nesting};
}

// Half of the backlog is for what comes without being asked for.
bool Session::has_room() const noexcept {
    return output().size() < surroundings_.core.limits().output_backlog / 2;
}

bool Session::wants_input() const noexcept {
    // One is under way at a time; without any the core refuses each.
    const std::size_t most = std::max<std::size_t>(surroundings_.core.limits().requests_in_flight, 1);
    return !ended_ && waiting_.size() + (current_ ? 1 : 0) < most &&
           waiting_bytes_ < surroundings_.core.limits().message_size && has_room();
}

std::optional<Session::Clock::time_point> Session::idle_since() const noexcept {
    if (current_ || event_filter_)
        return std::nullopt;
    return last_request_;
}

void Session::receive(std::string_view bytes) {
    try {
        while (!bytes.empty() && !ended_) {
            std::optional<std::string> message = reader_.next(bytes);
            if (!message)
                return;
            if (!greeted_) {
                greet(*message);
                continue;
            }
            last_request_ = Clock::now();
            waiting_bytes_ += message->size();
            waiting_.push_back(std::move(*message));
            next();
        }
    } catch (const FramingError &error) {
        fail_stream(error);
    }
}

void Session::greet(const std::string &message) {
    try {
        const Hello hello = read_hello(message, message_limits());
        if (reader_.framing() == Framing::chunked && !hello.chunks)
            throw MessageError("hello in chunks without the capability base:1.1");
        greeted_ = true;
        framing_ = hello.chunks ? Framing::chunked : Framing::end_of_message;
        reader_.set_framing(framing_);
        last_request_ = Clock::now();
    } catch (const MessageError &error) {
        ++surroundings_.statistics.in_bad_hellos;
        refuse_client(error.what());
    }
}

// Nothing can be read any more. A client that has said hello is told why.
void Session::fail_stream(const FramingError &error) {
    if (greeted_) {
        surroundings_.statistics.count(id_, &Counters::in_bad_rpcs);
        const bool too_big = error.kind() == FramingError::Kind::too_big;
        surroundings_.statistics.count(id_, &Counters::out_rpc_errors);
        // Chunks alone can be malformed, so that the tag for it, which is new in base:1.1, is known to the client.
        send(reply_without_request(written(RpcError{.tag = too_big ? ErrorTag::too_big : ErrorTag::malformed_message,
                                                    .type = too_big ? ErrorType::transport : ErrorType::rpc,
                                                    .message = error.what()})));
    } else {
        ++surroundings_.statistics.in_bad_hellos;
    }
    refuse_client(error.what());
}

void Session::refuse_client(std::string_view reason) {
    surroundings_.core.log().write(
        server::Severity::warning, "session-refused",
        {{"session", id_}, {"user", principal_.user}, {"address", peer_.address}, {"reason", reason}});
    end(server::SessionEnd::refused);
}

void Session::end(server::SessionEnd reason) {
    if (ended_)
        return;
    ended_ = true;
    subscription_ = {};
    event_filter_.reset();
    waiting_.clear();
    current_.reset();
    task_.reset();
    surroundings_.core.close_session(id_, reason);
    Statistics &statistics = surroundings_.statistics;
    statistics.sessions.erase(id_);
    if (reason != server::SessionEnd::closed && reason != server::SessionEnd::killed)
        ++statistics.dropped_sessions;
}

// Replies come in the order of the requests: one is under way at a time.
void Session::next() {
    while (!ended_ && !current_ && !waiting_.empty() && has_room()) {
        std::string message = std::move(waiting_.front());
        waiting_.pop_front();
        waiting_bytes_ -= message.size();
        start_request(std::move(message));
    }
}

void Session::start_request(std::string message) {
    try {
        current_.emplace(std::move(message), message_limits());
    } catch (const Refusal &refusal) {
        surroundings_.statistics.count(id_, &Counters::in_bad_rpcs);
        surroundings_.statistics.count(id_, &Counters::out_rpc_errors);
        std::vector<RpcError> errors = refusal.errors();
        // The tag is new in base:1.1.
        if (framing_ == Framing::end_of_message && errors.front().tag == ErrorTag::malformed_message)
            errors.front().tag = ErrorTag::operation_failed;
        send(reply_without_request(written(errors)));
        return;
    } catch (const std::exception &error) {
        surroundings_.statistics.count(id_, &Counters::out_rpc_errors);
        send(reply_without_request(written(error_of(error))));
        return;
    }
    try {
        current_->check();
        surroundings_.statistics.count(id_, &Counters::in_rpcs);
        task_ = task_of(*current_, {.core = surroundings_.core,
                                    .statistics = surroundings_.statistics,
                                    .session = id_,
                                    .subscribed = event_filter_.has_value()});
    } catch (const Refusal &refusal) {
        if (refusal.errors().front().type == ErrorType::rpc)
            surroundings_.statistics.count(id_, &Counters::in_bad_rpcs);
        reply_errors(refusal.errors());
        return;
    } catch (const std::exception &error) {
        // Nothing may get out of here: the bytes come through libssh, which is C.
        reply_errors({error_of(error)});
        return;
    }
    if (!task_->operation) {
        answer(server::Result());
        return;
    }
    surroundings_.core.submit(id_, std::move(*task_->operation),
                              [weak = weak_from_this(), mailbox = surroundings_.mailbox](server::Outcome outcome) {
                                  // A function that is posted can be copied; an outcome cannot.
                                  mailbox->post([weak, shared = std::make_shared<server::Outcome>(std::move(outcome))] {
                                      if (const auto still = weak.lock(); still && !still->ended_) {
                                          still->answer(std::move(*shared));
                                          still->next();
                                      }
                                  });
                              });
}

void Session::answer(server::Outcome outcome) {
    if (const auto *refusal = std::get_if<server::Refusal>(&outcome)) {
        reply_errors({netconf::error_of(*refusal)});
        return;
    }
    std::string content;
    try {
        content = task_->reply(std::move(std::get<server::Result>(outcome)));
    } catch (const std::exception &error) {
        reply_errors({error_of(error)});
        return;
    }
    if (const std::size_t most = surroundings_.core.limits().output_backlog / 2; content.size() > most) {
        reply_errors({{.tag = ErrorTag::too_big, .message = fmt::format("a reply of more than {} bytes", most)}});
        return;
    }
    const bool closes = task_->closes;
    std::optional<server::ReadFilter> filter = std::move(task_->subscribes);
    reply(content);
    if (filter)
        subscribe(std::move(*filter));
    if (closes)
        end(server::SessionEnd::closed);
}

void Session::reply(std::string_view content) {
    const std::string message = current_->reply(content);
    current_.reset();
    task_.reset();
    last_request_ = Clock::now();
    send(message);
}

void Session::reply_errors(const std::vector<RpcError> &errors) {
    surroundings_.statistics.count(id_, &Counters::out_rpc_errors);
    reply(written(errors));
}

void Session::subscribe(server::ReadFilter filter) {
    event_filter_ = std::move(filter);
    subscription_ = surroundings_.core.subscribe(
        server::Interest::configuration,
        [weak = weak_from_this(), mailbox = surroundings_.mailbox](const std::shared_ptr<const server::Event> &event) {
            mailbox->post([weak, event] {
                if (const auto still = weak.lock(); still && !still->ended_)
                    still->notify(*event);
            });
        });
}

void Session::notify(const server::Event &event) {
    try {
        if (const std::optional<std::string> message = notification_of(event, *event_filter_)) {
            surroundings_.statistics.count(id_, &Counters::out_notifications);
            send(*message);
        }
    } catch (const std::exception &error) {
        surroundings_.core.log().write(server::Severity::error, "notification-failed",
                                       {{"session", id_}, {"reason", error.what()}});
    }
}

void Session::send(std::string_view message) {
    output_.erase(0, std::exchange(sent_, 0));
    output_ += framed(message, framing_);
    if (output_.size() > surroundings_.core.limits().output_backlog) {
        output_ = {};
        refuse_client("the client does not read what it asked for");
    }
}

void Session::sent(std::size_t bytes) {
    sent_ += bytes;
    if (sent_ == output_.size()) {
        output_ = {};
        sent_ = 0;
    }
    next();
}

} // namespace ocamp::netconf
