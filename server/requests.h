// What sessions ask of the core and what they get: operations, results and refusals as values. Knows no protocol; the
// documents in them are those of platform/node.
#pragma once

#include "node/edit_request.h"
#include "server/identity.h"
#include "yang/request_error.h"
#include "yang/tree.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ocamp::server {

/// The configurations that there are. The candidate is one for all sessions; it is the running configuration until
/// somebody edits it, and follows that until then.
enum class Datastore { running, candidate };
inline constexpr std::size_t datastore_count = 2;

/// "running", "candidate".
std::string_view word_of(Datastore datastore) noexcept;

/// Which side of the node a read shows.
enum class Models { openconfig, native, both };

/// Everything.
struct WholeTree {};
/// A data path as Filter::from_path takes it, of either side: names of modules or prefixes may stand before names, keys
/// may be left out. A path that neither side has is refused with invalid_value.
struct PathFilter {
    std::string path;
};
/// A <filter> element or its content, as RFC 6241 section 6 says.
struct SubtreeFilter {
    std::string xml;
};
/// An XPath expression; what it selects is given as ocamp::XPathFilter says.
struct ExpressionFilter {
    std::string expression;
    std::map<std::string, std::string> namespaces; ///< URI by prefix; as XPathFilter takes them
};
using ReadFilter = std::variant<WholeTree, PathFilter, SubtreeFilter, ExpressionFilter>;

/// Reads one state of the node: no edit shows in a part of the answer only. Every role.
struct Read {
    Datastore source = Datastore::running;
    bool configuration_only = true; ///< false: state too, of the running datastore alone
    Models models = Models::both;
    ReadFilter filter = WholeTree();
};

/// One document of an edit.
struct EditStep {
    /// A NETCONF <config> document or RFC 7951 JSON with annotations, which may hold nodes of both sides. In one
    /// document the native side comes first: the OpenConfig side is what a client reads afterwards.
    std::string document;
    /// Of nodes without one of their own. `replace` replaces the whole side whose nodes the document holds, and
    /// natively both when it holds native ones; a document without nodes replaces everything by nothing.
    DefaultOperation default_operation = DefaultOperation::merge;
};

/// Carries the steps out one after the other in one transaction: all or nothing, on the disk before it is acknowledged
/// if the target is the running datastore. Operators, and admins for steps with native nodes.
struct Edit {
    Datastore target = Datastore::running;
    std::vector<EditStep> steps;
    bool test_only = false; ///< changes nothing; says what would be refused
    /// For steps that depend on what is there; `steps` is not looked at then. Called in the worker's thread, in the
    /// edit's transaction, with the target's configuration, OpenConfig and native. What it throws refuses the edit.
    std::function<std::vector<EditStep>(const YangTree &configuration)> steps_for = {};
};

/// A datastore, or a <config> document or JSON as the whole of one.
using Source = std::variant<Datastore, EditStep>;

/// Replaces all of the target; as an edit with `replace`, or as a commit. Operators, and admins where native nodes come
/// along. There is no operation that deletes a datastore: neither may be.
struct CopyConfig {
    Source source;
    Datastore target = Datastore::running;
};

/// Checks a datastore or a document as a whole. Every role.
struct Validate {
    Source source;
};

/// Refused with lock_denied and the holder's session in Refusal::holder when another session has the lock, when the
/// candidate has changes (holder no_session), or when another session's confirmed
/// commit is pending on the running datastore. While the running datastore is locked, edits of other processes are
/// refused too. A lock ends with its session; the candidate's takes uncommitted changes with it. Operators.
struct Lock {
    Datastore target = Datastore::running;
};
struct Unlock {
    Datastore target = Datastore::running;
};

/// Makes the candidate the running configuration. Operators; admins when anything native was edited in the candidate.
struct Commit {
    /// False: confirms the pending commit, or begins its time anew, and does no more: the candidate stays as it is,
    /// whoever has locked or changed it. Refused with operation_failed when none is pending.
    bool candidate = true;
    /// The former configuration comes back unless another commit confirms this one in time. A confirmed commit while
    /// one is pending begins the time anew; what comes back stays the configuration before the first.
    bool confirmed = false;
    std::chrono::seconds timeout{600};
    /// Makes a confirmed commit outlast its session, and lets any session confirm or cancel it with this text. Without:
    /// the session's end takes the commit back. A restart of the server takes both back.
    std::optional<std::string> persist = {};
    /// The `persist` of the pending commit that this one confirms.
    std::optional<std::string> persist_id = {};
};

/// Takes a pending confirmed commit back at once. Operators.
struct CancelCommit {
    std::optional<std::string> persist_id = {};
};

/// Makes the candidate follow the running datastore again. Operators; admins when anything native was edited in it.
struct DiscardChanges {};

/// Ends another session with all that it holds. Admins.
struct KillSession {
    SessionId session = no_session;
};

/// Sends nothing to the node: answered when every request that the session made before has been. Every role.
struct Wait {};

using Operation = std::variant<Read, Edit, CopyConfig, Validate, Lock, Unlock, Commit, CancelCommit, DiscardChanges,
                               KillSession, Wait>;

/// The word for logs and counters, such as "edit".
std::string_view word_of(const Operation &operation) noexcept;

/// What a request that was carried out gives.
struct Result {
    /// Of a Read: OpenConfig and native roots side by side, for the one who gets it to keep, in any thread. No module
    /// here has default values, so every form of with-defaults gives this same data.
    YangTree data = {};
    /// When its turn came. Requests have their turns one after the other: who orders what was read and changed by these
    /// times has the order in which it happened.
    std::chrono::system_clock::time_point begun = {};
};

/// A request that was not carried out and changed nothing.
struct Refusal {
    ErrorTag tag = ErrorTag::operation_failed;
    /// error-app-tag where RFC 7950 section 15 fixes one, else empty.
    std::string app_tag = {};
    /// Data path with keys, module names only where the module changes, as LeafChange::path; empty for the whole
    /// request.
    std::string path = {};
    /// What, why, and what was expected; without path and tag.
    std::string reason = {};
    /// Of missing_attribute, bad_attribute and unknown_attribute: the attribute of the path's node. Empty: not told.
    std::string attribute = {};
    /// The plug-in's code; 0 when something else refused.
    cerrno code = 0;
    /// Of lock_denied and in_use: who holds what was asked for; no_session for a holder that is no session of this
    /// server.
    std::optional<SessionId> holder = {};
};

using Outcome = std::variant<Result, Refusal>;

/// Called exactly once, in the worker's thread, unless the session ends before: then it is dropped uncalled (a call
/// that has begun goes on). It hands over and returns; it must not throw, block, or wait for the core.
using Completion = std::function<void(Outcome outcome)>;

/// The refusal that an exception of a request stands for; operation_failed with its text for a failure of the node.
Refusal refusal_of(const std::exception &error);

} // namespace ocamp::server
