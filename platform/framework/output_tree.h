// What a mapping run wrote, in order, and the tree that those writes make. Knows nothing of the models written in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// One write of a handler into its output.
struct Write {
    std::string path;
    std::string ns;
    std::optional<std::string> value = {};
    std::optional<std::uint32_t> operation = {};  ///< of the source node at the time of the call; none without a source
    std::string source_path = {};                 ///< data path of the source node in its request
    std::optional<std::string> source_value = {}; ///< the source node's value as the client gave it
    bool opens_list = false;                      ///< a new entry of the list at `path`
    std::optional<std::string> key_name = {};     ///< the entry with this key is found or added; `value` is the key's
};

/// One node of the tree.
struct OutputNode {
    std::string tag;
    std::string ns;
    std::optional<std::string> value = {};
    std::optional<std::uint32_t> operation = {};
    std::string source_path = {};
    std::optional<std::string> source_value = {};
    std::optional<std::size_t> write = {}; ///< place among the writes of the one that gave the value
    bool list_entry = false;               ///< opened, found or added as one
    bool addressed = false;                ///< a write ended here; the others only stand on the way
    bool open = false;                     ///< further writes with this tag go in here, and into no sibling of the tag
    std::vector<OutputNode> children = {};

    /// The first child with that tag; NULL when there is none.
    const OutputNode *child(std::string_view child_tag) const noexcept;
    /// Value of a child leaf; NULL when there is none, or it has none.
    const std::string *child_value(std::string_view child_tag) const noexcept;
};

/// The children of all these nodes that have the tag, in their order.
std::vector<const OutputNode *> children_with_tag(const std::vector<const OutputNode *> &nodes, std::string_view tag);

/// A list flag opens a new entry under the entries that are open above it; a key finds or adds its entry and opens it;
/// every other write goes into the entries opened last, and makes what is missing on its way.
class OutputTree {
  public:
    /// Places the writes in their order; they are not kept.
    explicit OutputTree(std::span<const Write> writes);

    /// The nodes at the top, in the order in which they were first written.
    const std::vector<OutputNode> &roots() const noexcept { return top_.children; }
    /// Writes whose path is not absolute, or has an empty step.
    const std::vector<Write> &unplaced() const noexcept { return unplaced_; }

  private:
    OutputNode &way_to(std::string_view path, const std::string &ns);

    OutputNode top_;
    std::vector<Write> unplaced_;
};

/// The tree as indented lines, one a node, with values and with operations other than merge.
std::string output_text(const std::vector<OutputNode> &roots);

} // namespace ocamp
