// How libyang's trees are handled. Knows nothing of requests or nodes.
#include "yang/tree.h"

#include "log/stages.h"
#include "yang/error.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Most keys that a list of the carried modules has.
constexpr std::size_t most_keys = 4;

// A stream of the C library into a text. Unlike libyang's own printing to memory, which goes on without what it could
// not write, and crashes at places, it remembers that.
class TextStream {
  public:
    TextStream()
        : stream_(fopencookie(this, "w", {.read = nullptr, .write = append, .seek = nullptr, .close = nullptr})) {
        if (stream_ == nullptr)
            throw std::bad_alloc();
        static_cast<void>(std::setvbuf(stream_, buffer_.data(), _IOFBF, buffer_.size()));
    }
    ~TextStream() { static_cast<void>(std::fclose(stream_)); }
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

LY_ERR print_to(std::FILE *stream, const lyd_node *tree, LYD_FORMAT format, std::uint32_t options) {
    ly_out *out = nullptr;
    const LY_ERR made = ly_out_new_file(stream, &out);
    if (made != LY_SUCCESS)
        return made;
    const LY_ERR result = lyd_print_all(out, tree, format, options);
    ly_out_free(out, nullptr, 0);
    return result;
}

} // namespace

// Calls libyang with the place of the first node, which it may change: it owns the nodes while it works.
template <class Call>
LY_ERR YangTree::call_with_first(Call call) {
    lyd_node *first = first_.release();
    const LY_ERR result = call(&first);
    first_.reset(first);
    return result;
}

YangTree YangTree::parse(const ly_ctx &context, std::string_view document, LYD_FORMAT format) {
    return parse_with(context, document, format, LYD_PARSE_STRICT, LYD_VALIDATE_PRESENT);
}

YangTree YangTree::parse_valid(const ly_ctx &context, std::string_view document, LYD_FORMAT format) {
    // The latter two say of each node what validating it would have said.
    return parse_with(context, document, format,
                      LYD_PARSE_STRICT | LYD_PARSE_ONLY | LYD_PARSE_WHEN_TRUE | LYD_PARSE_NO_NEW, 0);
}

YangTree YangTree::parse_with(const ly_ctx &context, std::string_view document, LYD_FORMAT format,
                              std::uint32_t parse_options, std::uint32_t validate_options) {
    const std::string terminated(document);
    YangTree tree;
    check(tree.call_with_first([&](lyd_node **first) {
        return lyd_parse_data_mem(&context, terminated.c_str(), format, parse_options, validate_options, first);
    }),
          &context);
    return tree;
}

YangTree YangTree::parse_notification(const ly_ctx &context, std::string_view document) {
    const std::string terminated(document);
    ly_in *in = nullptr;
    check(ly_in_new_memory(terminated.c_str(), &in), &context);
    const std::unique_ptr<ly_in, void (*)(ly_in *)> owned(in, [](ly_in *input) { ly_in_free(input, 0); });
    YangTree tree;
    check(tree.call_with_first([&](lyd_node **first) {
        return lyd_parse_op(&context, nullptr, in, LYD_XML, LYD_TYPE_NOTIF_YANG, first, nullptr);
    }),
          &context);
    return tree;
}

void YangTree::validate(const ly_ctx &context) {
    const StageMark stage(Stage::check);
    check(call_with_first(
              [&](lyd_node **first) { return lyd_validate_all(first, &context, LYD_VALIDATE_PRESENT, nullptr); }),
          &context);
}

// Takes over a node that belongs to no tree yet, unless it has been made below `parent`.
lyd_node *YangTree::insert(lyd_node *parent, lyd_node *added) {
    if (parent != nullptr)
        return added;
    const LY_ERR result = call_with_first([&](lyd_node **first) { return lyd_insert_sibling(*first, added, first); });
    if (result == LY_SUCCESS)
        return added;
    const ly_ctx *context = LYD_CTX(added);
    lyd_free_tree(added);
    check(result, context);
    return nullptr;
}

lyd_node *YangTree::add_container(lyd_node *parent, const lysc_node &node) {
    lyd_node *added = nullptr;
    check(lyd_new_inner(parent, node.module, node.name, 0, &added), node.module->ctx);
    return insert(parent, added);
}

lyd_node *YangTree::add_entry(lyd_node *parent, const lysc_node &list, std::span<const std::string> keys) {
    if (keys.size() != list_keys(list).size() || keys.size() > most_keys)
        throw YangError(fmt::format("list {} needs each of its keys", list.name));
    std::array<const char *, most_keys> values{};
    std::transform(keys.begin(), keys.end(), values.begin(), [](const std::string &key) { return key.c_str(); });
    lyd_node *added = nullptr;
    // The call takes as many of the texts as the list has keys.
    check(lyd_new_list(parent, list.module, list.name, 0, &added, values[0], values[1], values[2], values[3]),
          list.module->ctx);
    return insert(parent, added);
}

lyd_node *YangTree::set_leaf(lyd_node *parent, const lysc_node &leaf, const std::string &value) {
    check_lexical_form(leaf, value);
    if (lyd_node *present = find_instance(below(parent), leaf); present != nullptr) {
        const LY_ERR result = lyd_change_term(present, value.c_str());
        // The same value again is told by codes of their own.
        if (result != LY_EEXIST && result != LY_ENOT)
            check(result, leaf.module->ctx);
        return present;
    }
    lyd_node *added = nullptr;
    check(lyd_new_term(parent, leaf.module, leaf.name, value.c_str(), 0, &added), leaf.module->ctx);
    return insert(parent, added);
}

void YangTree::add(YangTree roots) {
    if (roots.empty())
        return;
    // All siblings move with the first.
    check(call_with_first([&](lyd_node **first) { return lyd_insert_sibling(*first, roots.first(), first); }),
          LYD_CTX(roots.first()));
    static_cast<void>(roots.first_.release());
}

void YangTree::merge(const YangTree &other) {
    if (!other.empty())
        check(call_with_first([&](lyd_node **first) { return lyd_merge_siblings(first, other.first(), 0); }),
              LYD_CTX(other.first()));
}

void YangTree::remove(lyd_node *node) noexcept {
    if (node == first()) {
        static_cast<void>(first_.release());
        first_.reset(node->next);
    }
    lyd_free_tree(node);
}

std::vector<lyd_node *> YangTree::select(const std::string &xpath) const {
    std::vector<lyd_node *> nodes;
    if (empty())
        return nodes;
    ly_set *found = nullptr;
    const LY_ERR result = lyd_find_xpath4(nullptr, first(), xpath.c_str(), LY_VALUE_JSON, nullptr, nullptr, &found);
    const std::unique_ptr<ly_set, void (*)(ly_set *)> owner(found, [](ly_set *set) { ly_set_free(set, nullptr); });
    check(result, LYD_CTX(first()));
    for (std::uint32_t i = 0; i < found->count; ++i)
        nodes.push_back(found->dnodes[i]);
    return nodes;
}

YangTree YangTree::copy_of(const lyd_node &node) {
    YangTree copied;
    check(copied.call_with_first(
              [&](lyd_node **copy) { return lyd_dup_single(&node, nullptr, LYD_DUP_RECURSIVE, copy); }),
          LYD_CTX(&node));
    return copied;
}

YangTree YangTree::copy() const {
    YangTree copied;
    if (!empty())
        check(copied.call_with_first(
                  [&](lyd_node **copy) { return lyd_dup_siblings(first(), nullptr, LYD_DUP_RECURSIVE, copy); }),
              LYD_CTX(first()));
    return copied;
}

std::string YangTree::print(LYD_FORMAT format) const {
    return print_with(format, 0);
}

std::string YangTree::print_with(LYD_FORMAT format, std::uint32_t options) const {
    const StageMark stage(Stage::print);
    if (empty())
        return {};
    const ly_ctx *context = LYD_CTX(first());
    ly_err_clean(const_cast<ly_ctx *>(context), nullptr);
    TextStream stream;
    const LY_ERR result = print_to(stream.get(), first(), format, options);
    std::string text = stream.take();
    check(result, context);
    check(ly_errcode(context), context);
    return text;
}

void YangTree::add_implicit_nodes(const ly_ctx &context) {
    check(call_with_first([&](lyd_node **first) { return lyd_new_implicit_all(first, &context, 0, nullptr); }),
          &context);
}

bool YangTree::says_the_same_as(YangTree other) const {
    const ly_ctx *context = LYD_CTX(first());
    LY_ERR compared = lyd_compare_siblings(first(), other.first(), LYD_COMPARE_FULL_RECURSION);
    if (compared == LY_ENOT) {
        YangTree completed = copy();
        completed.add_implicit_nodes(*context);
        other.add_implicit_nodes(*context);
        compared = lyd_compare_siblings(completed.first(), other.first(), LYD_COMPARE_FULL_RECURSION);
    }
    if (compared != LY_ENOT)
        check(compared, context);
    return compared == LY_SUCCESS;
}

std::string YangTree::print_to_store() const {
    std::string text = print_with(LYD_JSON, LYD_PRINT_SHRINK);
    if (text.empty())
        return "{}";
    if (!says_the_same_as(parse(*LYD_CTX(first()), text, LYD_JSON)))
        throw YangError("the document to store would read back as another one");
    return text;
}

std::string leaf_text(const lyd_node &leaf) {
    std::string text = there(lyd_get_value(&leaf));
    if (reinterpret_cast<const lyd_node_term &>(leaf).value.realtype->basetype == LY_TYPE_IDENT)
        text.erase(0, text.find(':') + 1);
    return text;
}

std::string data_path(const lyd_node &node) {
    const std::unique_ptr<char, decltype(&std::free)> path(lyd_path(&node, LYD_PATH_STD, nullptr, 0), &std::free);
    return there(path.get());
}

lyd_node *find_instance(const lyd_node *siblings, const lysc_node &node) {
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

} // namespace ocamp
