// How the leaves of an edit are followed to the native side and back. Knows nothing of how it is shown.
#include "node/why_edit.h"

#include "framework/operation_words.h"
#include "node/why.h"
#include "seam/path_text.h"
#include "yang/models.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>

#include <fmt/format.h>

namespace ocamp {

namespace {

std::string units_of(const lysc_node &node) {
    const char *units = is_leaf(node) ? reinterpret_cast<const lysc_node_leaf &>(node).units : nullptr;
    return units != nullptr ? units : "";
}

void collect(const EditNode &node, std::vector<WhyEdit> &leaves) {
    if (node.schema == nullptr || is_key(*node.schema))
        return;
    if (node.operation && deletes(*node.operation)) {
        leaves.push_back({.path = node.path, .unit = units_of(*node.schema)});
        return;
    }
    if (is_leaf(*node.schema) && node.operation && node.value)
        leaves.push_back({.path = node.path, .asked = node.value, .unit = units_of(*node.schema)});
    for (const EditNode &child : node.children)
        collect(child, leaves);
}

class NativeNodes {
  public:
    explicit NativeNodes(std::vector<WhyEdit> &leaves) : leaves_(leaves) {}

    void visit(const OutputNode &node, const lysc_node *parent, const std::string &above) {
        const lysc_node *schema = native_schema().find(parent, node.tag);
        if (schema == nullptr)
            return;
        std::string path = above + "/" + node.tag;
        if (is_list(*schema)) {
            for (const lysc_node *key : list_keys(*schema)) {
                if (const std::string *value = node.child_value(key->name); value != nullptr)
                    path += step_with_key("", key->name, *value);
            }
        }
        take(node, *schema, path);
        for (const OutputNode &child : node.children)
            visit(child, schema, path);
    }

  private:
    void take(const OutputNode &node, const lysc_node &schema, const std::string &path) {
        const auto leaf = std::find_if(leaves_.begin(), leaves_.end(), [&](const WhyEdit &known) {
            return known.path == node.source_path && known.native.empty();
        });
        if (leaf == leaves_.end() || (leaf->asked && !is_leaf(schema)))
            return;
        leaf->native = path;
        leaf->native_unit = units_of(schema);
        if (leaf->asked)
            leaf->stored = node.value;
    }

    std::vector<WhyEdit> &leaves_;
};

// A decimal number: its digits as a whole number, and how many of them stand behind the point.
struct Decimal {
    std::int64_t digits;
    int behind_point;
};

std::optional<Decimal> decimal_of(std::string text) {
    const std::size_t point = text.find('.');
    const int behind_point = point == std::string::npos ? 0 : static_cast<int>(text.size() - point - 1);
    if (point != std::string::npos)
        text.erase(point, 1);
    Decimal number{0, behind_point};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number.digits);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

// The number with so many digits behind the point; none when it does not fit.
std::optional<std::int64_t> widened(Decimal number, int behind_point) {
    for (; number.behind_point < behind_point; ++number.behind_point) {
        if (__builtin_mul_overflow(number.digits, 10, &number.digits))
            return std::nullopt;
    }
    return number.digits;
}

// The difference of two decimal texts as one; none when either is no number.
std::optional<std::string> difference(const std::string &a, const std::string &b) {
    const std::optional<Decimal> first = decimal_of(a), second = decimal_of(b);
    if (!first || !second)
        return std::nullopt;
    const int behind_point = std::max(first->behind_point, second->behind_point);
    const std::optional<std::int64_t> minuend = widened(*first, behind_point),
                                      subtrahend = widened(*second, behind_point);
    std::int64_t steps = 0;
    if (!minuend || !subtrahend || __builtin_sub_overflow(*minuend, *subtrahend, &steps))
        return std::nullopt;
    std::string text = fmt::format("{:0{}}", steps < 0 ? -steps : steps, behind_point + 1);
    if (behind_point > 0)
        text.insert(text.size() - static_cast<std::size_t>(behind_point), 1, '.');
    return steps < 0 ? "-" + text : text;
}

std::string loss(const WhyEdit &leaf) {
    if (!leaf.asked || !leaf.reads_back || *leaf.asked == *leaf.reads_back)
        return {};
    const std::optional<std::string> part = difference(*leaf.asked, *leaf.reads_back);
    return fmt::format("{}{} becomes {}",
                       part ? fmt::format("{}{}{}: ", *part, leaf.unit.empty() ? "" : " ", leaf.unit) : "", *leaf.asked,
                       *leaf.reads_back);
}

void collect_values(const lyd_node *first, std::map<std::string, std::string> &values) {
    for (const lyd_node *node = first; node != nullptr; node = node->next) {
        if (is_leaf(*node->schema) && !is_implicit(*node))
            values.emplace(plain_path(*node), leaf_text(*node));
        collect_values(lyd_child(node), values);
    }
}

} // namespace

std::vector<WhyEdit> asked_leaves(const EditRequest &request) {
    std::vector<WhyEdit> leaves;
    for (const EditNode &root : request.roots())
        collect(root, leaves);
    return leaves;
}

void note_native_edit(std::vector<WhyEdit> &leaves, const std::vector<OutputNode> &native_edit) {
    NativeNodes nodes(leaves);
    for (const OutputNode &root : native_edit)
        nodes.visit(root, nullptr, "");
}

void note_read_back(std::vector<WhyEdit> &leaves, const YangTree &configuration) {
    std::map<std::string, std::string> values;
    collect_values(configuration.first(), values);
    for (WhyEdit &leaf : leaves) {
        leaf.carried_out = true;
        if (const auto value = values.find(leaf.path); value != values.end())
            leaf.reads_back = value->second;
        leaf.lost = loss(leaf);
    }
}

} // namespace ocamp
