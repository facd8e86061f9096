// The walks that are measured: one request and the tree that a walker of the plug-in goes through for it. Valid trees
// only. Knows nothing of how they are measured.
#pragma once

#include "null_platform.h"
#include "tree.h"
#include "walkers.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "yfw_platform.h"

namespace walks {

/// One mapping run: the client's request, and the tree that its walker goes through. Stays where it is made.
class Run {
  public:
    /// A walk over the request itself.
    Run(uint32_t kind, const Node &request);
    /// A walk over a native answer to the request.
    Run(const Node &request, Walker *walker, const Node &answer);
    ~Run();
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    cerrno walk();
    yfw_map_ctx_s &context() { return context_; }

  private:
    Run(uint32_t kind, const Node &request, Walker *walker, const Node *answer);

    uint32_t kind_;
    Walker *walker_;
    SchemaNames names_;
    Tree request_, duplicate_;
    Tree answer_;
    yfw_datatree *walked_;
    yfw_datatree out_ = {};
    yfw_map_request state_ = {};
    yfw_map_ctx_s context_ = {};
};

/// A walk by name. `make` gives a run over a tree of that many list entries; what has none leaves the number alone.
struct Walk {
    const char *name;
    std::unique_ptr<Run> (*make)(size_t entries);
};

/// Requests of one entry, of a list and of the model, and edits of one entry.
const std::vector<Walk> &requests();
/// Answers of the five native modules.
const std::vector<Walk> &answers();

/// The request of both whole lists, as a client sends it that reads a node's amplifiers and channels.
Node read_of_the_model();
/// The request of all amplifiers.
Node read_of_all_amplifiers();

/// The native answer that holds these entries: OTS ports, or port histories.
Node ots_answer(std::vector<Node> ports);
Node history_answer(std::vector<Node> histories);
/// One entry of each; `statistics` are the four containers of a history.
Node ots_port(const std::string &name, std::vector<Node> readings);
Node port_history(const std::string &name, std::vector<Node> statistics);
Node statistics_of(const std::string &quantity, const std::string &minimum, const std::string &average,
                   const std::string &maximum);
/// Walkers of the two answers.
extern Walker *const ots_walker;
extern Walker *const history_walker;

} // namespace walks
