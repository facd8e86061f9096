// How Sets are carried out.
#include "server/gnmi/setter.h"

#include "server/roles.h"

#include <chrono>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

constexpr std::size_t most_waiting = 256;
constexpr std::size_t most_elections = 1024;

} // namespace

// A session of the core for one Set: its locks end with it.
class Setter::Session {
  public:
    Session(server::Core &core, const server::Principal &principal, const server::Peer &peer)
        : core_(core), id_(core.open_session(principal, peer, {})) {}
    ~Session() { core_.close_session(id_, server::SessionEnd::closed); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Throws RpcError for a refusal.
    server::Result carry_out(server::Operation operation) {
        server::Outcome outcome = core_.carry_out(id_, std::move(operation));
        const auto *refusal = std::get_if<server::Refusal>(&outcome);
        if (refusal != nullptr && refusal->tag == ErrorTag::operation_failed && core_.is_stopping())
            throw RpcError(Code::unavailable, "the server ends");
        if (refusal != nullptr)
            throw RpcError(*refusal);
        return std::move(std::get<server::Result>(outcome));
    }

  private:
    server::Core &core_;
    server::SessionId id_;
};

Setter::Setter(server::Core &core)
    : core_(core),
      events_(core.subscribe(server::Interest::sessions_and_commits,
                             [this](const std::shared_ptr<const server::Event> &event) { heard(*event); })) {}

void Setter::submit(Read read, const server::Principal &principal, const server::Peer &peer,
                    std::function<bool()> is_wanted, std::function<void(SetOutcome outcome)> answer) {
    if (++waiting_ > most_waiting) {
        --waiting_;
        answer(RpcError(Code::resource_exhausted, fmt::format("{} Sets wait already", most_waiting)));
        return;
    }
    queue_.post(principal.user, [this, read = std::move(read), principal, peer, is_wanted = std::move(is_wanted),
                                 answer = std::move(answer)] {
        --waiting_;
        try {
            if (!is_wanted())
                throw RpcError(Code::cancelled, "the client has given up");
            // The users may have been read anew while it waited.
            const server::LogInAnswer now = core_.log_ins().principal_of(principal.user);
            if (!now)
                throw RpcError(Code::unauthenticated, "the user is gone");
            answer(carry_out(read(), *now, peer));
        } catch (const RpcError &error) {
            answer(error);
        } catch (const server::SessionRefused &refusal) {
            answer(RpcError(core_.is_stopping() ? Code::unavailable : Code::resource_exhausted, refusal.what()));
        } catch (const std::exception &error) {
            answer(RpcError(server::refusal_of(error)));
        }
    });
}

void Setter::heard(const server::Event &event) {
    const auto *commit = std::get_if<server::ConfirmedCommitEvent>(&event.what);
    if (commit == nullptr)
        return;
    using Kind = server::ConfirmedCommitEvent::Kind;
    const std::lock_guard guard(mutex_);
    if (commit->kind == Kind::start)
        pending_ = Pending{commit->author.peer.protocol == "gnmi" ? std::optional(next_id_) : std::nullopt};
    else if (commit->kind != Kind::extend)
        pending_.reset();
}

void Setter::check_election(const Election &election) {
    const auto found = elections_.find(election.role);
    if (found != elections_.end() && election.order() < found->second)
        throw RpcError(Code::permission_denied,
                       "master arbitration: a newer election has been seen for this role, expected its id");
    if (found == elections_.end() && elections_.size() >= most_elections)
        throw RpcError(Code::resource_exhausted,
                       fmt::format("master arbitration: {} roles are known, expected one of them", most_elections));
    elections_.insert_or_assign(election.role, election.order());
}

void Setter::check_pending(const std::optional<CommitAction> &action) {
    const std::lock_guard guard(mutex_);
    const bool begins = !action || action->kind == CommitAction::Kind::commit;
    if (begins && pending_)
        throw RpcError(Code::failed_precondition,
                       "a confirmed commit is pending, expected it to be confirmed or cancelled first");
    if (begins)
        return;
    if (!pending_)
        throw RpcError(Code::failed_precondition, "no confirmed commit is pending");
    if (pending_->id != action->id)
        throw invalid("commit", "is not the id of the commit that is pending");
}

// Gives the result of what changed the configuration.
server::Result Setter::commit(Session &session, const SetEdit &edit, const CommitAction &action) {
    if (action.kind == CommitAction::Kind::cancel)
        return session.carry_out(server::CancelCommit{.persist_id = action.id});
    // What others have in the candidate is not committed along, and keeps nobody from confirming.
    server::Commit commit{.candidate = action.kind == CommitAction::Kind::commit};
    if (commit.candidate)
        session.carry_out(server::Lock{server::Datastore::candidate});
    if (action.kind != CommitAction::Kind::confirm) {
        commit.confirmed = true;
        commit.timeout = action.duration;
        commit.persist = action.id;
    }
    if (action.kind != CommitAction::Kind::commit)
        commit.persist_id = action.id;
    if (!edit.empty()) {
        server::Edit steps = edit.edit();
        steps.target = server::Datastore::candidate;
        session.carry_out(std::move(steps));
    }
    {
        const std::lock_guard guard(mutex_);
        next_id_ = action.id;
    }
    return session.carry_out(std::move(commit));
}

::gnmi::SetResponse Setter::carry_out(const ::gnmi::SetRequest &request, const server::Principal &principal,
                                      const server::Peer &peer) {
    server::check_role(principal, server::Edit{});
    const SetEdit edit(request);
    if (edit.election())
        check_election(*edit.election());
    check_pending(edit.commit());
    server::check_native_edit(principal, edit.native_path());
    if (!edit.commit() && edit.empty())
        return edit.response(std::chrono::system_clock::now());
    Session session(core_, principal, peer);
    const server::Result changed =
        edit.commit() ? commit(session, edit, *edit.commit()) : session.carry_out(edit.edit());
    return edit.response(changed.begun);
}

} // namespace ocamp::gnmi
