// How paths are read and matched.
#include "server/gnmi/path.h"

#include "server/gnmi/rpc_error.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

// Deeper than any model here; bounds the work for a hostile path.
constexpr int most_steps = 64;
constexpr std::string_view any_name = "*", any_steps = "...";

// None for a word that names no origin.
std::optional<Origin> origin_named(const std::string &word) {
    if (word.empty() || word == "openconfig")
        return Origin::openconfig;
    return word == "native" ? std::optional(Origin::native) : std::nullopt;
}

// All elements, the deprecated ones too: a refusal names the path as it was given.
void add_steps(const ::gnmi::Path &path, std::vector<Step> &steps) {
    for (const std::string &name : path.element())
        steps.push_back({name, {}});
    for (const ::gnmi::PathElem &elem : path.elem()) {
        // Two in a row say no more than one.
        if (elem.name() == any_steps && !steps.empty() && steps.back().name == any_steps)
            continue;
        steps.push_back({elem.name(), {elem.key().begin(), elem.key().end()}});
    }
}

// Why there can be no such path.
std::optional<std::string> complaint_about(const ::gnmi::Path &prefix, const ::gnmi::Path &path) {
    if (!prefix.origin().empty() && !path.origin().empty())
        return "has an origin in the prefix and in the path, expected it in one of them";
    if (!prefix.target().empty() && !path.target().empty())
        return "has a target in the prefix and in the path, expected it in one of them";
    const std::string &origin = prefix.origin().empty() ? path.origin() : prefix.origin();
    if (!origin_named(origin))
        return fmt::format("has the origin '{}', expected 'openconfig' or 'native'", origin);
    if (prefix.element_size() + path.element_size() != 0)
        return "uses the deprecated field 'element', expected 'elem'";
    const int size = prefix.elem_size() + path.elem_size();
    if (size > most_steps)
        return fmt::format("has {} elements, expected at most {}", size, most_steps);
    const auto has_no_name = [](const ::gnmi::PathElem &elem) { return elem.name().empty(); };
    if (std::ranges::any_of(prefix.elem(), has_no_name) || std::ranges::any_of(path.elem(), has_no_name))
        return "has an element without a name";
    // Entries of which list would they be?
    const auto is_any_with_keys = [](const ::gnmi::PathElem &elem) {
        return elem.name() == any_steps && !elem.key().empty();
    };
    if (std::ranges::any_of(prefix.elem(), is_any_with_keys) || std::ranges::any_of(path.elem(), is_any_with_keys))
        return "has keys on '...', expected them on an element's name or on '*'";
    return std::nullopt;
}

// The name of a step without its module's name, when that is the node's.
bool is_named(const lysc_node &node, std::string_view name) {
    if (name == any_name)
        return true;
    const std::size_t colon = name.find(':');
    if (colon != std::string_view::npos) {
        if (name.substr(0, colon) != node.module->name)
            return false;
        name.remove_prefix(colon + 1);
    }
    return name == node.name;
}

bool is_key_of(const lysc_node &list, std::string_view name) {
    const std::vector<const lysc_node *> keys = list_keys(list);
    return std::ranges::any_of(keys, [&](const lysc_node *key) { return is_named(*key, name) && name != any_name; });
}

bool has_only_own_keys(const lysc_node &node, const Step &step) {
    return step.keys.empty() || (is_list(node) && std::ranges::all_of(step.keys, [&](const auto &key) {
                                     return is_key_of(node, key.first);
                                 }));
}

bool is_entry(const lyd_node &entry, const Step &step) {
    return std::ranges::all_of(step.keys, [&](const auto &wanted) {
        if (wanted.second == any_name)
            return true;
        for (const lysc_node *key : list_keys(*entry.schema)) {
            if (!is_named(*key, wanted.first))
                continue;
            const lyd_node *leaf = find_instance(lyd_child(&entry), *key);
            return leaf != nullptr &&
                   (leaf_text(*leaf) == wanted.second || leaf_text(*leaf) == key_text(*key, wanted.second));
        }
        return false;
    });
}

// Nodes in the order in which they were found, each once: "..." reaches nodes in several ways.
template <class Node>
class Found {
  public:
    void add(const Node *node) {
        if (seen_.insert(node).second)
            nodes_.push_back(node);
    }
    bool contains(const Node *node) const { return seen_.contains(node); }
    std::vector<const Node *> nodes() { return std::move(nodes_); }

  private:
    std::vector<const Node *> nodes_;
    std::set<const Node *> seen_;
};

// Where a search has been: wildcards lead to one node and step in many ways, and what is below is the same each time.
template <class Node>
class Visited {
  public:
    /// False when it has been there.
    bool enter(const Node *node, std::size_t step) { return places_.emplace(node, step).second; }

  private:
    std::set<std::pair<const Node *, std::size_t>> places_;
};

class SchemaMatch {
  public:
    explicit SchemaMatch(const Path &path) : schema_(schema_of(path.origin)), steps_(path.steps) {}

    std::vector<const lysc_node *> nodes() {
        below(nullptr, 0);
        return found_.nodes();
    }

  private:
    void below(const lysc_node *parent, std::size_t step) {
        if (step == steps_.size()) {
            found_.add(parent);
            return;
        }
        if (!visited_.enter(parent, step))
            return;
        const bool any = steps_[step].name == any_steps;
        if (any)
            below(parent, step + 1);
        if (parent != nullptr && is_leaf(*parent))
            return;
        for (const std::string_view name : schema_.children(parent)) {
            const lysc_node *child = schema_.find(parent, name);
            if (child == nullptr)
                continue;
            if (any)
                below(child, step);
            else if (is_named(*child, steps_[step].name) && has_only_own_keys(*child, steps_[step]))
                below(child, step + 1);
        }
    }

    const Schema &schema_;
    const std::vector<Step> &steps_;
    Found<lysc_node> found_;
    Visited<lysc_node> visited_;
};

class DataMatch {
  public:
    explicit DataMatch(const Path &path) : path_(path) {}

    std::vector<const lyd_node *> nodes(const YangTree &tree) {
        for (const lyd_node *root = tree.first(); root != nullptr; root = root->next) {
            if (origin_of(*root->schema) != path_.origin)
                continue;
            if (path_.steps.empty())
                found_.add(root);
            else
                match(*root, 0);
        }
        std::vector<const lyd_node *> nodes = found_.nodes();
        std::erase_if(nodes, [&](const lyd_node *node) {
            const lyd_node *above = lyd_parent(node);
            while (above != nullptr && !found_.contains(above))
                above = lyd_parent(above);
            return above != nullptr;
        });
        return nodes;
    }

  private:
    void match(const lyd_node &node, std::size_t step) {
        const Step &wanted = path_.steps[step];
        const bool any = wanted.name == any_steps;
        // Only what matches is kept: of most entries of a long list there is nothing to know.
        if (!any && (!is_named(*node.schema, wanted.name) || (!wanted.keys.empty() && !is_entry(node, wanted))))
            return;
        if (!visited_.enter(&node, step))
            return;
        if (any) {
            // It stands for no element, for this one as the last, or for this one with more below it.
            if (step + 1 < path_.steps.size())
                match(node, step + 1);
            else
                found_.add(&node);
            below(node, step);
        } else {
            reached(node, step + 1);
        }
    }
    void reached(const lyd_node &node, std::size_t step) {
        const bool ends =
            step == path_.steps.size() || (step + 1 == path_.steps.size() && path_.steps[step].name == any_steps);
        if (ends)
            found_.add(&node);
        else
            below(node, step);
    }
    void below(const lyd_node &node, std::size_t step) {
        for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next)
            match(*child, step);
    }

    const Path &path_;
    Found<lyd_node> found_;
    Visited<lyd_node> visited_;
};

// Reads "/module:a/b[key='value']".
class DataPathReader {
  public:
    explicit DataPathReader(std::string_view path) : rest_(path) {}

    // None for what is no such path.
    std::optional<Path> read() {
        Path path;
        while (take('/')) {
            const std::string_view word = take_until("/[");
            if (path.steps.empty() && native_schema().module(word.substr(0, word.find(':'))) != nullptr)
                path.origin = Origin::native;
            path.steps.push_back({std::string(word.substr(word.find(':') + 1)), {}});
            while (take('[')) {
                if (!take_key(path.steps.back().keys))
                    return std::nullopt;
            }
        }
        return rest_.empty() && !path.steps.empty() ? std::optional(std::move(path)) : std::nullopt;
    }

  private:
    bool take(char character) {
        const bool found = rest_.starts_with(character);
        rest_.remove_prefix(found ? 1 : 0);
        return found;
    }
    std::string_view take_until(std::string_view characters) {
        const std::string_view word = rest_.substr(0, rest_.find_first_of(characters));
        rest_.remove_prefix(word.size());
        return word;
    }
    bool take_key(std::map<std::string, std::string> &keys) {
        const std::string_view name = take_until("=]");
        const char quote = rest_.size() > 1 ? rest_[1] : '\0';
        if (!take('=') || (quote != '\'' && quote != '"'))
            return false;
        rest_.remove_prefix(1);
        const std::string_view value = take_until({&quote, 1});
        keys.emplace(name.substr(name.find(':') + 1), value);
        return take(quote) && take(']');
    }

    std::string_view rest_;
};

} // namespace

Path joined(const ::gnmi::Path &prefix, const ::gnmi::Path &path) {
    Path whole;
    if (const auto origin = origin_named(prefix.origin().empty() ? path.origin() : prefix.origin()))
        whole.origin = *origin;
    add_steps(prefix, whole.steps);
    add_steps(path, whole.steps);
    if (const std::optional<std::string> complaint = complaint_about(prefix, path))
        throw invalid(text_of(whole), *complaint);
    return whole;
}

std::string key_text(const lysc_node &key, const std::string &value) {
    // A string has one form; most keys are strings.
    if (real_type_of(key).basetype == LY_TYPE_STRING)
        return value;
    try {
        return Schema::check_value(key, value);
    } catch (const YangError &) {
        return value;
    }
}

std::string text_of(const Path &path) {
    std::string text = path.origin == Origin::native ? "native:" : "";
    if (path.steps.empty())
        text += "/";
    for (const Step &step : path.steps) {
        text += "/" + step.name;
        for (const auto &[name, value] : step.keys) {
            text += fmt::format("[{}=", name);
            for (const char c : value) {
                if (c == ']' || c == '\\')
                    text += '\\';
                text += c;
            }
            text += "]";
        }
    }
    return text;
}

std::string text_of_data_path(const std::string &path) {
    const std::optional<Path> read = DataPathReader(path).read();
    return read ? text_of(*read) : path;
}

Origin origin_of(const lysc_node &node) {
    return native_schema().module(node.module->name) != nullptr ? Origin::native : Origin::openconfig;
}

const Schema &schema_of(Origin origin) {
    return origin == Origin::native ? native_schema() : openconfig_schema();
}

std::vector<const lysc_node *> schema_nodes(const Path &path) {
    std::vector<const lysc_node *> nodes = SchemaMatch(path).nodes();
    if (nodes.empty())
        throw invalid(text_of(path), "is not in the model");
    std::erase_if(nodes, [](const lysc_node *node) { return node != nullptr && !is_served(*node); });
    if (nodes.empty())
        throw refused(Code::unimplemented, text_of(path), "the device does not have it");
    return nodes;
}

void WildcardCount::add(const Path &path) {
    const auto is_wildcard = [](const Step &step) { return step.name == any_name || step.name == any_steps; };
    if (std::ranges::any_of(path.steps, is_wildcard) && ++count_ > most)
        throw invalid(text_of(path), fmt::format("is one more path with '*' or '...' than the {} of a request", most));
}

std::vector<const lyd_node *> data_nodes(const YangTree &tree, const Path &path) {
    return DataMatch(path).nodes(tree);
}

std::vector<Step> steps_to(const lyd_node &node) {
    std::vector<Step> steps;
    for (const lyd_node *at = &node; at != nullptr; at = lyd_parent(at)) {
        Step &step = steps.emplace_back(Step{at->schema->name, {}});
        if (!is_list(*at->schema))
            continue;
        for (const lysc_node *key : list_keys(*at->schema)) {
            if (const lyd_node *leaf = find_instance(lyd_child(at), *key); leaf != nullptr)
                step.keys.emplace(key->name, leaf_text(*leaf));
        }
    }
    std::ranges::reverse(steps);
    return steps;
}

::gnmi::Path to_message(const std::vector<Step> &steps, std::size_t from) {
    ::gnmi::Path path;
    for (std::size_t i = from; i < steps.size(); ++i) {
        ::gnmi::PathElem &elem = *path.add_elem();
        elem.set_name(steps[i].name);
        elem.mutable_key()->insert(steps[i].keys.begin(), steps[i].keys.end());
    }
    return path;
}

} // namespace ocamp::gnmi
