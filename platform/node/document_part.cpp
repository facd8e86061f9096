// How a document is cut down to what a request can select. Goes through the text once.
#include "node/document_part.h"

#include <algorithm>
#include <vector>

namespace ocamp {

namespace {

using Requests = std::vector<const OutputNode *>;

// The document is not as libyang prints it. Never leaves this file.
struct Surprise {};

class Cutter {
  public:
    Cutter(const Schema &schema, std::string_view document) : schema_(schema), rest_(document) {}

    std::optional<std::string> root_alone(const lysc_node &root, const OutputNode &request) {
        const std::string full_name = std::string(root.module->name) + ':' + root.name;
        bool found = false;
        each_member([&](std::string_view name) {
            if (found || name != full_name) {
                pass_value();
                return;
            }
            found = true;
            part_ = '{';
            copy_since(name_begin_);
            cut_value(root, {&request});
            part_ += '}';
        });
        if (!found || !rest_.empty())
            return std::nullopt;
        return std::move(part_);
    }

  private:
    char front() const {
        if (rest_.empty())
            throw Surprise();
        return rest_.front();
    }

    void take(char wanted) {
        if (front() != wanted)
            throw Surprise();
        rest_.remove_prefix(1);
    }

    bool take_if(char wanted) {
        const bool there = front() == wanted;
        if (there)
            rest_.remove_prefix(1);
        return there;
    }

    // With its quotes.
    std::string_view take_string() {
        const std::string_view from = rest_;
        take('"');
        while (!take_if('"')) {
            take_if('\\'); // what follows it ends no string
            front();
            rest_.remove_prefix(1);
        }
        return from.substr(0, from.size() - rest_.size());
    }

    // Passes over a value of any kind.
    void pass_value() {
        std::size_t depth = 0;
        do {
            switch (front()) {
            case '"':
                take_string();
                break;
            case '{':
            case '[':
                ++depth;
                rest_.remove_prefix(1);
                break;
            case '}':
            case ']':
                if (depth == 0)
                    throw Surprise();
                --depth;
                rest_.remove_prefix(1);
                break;
            default:
                rest_.remove_prefix(1);
            }
        } while (depth > 0 || (front() != ',' && front() != '}' && front() != ']'));
    }

    // Calls `visit` for each member of an object with its name, in which the module may come first; it passes over the
    // value.
    template <class Visit>
    void each_member(Visit visit) {
        take('{');
        if (take_if('}'))
            return;
        for (;;) {
            name_begin_ = rest_;
            const std::string_view name = take_string();
            take(':');
            visit(name.substr(1, name.size() - 2));
            if (!take_if(','))
                break;
        }
        take('}');
    }

    std::string_view take_value() {
        const std::string_view from = rest_;
        pass_value();
        return from.substr(0, from.size() - rest_.size());
    }

    void copy_since(std::string_view begin) { part_ += begin.substr(0, begin.size() - rest_.size()); }

    void copy_value() { part_ += take_value(); }

    // Copies the value of a node: of a list the entries that some request may select, of a container the members with
    // what is requested below each, of all else, and of members that no request names, everything. The requests are
    // those for this node.
    void cut_value(const lysc_node &node, const Requests &requests) {
        if (node.nodetype == LYS_LIST)
            cut_list(list_keys(node), requests);
        else if (node.nodetype == LYS_CONTAINER)
            cut_container(node, requests);
        else
            copy_value();
    }

    void cut_container(const lysc_node &container, const Requests &requests) {
        char separator = '{';
        each_member([&](std::string_view full_name) {
            const std::string_view name = full_name.substr(full_name.find(':') + 1);
            part_ += separator;
            separator = ',';
            copy_since(name_begin_);
            const Requests inner = children_with_tag(requests, name);
            const lysc_node *node = inner.empty() ? nullptr : schema_.find(&container, name);
            if (node != nullptr)
                cut_value(*node, inner);
            else
                copy_value();
        });
        part_ += separator == '{' ? "{}" : "}";
    }

    void cut_list(const std::vector<const lysc_node *> &keys, const Requests &requests) {
        take('[');
        part_ += '[';
        while (!take_if(']')) {
            const std::string_view entry = take_value();
            if (front() != ']')
                take(',');
            const bool wanted = std::any_of(requests.begin(), requests.end(), [&](const OutputNode *request) {
                return Cutter(schema_, entry).may_be_selected(keys, *request);
            });
            if (wanted) {
                if (part_.back() != '[')
                    part_ += ',';
                part_ += entry;
            }
        }
        part_ += ']';
    }

    // Keys come first.
    bool may_be_selected(const std::vector<const lysc_node *> &keys, const OutputNode &request) {
        take('{');
        for (const lysc_node *key : keys) {
            if (take_string() != '"' + std::string(key->name) + '"')
                return true;
            take(':');
            const std::string *wanted = request.child_value(key->name);
            const std::string_view value = take_value();
            if (wanted != nullptr && is_plain(value) && value.substr(1, value.size() - 2) != *wanted)
                return false;
            if (!take_if(','))
                return true;
        }
        return true;
    }

    // A string as it is: without escapes, and no name of an identity, which may be written with and without its module.
    static bool is_plain(std::string_view value) {
        return value.front() == '"' && value.find_first_of("\\:") == std::string_view::npos;
    }

    const Schema &schema_;
    std::string_view rest_;
    std::string_view name_begin_; // from the name of the member that is looked at
    std::string part_;
};

} // namespace

std::optional<std::string> document_part(const Schema &schema, std::string_view document, const lysc_node &root,
                                         const OutputNode &request) {
    try {
        return Cutter(schema, document).root_alone(root, request);
    } catch (const Surprise &) {
        return std::nullopt;
    }
}

} // namespace ocamp
