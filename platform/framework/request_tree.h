// Trees of the seam's nodes: a builder form that is easy to put together, and the frozen form that walkers take.
// Knows nothing of what the nodes mean.
#pragma once

#include "yfw_platform.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// One node of a request or native tree while it is put together.
struct RequestNode {
    std::string tag;
    std::string ns;                         ///< namespace URI
    std::optional<std::string> value = {};  ///< none for containers, list entries and leaves that are only named
    std::uint32_t operation = YFW_OP_MERGE; ///< enum yfw_operation
    bool key = false;                       ///< a list key
    std::vector<RequestNode> children = {};
};

/// True of a list key that the client gave a value.
inline bool is_named_key(const RequestNode &node) {
    return node.key && node.value;
}

/// The key leaves of an entry as predicates, such as [name='0/1-AMP-PRE']; empty when it has none with a value.
std::string key_predicates(const RequestNode &node);

/// A tree in the layout of the seam, with the texts it points at. Its nodes stay where they are, whatever walkers write
/// into them, until the tree is destroyed.
class DataTree {
  public:
    /// Copies the description with all its texts.
    explicit DataTree(const RequestNode &root);
    DataTree(const DataTree &) = delete;
    DataTree &operator=(const DataTree &) = delete;

    /// Never NULL.
    yfw_datatree *root() noexcept { return &root_.front(); }
    const yfw_datatree *root() const noexcept { return &root_.front(); }

    /// Absolute data path of a node as the tree was frozen, list keys included, such as
    /// /optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/config. Empty when the node is not of this tree.
    std::string path_of(const yfw_datatree *node) const;

  private:
    struct Place {
        const yfw_datatree *node;
        std::size_t parent; ///< index of the parent's place; its own index for the root
        const char *tag;
        std::string keys; ///< as predicates: walkers may write into values
    };

    void freeze(const RequestNode &from, yfw_datatree &to, std::size_t parent);
    char *keep(std::string_view text);

    std::vector<yfw_datatree> root_;
    std::deque<std::vector<yfw_datatree>> child_arrays_;
    std::deque<std::string> texts_;
    std::vector<Place> places_;
};

/// One line: tag, key or value, such as <amplifier name="0/1-AMP-PRE"> or <target-gain> "15.56"; "NULL" for NULL.
void append_node_text(std::string &line, const yfw_datatree *node);

/// The tree as indented lines, operations other than merge included; at most 64 levels deep.
std::string tree_text(const yfw_datatree &root);

} // namespace ocamp
