// How the modules are compiled and looked through. Knows nothing of requests or nodes.
#include "yang/schema.h"

#include "seam/text.h"
#include "yang/error.h"
#include "yang/modules.h"
#include "yang/tree.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <fmt/format.h>

namespace ocamp {

namespace {

LY_ERR provide_module(const char *name, const char *, const char *submodule, const char *, void *, LYS_INFORMAT *format,
                      const char **text, ly_module_imp_data_free_clb *free_text) {
    if (submodule != nullptr)
        return LY_ENOTFOUND;
    for (const YangModule &module : yang_modules()) {
        if (module.name == name) {
            *format = LYS_IN_YANG;
            *text = module.terse;
            *free_text = nullptr;
            return LY_SUCCESS;
        }
    }
    return LY_ENOTFOUND;
}

// A complaint that quotes a long value, with the value shortened.
std::string with_shown_value(std::string complaint, std::string_view value) {
    const std::size_t at = value.size() > longest_shown_value ? complaint.find(value) : std::string::npos;
    return at == std::string::npos ? complaint
                                   : complaint.replace(at, value.size(), shortened(value, longest_shown_value));
}

} // namespace

Schema::Schema(std::span<const std::string_view> modules) {
    // Complaints are kept for exceptions instead of being printed.
    ly_log_options(LY_LOSTORE_LAST);
    ly_ctx *context = nullptr;
    const LY_ERR made =
        ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS | LY_CTX_EXPLICIT_COMPILE, &context);
    context_.reset(context, ly_ctx_destroy);
    check(made, context);
    ly_ctx_set_module_imp_clb(context, provide_module, nullptr);
    load(modules);
}

Schema::Schema(const Schema &other, std::span<const std::string_view> modules) : context_(other.context_) {
    load(modules);
}

void Schema::load(std::span<const std::string_view> modules) {
    for (const std::string_view name : modules) {
        const lys_module *module = ly_ctx_load_module(context(), std::string(name).c_str(), nullptr, nullptr);
        if (module == nullptr && ly_errcode(context()) == LY_EMEM)
            throw std::bad_alloc();
        if (module == nullptr)
            throw YangError(fmt::format("YANG module {}: {}", name, complaint_of(context()).what()));
        modules_.push_back(module);
    }
    // At once: those that are augmented or imported would be compiled anew with each that does so.
    check(ly_ctx_compile(context()), context());
}

const lysc_node *Schema::find(const lysc_node *parent, std::string_view name, std::string_view ns) const {
    const auto fits = [&](const lysc_node &node) { return node.name == name && (ns.empty() || node.module->ns == ns); };
    const auto find_below = [&](const lysc_node *above, const lysc_module *module) -> const lysc_node * {
        const lysc_node *child = nullptr;
        while ((child = lys_getnext(child, above, module, 0)) != nullptr) {
            if (fits(*child))
                return child;
        }
        return nullptr;
    };
    if (parent != nullptr)
        return find_below(parent, nullptr);
    for (const lys_module *module : modules_) {
        if (const lysc_node *root = find_below(nullptr, module->compiled); root != nullptr)
            return root;
    }
    return nullptr;
}

std::vector<std::string_view> Schema::children(const lysc_node *parent) const {
    std::vector<std::string_view> names;
    const auto add_below = [&](const lysc_node *above, const lysc_module *module) {
        const lysc_node *child = nullptr;
        while ((child = lys_getnext(child, above, module, 0)) != nullptr)
            names.push_back(child->name);
    };
    if (parent != nullptr) {
        add_below(parent, nullptr);
    } else {
        for (const lys_module *module : modules_)
            add_below(nullptr, module->compiled);
    }
    return names;
}

const lys_module *Schema::module(std::string_view word) const {
    const auto found = std::find_if(modules_.begin(), modules_.end(), [&](const lys_module *module) {
        return module->name == word || module->prefix == word || module->ns == word;
    });
    return found == modules_.end() ? nullptr : *found;
}

std::string Schema::check_value(const lysc_node &leaf, std::string_view value) {
    check_lexical_form(leaf, value);
    const ly_ctx *context = leaf.module->ctx;
    const char *canonical = nullptr;
    const LY_ERR result = lyd_value_validate(context, &leaf, value.data(), value.size(), nullptr, nullptr, &canonical);
    if (result == LY_EMEM)
        throw std::bad_alloc();
    // A reference cannot be resolved without a tree; its type has been checked.
    if (result != LY_SUCCESS && result != LY_EINCOMPLETE) {
        const char *message = ly_errmsg(context);
        throw YangError(message != nullptr ? with_shown_value(message, value) : "refused without a reason");
    }
    std::string text = canonical != nullptr ? canonical : std::string(value);
    lydict_remove(context, canonical);
    if (type_of(leaf).basetype == LY_TYPE_IDENT)
        text.erase(0, text.find(':') + 1);
    return text;
}

YangTree Schema::parse(std::string_view document, LYD_FORMAT format) const {
    YangTree tree = YangTree::parse(*context(), document, format);
    check_roots(tree);
    return tree;
}

YangTree Schema::parse_valid(std::string_view document, LYD_FORMAT format) const {
    YangTree tree = YangTree::parse_valid(*context(), document, format);
    check_roots(tree);
    return tree;
}

// The context may have modules of another schema.
void Schema::check_roots(const YangTree &tree) const {
    for (const lyd_node *root = tree.first(); root != nullptr; root = root->next) {
        const lys_module *owner = lyd_owner_module(root);
        if (std::find(modules_.begin(), modules_.end(), owner) == modules_.end())
            throw YangError(fmt::format("/{}:{}: data of another model", owner->name, root->schema->name));
    }
}

void Schema::validate(YangTree &tree) const {
    tree.validate(*context());
}

std::string schema_path(const lysc_node &node) {
    const std::unique_ptr<char, decltype(&std::free)> path(lysc_path(&node, LYSC_PATH_DATA, nullptr, 0), &std::free);
    return there(path.get());
}

std::vector<const lysc_node *> list_keys(const lysc_node &list) {
    std::vector<const lysc_node *> keys;
    for (const lysc_node *child = lysc_node_child(&list); child != nullptr && is_key(*child); child = child->next)
        keys.push_back(child);
    return keys;
}

bool names_its_entry(const lysc_node &node) {
    if (is_key(node))
        return true;
    const lysc_node *list = node.parent != nullptr ? node.parent->parent : nullptr;
    if (!is_leaf(node) || list == nullptr || !is_list(*list))
        return false;
    return std::ranges::any_of(list_keys(*list), [&](const lysc_node *key) {
        return std::string_view(key->name) == node.name && type_of(*key).basetype == LY_TYPE_LEAFREF;
    });
}

} // namespace ocamp
