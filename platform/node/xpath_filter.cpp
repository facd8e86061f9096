// How XPath expressions are made libyang's own and applied. Knows no model.
#include "node/xpath_filter.h"

#include "node/filter.h"
#include "seam/text.h"
#include "yang/error.h"

#include <cctype>
#include <unordered_set>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Longest expression: libyang descends where parentheses and predicates do.
constexpr std::size_t longest_expression = 8192;
constexpr std::size_t deepest_expression = 64;

// A module that has no data: what is looked for in it is not found.
constexpr std::string_view module_without_data = "yang";

bool begins_name(char character) noexcept {
    return std::isalpha(static_cast<unsigned char>(character)) != 0 || character == '_';
}
bool goes_on_name(char character) noexcept {
    return begins_name(character) || std::isdigit(static_cast<unsigned char>(character)) != 0 || character == '-' ||
           character == '.';
}

// Writes module names where an expression has prefixes.
class PrefixReader {
  public:
    PrefixReader(const Schema &schema, std::string_view expression,
                 const std::map<std::string, std::string> &namespaces)
        : schema_(schema), rest_(expression), namespaces_(namespaces) {}

    std::string read() {
        while (!rest_.empty()) {
            if (rest_.front() == '\'' || rest_.front() == '"')
                take_literal();
            else if (begins_name(rest_.front()))
                take_name();
            else
                take_sign();
        }
        return std::move(text_);
    }

  private:
    void take(std::size_t count) {
        text_ += rest_.substr(0, count);
        rest_.remove_prefix(std::min(count, rest_.size()));
    }

    void take_literal() {
        const std::size_t end = rest_.find(rest_.front(), 1);
        take(end == std::string_view::npos ? rest_.size() : end + 1);
    }

    void take_name() {
        std::size_t size = 1;
        while (size < rest_.size() && goes_on_name(rest_[size]))
            ++size;
        const std::string_view behind = rest_.substr(size);
        const bool is_prefix = behind.starts_with(':') && !behind.starts_with("::");
        if (!is_prefix) {
            take(size);
            return;
        }
        text_ += module_of(rest_.substr(0, size));
        rest_.remove_prefix(size);
    }

    void take_sign() {
        if (rest_.front() == '(' || rest_.front() == '[')
            ++depth_;
        else if ((rest_.front() == ')' || rest_.front() == ']') && depth_ > 0)
            --depth_;
        if (depth_ > deepest_expression)
            throw FilterError(fmt::format("XPath: more than {} levels, expected at most that", deepest_expression));
        take(1);
    }

    std::string_view module_of(std::string_view prefix) const {
        const auto bound = namespaces_.find(std::string(prefix));
        const lys_module *module = bound != namespaces_.end()
                                       ? ly_ctx_get_module_implemented_ns(schema_.context(), bound->second.c_str())
                                       : ly_ctx_get_module_implemented(schema_.context(), std::string(prefix).c_str());
        if (module == nullptr && bound == namespaces_.end())
            throw FilterError(
                fmt::format("XPath: the prefix '{}' stands for no namespace", shortened(prefix, longest_shown_value)));
        return module != nullptr ? std::string_view(module->name) : module_without_data;
    }

    const Schema &schema_;
    std::string_view rest_;
    const std::map<std::string, std::string> &namespaces_;
    std::string text_;
    std::size_t depth_ = 0;
};

// The nodes that stay: those that were selected, with all below, and those above them.
class Kept {
  public:
    explicit Kept(const std::vector<lyd_node *> &selected) : whole_(selected.begin(), selected.end()) {
        for (const lyd_node *node : selected) {
            for (const lyd_node *above = lyd_parent(node); above != nullptr; above = lyd_parent(above))
                above_.insert(above);
        }
    }

    void remove_others(YangTree &tree, lyd_node *first) const {
        for (lyd_node *at = first, *next = nullptr; at != nullptr; at = next) {
            next = at->next;
            if (whole_.count(at) != 0 || is_key(*at->schema))
                continue;
            if (above_.count(at) != 0)
                remove_others(tree, tree.below(at));
            else
                tree.remove(at);
        }
    }

  private:
    std::unordered_set<const lyd_node *> whole_, above_;
};

} // namespace

XPathFilter::XPathFilter(const Schema &schema, std::string_view expression,
                         const std::map<std::string, std::string> &namespaces) {
    if (expression.size() > longest_expression)
        throw FilterError(fmt::format("XPath: {} bytes, expected at most {}", expression.size(), longest_expression));
    if (expression.find('\0') != std::string_view::npos || !is_utf8(expression))
        throw FilterError("XPath: not UTF-8 text");
    expression_ = PrefixReader(schema, expression, namespaces).read();
}

void XPathFilter::cut(YangTree &tree) const {
    try {
        Kept(tree.select(expression_)).remove_others(tree, tree.first());
    } catch (const YangError &error) {
        throw FilterError(fmt::format("XPath: {}", shortened(error.what(), 400)));
    }
}

} // namespace ocamp
