// Paths of requests: checked, with wildcards, held against the models and against trees. Knows no RPC.
#pragma once

#include "yang/schema.h"
#include "yang/tree.h"

#include <map>
#include <string>
#include <vector>

#include "gnmi.pb.h"

namespace ocamp::gnmi {

/// Which models a path leads into.
enum class Origin { openconfig, native };

/// One element. The name may be "*" or "...", a key's value "*".
struct Step {
    std::string name;                        ///< with its module's name before it where the client gave that
    std::map<std::string, std::string> keys; ///< those left out stand for all
};

/// A whole path, from the root of its models.
struct Path {
    Origin origin = Origin::openconfig;
    std::vector<Step> steps;
};

/// Prefix and path of a request as one path. Throws RpcError with INVALID_ARGUMENT for paths too long, the deprecated
/// form, unknown origins, and origins or targets in both.
Path joined(const ::gnmi::Path &prefix, const ::gnmi::Path &path);

/// A key's value as the model writes it: "07" and "7" are one number. One that the key cannot have, "*" among them, is
/// given as it is.
std::string key_text(const lysc_node &key, const std::string &value);

/// "/a/b[key=value]/c", as messages tell it.
std::string text_of(const Path &path);

/// The same of a data path with names of modules and quoted keys, as refusals of the core have it; one that is none is
/// given as it is.
std::string text_of_data_path(const std::string &path);

/// The models that the origin stands for.
const Schema &schema_of(Origin origin);

/// Where a node belongs.
Origin origin_of(const lysc_node &node);

/// The nodes of the model that the path names, the root's being NULL. Throws RpcError: INVALID_ARGUMENT for a path that
/// is not in the model, UNIMPLEMENTED for one whose nodes the device does not serve.
std::vector<const lysc_node *> schema_nodes(const Path &path);

/// Counts the paths of one request that have "*" or "..." as an element: each is looked for in whole models and trees.
class WildcardCount {
  public:
    static constexpr int most = 64;

    /// Throws RpcError with INVALID_ARGUMENT for one too many.
    void add(const Path &path);

  private:
    int count_ = 0;
};

/// The nodes of a tree that the path names, in the tree's order; of the root, all top-level nodes of the origin. The
/// tree may hold both origins. What is below another of them is left out: a node stands for all below it.
std::vector<const lyd_node *> data_nodes(const YangTree &tree, const Path &path);

/// Steps from the root to the node, with all keys and without module names.
std::vector<Step> steps_to(const lyd_node &node);

/// As a message, without origin and target. The first `from` steps are left out.
::gnmi::Path to_message(const std::vector<Step> &steps, std::size_t from = 0);

} // namespace ocamp::gnmi
