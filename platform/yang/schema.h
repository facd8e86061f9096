// A set of YANG modules: libyang's context and compiled nodes. Knows nothing of requests or nodes.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <libyang/libyang.h>

namespace ocamp {

class YangTree;

/// A set of YANG modules. Memory that ran out is std::bad_alloc everywhere here.
class Schema {
  public:
    /// The named modules are implemented; what they import is loaded as needed. All come with the program.
    explicit Schema(std::span<const std::string_view> modules);
    /// As above, in the context of another schema: the modules that libyang loads for every context are loaded once.
    /// Each schema sees its own modules only. Not while trees of the other are used in another thread.
    Schema(const Schema &other, std::span<const std::string_view> modules);

    /// Belongs to the schema, and outlives every tree of it.
    ly_ctx *context() const noexcept { return context_.get(); }

    /// Data node below `parent` (NULL: a root of an implemented module). An empty `ns` stands for every namespace.
    /// NULL when there is none.
    const lysc_node *find(const lysc_node *parent, std::string_view name, std::string_view ns = {}) const;
    /// Names of the data nodes that may stand below `parent`, in model order.
    std::vector<std::string_view> children(const lysc_node *parent) const;
    /// Implemented module by name, prefix or namespace URI; NULL when there is none.
    const lys_module *module(std::string_view word) const;

    /// Throws YangError unless the value is one that the leaf may have. Before an identity its module's name may stand.
    /// Gives the canonical form, as leaf_text does. The leaf may be of any model.
    static std::string check_value(const lysc_node &leaf, std::string_view value);

    /// A complete instance document, valid against the modules, and of no others. Throws YangError.
    YangTree parse(std::string_view document, LYD_FORMAT format) const;
    /// As YangTree::parse_valid, of these modules and no others.
    YangTree parse_valid(std::string_view document, LYD_FORMAT format) const;
    /// Throws YangError unless the tree, to which implicit nodes may be added, is valid.
    void validate(YangTree &tree) const;

  private:
    void load(std::span<const std::string_view> modules);
    void check_roots(const YangTree &tree) const;

    std::shared_ptr<ly_ctx> context_;
    std::vector<const lys_module *> modules_;
};

/// Path of the data nodes that lead to a node of a model, module names only where the module changes.
std::string schema_path(const lysc_node &node);
/// Key leaves of a list in their order.
std::vector<const lysc_node *> list_keys(const lysc_node &list);
/// Whether it is a key of a list entry, or the leaf of the entry's "config" that the key refers to: both go with their
/// entry alone.
bool names_its_entry(const lysc_node &node);
/// What a node is.
inline bool is_key(const lysc_node &node) noexcept {
    return lysc_is_key((&node));
}
inline bool is_list(const lysc_node &node) noexcept {
    return node.nodetype == LYS_LIST;
}
inline bool is_leaf(const lysc_node &node) noexcept {
    return (node.nodetype & (LYS_LEAF | LYS_LEAFLIST)) != 0;
}
/// Type of a leaf as its model names it; the leaf outlives the reference.
inline const lysc_type &type_of(const lysc_node &leaf) noexcept {
    return *reinterpret_cast<const lysc_node_leaf &>(leaf).type;
}
/// Type of the values that a leaf takes: of a reference to another leaf, that leaf's.
inline const lysc_type &real_type_of(const lysc_node &leaf) noexcept {
    const lysc_type &type = type_of(leaf);
    return type.basetype == LY_TYPE_LEAFREF ? *reinterpret_cast<const lysc_type_leafref &>(type).realtype : type;
}
/// True for a whole number of at most 32 bits.
inline bool is_short_integer(const lysc_type &type) noexcept {
    switch (type.basetype) {
    case LY_TYPE_INT8:
    case LY_TYPE_INT16:
    case LY_TYPE_INT32:
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
        return true;
    default:
        return false;
    }
}
inline bool is_configuration(const lysc_node &node) noexcept {
    return (node.flags & LYS_CONFIG_W) != 0;
}

} // namespace ocamp
