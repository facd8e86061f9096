// How libyang is asked. Knows nothing of requests or nodes.
#include "node/schema.h"

#include "log/text.h"
#include "node/stages.h"
#include "node/yang_modules.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Most keys that a list of the carried modules has.
constexpr std::size_t kMostKeys = 4;

LY_ERR provide_module(const char *name, const char *, const char *submodule, const char *, void *, LYS_INFORMAT *format,
                      const char **text, ly_module_imp_data_free_clb *free_text) {
    if (submodule != nullptr)
        return LY_ENOTFOUND;
    for (const YangModule &module : yang_modules()) {
        if (module.name == name) {
            *format = LYS_IN_YANG;
            *text = module.text;
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

const lysc_type &type_of(const lysc_node &leaf) {
    return *reinterpret_cast<const lysc_node_leaf &>(leaf).type;
}

// Takes digits from the front of the text; false when there are none.
bool take_digits(std::string_view &text) {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count != 0;
}

// An optional sign, digits, and after a point more digits; white space may stand around them.
bool is_decimal(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
    if (!take_digits(text))
        return false;
    if (!text.starts_with('.'))
        return text.empty();
    text.remove_prefix(1);
    return take_digits(text) && text.empty();
}

// libyang takes a sign alone for the number 0.
void check_lexical_form(const lysc_node &leaf, std::string_view value) {
    if (type_of(leaf).basetype == LY_TYPE_DEC64 && !is_decimal(value))
        throw YangError(fmt::format("Invalid decimal64 value \"{}\", expected one such as \"-1.5\".",
                                    shortened(value, longest_shown_value)));
}

// The last complaint that was made in the context, with its place.
YangError complaint_of(const ly_ctx *context) {
    const char *message = ly_errmsg(context);
    const char *path = ly_errpath(context);
    if (message == nullptr)
        return YangError("refused without a reason");
    return path == nullptr ? YangError(message) : YangError(message, path);
}

// Memory that has run out is no complaint about what libyang was given.
void check(LY_ERR result, const ly_ctx *context) {
    if (result == LY_EMEM)
        throw std::bad_alloc();
    if (result != LY_SUCCESS)
        throw complaint_of(context);
}

// A stream of the C library into a text. Unlike libyang's own printing to memory, which goes on without what it could
// not write, and crashes at places, it remembers that.
class TextStream {
  public:
    TextStream()
        : stream_(fopencookie(this, "w", {.read = nullptr, .write = append, .seek = nullptr, .close = nullptr})) {
        if (stream_ == nullptr)
            throw std::bad_alloc();
        std::setvbuf(stream_, buffer_.data(), _IOFBF, buffer_.size());
    }
    ~TextStream() {
        if (stream_ != nullptr)
            std::fclose(stream_);
    }
    TextStream(const TextStream &) = delete;
    TextStream &operator=(const TextStream &) = delete;

    std::FILE *get() const noexcept { return stream_; }

    // What was written. Throws std::bad_alloc when a part of it got lost.
    std::string take() {
        if (std::fflush(stream_) != 0 || std::ferror(stream_) != 0)
            throw std::bad_alloc();
        return std::move(text_);
    }

  private:
    static ssize_t append(void *self, const char *part, std::size_t size) noexcept {
        try {
            static_cast<TextStream *>(self)->text_.append(part, size);
            return static_cast<ssize_t>(size);
        } catch (...) {
            return 0;
        }
    }

    std::array<char, 4096> buffer_;
    std::string text_;
    std::FILE *stream_;
};

LY_ERR print_to(std::FILE *stream, const lyd_node *tree, LYD_FORMAT format) {
    ly_out *out = nullptr;
    const LY_ERR made = ly_out_new_file(stream, &out);
    if (made != LY_SUCCESS)
        return made;
    const LY_ERR result = lyd_print_all(out, tree, format, 0);
    ly_out_free(out, nullptr, 0);
    return result;
}

template <class Text>
Text *there(Text *text) {
    if (text == nullptr)
        throw std::bad_alloc();
    return text;
}

} // namespace

std::string leaf_text(const lyd_node &leaf) {
    std::string text = there(lyd_get_value(&leaf));
    const auto *type = reinterpret_cast<const lyd_node_term &>(leaf).value.realtype;
    if (type != nullptr && type->basetype == LY_TYPE_IDENT)
        text.erase(0, text.find(':') + 1);
    return text;
}

Schema::Schema(std::span<const std::string_view> modules) {
    // Complaints are kept for exceptions instead of being printed.
    ly_log_options(LY_LOSTORE_LAST);
    ly_ctx *context = nullptr;
    const LY_ERR made = ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS, &context);
    context_.reset(context);
    check(made, context);
    ly_ctx_set_module_imp_clb(context, provide_module, nullptr);
    for (const std::string_view name : modules) {
        const lys_module *module = ly_ctx_load_module(context, std::string(name).c_str(), nullptr, nullptr);
        if (module == nullptr && ly_errcode(context) == LY_EMEM)
            throw std::bad_alloc();
        if (module == nullptr)
            throw YangError(fmt::format("YANG module {}: {}", name, complaint()));
        modules_.push_back(module);
    }
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

std::string Schema::complaint() const {
    return complaint_of(context_.get()).what();
}

std::string Schema::check_value(const lysc_node &leaf, std::string_view value) const {
    check_lexical_form(leaf, value);
    const char *canonical = nullptr;
    const LY_ERR result =
        lyd_value_validate(context_.get(), &leaf, value.data(), value.size(), nullptr, nullptr, &canonical);
    if (result == LY_EMEM)
        throw std::bad_alloc();
    // A reference cannot be resolved without a tree; its type has been checked.
    if (result != LY_SUCCESS && result != LY_EINCOMPLETE) {
        const char *message = ly_errmsg(context_.get());
        throw YangError(message != nullptr ? with_shown_value(message, value) : "refused without a reason");
    }
    std::string text = canonical != nullptr ? canonical : std::string(value);
    lydict_remove(context_.get(), canonical);
    if (type_of(leaf).basetype == LY_TYPE_IDENT)
        text.erase(0, text.find(':') + 1);
    return text;
}

YangTree Schema::parse(std::string_view document, LYD_FORMAT format) const {
    lyd_node *first = nullptr;
    const std::string terminated(document);
    const LY_ERR result =
        lyd_parse_data_mem(context_.get(), terminated.c_str(), format, LYD_PARSE_STRICT, LYD_VALIDATE_PRESENT, &first);
    YangTree tree(first);
    check(result, context());
    return tree;
}

void Schema::validate(YangTree &tree) const {
    const StageMark stage(Stage::check);
    lyd_node *first = tree.release();
    const LY_ERR result = lyd_validate_all(&first, context_.get(), LYD_VALIDATE_PRESENT, nullptr);
    tree.reset(first);
    check(result, context());
}

lyd_node *Schema::keep(YangTree &tree, lyd_node *parent, lyd_node *added) const {
    if (parent != nullptr)
        return added;
    lyd_node *first = tree.release();
    const LY_ERR result = lyd_insert_sibling(first, added, &first);
    tree.reset(first);
    if (result != LY_SUCCESS)
        lyd_free_tree(added);
    check(result, context());
    return added;
}

lyd_node *Schema::add_container(YangTree &tree, lyd_node *parent, const lysc_node &node) const {
    lyd_node *added = nullptr;
    check(lyd_new_inner(parent, node.module, node.name, 0, &added), context());
    return keep(tree, parent, added);
}

lyd_node *Schema::add_entry(YangTree &tree, lyd_node *parent, const lysc_node &node,
                            std::span<const std::string> keys) const {
    if (keys.size() != list_keys(node).size() || keys.size() > kMostKeys)
        throw YangError(fmt::format("list {} needs each of its keys", node.name));
    std::array<const char *, kMostKeys> values{};
    std::transform(keys.begin(), keys.end(), values.begin(), [](const std::string &key) { return key.c_str(); });
    lyd_node *added = nullptr;
    // The call takes as many of the texts as the list has keys.
    check(lyd_new_list(parent, node.module, node.name, 0, &added, values[0], values[1], values[2], values[3]),
          context());
    return keep(tree, parent, added);
}

lyd_node *Schema::set_leaf(YangTree &tree, lyd_node *parent, const lysc_node &node, const std::string &value) const {
    check_lexical_form(node, value);
    lyd_node *siblings = parent != nullptr ? lyd_child(parent) : tree.get();
    if (lyd_node *present = find_instance(siblings, node); present != nullptr) {
        const LY_ERR result = lyd_change_term(present, value.c_str());
        // The same value again is told by codes of their own.
        if (result != LY_EEXIST && result != LY_ENOT)
            check(result, context());
        return present;
    }
    lyd_node *added = nullptr;
    check(lyd_new_term(parent, node.module, node.name, value.c_str(), 0, &added), context());
    return keep(tree, parent, added);
}

std::vector<const lysc_node *> list_keys(const lysc_node &list) {
    std::vector<const lysc_node *> keys;
    for (const lysc_node *child = lysc_node_child(&list); child != nullptr && is_key(*child); child = child->next)
        keys.push_back(child);
    return keys;
}

lyd_node *find_instance(lyd_node *siblings, const lysc_node &node) {
    lyd_node *found = nullptr;
    const LY_ERR result = lyd_find_sibling_val(siblings, &node, nullptr, 0, &found);
    if (result != LY_ENOTFOUND)
        check(result, node.module->ctx);
    return found;
}

lyd_node *find_entry(lyd_node *siblings, const lysc_node &list, std::span<const std::string> keys) {
    const std::vector<const lysc_node *> key_nodes = list_keys(list);
    for (lyd_node *entry = siblings; entry != nullptr; entry = entry->next) {
        if (entry->schema != &list || keys.size() != key_nodes.size())
            continue;
        bool same = true;
        for (std::size_t i = 0; same && i < keys.size(); ++i) {
            const lyd_node *key = find_instance(lyd_child(entry), *key_nodes[i]);
            same = key != nullptr && leaf_text(*key) == keys[i];
        }
        if (same)
            return entry;
    }
    return nullptr;
}

void add_roots(YangTree &to, YangTree roots) {
    if (roots == nullptr)
        return;
    const ly_ctx *context = LYD_CTX(roots.get());
    lyd_node *first = to.release();
    const LY_ERR result = lyd_insert_sibling(first, roots.get(), &first);
    to.reset(first);
    check(result, context);
    static_cast<void>(roots.release());
}

YangTree copy_tree(const lyd_node *tree) {
    lyd_node *copy = nullptr;
    if (tree == nullptr)
        return nullptr;
    const LY_ERR result = lyd_dup_siblings(tree, nullptr, LYD_DUP_RECURSIVE, &copy);
    YangTree owned(copy);
    check(result, LYD_CTX(tree));
    return owned;
}

std::string print_tree(const lyd_node *tree, LYD_FORMAT format) {
    const StageMark stage(Stage::print);
    if (tree == nullptr)
        return {};
    ly_err_clean(const_cast<ly_ctx *>(LYD_CTX(tree)), nullptr);
    TextStream stream;
    const LY_ERR result = print_to(stream.get(), tree, format);
    std::string text = stream.take();
    check(result, LYD_CTX(tree));
    check(ly_errcode(LYD_CTX(tree)), LYD_CTX(tree));
    return text;
}

std::string print_to_store(const lyd_node *tree) {
    std::string text = print_tree(tree, LYD_JSON);
    if (text.empty())
        return "{}";
    lyd_node *first = nullptr;
    const LY_ERR result =
        lyd_parse_data_mem(LYD_CTX(tree), text.c_str(), LYD_JSON, LYD_PARSE_STRICT, LYD_VALIDATE_PRESENT, &first);
    const YangTree read(first);
    check(result, LYD_CTX(tree));
    const LY_ERR compared = lyd_compare_siblings(tree, first, LYD_COMPARE_FULL_RECURSION);
    if (compared == LY_ENOT)
        throw YangError("the document to store would read back as another one");
    check(compared, LYD_CTX(tree));
    return text;
}

std::string data_path(const lyd_node &node) {
    const std::unique_ptr<char, decltype(&std::free)> path(lyd_path(&node, LYD_PATH_STD, nullptr, 0), &std::free);
    return there(path.get());
}

} // namespace ocamp
