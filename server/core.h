// The server without its protocols: requests in, results out; roles, locks, commits, limits and the feed of changes.
// All work on the node is done in one thread, a request of each session in turn. Knows neither NETCONF nor gNMI.
#pragma once

#include "node/service.h"
#include "server/changes.h"
#include "server/event_log.h"
#include "server/identity.h"
#include "server/limits.h"
#include "server/log_in.h"
#include "server/requests.h"
#include "server/state_folder.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace ocamp::server {

/// What a core needs to know.
struct CoreSettings {
    ServiceSettings service; ///< the node, the plug-in and its logs
    Limits limits = {};
    std::filesystem::path users_of = {}; ///< folder whose users log in; empty: the node's
};

/// A session that was not opened because of a limit, or because the server ends. The text says which.
class SessionRefused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A lock, as it was when somebody asked.
struct LockInfo {
    Datastore datastore = Datastore::running;
    SessionId session = no_session;
    std::chrono::system_clock::time_point since;
};

/// Figures since the start.
struct CoreStatistics {
    std::chrono::system_clock::time_point started;
    std::uint64_t requests = 0; ///< carried out
    std::uint64_t refused = 0;  ///< refused, those of roles and limits included
    std::uint64_t sessions = 0; ///< opened
};

/// Every function is safe from any thread but from inside completions and listeners, which only hand over.
class Core {
  public:
    /// Opens the node, and takes a confirmed commit back that a server left pending. One server at a time serves a
    /// node; a second is refused. `log` outlives the core. Throws InputError, StateError, and what Service throws.
    Core(const CoreSettings &settings, EventLog &log);
    /// As stop().
    ~Core();
    Core(const Core &) = delete;
    Core &operator=(const Core &) = delete;

    const Limits &limits() const noexcept;
    EventLog &log() noexcept;
    LogIns &log_ins() noexcept;
    /// For keys and certificates of the adapters.
    const StateFolder &state_folder() const noexcept;

    /// A new session. Throws SessionRefused. `on_end` may be empty.
    SessionId open_session(const Principal &principal, const Peer &peer, EndOfSession on_end);
    /// A session that an adapter has for itself, to read for all its clients at once: a reader's, without user. It is
    /// told to nobody; no reload and no other session ends it. Throws SessionRefused when the server ends.
    SessionId open_own_session(const std::string &protocol, EndOfSession on_end);
    /// Ends a session: its requests that wait are dropped, its locks lifted, its confirmed commit that does not persist
    /// is taken back. Does nothing for one that has ended. Returns at once; what it holds is free when the worker comes
    /// to it, before any request that is submitted later.
    void close_session(SessionId session, SessionEnd reason);

    /// Reads the users anew, and ends the sessions of those who are gone or have another role now (SessionEnd::killed,
    /// by no_session). Throws StateError; everything is as before then.
    void reload_users();

    /// Hands a request over; requests of one session are carried out in their order, those of several sessions take
    /// turns. A refusal of a limit or role comes through the completion, too. What is submitted for a session that has
    /// ended is dropped.
    void submit(SessionId session, Operation operation, Completion completion);

    /// As submit, and waits. For tests and for callers with a thread of their own; not from completions or listeners.
    /// The refusal of a session that has ended is operation_failed.
    Outcome carry_out(SessionId session, Operation operation);

    /// Calls the listener with what happens from now on.
    Subscription subscribe(Interest interest, Listener listener);

    /// Tells listeners of something that happened around the node. Nothing after stop().
    void tell(PlantEvent event);

    std::vector<SessionInfo> sessions() const;
    std::vector<LockInfo> locks() const;
    CoreStatistics statistics() const;
    /// Whether stop() has been called: requests that were dropped were dropped by it.
    bool is_stopping() const noexcept;

    /// Ends all sessions (their end is told with SessionEnd::shutdown), takes a pending confirmed commit back, drops
    /// the requests that wait and ends the worker. Sessions are refused from then on. May be called again.
    void stop() noexcept;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ocamp::server
