// What Get answers, given a reading of the node. Knows no RPC but its messages.
#pragma once

#include "server/gnmi/path.h"
#include "server/gnmi/value.h"

#include <chrono>
#include <vector>

namespace ocamp::gnmi {

/// A GetRequest, checked.
class GetQuery {
  public:
    /// Throws RpcError for whatever the request cannot have, its paths held against the models.
    explicit GetQuery(::gnmi::GetRequest request);

    /// What is asked for.
    const std::vector<Path> &paths() const noexcept { return paths_; }

    /// One notification a path, without updates when type and depth leave nothing of it. Throws RpcError: NOT_FOUND for
    /// a path without data, RESOURCE_EXHAUSTED for an answer of more bytes than that.
    ::gnmi::GetResponse answer(const YangTree &tree, std::chrono::system_clock::time_point read_at,
                               std::size_t most_bytes) const;

  private:
    void add_json(const std::vector<const lyd_node *> &nodes, bool root, ::gnmi::Notification &notification) const;
    void add_leaves(const std::vector<const lyd_node *> &nodes, bool root, ::gnmi::Notification &notification) const;

    ::gnmi::GetRequest request_;
    std::vector<Path> paths_;
    LeafTest wanted_;
    std::size_t levels_ = 0;
};

/// Levels below the path that an extension limits an answer to; 0: all.
template <class Extensions>
std::size_t depth_of(const Extensions &extensions) {
    std::size_t levels = 0;
    for (const auto &extension : extensions) {
        if (extension.has_depth())
            levels = extension.depth().level();
    }
    return levels;
}

/// True for a leaf of state whose value is also configuration: the applied side of what an operator sets.
bool is_applied_configuration(const lysc_node &leaf);

/// Throws RpcError with UNIMPLEMENTED for models that are not served.
void check_models(const google::protobuf::RepeatedPtrField<::gnmi::ModelData> &models);

} // namespace ocamp::gnmi
