// How paths and subtree filters are read, turned into requests, and applied to answers. Knows no handler.
#include "node/filter.h"

#include "log/stages.h"
#include "seam/text.h"
#include "yang/client_document.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

// What `check` gives: the value as the model writes it; none when it throws, as the leaf cannot have the value.
template <class Check>
std::optional<std::string> canonical_value(Check check) {
    try {
        return check();
    } catch (const YangError &) {
        return std::nullopt;
    }
}

// As the value of a key in a path.
constexpr std::string_view every_entry = "*";

RequestNode request_shell(const lysc_node &schema) {
    return {.tag = schema.name, .ns = schema.module->ns, .key = is_key(schema)};
}

} // namespace

PathError::PathError(ErrorTag tag, std::string_view path, std::string reason)
    : FilterError(refusal_text(tag, path, reason)), tag_(tag), path_(path), reason_(std::move(reason)) {}

// Reads one data path from left to right.
class Filter::PathReader {
  public:
    PathReader(const Schema &schema, std::string_view path) : schema_(schema), path_(path), rest_(path) {}

    Node read() {
        skip_module();
        return read_step(nullptr);
    }

  private:
    // `at` is the part of the path that is wrong.
    [[noreturn]] void fail(std::string_view at, const std::string &what,
                           ErrorTag tag = error_tag::invalid_value) const {
        throw PathError(tag, path_, fmt::format("at character {}: {}", at.data() - path_.data() + 1, what));
    }

    void skip_blanks() { rest_ = without_leading_blanks(rest_); }

    void expect(char character) {
        if (!rest_.starts_with(character))
            fail(rest_, fmt::format("expected '{}'", character));
        rest_.remove_prefix(1);
    }

    std::string_view read_word() {
        const std::string_view word = rest_.substr(0, rest_.find_first_of("/[]=: \t\r\n'\""));
        if (word.empty())
            fail(rest_, "expected a name");
        rest_.remove_prefix(word.size());
        return word;
    }

    // A name, whose module, when given, must be one of the model's.
    std::string_view read_name() {
        const std::string_view word = read_word();
        if (!rest_.starts_with(':'))
            return word;
        if (schema_.module(word) == nullptr)
            fail(word, fmt::format("no module '{}'", word), error_tag::unknown_namespace);
        rest_.remove_prefix(1);
        return read_word();
    }

    // The module before the whole path, as in "module:/root/leaf". Before the root, as in "module:root/leaf", it stands
    // for the slash, too.
    void skip_module() {
        const std::string_view word = rest_.substr(0, rest_.find_first_of("/[:"));
        if (word.empty() || !rest_.substr(word.size()).starts_with(':'))
            return;
        if (schema_.module(word) == nullptr)
            fail(word, fmt::format("no module '{}'", word));
        rest_.remove_prefix(word.size() + 1);
        slash_is_said_ = !rest_.starts_with('/');
    }

    static bool names(const std::vector<Node> &nodes, const lysc_node &schema) {
        return std::any_of(nodes.begin(), nodes.end(), [&](const Node &node) { return node.schema == &schema; });
    }

    Node read_step(const lysc_node *parent) {
        if (!std::exchange(slash_is_said_, false))
            expect('/');
        const std::string_view name = read_name();
        const lysc_node *schema = schema_.find(parent, name);
        if (schema == nullptr) {
            fail(name,
                 fmt::format("no node '{}' {}, expected one of: {}", shortened(name, longest_shown_value),
                             parent != nullptr ? fmt::format("in '{}'", parent->name) : "at the top",
                             fmt::join(schema_.children(parent), ", ")),
                 error_tag::unknown_element);
        }
        Node node{.schema = schema, .kind = Node::Kind::selection, .value = {}, .children = {}};
        while (rest_.starts_with('[')) {
            Node predicate = read_predicate(*schema);
            if (names(node.children, *predicate.schema))
                fail(rest_, fmt::format("'{}' is given twice, expected once", predicate.schema->name));
            if (predicate.value != every_entry)
                node.children.push_back(std::move(predicate));
        }
        if (!rest_.empty()) {
            if (is_leaf(*schema))
                fail(rest_, fmt::format("'{}' is a leaf, expected the end of the path", name));
            node.children.push_back(read_step(schema));
            node.selects_inside = true;
        }
        if (!node.children.empty())
            node.kind = Node::Kind::containment;
        return node;
    }

    Node read_predicate(const lysc_node &list) {
        const std::vector<const lysc_node *> keys = is_list(list) ? list_keys(list) : std::vector<const lysc_node *>{};
        if (keys.empty())
            fail(rest_, fmt::format("'{}' is no list with keys, expected '/' or the end of the path", list.name));
        expect('[');
        skip_blanks();
        const std::string_view name = read_name();
        const auto key =
            std::find_if(keys.begin(), keys.end(), [&](const lysc_node *node) { return node->name == name; });
        if (key == keys.end())
            fail(name, fmt::format("'{}' is no key of '{}', expected '{}'", name, list.name, keys.front()->name));
        skip_blanks();
        expect('=');
        skip_blanks();
        const char quote = rest_.empty() ? '\0' : rest_.front();
        if (quote != '\'' && quote != '"')
            fail(rest_, "expected a value in quotes");
        rest_.remove_prefix(1);
        const std::size_t end = rest_.find(quote);
        if (end == std::string_view::npos)
            fail(rest_, fmt::format("expected the closing {}", quote));
        const std::string_view given = rest_.substr(0, end);
        const std::optional<std::string> value =
            given == every_entry ? std::string(every_entry)
                                 : canonical_value([&] { return schema_.check_value(**key, given); });
        if (!value)
            fail(rest_, fmt::format("'{}' is no value of '{}'", given, name));
        rest_.remove_prefix(end + 1);
        skip_blanks();
        expect(']');
        return {.schema = *key, .kind = Node::Kind::content_match, .value = *value, .children = {}};
    }

    const Schema &schema_;
    std::string_view path_;
    std::string_view rest_;
    bool slash_is_said_ = false;
};

Filter::Filter(const Schema &schema) : everything_(true), is_path_(false), schema_(&schema) {}

Filter Filter::from_path(const Schema &schema, std::string_view path) {
    Filter filter(schema);
    if (path == "/")
        return filter;
    filter.everything_ = false;
    filter.is_path_ = true;
    filter.roots_.push_back(PathReader(schema, path).read());
    return filter;
}

Filter Filter::from_document(const Schema &schema, std::string_view xml) {
    if (format_of(xml) != DocumentFormat::xml)
        throw FilterError("not XML, expected a <filter> element or its content");
    std::vector<ClientNode> nodes = read_document(xml, DocumentFormat::xml, schema);
    if (nodes.size() == 1 && nodes.front().name == "filter" &&
        (nodes.front().module.empty() || nodes.front().module == netconf_namespace)) {
        for (const std::string &attribute : nodes.front().attributes) {
            if (attribute != "type=subtree")
                throw FilterError(fmt::format("<filter {}>: expected type=\"subtree\"", attribute));
        }
        if (nodes.front().operation)
            throw FilterError("<filter>: carries an operation, expected none");
        nodes = std::vector<ClientNode>(std::move(nodes.front().children));
    }
    Filter filter(schema);
    filter.everything_ = false;
    for (const ClientNode &node : nodes) {
        if (std::optional<Node> root = resolve(schema, nullptr, node))
            filter.roots_.push_back(*std::move(root));
    }
    return filter;
}

// None for a filter node that can select nothing: a name that the model does not have or the device does not serve, a
// value that the leaf cannot have, an attribute that no data node carries, or a containment whose children select
// nothing.
std::optional<Filter::Node> Filter::resolve(const Schema &schema, const lysc_node *parent, const ClientNode &from) {
    const lysc_node *node = schema.find(parent, from.name, from.module);
    if (node == nullptr || !is_served(*node) || !from.attributes.empty() || from.operation)
        return std::nullopt;
    const std::string_view value = trimmed(from.value);
    Node resolved{.schema = node, .kind = Node::Kind::selection, .value = {}, .children = {}};
    if (!value.empty()) {
        std::optional<std::string> canonical;
        if (is_leaf(*node) && from.children.empty())
            canonical = canonical_value([&] { return client_value(schema, *node, from); });
        if (!canonical)
            return std::nullopt;
        resolved.kind = Node::Kind::content_match;
        resolved.value = *std::move(canonical);
    } else if (!from.children.empty()) {
        resolved.kind = Node::Kind::containment;
        if (!resolve_children(schema, from, resolved))
            return std::nullopt;
    }
    return resolved;
}

// Adds what the children of a containment select. False when the containment can select nothing.
bool Filter::resolve_children(const Schema &schema, const ClientNode &from, Node &resolved) {
    std::map<std::pair<const lysc_node *, Node::Kind>, std::string> childless; // with the value of each
    for (const ClientNode &child : from.children) {
        std::optional<Node> inner = resolve(schema, resolved.schema, child);
        const bool content_match = !trimmed(child.value).empty();
        resolved.selects_inside = resolved.selects_inside || !content_match;
        // A content match that can never hold, alone or beside another, rules out the whole element.
        if (content_match && !inner)
            return false;
        if (inner && inner->children.empty()) {
            const auto [same, added] = childless.emplace(std::pair(inner->schema, inner->kind), inner->value);
            if (same->second != inner->value)
                return false;
            if (!added)
                continue;
        }
        if (inner)
            resolved.children.push_back(*std::move(inner));
    }
    return !resolved.children.empty();
}

RequestNode Filter::request_node(const Node &node) {
    RequestNode request = request_shell(*node.schema);
    if (node.kind == Node::Kind::content_match)
        request.value = node.value;
    for (const Node &child : node.children) {
        // A leaf that is selected and matched stands once in the request, with the value that it must have.
        const bool matched_too = child.kind == Node::Kind::selection &&
                                 std::any_of(node.children.begin(), node.children.end(), [&](const Node &other) {
                                     return other.kind == Node::Kind::content_match && other.schema == child.schema;
                                 });
        if (!matched_too)
            request.children.push_back(request_node(child));
    }
    return request;
}

// The requests below a node: a list entry is one request whatever it holds, a container one for each of its children.
std::vector<Filter::PlacedRequest> Filter::requests_of(const Node &node) {
    if (node.kind != Node::Kind::containment || is_list(*node.schema)) {
        RequestNode request = request_node(node);
        std::string place = request.tag + key_predicates(request);
        return {{std::move(place), 0, std::move(request)}};
    }
    std::vector<PlacedRequest> requests;
    for (const Node &child : node.children) {
        for (PlacedRequest &inner : requests_of(child)) {
            RequestNode request = request_shell(*node.schema);
            request.children.push_back(std::move(inner.tree));
            requests.push_back({request.tag + "/" + inner.place, inner.depth + 1, std::move(request)});
        }
    }
    return requests;
}

// Makes the request ask for all that is at its place: the answer is cut afterwards anyway.
void Filter::widen(PlacedRequest &request) {
    RequestNode *end = &request.tree;
    for (std::size_t i = 0; i < request.depth; ++i)
        end = &end->children.front();
    std::erase_if(end->children, [](const RequestNode &child) { return !child.key || !child.value; });
}

std::vector<RequestNode> Filter::requests() const {
    std::vector<PlacedRequest> placed;
    std::unordered_map<std::string, std::size_t> at_place; // in `placed`
    for (const Node &root : roots_) {
        for (PlacedRequest &request : requests_of(root)) {
            // Requests for one place become one request.
            const auto [same, added] = at_place.try_emplace(request.place, placed.size());
            if (added)
                placed.push_back(std::move(request));
            else
                widen(placed[same->second]);
        }
    }
    std::vector<RequestNode> requests;
    requests.reserve(placed.size());
    for (PlacedRequest &request : placed)
        requests.push_back(std::move(request.tree));
    if (everything_) {
        for (const std::string_view root : schema_->children(nullptr))
            requests.push_back(request_shell(*schema_->find(nullptr, root)));
    }
    return requests;
}

const lysc_node *Filter::path_target() const noexcept {
    if (!is_path_)
        return nullptr;
    const Node *node = &roots_.front();
    while (node->selects_inside)
        node = &node->children.back();
    return node->schema;
}

// Which nodes of an answer the filter selects, noted by their address before anything is removed: whether a node stays
// may depend on one behind it. What is kept stays with what is kept below it, what is whole with all that is below it.
class Filter::Marks {
  public:
    explicit Marks(bool keys_are_conditions) : keys_are_conditions_(keys_are_conditions) {}

    // True when the filter nodes select anything of `data`.
    bool mark(const std::vector<Node> &filters, const lyd_node &data) {
        // What libyang added by itself is nobody's data.
        if (is_implicit(data))
            return false;
        bool any = false;
        for (const Node &filter : filters) {
            if (filter.schema == data.schema && mark_one(filter, data))
                any = true;
        }
        if (any)
            kept_.insert(&data);
        return any;
    }

    // Of `first` and the siblings behind it.
    void remove_whole(YangTree &data, lyd_node *first) const {
        for (lyd_node *at = first, *next = nullptr; at != nullptr; at = next) {
            next = at->next;
            if (whole_.contains(at))
                data.remove(at);
            else if (kept_.contains(at))
                remove_whole(data, data.below(at));
        }
    }

    void remove_unmarked(YangTree &answer, lyd_node *first) const {
        for (lyd_node *at = first, *next = nullptr; at != nullptr; at = next) {
            next = at->next;
            if (!kept_.contains(at))
                answer.remove(at);
            else if (!whole_.contains(at))
                remove_unmarked(answer, answer.below(at));
        }
    }

  private:
    static bool holds(const Node &filter, const lyd_node &parent) {
        const lyd_node *leaf = find_instance(lyd_child(&parent), *filter.schema);
        return leaf != nullptr && leaf_text(*leaf) == filter.value;
    }

    bool mark_one(const Node &filter, const lyd_node &data) {
        // The keys in a path are conditions; the leaves matched in a filter are part of what it selects.
        if (filter.kind == Node::Kind::content_match)
            return !keys_are_conditions_ && leaf_text(data) == filter.value;
        const bool matches = std::all_of(filter.children.begin(), filter.children.end(), [&](const Node &child) {
            return child.kind != Node::Kind::content_match || holds(child, data);
        });
        if (!matches)
            return false;
        if (!filter.selects_inside) {
            whole_.insert(&data);
            return true;
        }
        bool any = false;
        for (const lyd_node *child = lyd_child(&data); child != nullptr; child = child->next)
            any = mark(filter.children, *child) || any;
        if (any) {
            // What an entry is can only be told by its keys.
            for (const lyd_node *child = lyd_child(&data); child != nullptr && is_key(*child->schema);
                 child = child->next)
                kept_.insert(child);
        }
        return any;
    }

    bool keys_are_conditions_;
    std::unordered_set<const lyd_node *> kept_;
    std::unordered_set<const lyd_node *> whole_;
};

void Filter::cut(YangTree &answer) const {
    const StageMark stage(Stage::filter);
    if (everything_)
        return;
    Marks marks(is_path_);
    for (const lyd_node *root = answer.first(); root != nullptr; root = root->next)
        marks.mark(roots_, *root);
    marks.remove_unmarked(answer, answer.first());
}

void Filter::remove_selected(YangTree &data) const {
    if (everything_) {
        data = YangTree();
        return;
    }
    Marks marks(is_path_);
    for (const lyd_node *root = data.first(); root != nullptr; root = root->next)
        marks.mark(roots_, *root);
    marks.remove_whole(data, data.first());
}

} // namespace ocamp
