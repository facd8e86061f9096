// A set of YANG modules and the data trees that belong to them: libyang's contexts and trees as C++ objects, with its
// errors as exceptions. Knows nothing of requests or nodes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <libyang/libyang.h>

namespace ocamp {

// What libyang refused: its reason, and the place when it gave one. Memory that ran out is std::bad_alloc everywhere
// here.
class YangError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    /// `place`: where in the model or the data. The text has it in brackets behind the complaint.
    YangError(const std::string &complaint, const std::string &place)
        : std::runtime_error(complaint + " (" + place + ")"), complaint_size_(complaint.size()) {}

    /// The text without the place.
    std::string_view complaint() const noexcept { return std::string_view(what()).substr(0, complaint_size_); }

  private:
    std::size_t complaint_size_ = std::string_view::npos;
};

struct FreeTree {
    void operator()(lyd_node *first) const noexcept { lyd_free_all(first); }
};
// The first of the top-level siblings of a tree; NULL for an empty tree.
using YangTree = std::unique_ptr<lyd_node, FreeTree>;

// Value of a leaf in canonical form, without the module name that identities carry.
std::string leaf_text(const lyd_node &leaf);

class Schema {
  public:
    // The named modules are implemented; what they import is loaded as needed. All come with the program.
    explicit Schema(std::span<const std::string_view> modules);

    ly_ctx *context() const noexcept { return context_.get(); }

    // Data node below `parent` (NULL: a root of an implemented module). An empty `ns` stands for every namespace.
    // NULL when there is none.
    const lysc_node *find(const lysc_node *parent, std::string_view name, std::string_view ns = {}) const;
    // Names of the data nodes that may stand below `parent`, in model order.
    std::vector<std::string_view> children(const lysc_node *parent) const;
    // Implemented module by name, prefix or namespace URI; NULL when there is none.
    const lys_module *module(std::string_view word) const;

    // Throws YangError unless the value is one that the leaf may have. Before an identity its module's name may stand.
    // Gives the canonical form, as leaf_text does.
    std::string check_value(const lysc_node &leaf, std::string_view value) const;

    // A complete instance document, valid against the modules. Throws YangError.
    YangTree parse(std::string_view document, LYD_FORMAT format) const;
    // Throws YangError unless the tree, to which implicit nodes may be added, is valid.
    void validate(YangTree &tree) const;

    // Adds a container, a list entry or a leaf below `parent`, or a root when `parent` is NULL. Throws YangError; an
    // entry whose keys are not all given is refused.
    lyd_node *add_container(YangTree &tree, lyd_node *parent, const lysc_node &node) const;
    lyd_node *add_entry(YangTree &tree, lyd_node *parent, const lysc_node &node,
                        std::span<const std::string> keys) const;
    // Adds the leaf, or changes the value of the one that is there.
    lyd_node *set_leaf(YangTree &tree, lyd_node *parent, const lysc_node &node, const std::string &value) const;

    // Last complaint of libyang, with its place.
    std::string complaint() const;

  private:
    struct FreeContext {
        void operator()(ly_ctx *context) const noexcept { ly_ctx_destroy(context); }
    };
    lyd_node *keep(YangTree &tree, lyd_node *parent, lyd_node *added) const;

    std::unique_ptr<ly_ctx, FreeContext> context_;
    std::vector<const lys_module *> modules_;
};

// Key leaves of a list in their order.
std::vector<const lysc_node *> list_keys(const lysc_node &list);
inline bool is_key(const lysc_node &node) noexcept {
    return lysc_is_key((&node));
}
inline bool is_list(const lysc_node &node) noexcept {
    return node.nodetype == LYS_LIST;
}
inline bool is_leaf(const lysc_node &node) noexcept {
    return (node.nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
}
inline bool is_configuration(const lysc_node &node) noexcept {
    return (node.flags & LYS_CONFIG_W) != 0;
}

// Child instance of a container or leaf; `siblings` is the first sibling to look among. NULL when there is none.
lyd_node *find_instance(lyd_node *siblings, const lysc_node &node);
// Instance of a list with those keys, in the order of list_keys. NULL when there is none.
lyd_node *find_entry(lyd_node *siblings, const lysc_node &list, std::span<const std::string> keys);

/// Moves the roots into `to`. Throws YangError.
void add_roots(YangTree &to, YangTree roots);
/// A tree with copies of all siblings. Throws YangError.
YangTree copy_tree(const lyd_node *tree);

// The whole tree as text, indented. An empty tree gives an empty text. Throws YangError when a part of it got lost.
std::string print_tree(const lyd_node *tree, LYD_FORMAT format);
/// A valid tree as the JSON document to be stored, "{}" for an empty one. It has been read back, and gave the same
/// tree. Throws YangError.
std::string print_to_store(const lyd_node *tree);
// Data path of a node with its keys, module names only where the module changes.
std::string data_path(const lyd_node &node);

} // namespace ocamp
