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

// Whatever is not ASCII is taken for a part of a name; where it is none, the expression is none either.
bool begins_name(char character) noexcept {
    constexpr unsigned char first_beyond_ascii = 0x80;
    const auto byte = static_cast<unsigned char>(character);
    return std::isalpha(byte) != 0 || character == '_' || byte >= first_beyond_ascii;
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

bool is_blank(char character) noexcept {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

// Finds what predicates look at: it is looked at again for every node that they are asked of. Takes an expression that
// is none, too; that is told by who evaluates it. Also finds what libyang cannot be given: it divides whole numbers for
// "mod", so that a divisor of 0, or of less than 1, ends the process; and it loses memory with each pattern that is
// none.
class CostCheck {
  public:
    explicit CostCheck(std::string_view expression) : rest_(expression) {}

    void run() {
        while (!rest_.empty()) {
            if (is_blank(rest_.front()))
                take(1);
            else if (rest_.front() == '\'' || rest_.front() == '"')
                take_literal();
            else if (begins_name(rest_.front()))
                take_name();
            else if (std::isdigit(static_cast<unsigned char>(rest_.front())) != 0)
                take_operand(1);
            else
                take_sign();
        }
    }

  private:
    void take(std::size_t count) { rest_.remove_prefix(std::min(count, rest_.size())); }
    void take_operand(std::size_t count) {
        take(count);
        behind_operand_ = true;
    }
    void take_operator(std::size_t count) {
        take(count);
        behind_operand_ = false;
    }

    void take_literal() {
        const std::size_t end = rest_.find(rest_.front(), 1);
        take_operand(end == std::string_view::npos ? rest_.size() : end + 1);
    }

    void take_name() {
        std::size_t size = 1;
        while (size < rest_.size() && goes_on_name(rest_[size]))
            ++size;
        const std::string_view name = rest_.substr(0, size);
        take(size);
        while (!rest_.empty() && is_blank(rest_.front()))
            take(1);
        if (rest_.starts_with("::")) {
            take_axis(name);
        } else if (behind_operand_ && name.starts_with("mod")) { // libyang takes "mode" for "mod e" here
            check_divisor(name);
            behind_operand_ = false;
        } else if (behind_operand_ && (name == "and" || name == "or" || name == "div")) {
            behind_operand_ = false;
        } else {
            if (name == "node" && rest_.starts_with('('))
                look_around();
            if (name == "re-match" && rest_.starts_with('('))
                throw FilterError("XPath: the function re-match is not evaluated, expected another");
            if ((name == "current" || name == "deref") && rest_.starts_with('('))
                leave();
            behind_operand_ = true;
        }
    }

    // What is behind the operator is a number, and nothing that would make it a smaller one.
    void check_divisor(std::string_view name) const {
        constexpr std::size_t most_digits = 9;
        const std::size_t digits = std::min(rest_.find_first_not_of("0123456789"), rest_.size());
        const bool is_whole = digits <= most_digits && !rest_.substr(digits).starts_with('.');
        if (name != "mod" || !is_whole || rest_.substr(0, digits).find_first_not_of('0') == std::string_view::npos)
            throw FilterError("XPath: 'mod' stands before something else, expected a whole number of 1 to 999999999");
    }

    void take_axis(std::string_view axis) {
        take_operator(2);
        const bool sideways = axis.starts_with("preceding") || axis.starts_with("following");
        if (sideways && ++sideways_ > 1)
            fail();
        if (sideways || axis.starts_with("descendant"))
            look_around();
        if (sideways || axis.starts_with("ancestor") || axis == "parent")
            leave();
    }

    void take_sign() {
        const char sign = rest_.front();
        if (sign == '/') {
            if (!behind_operand_)
                leave();
            const bool descends = rest_.starts_with("//");
            if (descends)
                look_around();
            take_operator(descends ? 2 : 1);
        } else if (sign == '.') {
            const bool ascends = rest_.starts_with("..");
            if (ascends)
                leave();
            take_operand(ascends ? 2 : 1);
        } else if (sign == '*' && !behind_operand_) {
            look_around();
            take_operand(1);
        } else if (sign == ']' || sign == ')') {
            predicates_ -= sign == ']' && predicates_ > 0 ? 1 : 0;
            take_operand(1);
        } else {
            predicates_ += sign == '[' ? 1 : 0;
            take_operator(1);
        }
    }

    // At many nodes.
    void look_around() {
        if (predicates_ == 0)
            return;
        if (looks_around_ || predicates_ > 1 || leaves_)
            fail();
        looks_around_ = true;
    }

    // The subtree of the node that the predicate is asked of.
    void leave() {
        if (predicates_ == 0)
            return;
        if (looks_around_ || predicates_ > 1)
            fail();
        leaves_ = true;
    }

    [[noreturn]] static void fail() {
        throw FilterError(
            "XPath: looks through the tree again for every node, expected at most one axis 'preceding' or "
            "'following', and in predicates at most one '//', '*' or axis of many nodes, below their "
            "node and in no predicate of a predicate");
    }

    std::string_view rest_;
    bool behind_operand_ = false; // where "*" and "and" are operators and "/" goes on a path
    std::size_t predicates_ = 0;  // around this place
    std::size_t sideways_ = 0;    // axes, predicates or not: each goes through the whole tree for each node
    bool looks_around_ = false, leaves_ = false;
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
            if (whole_.contains(at) || is_key(*at->schema))
                continue;
            if (above_.contains(at))
                remove_others(tree, tree.below(at));
            else
                tree.remove(at);
        }
    }

  private:
    std::unordered_set<const lyd_node *> whole_, above_;
};

} // namespace

void check_cost_of_xpath(std::string_view expression) {
    CostCheck(expression).run();
}

XPathFilter::XPathFilter(const Schema &schema, std::string_view expression,
                         const std::map<std::string, std::string> &namespaces) {
    if (expression.size() > longest_expression)
        throw FilterError(fmt::format("XPath: {} bytes, expected at most {}", expression.size(), longest_expression));
    if (expression.find('\0') != std::string_view::npos || !is_utf8(expression))
        throw FilterError("XPath: not UTF-8 text");
    check_cost_of_xpath(expression);
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
