// How operations on the datastores are carried out. Knows neither sessions but by their numbers, nor who waits for an
// answer.
#include "server/datastores.h"

#include "node/filter.h"
#include "node/leaf_changes.h"
#include "node/xpath_filter.h"
#include "server/confirmed_commit.h"
#include "server/held_error.h"
#include "yang/models.h"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/format.h>

namespace ocamp::server {

namespace {

constexpr std::chrono::hours nothing_due{1};
// Between attempts to take a commit back when the disk fails.
constexpr std::chrono::seconds next_attempt{1};

Author author_of(const SessionInfo &caller) {
    return {.session = caller.id, .user = caller.principal.user, .peer = caller.peer};
}

// Reads

bool wants(Models asked, Models side) {
    return asked == Models::both || asked == side;
}

// The native data that a filter selects.
YangTree native_part(const NativeData &data, const Filter &filter, bool configuration_only) {
    YangTree tree;
    std::set<std::string> taken;
    for (const RequestNode &request : filter.requests()) {
        const lysc_node &root = *native_schema().find(nullptr, request.tag, request.ns);
        if (!taken.insert(request.ns + request.tag).second || (configuration_only && !is_configuration(root)))
            continue;
        if (const lyd_node *instance = data.root(root); instance != nullptr)
            tree.add(YangTree::copy_of(*instance));
    }
    filter.cut(tree);
    return tree;
}

// What a read gives of the data.
class ReadWork {
  public:
    ReadWork(const Read &read, const NativeData &data, const Reader &reader)
        : read_(read), data_(data), reader_(reader) {}

    YangTree operator()(const WholeTree &) const {
        return both([](const Schema &schema) { return Filter(schema); });
    }
    YangTree operator()(const SubtreeFilter &filter) const {
        return both([&](const Schema &schema) { return Filter::from_document(schema, filter.xml); });
    }
    YangTree operator()(const PathFilter &filter) const {
        if (filter.path == "/")
            return operator()(WholeTree());
        const bool native = is_native(filter.path);
        if (!wants(read_.models, native ? Models::native : Models::openconfig))
            return {};
        return native ? native_part(data_, Filter::from_path(native_schema(), filter.path), read_.configuration_only)
                      : openconfig_part(Filter::from_path(openconfig_schema(), filter.path));
    }
    YangTree operator()(const ExpressionFilter &filter) const {
        const XPathFilter expression(openconfig_schema(), filter.expression, filter.namespaces);
        YangTree tree = operator()(WholeTree());
        expression.cut(tree);
        return tree;
    }

  private:
    template <class MakeFilter>
    YangTree both(MakeFilter filter_for) const {
        YangTree tree;
        if (wants(read_.models, Models::openconfig))
            tree.add(openconfig_part(filter_for(openconfig_schema())));
        if (wants(read_.models, Models::native))
            tree.add(native_part(data_, filter_for(native_schema()), read_.configuration_only));
        return tree;
    }

    YangTree openconfig_part(const Filter &filter) const {
        const std::uint32_t kind = read_.configuration_only ? YFW_KIND_GET_CONFIG : YFW_KIND_GET;
        return reader_.read(data_, kind, filter, nullptr).answer;
    }

    // Which side a path leads into: by the name of its first step. What is on neither side is OpenConfig's to refuse.
    static bool is_native(std::string_view path) {
        path.remove_prefix(path.starts_with('/') ? 1 : 0);
        path = path.substr(0, path.find_first_of("/["));
        const std::size_t colon = path.find(':');
        if (colon != std::string_view::npos)
            path.remove_prefix(colon + 1);
        return native_schema().find(nullptr, path) != nullptr;
    }

    const Read &read_;
    const NativeData &data_;
    const Reader &reader_;
};

// Edits

std::vector<ConfigurationEdit> prepared(const std::vector<EditStep> &steps) {
    std::vector<ConfigurationEdit> edits;
    edits.reserve(steps.size());
    for (const EditStep &step : steps)
        edits.emplace_back(step.document, step.default_operation);
    return edits;
}

NativeNode native_node_of(const std::vector<ConfigurationEdit> &edits) {
    for (const ConfigurationEdit &edit : edits) {
        if (NativeNode node = edit.first_native_node())
            return node;
    }
    return std::nullopt;
}

void carry_out_all(const std::vector<ConfigurationEdit> &edits, const Editor &editor, NativeData &data) {
    for (const ConfigurationEdit &edit : edits)
        edit.carry_out(editor, data);
}

NativeData copy_of_running(const NativeData &data) {
    return {.running = data.running.tree().copy(), .operational = {}};
}

EditStep as_whole(const EditStep &document) {
    return {.document = document.document, .default_operation = DefaultOperation::replace};
}

std::int64_t seconds(std::chrono::seconds time) {
    return time.count();
}

} // namespace

// The steps of an edit, checked for whether the caller may make them.
class Datastores::EditWork {
  public:
    EditWork(const SessionInfo &caller, const Edit &asked) : caller_(caller), asked_(asked) {
        if (!asked_.steps_for)
            take(asked_.steps);
    }

    void operator()(NativeData &data, const Reader &reader, const Editor &editor) {
        if (asked_.steps_for) {
            const Read everything;
            take(asked_.steps_for(std::visit(ReadWork(everything, data, reader), everything.filter)));
        }
        carry_out_all(edits_, editor, data);
    }

    NativeNode native_node() const { return native_node_of(edits_); }

  private:
    void take(const std::vector<EditStep> &steps) {
        edits_ = prepared(steps);
        check_native_edit(caller_.principal, native_node());
    }

    const SessionInfo &caller_;
    const Edit &asked_;
    std::vector<ConfigurationEdit> edits_;
};

Datastores::Datastores(const CoreSettings &settings, const StateFolder &folder, EventLog &log, Feed &feed)
    : folder_(folder), log_(log), feed_(feed), service_(settings.service), change_poll_(settings.limits.change_poll) {
    std::optional<YangTree> former = former_configuration(folder_);
    if (!former)
        return;
    change_running({}, "roll-back",
                   [&](NativeData &data, const Reader &, const Editor &) { data.running = std::move(*former); });
    forget_former_configuration(folder_);
}

Result Datastores::carry_out(const SessionInfo &, const Read &read) {
    if (!read.configuration_only && read.source == Datastore::candidate)
        throw RequestError(error_tag::invalid_value, "", "the candidate has no state, expected the running datastore");
    Result result;
    service_.look([&](const Service::View &view) {
        if (read.source == Datastore::candidate && candidate_.changed) {
            const NativeData data = candidate_or(view.data);
            result.data = std::visit(ReadWork(read, data, view.reader), read.filter);
        } else {
            result.data = std::visit(ReadWork(read, view.data, view.reader), read.filter);
        }
    });
    return result;
}

NativeData Datastores::candidate_or(const NativeData &running) const {
    if (candidate_.changed)
        return {.running = candidate_.changed->copy(), .operational = {}};
    return copy_of_running(running);
}

void Datastores::refuse_locked(Datastore datastore, SessionId caller) {
    const std::optional<LockInfo> &lock = lock_of(datastore);
    if (lock && lock->session != caller)
        throw HeldError(error_tag::in_use,
                        fmt::format("session {} has locked the {} datastore", lock->session, word_of(datastore)),
                        lock->session);
}

// What others change while a confirmed commit is pending would go with it.
void Datastores::refuse_pending(Datastore target, SessionId caller) {
    if (target != Datastore::running)
        return;
    take_back_if_over();
    if (pending_ && pending_->session != caller)
        throw HeldError(error_tag::in_use, "a confirmed commit of another session is pending", pending_->session);
}

// `what` is the word for the log. The change is told as the author's, and what was found before it as another
// process's.
void Datastores::change_running(const Author &author, std::string_view what, const Change &change) {
    const bool told = feed_.is_wanted(Interest::configuration);
    std::optional<Feed::NodeView> before, after;
    std::size_t changed = 0;
    service_.change([&](NativeData &data, const Reader &reader, const Editor &editor) {
        if (told)
            before = Feed::view(data, reader);
        const YangTree native_before = data.running.tree().copy();
        change(data, reader, editor);
        changed = leaf_changes(native_before, data.running.tree()).size();
        if (told)
            after = Feed::view(data, reader);
    });
    log_.write(
        Severity::info, what,
        {{"session", author.session}, {"user", author.user}, {"address", author.peer.address}, {"changes", changed}});
    feed_.tell(DataWritten());
    if (!told)
        return;
    feed_.tell_changes(std::move(*before), {.foreign = true});
    feed_.tell_changes(std::move(*after), author);
}

void Datastores::change_candidate(const SessionInfo &caller, EditWork &work) {
    std::optional<YangTree> changed;
    service_.look([&](const Service::View &view) {
        NativeData data = candidate_or(view.data);
        work(data, view.reader, view.editor);
        changed = std::move(data.running.to_change());
    });
    candidate_.changed = std::move(changed);
    if (!candidate_.native_node)
        candidate_.native_node = work.native_node();
    log_.write(Severity::info, "edit-candidate",
               {{"session", caller.id}, {"user", caller.principal.user}, {"address", caller.peer.address}});
}

void Datastores::edit(const SessionInfo &caller, const Edit &asked) {
    EditWork work(caller, asked);
    refuse_locked(asked.target, caller.id);
    refuse_pending(asked.target, caller.id);
    if (asked.test_only)
        service_.look([&](const Service::View &view) {
            NativeData data =
                asked.target == Datastore::candidate ? candidate_or(view.data) : copy_of_running(view.data);
            work(data, view.reader, view.editor);
        });
    else if (asked.target == Datastore::candidate)
        change_candidate(caller, work);
    else
        change_running(author_of(caller), "edit", std::ref(work));
}

Result Datastores::carry_out(const SessionInfo &caller, const Edit &asked) {
    edit(caller, asked);
    return {};
}

Result Datastores::carry_out(const SessionInfo &caller, const CopyConfig &copy) {
    if (const auto *document = std::get_if<EditStep>(&copy.source)) {
        edit(caller, {.target = copy.target, .steps = {as_whole(*document)}});
        return {};
    }
    if (std::get<Datastore>(copy.source) == copy.target)
        throw RequestError(error_tag::invalid_value, "", "source and target are one, expected two datastores");
    check_native_edit(caller.principal, candidate_.native_node);
    refuse_locked(copy.target, caller.id);
    refuse_pending(copy.target, caller.id);
    if (copy.target == Datastore::candidate) {
        discard();
        return {};
    }
    if (candidate_.changed)
        change_running(author_of(caller), "copy-config", [&](NativeData &data, const Reader &, const Editor &) {
            data.running = candidate_.changed->copy();
            check_native_configuration(data.running.to_change());
        });
    return {};
}

Result Datastores::carry_out(const SessionInfo &, const Validate &validate) {
    service_.look([&](const Service::View &view) {
        const auto *document = std::get_if<EditStep>(&validate.source);
        const bool candidate = document == nullptr && std::get<Datastore>(validate.source) == Datastore::candidate;
        NativeData data = candidate ? candidate_or(view.data) : copy_of_running(view.data);
        if (document != nullptr)
            carry_out_all(prepared({as_whole(*document)}), view.editor, data);
        check_native_configuration(data.running.to_change());
    });
    return {};
}

// Locks

Result Datastores::carry_out(const SessionInfo &caller, const Lock &asked) {
    if (const std::optional<LockInfo> &lock = lock_of(asked.target))
        throw HeldError(error_tag::lock_denied,
                        fmt::format("session {} has locked the {} datastore", lock->session, word_of(asked.target)),
                        lock->session);
    if (asked.target == Datastore::candidate && candidate_.changed)
        throw HeldError(error_tag::lock_denied, "the candidate has changes, expected a commit or discard-changes first",
                        no_session);
    if (asked.target == Datastore::running) {
        take_back_if_over();
        if (pending_ && pending_->session != caller.id)
            throw HeldError(error_tag::lock_denied, "a confirmed commit of another session is pending",
                            pending_->session);
        service_.lock_configuration();
    }
    const std::lock_guard guard(mutex_);
    lock_of(asked.target) = LockInfo{asked.target, caller.id, std::chrono::system_clock::now()};
    return {};
}

Result Datastores::carry_out(const SessionInfo &caller, const Unlock &asked) {
    std::optional<LockInfo> &lock = lock_of(asked.target);
    if (!lock || lock->session != caller.id)
        throw RequestError(error_tag::operation_failed, "",
                           fmt::format("this session has no lock on the {} datastore", word_of(asked.target)));
    if (asked.target == Datastore::running)
        service_.unlock_configuration();
    const std::lock_guard guard(mutex_);
    lock.reset();
    return {};
}

std::vector<LockInfo> Datastores::locks() const {
    const std::lock_guard guard(mutex_);
    std::vector<LockInfo> held;
    for (const std::optional<LockInfo> &lock : locks_) {
        if (lock)
            held.push_back(*lock);
    }
    return held;
}

// Commits

// Refuses who may not go on with the pending commit.
void Datastores::check_pending(const SessionInfo &caller, const std::optional<std::string> &persist_id) const {
    if (!pending_) {
        if (persist_id)
            throw RequestError(error_tag::invalid_value, "", "persist-id: no confirmed commit is pending");
        return;
    }
    if (persist_id && persist_id != pending_->persist)
        throw RequestError(error_tag::invalid_value, "",
                           "persist-id: not that of the confirmed commit that is pending");
    if (!persist_id && pending_->persist)
        throw HeldError(error_tag::in_use, "the confirmed commit that is pending persists, expected its persist-id",
                        pending_->session);
    if (!persist_id && pending_->session != caller.id)
        throw HeldError(error_tag::in_use, "a confirmed commit of another session is pending", pending_->session);
}

Result Datastores::carry_out(const SessionInfo &caller, const Commit &commit) {
    if (commit.confirmed && commit.timeout < std::chrono::seconds(1))
        throw RequestError(error_tag::invalid_value, "", "confirm-timeout: expected at least 1 second");
    if (commit.persist && !commit.confirmed)
        throw RequestError(error_tag::invalid_value, "", "persist: expected with a confirmed commit alone");
    take_back_if_over();
    if (commit.candidate) {
        check_native_edit(caller.principal, candidate_.native_node);
        refuse_locked(Datastore::candidate, caller.id);
    } else if (!pending_) {
        throw RequestError(error_tag::operation_failed, "", "no confirmed commit is pending");
    }
    refuse_locked(Datastore::running, caller.id);
    check_pending(caller, commit.persist_id);
    if (commit.candidate)
        commit_candidate(caller, commit);
    if (commit.confirmed)
        begin_pending(caller, commit);
    else if (pending_)
        confirm(caller);
    return {};
}

// Of a commit that may be made. One that is to be confirmed is pending afterwards.
void Datastores::commit_candidate(const SessionInfo &caller, const Commit &commit) {
    const bool begins = commit.confirmed && !pending_;
    try {
        // Also when there is nothing to change: the configuration of this moment is what comes back.
        change_running(author_of(caller), commit.confirmed ? "commit-confirmed" : "commit",
                       [&](NativeData &data, const Reader &, const Editor &) {
                           if (begins) {
                               pending_.emplace(Pending{.session = caller.id,
                                                        .persist = {},
                                                        .end = Clock::time_point::max(),
                                                        .former = data.running.tree().copy()});
                               keep_former_configuration(folder_, data.running.tree());
                           }
                           if (candidate_.changed)
                               data.running = candidate_.changed->copy();
                           check_native_configuration(data.running.to_change());
                       });
    } catch (const SqliteError &) {
        // The file may have been changed all the same: what was there before comes back at once.
        if (begins && pending_)
            end_pending(ConfirmedCommitEvent::Kind::cancel);
        throw;
    } catch (...) {
        if (begins && pending_) {
            end_pending(ConfirmedCommitEvent::Kind::cancel); // for when it cannot be forgotten
            forget_former_configuration(folder_);
            pending_.reset();
        }
        throw;
    }
    discard();
}

// The pending commit is to be taken back, at once.
void Datastores::end_pending(ConfirmedCommitEvent::Kind kind) noexcept {
    pending_->end = Clock::time_point::min();
    pending_->over = kind;
}

// Of a commit that is made: sets its time, or sets it anew.
void Datastores::begin_pending(const SessionInfo &caller, const Commit &commit) {
    const bool extended = pending_->end != Clock::time_point::max();
    pending_->session = caller.id;
    pending_->persist = commit.persist;
    pending_->end = Clock::now() + std::min<std::chrono::seconds>(commit.timeout, std::chrono::hours(24 * 365));
    log_.write(Severity::info, extended ? "confirmed-commit-extended" : "confirmed-commit-pending",
               {{"session", caller.id}, {"user", caller.principal.user}, {"timeout", seconds(commit.timeout)}});
    feed_.tell(
        ConfirmedCommitEvent{.kind = extended ? ConfirmedCommitEvent::Kind::extend : ConfirmedCommitEvent::Kind::start,
                             .author = author_of(caller),
                             .timeout = commit.timeout});
}

void Datastores::confirm(const SessionInfo &caller) {
    forget_former_configuration(folder_);
    pending_.reset();
    log_.write(Severity::info, "confirmed-commit-confirmed", {{"session", caller.id}, {"user", caller.principal.user}});
    feed_.tell(ConfirmedCommitEvent{.kind = ConfirmedCommitEvent::Kind::complete, .author = author_of(caller)});
}

Result Datastores::carry_out(const SessionInfo &caller, const CancelCommit &cancel) {
    take_back_if_over();
    if (!pending_)
        throw RequestError(error_tag::operation_failed, "", "no confirmed commit is pending");
    check_pending(caller, cancel.persist_id);
    refuse_locked(Datastore::running, caller.id);
    take_back(author_of(caller), ConfirmedCommitEvent::Kind::cancel);
    return {};
}

void Datastores::take_back(const Author &author, ConfirmedCommitEvent::Kind kind) {
    end_pending(kind); // when it fails, it is tried again
    change_running(author, "roll-back",
                   [&](NativeData &data, const Reader &, const Editor &) { data.running = pending_->former.copy(); });
    forget_former_configuration(folder_);
    pending_.reset();
    feed_.tell(ConfirmedCommitEvent{.kind = kind, .author = author});
}

void Datastores::take_back_if_over() {
    if (pending_ && pending_->over)
        take_back({}, *pending_->over);
}

Result Datastores::carry_out(const SessionInfo &caller, const DiscardChanges &) {
    check_native_edit(caller.principal, candidate_.native_node);
    refuse_locked(Datastore::candidate, caller.id);
    discard();
    return {};
}

// What happens without being asked for

void Datastores::session_ended(const SessionInfo &session) {
    if (pending_ && pending_->session == session.id) {
        pending_->session = no_session;
        if (!pending_->persist)
            end_pending(ConfirmedCommitEvent::Kind::cancel);
    }
    if (pending_ && pending_->end == Clock::time_point::min())
        tick();
    const std::lock_guard guard(mutex_);
    for (std::optional<LockInfo> &lock : locks_) {
        if (!lock || lock->session != session.id)
            continue;
        if (lock->datastore == Datastore::candidate)
            discard();
        else
            service_.unlock_configuration();
        lock.reset();
    }
}

void Datastores::stop() {
    if (pending_)
        take_back({}, ConfirmedCommitEvent::Kind::cancel);
}

Datastores::Clock::time_point Datastores::tick() {
    const Clock::time_point now = Clock::now();
    if (pending_ && pending_->end <= now) {
        try {
            take_back({}, pending_->over.value_or(ConfirmedCommitEvent::Kind::timeout));
        } catch (const std::exception &error) {
            log_.write(Severity::error, "roll-back-failed", {{"reason", error.what()}});
            pending_->end = now + next_attempt;
        }
    }
    Clock::time_point next = now + nothing_due;
    if (!feed_.is_wanted(Interest::configuration))
        feed_.forget();
    if (!feed_.is_wanted(Interest::configuration) && !feed_.is_wanted(Interest::writes)) {
        seen_.reset();
    } else {
        if (now >= next_poll_) {
            look_for_changes();
            next_poll_ = Clock::now() + change_poll_;
        }
        next = next_poll_;
    }
    return pending_ ? std::min(next, pending_->end) : next;
}

void Datastores::listeners_changed() {
    // Whoever is new may have read before the last look: the next one tells of a write, whatever it finds.
    seen_.reset();
    next_poll_ = {};
}

void Datastores::look_for_changes() {
    try {
        // Before the look: what comes between the two is seen next time.
        const Database::State state = service_.state();
        const bool written = seen_ != state;
        if (written)
            feed_.tell(DataWritten());
        if (feed_.is_wanted(Interest::configuration) && (written || !feed_.has_view()))
            service_.look([&](const Service::View &view) {
                feed_.tell_changes(Feed::view(view.data, view.reader), {.foreign = true});
            });
        seen_ = state;
        last_failure_.clear();
    } catch (const std::exception &error) {
        if (last_failure_ != error.what())
            log_.write(Severity::error, "changes-not-seen", {{"reason", error.what()}});
        last_failure_ = error.what();
    }
}

} // namespace ocamp::server
