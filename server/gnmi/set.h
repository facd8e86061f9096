// What Set asks of the core: a SetRequest as steps of one edit. Knows no RPC but its messages, and nobody who asks.
#pragma once

#include "server/gnmi/path.h"
#include "server/requests.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ocamp::gnmi {

/// What the commit extension of a SetRequest says.
struct CommitAction {
    enum class Kind { commit, confirm, cancel, set_duration };
    Kind kind = Kind::commit;
    std::string id;
    std::chrono::seconds duration{600};
};

/// Which controller asks, by the master arbitration extension.
struct Election {
    std::string role;
    std::uint64_t high = 0, low = 0;
    auto order() const noexcept { return std::pair(high, low); }
};

/// A SetRequest, checked against the models.
class SetEdit {
  public:
    /// Throws RpcError for whatever the request cannot have.
    explicit SetEdit(const ::gnmi::SetRequest &request);

    const std::optional<CommitAction> &commit() const noexcept { return commit_; }
    const std::optional<Election> &election() const noexcept { return election_; }
    /// A path of an operation in the native models, if any: whose role they need is no matter of what is there.
    const std::optional<std::string> &native_path() const noexcept { return native_path_; }
    bool empty() const noexcept { return results_.response().empty(); }
    /// Of the running datastore, with steps in the protocol's order: delete, union_replace, replace, update. This
    /// outlives it: deletes become steps when the edit is made, on what is there then.
    server::Edit edit() const;
    /// The steps for a node with that configuration.
    std::vector<server::EditStep> steps(const YangTree &configuration) const;

    /// The answer to a Set that was carried out.
    ::gnmi::SetResponse response(std::chrono::system_clock::time_point changed_at) const;

  private:
    void note_origin(const Path &path);
    void add_delete(const ::gnmi::Path &prefix, const ::gnmi::Path &path);
    void add_union(const ::gnmi::SetRequest &request);
    void add_update(const Path &path, const ::gnmi::TypedValue &value, bool replace);
    void add_result(const ::gnmi::Path &path, ::gnmi::UpdateResult::Operation operation);

    WildcardCount wildcards_; // of deletes: no other operation takes them
    std::vector<Path> deletes_;
    std::vector<server::EditStep> others_;
    std::optional<std::string> native_path_;
    std::optional<CommitAction> commit_;
    std::optional<Election> election_;
    ::gnmi::SetResponse results_;
};

} // namespace ocamp::gnmi
