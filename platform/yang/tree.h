// Data trees: libyang's nodes with an owner. Nodes are made, moved, copied, freed, printed and looked up here and
// nowhere else. Knows nothing of requests or nodes.
#pragma once

#include "yang/schema.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <libyang/libyang.h>

namespace ocamp {

/// The top-level nodes of a tree with all that is below them. All functions throw std::bad_alloc when memory runs out.
/// Nodes are handed out as libyang's; they belong to the tree until they are removed.
class YangTree {
  public:
    /// An empty tree.
    YangTree() = default;

    /// A complete instance document, valid against the modules of the context, which outlives the tree. Throws
    /// YangError.
    static YangTree parse(const ly_ctx &context, std::string_view document, LYD_FORMAT format);
    /// A document that is known to be valid, without what the modules say is there by default. Names and values are
    /// checked all the same. Throws YangError.
    static YangTree parse_valid(const ly_ctx &context, std::string_view document, LYD_FORMAT format);
    /// A notification of a module of the context, as XML. Throws YangError.
    static YangTree parse_notification(const ly_ctx &context, std::string_view document);

    /// True when there are no nodes.
    bool empty() const noexcept { return first_ == nullptr; }
    /// The first of the top-level siblings; NULL for an empty tree.
    lyd_node *first() const noexcept { return first_.get(); }
    /// The first child of a node of the tree, or, for NULL, the first of the top-level siblings. NULL when there is
    /// none.
    lyd_node *below(const lyd_node *parent) const noexcept {
        return parent != nullptr ? lyd_child(parent) : first_.get();
    }

    /// Each adds a container, a list entry or a leaf below `parent`, or, for NULL, at the top. Throw YangError; an
    /// entry whose keys are not all given is refused. `keys`: in the order of list_keys.
    lyd_node *add_container(lyd_node *parent, const lysc_node &node);
    lyd_node *add_entry(lyd_node *parent, const lysc_node &list, std::span<const std::string> keys);
    /// Adds the leaf, or changes the value of the one that is there.
    lyd_node *set_leaf(lyd_node *parent, const lysc_node &leaf, const std::string &value);
    /// Moves the top-level nodes of another tree in here. Throws YangError.
    void add(YangTree roots);
    /// Puts the nodes of another tree in here: leaves and entries that are there get its values, the others are added.
    /// Throws YangError.
    void merge(const YangTree &other);
    /// Frees a node of the tree with everything below it.
    void remove(lyd_node *node) noexcept;

    /// The nodes that an XPath expression gives, in which module names stand for prefixes. Throws YangError for what is
    /// no such expression, and for one that gives a value and no nodes. Of an empty tree nothing is selected.
    std::vector<lyd_node *> select(const std::string &xpath) const;

    /// Throws YangError.
    YangTree copy() const;
    /// A copy of one of the tree's nodes with all below it. Throws YangError.
    static YangTree copy_of(const lyd_node &node);
    /// Adds what the modules of the context say is there by default. Throws YangError unless the tree is valid then.
    void validate(const ly_ctx &context);

    /// The whole tree as text, indented. An empty tree gives an empty text. Throws YangError when a part of it got
    /// lost.
    std::string print(LYD_FORMAT format) const;
    /// A valid tree as the JSON document to be stored, "{}" for an empty one, without white space. It has been read
    /// back and validated, and gave the same tree. Throws YangError.
    std::string print_to_store() const;

  private:
    struct FreeTree {
        void operator()(lyd_node *first) const noexcept { lyd_free_all(first); }
    };
    template <class Call>
    LY_ERR call_with_first(Call call);
    static YangTree parse_with(const ly_ctx &context, std::string_view document, LYD_FORMAT format,
                               std::uint32_t parse_options, std::uint32_t validate_options);
    std::string print_with(LYD_FORMAT format, std::uint32_t options) const;
    lyd_node *insert(lyd_node *parent, lyd_node *added);
    void add_implicit_nodes(const ly_ctx &context);
    // Nodes that are there by default may be missing in either. This tree is not empty.
    bool says_the_same_as(YangTree other) const;

    std::unique_ptr<lyd_node, FreeTree> first_;
};

/// True for a node that libyang added because the model says that it is there by default: nobody set it.
inline bool is_implicit(const lyd_node &node) noexcept {
    return (node.flags & LYD_DEFAULT) != 0;
}
/// Value of a leaf in canonical form, without the module name that identities carry.
std::string leaf_text(const lyd_node &leaf);
/// Data path of a node with its keys, module names only where the module changes.
std::string data_path(const lyd_node &node);

/// Instance of a container or leaf; `siblings` is the first sibling to look among. NULL when there is none.
lyd_node *find_instance(const lyd_node *siblings, const lysc_node &node);
/// Instance of a list with those keys, in the order of list_keys. NULL when there is none.
lyd_node *find_entry(lyd_node *siblings, const lysc_node &list, std::span<const std::string> keys);

} // namespace ocamp
