// The running datastore, the candidate, their locks, and commits that wait to be confirmed. Works in the worker's
// thread. Knows neither roles but where data decides, nor who waits for an answer.
#pragma once

#include "node/configuration_edit.h"
#include "node/service.h"
#include "server/changes.h"
#include "server/core.h"
#include "server/event_log.h"
#include "server/feed.h"
#include "server/requests.h"
#include "server/roles.h"
#include "server/state_folder.h"

#include <array>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace ocamp::server {

/// All calls but locks() are for one thread. Those that carry operations out throw what refuses them: RequestError and
/// other InputErrors, and whatever fails in the node.
class Datastores {
  public:
    using Clock = std::chrono::steady_clock;

    /// All but the settings outlive this. Takes back what a server left pending.
    Datastores(const CoreSettings &settings, const StateFolder &folder, EventLog &log, Feed &feed);

    Result carry_out(const SessionInfo &caller, const Read &read);
    Result carry_out(const SessionInfo &caller, const Edit &asked);
    Result carry_out(const SessionInfo &caller, const CopyConfig &copy);
    Result carry_out(const SessionInfo &caller, const Validate &validate);
    Result carry_out(const SessionInfo &caller, const Lock &asked);
    Result carry_out(const SessionInfo &caller, const Unlock &asked);
    Result carry_out(const SessionInfo &caller, const Commit &commit);
    Result carry_out(const SessionInfo &caller, const CancelCommit &cancel);
    Result carry_out(const SessionInfo &caller, const DiscardChanges &discard);

    /// Lifts what the session holds, and takes its confirmed commit back.
    void session_ended(const SessionInfo &session);
    /// Takes back what is pending: the server ends.
    void stop();

    /// Does what is due, and tells when it wants to be called next.
    Clock::time_point tick();
    /// Somebody has begun to listen: what the node holds now is what changes are told against, and a write is told, as
    /// what they have read may be older.
    void listeners_changed();

    /// From any thread.
    std::vector<LockInfo> locks() const;

  private:
    struct Candidate {
        std::optional<YangTree> changed; // none: it is the running datastore
        NativeNode native_node = {};     // one that was edited as such
    };
    struct Pending {
        SessionId session; // no_session: has ended
        std::optional<std::string> persist;
        Clock::time_point end;
        YangTree former;
        // It has failed, or its time or its session has ended: nothing changes before it is taken back, as that would
        // take the change back too. The event that is told then.
        std::optional<ConfirmedCommitEvent::Kind> over = {};
    };
    using Change = std::function<void(NativeData &data, const Reader &reader, const Editor &editor)>;
    class EditWork;

    std::optional<LockInfo> &lock_of(Datastore datastore) { return locks_[static_cast<std::size_t>(datastore)]; }
    void refuse_locked(Datastore datastore, SessionId caller);
    void refuse_pending(Datastore target, SessionId caller);
    NativeData candidate_or(const NativeData &running) const;
    void change_running(const Author &author, std::string_view what, const Change &change);
    void change_candidate(const SessionInfo &caller, EditWork &work);
    void edit(const SessionInfo &caller, const Edit &asked);
    void discard() { candidate_ = {}; }

    void check_pending(const SessionInfo &caller, const std::optional<std::string> &persist_id) const;
    void begin_pending(const SessionInfo &caller, const Commit &commit);
    void commit_candidate(const SessionInfo &caller, const Commit &commit);
    void confirm(const SessionInfo &caller);
    void take_back(const Author &author, ConfirmedCommitEvent::Kind kind);
    void take_back_if_over();
    void end_pending(ConfirmedCommitEvent::Kind kind) noexcept;
    void look_for_changes();

    StateFolder folder_;
    EventLog &log_;
    Feed &feed_;
    Service service_;
    std::chrono::milliseconds change_poll_;
    Clock::time_point next_poll_ = {};
    std::optional<Database::State> seen_;
    std::string last_failure_; // of looking for changes, which is told once
    Candidate candidate_;
    std::optional<Pending> pending_;
    mutable std::mutex mutex_; // guards locks_ against locks()
    std::array<std::optional<LockInfo>, datastore_count> locks_;
};

} // namespace ocamp::server
