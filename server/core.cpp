// Sessions, and the way of a request: limits, its turn, roles, and the datastores. Knows neither protocols nor what is
// in a request.
#include "server/core.h"

#include "server/datastores.h"
#include "server/feed.h"
#include "server/roles.h"
#include "server/worker.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <mutex>
#include <utility>

#include <fmt/format.h>

namespace ocamp::server {

namespace {

using Clock = std::chrono::steady_clock;

// One server at a time.
constexpr std::string_view serving = "serving";

std::int64_t milliseconds_since(Clock::time_point begin) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
}

} // namespace

class Core::Impl {
  public:
    Impl(const CoreSettings &settings, EventLog &log)
        : limits_(settings.limits), log_(log), folder_(settings.service.node),
          // A folder that is no node gets no folder of a server's.
          checked_((Node(settings.service.node, Node::Access::read), true)), alone_(folder_, serving, false),
          users_folder_(settings.users_of.empty() ? settings.service.node : settings.users_of),
          log_ins_(users_folder_, log), datastores_(settings, folder_, log, feed_),
          started_(std::chrono::system_clock::now()), worker_(std::in_place, [this] { return datastores_.tick(); }) {}

    const Limits &limits() const noexcept { return limits_; }
    EventLog &log() noexcept { return log_; }
    LogIns &log_ins() noexcept { return log_ins_; }
    const StateFolder &state_folder() const noexcept { return folder_; }

    SessionId open_session(const Principal &principal, const Peer &peer, EndOfSession on_end) {
        const std::lock_guard guard(mutex_);
        refuse_session(principal);
        const SessionInfo info = add_session(principal, peer, std::move(on_end));
        worker_->post_urgent([this, info] {
            log_.write(Severity::info, "session-start",
                       {{"session", info.id},
                        {"user", info.principal.user},
                        {"role", word_of(info.principal.role)},
                        {"protocol", info.peer.protocol},
                        {"address", info.peer.address}});
            feed_.tell(SessionStarted{info});
        });
        return info.id;
    }

    SessionId open_own_session(const std::string &protocol, EndOfSession on_end) {
        const std::lock_guard guard(mutex_);
        if (stopping_)
            throw SessionRefused("the server ends");
        return add_session({}, {.protocol = protocol, .address = {}}, std::move(on_end)).id;
    }

    void close_session(SessionId id, SessionEnd reason) {
        const std::lock_guard guard(mutex_);
        if (std::optional<Session> session = take_session(id))
            worker_->post_urgent([this, info = session->info, reason] { clean_up(info, reason, no_session); });
    }

    void reload_users() {
        log_ins_.reload();
        std::vector<EndOfSession> ends;
        {
            const std::lock_guard guard(mutex_);
            std::vector<SessionId> outdated;
            for (const auto &[id, session] : sessions_) {
                if (is_own(session.info))
                    continue;
                const LogInAnswer now = log_ins_.principal_of(session.info.principal.user);
                if (!now || now->role != session.info.principal.role)
                    outdated.push_back(id);
            }
            for (const SessionId id : outdated) {
                Session session = *take_session(id);
                worker_->post_urgent([this, info = session.info] { clean_up(info, SessionEnd::killed, no_session); });
                ends.push_back(std::move(session.on_end));
            }
        }
        for (const EndOfSession &on_end : ends) {
            if (on_end)
                on_end(SessionEnd::killed, no_session);
        }
    }

    void submit(SessionId id, Operation operation, Completion completion) {
        {
            const std::lock_guard guard(mutex_);
            const auto found = sessions_.find(id);
            if (found == sessions_.end())
                return;
            if (found->second.in_flight < limits_.requests_in_flight) {
                ++found->second.in_flight;
                worker_->post(id, [this, info = found->second.info, operation = std::move(operation),
                                   completion = std::move(completion)] { work(info, operation, completion); });
                return;
            }
        }
        ++refused_;
        completion(Refusal{.tag = ErrorTag::resource_denied,
                           .reason = fmt::format("{} requests of this session wait already, expected at most that",
                                                 limits_.requests_in_flight)});
    }

    Subscription subscribe(Interest interest, Listener listener) {
        Subscription subscription = feed_.subscribe(interest, std::move(listener));
        worker_->post_urgent([this] { datastores_.listeners_changed(); });
        return subscription;
    }

    void tell(PlantEvent event) {
        const std::lock_guard guard(mutex_);
        if (!stopping_)
            worker_->post_urgent([this, event = std::move(event)] { feed_.tell(event); });
    }

    std::vector<SessionInfo> sessions() const {
        const std::lock_guard guard(mutex_);
        std::vector<SessionInfo> infos;
        for (const auto &[id, session] : sessions_)
            infos.push_back(session.info);
        return infos;
    }

    std::vector<LockInfo> locks() const { return datastores_.locks(); }

    CoreStatistics statistics() const {
        const std::lock_guard guard(mutex_);
        return {started_, carried_out_, refused_, last_session_};
    }

    bool is_stopping() const noexcept {
        const std::lock_guard guard(mutex_);
        return stopping_;
    }

    void stop() noexcept {
        std::vector<EndOfSession> ends;
        {
            const std::lock_guard guard(mutex_);
            if (stopping_)
                return;
            stopping_ = true;
            while (!sessions_.empty()) {
                Session session = *take_session(sessions_.begin()->first);
                worker_->post_urgent([this, info = session.info] { clean_up(info, SessionEnd::shutdown, no_session); });
                ends.push_back(std::move(session.on_end));
            }
            worker_->post_urgent([this] { take_back_what_is_pending(); });
        }
        for (const EndOfSession &on_end : ends) {
            if (on_end)
                on_end(SessionEnd::shutdown, no_session);
        }
        worker_.reset();
    }

  private:
    struct Session {
        SessionInfo info;
        EndOfSession on_end;
        std::size_t in_flight;
    };

    // With the lock held.
    static bool is_own(const SessionInfo &session) noexcept { return session.principal.user.empty(); }

    // With the lock held.
    SessionInfo add_session(const Principal &principal, const Peer &peer, EndOfSession on_end) {
        SessionInfo info{++last_session_, principal, peer, std::chrono::system_clock::now()};
        sessions_.emplace(info.id, Session{info, std::move(on_end), 0});
        return info;
    }

    void refuse_session(const Principal &principal) const {
        if (stopping_)
            throw SessionRefused("the server ends");
        if (sessions_.size() >= limits_.sessions)
            throw SessionRefused(fmt::format("{} sessions are open, expected at most that", limits_.sessions));
        const auto own = std::count_if(sessions_.begin(), sessions_.end(), [&](const auto &entry) {
            return entry.second.info.principal.user == principal.user;
        });
        if (static_cast<std::size_t>(own) >= limits_.sessions_per_user)
            throw SessionRefused(fmt::format("{} sessions of user {} are open, expected at most that",
                                             limits_.sessions_per_user, principal.user));
    }

    // With the lock held. None when there is no such session.
    std::optional<Session> take_session(SessionId id) {
        const auto found = sessions_.find(id);
        if (found == sessions_.end())
            return std::nullopt;
        std::optional<Session> session(std::move(found->second));
        sessions_.erase(found);
        worker_->drop(id);
        return session;
    }

    // What follows runs in the worker's thread.

    void work(const SessionInfo &caller, const Operation &operation, const Completion &completion) {
        const Clock::time_point begin = Clock::now();
        Outcome outcome = carry_out(caller, operation);
        {
            const std::lock_guard guard(mutex_);
            const auto found = sessions_.find(caller.id);
            if (found != sessions_.end())
                --found->second.in_flight;
        }
        const auto *refusal = std::get_if<Refusal>(&outcome);
        ++(refusal != nullptr ? refused_ : carried_out_);
        if (refusal != nullptr)
            log_refusal(caller, operation, *refusal, milliseconds_since(begin));
        completion(std::move(outcome));
    }

    Outcome carry_out(const SessionInfo &caller, const Operation &operation) {
        const auto begun = std::chrono::system_clock::now();
        try {
            check_role(caller.principal, operation);
            Result result = std::visit([&](const auto &asked) { return carry_out_one(caller, asked); }, operation);
            result.begun = begun;
            return result;
        } catch (const std::exception &error) {
            return refusal_of(error);
        }
    }

    template <class Asked>
    Result carry_out_one(const SessionInfo &caller, const Asked &asked) {
        return datastores_.carry_out(caller, asked);
    }
    Result carry_out_one(const SessionInfo &, const Wait &) { return {}; }
    Result carry_out_one(const SessionInfo &caller, const KillSession &kill) {
        if (kill.session == caller.id)
            throw RequestError(error_tag::invalid_value, "", "a session cannot kill itself, expected another's number");
        std::optional<Session> session;
        {
            const std::lock_guard guard(mutex_);
            const auto found = sessions_.find(kill.session);
            // Who is not among the sessions cannot be killed either.
            if (found != sessions_.end() && !is_own(found->second.info))
                session = take_session(kill.session);
        }
        if (!session)
            throw RequestError(error_tag::invalid_value, "", fmt::format("no session {}", kill.session));
        clean_up(session->info, SessionEnd::killed, caller.id);
        if (session->on_end)
            session->on_end(SessionEnd::killed, caller.id);
        return {};
    }

    void log_refusal(const SessionInfo &caller, const Operation &operation, const Refusal &refusal,
                     std::int64_t milliseconds) {
        const bool denied = refusal.tag == ErrorTag::access_denied;
        log_.write(denied ? Severity::warning : Severity::info, denied ? "access-denied" : "refused",
                   {{"session", caller.id},
                    {"user", caller.principal.user},
                    {"address", caller.peer.address},
                    {"operation", word_of(operation)},
                    {"tag", word_of(refusal.tag)},
                    {"path", refusal.path},
                    {"reason", refusal.reason},
                    {"milliseconds", milliseconds}});
    }

    void clean_up(const SessionInfo &info, SessionEnd reason, SessionId by) {
        datastores_.session_ended(info);
        if (is_own(info))
            return;
        log_.write(Severity::info, "session-end",
                   {{"session", info.id},
                    {"user", info.principal.user},
                    {"address", info.peer.address},
                    {"reason", word_of(reason)},
                    {"by", by}});
        feed_.tell(SessionEnded{info, reason, by});
    }

    void take_back_what_is_pending() {
        try {
            datastores_.stop();
        } catch (const std::exception &error) {
            // The next server takes it back.
            log_.write(Severity::error, "roll-back-failed", {{"reason", error.what()}});
        }
    }

    const Limits limits_;
    EventLog &log_;
    const StateFolder folder_;
    const bool checked_;
    const StateFolder::Hold alone_;
    const StateFolder users_folder_;
    LogIns log_ins_;
    Feed feed_;
    Datastores datastores_;
    const std::chrono::system_clock::time_point started_;
    std::atomic<std::uint64_t> carried_out_{0}, refused_{0};
    mutable std::mutex mutex_; // guards what follows
    std::map<SessionId, Session> sessions_;
    SessionId last_session_ = no_session;
    bool stopping_ = false;
    std::optional<Worker> worker_; // ends first
};

Core::Core(const CoreSettings &settings, EventLog &log) : impl_(std::make_unique<Impl>(settings, log)) {}

Core::~Core() {
    stop();
}

const Limits &Core::limits() const noexcept {
    return impl_->limits();
}

EventLog &Core::log() noexcept {
    return impl_->log();
}

LogIns &Core::log_ins() noexcept {
    return impl_->log_ins();
}

const StateFolder &Core::state_folder() const noexcept {
    return impl_->state_folder();
}

SessionId Core::open_session(const Principal &principal, const Peer &peer, EndOfSession on_end) {
    return impl_->open_session(principal, peer, std::move(on_end));
}

void Core::close_session(SessionId session, SessionEnd reason) {
    impl_->close_session(session, reason);
}

SessionId Core::open_own_session(const std::string &protocol, EndOfSession on_end) {
    return impl_->open_own_session(protocol, std::move(on_end));
}

void Core::reload_users() {
    impl_->reload_users();
}

void Core::submit(SessionId session, Operation operation, Completion completion) {
    impl_->submit(session, std::move(operation), std::move(completion));
}

Outcome Core::carry_out(SessionId session, Operation operation) {
    auto promise = std::make_shared<std::promise<Outcome>>();
    std::future<Outcome> outcome = promise->get_future();
    submit(session, std::move(operation),
           [promise = std::move(promise)](Outcome result) { promise->set_value(std::move(result)); });
    try {
        return outcome.get();
    } catch (const std::future_error &) {
        // The request was dropped, and the promise with it.
        return Refusal{.tag = ErrorTag::operation_failed, .reason = "the session has ended"};
    }
}

Subscription Core::subscribe(Interest interest, Listener listener) {
    return impl_->subscribe(interest, std::move(listener));
}

void Core::tell(PlantEvent event) {
    impl_->tell(std::move(event));
}

std::vector<SessionInfo> Core::sessions() const {
    return impl_->sessions();
}

std::vector<LockInfo> Core::locks() const {
    return impl_->locks();
}

CoreStatistics Core::statistics() const {
    return impl_->statistics();
}

bool Core::is_stopping() const noexcept {
    return impl_->is_stopping();
}

void Core::stop() noexcept {
    impl_->stop();
}

} // namespace ocamp::server
