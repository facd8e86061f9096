// An OpenConfig answer put together from what mapping runs wrote. What the model does not take is dropped and counted.
// Knows nothing of native models.
#pragma once

#include "framework/output_tree.h"
#include "yang/tree.h"

#include <cstddef>
#include <string>
#include <vector>

namespace ocamp {

/// A leaf that a handler wrote and the answer does not carry.
struct DroppedLeaf {
    std::string path;
    std::string value;
    std::string reason;
};

/// What became of a value that a handler wrote.
struct Placement {
    std::string path;    ///< data path, without module names
    std::size_t write;   ///< place among the writes of its walk
    std::string value;   ///< as written
    std::string dropped; ///< why the answer does not carry it; empty when it does
};

/// Grows with every walk over native data.
class Answer {
  public:
    /// `configuration_only`: state is dropped too.
    Answer(const Schema &schema, bool configuration_only) : schema_(schema), configuration_only_(configuration_only) {}

    /// Adds what one walk wrote to what is there already. `placements`: takes what became of each value, or NULL.
    void add(const OutputTree &output, std::vector<Placement> *placements = nullptr);

    /// What has been put together; afterwards the answer is empty.
    YangTree take_tree() noexcept { return std::move(tree_); }
    /// In the order in which they were written.
    const std::vector<DroppedLeaf> &dropped() const noexcept { return dropped_; }

  private:
    struct Place;

    void place(lyd_node *parent, const lysc_node *parent_schema, const Place &from);
    void place_leaf(lyd_node *parent, const lysc_node &schema, const Place &from);
    void place_entry(lyd_node *parent, const lysc_node &schema, const Place &from);
    void place_container(lyd_node *parent, const lysc_node &schema, const Place &from);
    void place_children(lyd_node *node, const lysc_node &schema, const Place &from);
    void note(const Place &from, const std::string &dropped);
    void drop(const Place &from, const std::string &reason);

    const Schema &schema_;
    bool configuration_only_;
    YangTree tree_;
    std::vector<DroppedLeaf> dropped_;
    std::vector<Placement> *placements_ = nullptr; // of the walk being added
};

} // namespace ocamp
