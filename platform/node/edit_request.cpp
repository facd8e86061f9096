// How edit documents are read. Knows neither the node's data nor the plug-in.
#include "node/edit_request.h"

#include "framework/operation_words.h"
#include "node/attribute_error.h"
#include "node/filter.h"
#include "node/native_range.h"
#include "seam/path_text.h"
#include "seam/text.h"
#include "yang/error.h"
#include "yang/request_error.h"

#include <algorithm>
#include <unordered_set>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

constexpr std::string_view netconf_module = "ietf-netconf";

// How RFC 7951 writes a value of the type.
ClientNode::JsonForm json_form(const lysc_type &type) {
    if (is_short_integer(type))
        return ClientNode::JsonForm::number;
    if (type.basetype == LY_TYPE_EMPTY)
        return ClientNode::JsonForm::null;
    // Texts are decimal64 and the long integers, too.
    return type.basetype == LY_TYPE_BOOL ? ClientNode::JsonForm::boolean : ClientNode::JsonForm::string;
}

std::string_view form_word(ClientNode::JsonForm form) {
    switch (form) {
    case ClientNode::JsonForm::object:
        return "an object";
    case ClientNode::JsonForm::string:
        return "a string";
    case ClientNode::JsonForm::number:
        return "a number";
    case ClientNode::JsonForm::boolean:
        return "true or false";
    case ClientNode::JsonForm::null:
        return "null";
    default:
        return "nothing";
    }
}

[[noreturn]] void refuse_attribute(const ClientNode &node, const std::string &path) {
    const std::string &written = node.attributes.front(); // with "=" and value
    throw AttributeError(error_tag::unknown_attribute, path, written.substr(0, written.find('=')),
                         fmt::format("attribute '{}', expected none but 'operation' of the namespace {}",
                                     node.attributes.front(), netconf_namespace));
}

bool is_element(const ClientNode &node, std::string_view name) {
    return node.name == name && node.module == netconf_namespace;
}

// True for a leaf that tells no entry, or anything that the client gave an operation, at the node or below.
bool asks_for_something(const EditNode &node) {
    const bool is_value = node.schema == nullptr || (is_leaf(*node.schema) && !is_key(*node.schema));
    return is_value || node.own_operation ||
           std::any_of(node.children.begin(), node.children.end(), asks_for_something);
}

std::size_t leaf_count(const ClientNode &node) {
    if (node.children.empty())
        return 1;
    std::size_t count = 0;
    for (const ClientNode &child : node.children)
        count += leaf_count(child);
    return count;
}

bool has_operation(const ClientNode &node) {
    return node.operation || std::any_of(node.children.begin(), node.children.end(), has_operation);
}

// Refuses a second node of one path. `steps`: the last ones of the siblings before. Keys have been counted by then.
void check_repeated(std::unordered_set<std::string> &steps, const EditNode &added) {
    if (added.schema != nullptr && !is_key(*added.schema) && !steps.insert(added.path.step()).second)
        throw RequestError(error_tag::operation_failed, added.path, "is given twice, expected once");
}

// Reads the nodes of a document from the root down.
class EditReader {
  public:
    EditReader(const Schema &schema, StateInEdit state) : schema_(schema), state_(state) {}

    EditNode read_root(const ClientNode &from, std::optional<std::uint32_t> default_operation) {
        return read(from, nullptr, nullptr, default_operation);
    }
    // Leaves of state that were passed over so far.
    std::size_t passed_over() const noexcept { return passed_over_; }

  private:
    // `above`: NULL at the top.
    EditNode shell(const ClientNode &from, const EditPath *above, std::optional<std::uint32_t> inherited) const {
        const std::string step = "/" + from.name;
        EditNode node{.schema = nullptr,
                      .name = from.name,
                      .ns = namespace_of(from),
                      .path = above != nullptr ? above->below(step) : EditPath(step),
                      .value = std::nullopt,
                      .operation = inherited,
                      .children = {}};
        if (from.name == "operation" && (from.module == netconf_namespace || from.module == netconf_module))
            throw RequestError(error_tag::unknown_element, node.path,
                               "stands as a node, expected an attribute in XML and a member of \"@\" in JSON");
        if (from.module.empty())
            throw RequestError(error_tag::unknown_namespace, node.path,
                               "has no namespace, expected that of its module");
        return node;
    }

    EditNode read(const ClientNode &from, const lysc_node *parent, const EditPath *above,
                  std::optional<std::uint32_t> inherited) {
        EditNode node = shell(from, above, inherited);
        node.schema = schema_.find(parent, from.name, node.ns);
        if (node.schema == nullptr && parent != nullptr && node.ns != parent->module->ns) {
            refuse_namesake(node, from, *parent);
            return read_foreign(from, above, inherited);
        }
        if (node.schema == nullptr)
            refuse_unknown(node, from, parent);
        if (is_list(*node.schema))
            node.path = node.path.with(predicates(from, node));
        check_form(node, from);
        settle_operation(node, from);
        // State inside what is deleted goes with it: a client may send what it has read.
        if (!is_configuration(*node.schema) && !deletes(inherited.value_or(YFW_OP_MERGE)))
            throw RequestError(error_tag::not_supported, node.path, "is state, which cannot be edited");
        if (is_leaf(*node.schema))
            read_value(node, from);
        else
            read_children(node, from);
        return node;
    }

    // A node of another module is not the model's node of the same name, however alike they look.
    void refuse_namesake(const EditNode &node, const ClientNode &from, const lysc_node &parent) const {
        if (schema_.find(&parent, from.name, parent.module->ns) != nullptr)
            throw RequestError(error_tag::unknown_namespace, node.path,
                               fmt::format("is in the namespace '{}', expected '{}'", node.ns, parent.module->ns));
    }

    // A node of another module in the model's tree: what may stand there is the plug-in's to say.
    EditNode read_foreign(const ClientNode &from, const EditPath *above, std::optional<std::uint32_t> inherited) const {
        EditNode node = shell(from, above, inherited);
        settle_operation(node, from);
        if (from.children.empty())
            node.value = from.value;
        for (const ClientNode &child : from.children)
            node.children.push_back(read_foreign(child, &node.path, node.operation));
        return node;
    }

    // The module as the format tells it: by its namespace URI in XML, by its name in JSON. NULL when it is not known.
    const lys_module *module_of(const ClientNode &from) const {
        const lys_module *module = schema_.module(from.module);
        return module != nullptr && (from.json ? module->name : module->ns) == from.module ? module : nullptr;
    }

    // URI of the node's module; the text that the client gave when the module is not known.
    std::string namespace_of(const ClientNode &from) const {
        const lys_module *module = module_of(from);
        return module != nullptr ? module->ns : from.module;
    }

    [[noreturn]] void refuse_unknown(const EditNode &node, const ClientNode &from, const lysc_node *parent) const {
        if (module_of(from) == nullptr)
            throw RequestError(
                error_tag::unknown_namespace, node.path,
                fmt::format("{} '{}' is none of the model's", from.json ? "module" : "namespace", from.module));
        throw RequestError(
            error_tag::unknown_element, node.path,
            fmt::format("the model has no such node, expected one of: {}", fmt::join(schema_.children(parent), ", ")));
    }

    // The keys as they stand in the entry's path. A second value of one would leave open which entry is meant.
    std::string predicates(const ClientNode &from, const EditNode &entry) const {
        std::string text;
        for (const lysc_node *key : list_keys(*entry.schema)) {
            bool given = false;
            for (const ClientNode &child : from.children) {
                if (child.name != key->name || namespace_of(child) != key->module->ns)
                    continue;
                if (given)
                    throw RequestError(error_tag::bad_element, entry.path.with(text).below("/" + child.name),
                                       "is given twice, expected once");
                given = true;
                text += step_with_key("", key->name, child.value);
            }
        }
        return text;
    }

    // Whether JSON writes the node as RFC 7951 says. The value of a leaf is looked at later: it may not count.
    static void check_form(const EditNode &node, const ClientNode &from) {
        using Form = ClientNode::JsonForm;
        if (!from.json)
            return;
        if (is_leaf(*node.schema)) {
            // The value of an empty leaf is [null], and that of no other is an array.
            const bool empty = from.json == Form::null && real_type_of(*node.schema).basetype == LY_TYPE_EMPTY;
            if (from.json == Form::object || from.in_array != empty)
                throw RequestError(error_tag::invalid_value, node.path,
                                   fmt::format("is {}, expected one value: it is a leaf",
                                               from.in_array ? "an array" : form_word(*from.json)));
            return;
        }
        const bool list = is_list(*node.schema);
        if (from.json == Form::absent)
            throw RequestError(error_tag::bad_attribute, node.path,
                               fmt::format("is annotated from beside, expected \"@\" inside {}",
                                           list ? "the entry" : "the container"));
        if (from.json != Form::object || from.in_array != list)
            throw RequestError(error_tag::invalid_value, node.path,
                               list ? "is a list, expected an array of objects" : "is a container, expected an object");
    }

    static void settle_operation(EditNode &node, const ClientNode &from) {
        if (!from.attributes.empty())
            refuse_attribute(from, node.path);
        if (from.operation) {
            node.operation = operation_of(*from.operation);
            node.own_operation = true;
            if (!node.operation)
                throw AttributeError(error_tag::bad_attribute, node.path, "operation",
                                     fmt::format("operation '{}', expected one of: {}", *from.operation,
                                                 fmt::join(operation_words, ", ")));
        } else if (node.schema != nullptr && is_key(*node.schema) && deletes(node.operation.value_or(YFW_OP_MERGE))) {
            // The key of an entry that is deleted only says which one it is.
            node.operation = YFW_OP_MERGE;
        }
        // A key only says which entry it is: what happens to the entry stands there.
        if (node.own_operation && node.schema != nullptr && is_key(*node.schema) &&
            node.operation != std::optional<std::uint32_t>(YFW_OP_MERGE))
            throw AttributeError(error_tag::bad_attribute, node.path, "operation",
                                 fmt::format("operation '{}' on a key, expected it on the entry", *from.operation));
    }

    void read_value(EditNode &node, const ClientNode &from) const {
        if (!from.children.empty())
            throw RequestError(error_tag::invalid_value, node.path, "is a leaf, expected a value without elements");
        if (deletes(node.operation.value_or(YFW_OP_MERGE)))
            return;
        const lysc_type &type = real_type_of(*node.schema);
        if (from.json == ClientNode::JsonForm::absent)
            throw RequestError(error_tag::invalid_value, node.path,
                               from.operation ? "has an operation that needs a value, and no value"
                                              : "is annotated and has no value, expected one beside the annotation");
        if (from.json && from.json != json_form(type))
            throw RequestError(error_tag::invalid_value, node.path,
                               fmt::format("is {}, expected {} as RFC 7951 writes it", form_word(*from.json),
                                           form_word(json_form(type))));
        try {
            // White space around a text is part of it, around any other value it is not.
            node.value = type.basetype == LY_TYPE_STRING ? schema_.check_value(*node.schema, from.value)
                                                         : client_value(schema_, *node.schema, from);
        } catch (const YangError &error) {
            const std::optional<std::string> range = passed_range(*node.schema, trimmed(from.value));
            throw RequestError(error_tag::invalid_value, node.path,
                               range ? fmt::format("'{}': the model holds {}",
                                                   shortened(trimmed(from.value), longest_shown_value), *range)
                                     : error.what());
        }
    }

    void read_children(EditNode &node, const ClientNode &from) {
        if (!trimmed(from.value).empty())
            throw RequestError(error_tag::invalid_value, node.path,
                               fmt::format("holds the text '{}', expected elements", trimmed(from.value)));
        std::unordered_set<std::string> paths;
        for (const ClientNode &child : from.children) {
            // What a replace brings is merged into what it has emptied; the key tells the entry and its operation.
            const bool emptied = node.operation == std::optional<std::uint32_t>(YFW_OP_REPLACE) &&
                                 !(is_list(*node.schema) && names_key(*node.schema, child));
            if (pass_over(node, child))
                continue;
            const std::size_t passed_before = passed_over_;
            EditNode added = read(child, node.schema, &node.path, emptied ? YFW_OP_MERGE : node.operation);
            check_repeated(paths, added);
            // Of an entry or a container that was read for its state nothing is left to edit.
            const bool only_state = passed_over_ != passed_before && !asks_for_something(added);
            if (!only_state && !is_deleted_with(node, added))
                node.children.push_back(std::move(added));
        }
        if (!is_list(*node.schema))
            return;
        const std::vector<const lysc_node *> keys = list_keys(*node.schema);
        if (node.keys().size() < keys.size())
            throw RequestError(error_tag::missing_element, node.path,
                               fmt::format("names no entry, expected the key '{}'", keys.front()->name));
    }

    // Passes over state that stands in the document as it was read. Inside what is deleted it goes with the node.
    bool pass_over(const EditNode &parent, const ClientNode &child) {
        if (state_ == StateInEdit::refused || deletes(parent.operation.value_or(YFW_OP_MERGE)) || has_operation(child))
            return false;
        const lysc_node *schema = schema_.find(parent.schema, child.name, namespace_of(child));
        if (schema == nullptr || is_configuration(*schema))
            return false;
        passed_over_ += leaf_count(child);
        return true;
    }

    // True for what stands inside a deleted node without saying which one it is: it goes with the node, and nothing
    // more can happen to it.
    static bool is_deleted_with(const EditNode &parent, const EditNode &child) {
        if (!deletes(parent.operation.value_or(YFW_OP_MERGE)) || (child.schema != nullptr && is_key(*child.schema)))
            return false;
        if (!deletes(child.operation.value_or(YFW_OP_MERGE)))
            throw AttributeError(error_tag::bad_attribute, child.path, "operation",
                                 fmt::format("operation '{}' inside what is deleted, expected none",
                                             operation_word(child.operation.value_or(YFW_OP_MERGE))));
        return true;
    }

    static bool names_key(const lysc_node &list, const ClientNode &child) {
        const std::vector<const lysc_node *> keys = list_keys(list);
        return std::any_of(keys.begin(), keys.end(), [&](const lysc_node *key) { return key->name == child.name; });
    }

    const Schema &schema_;
    StateInEdit state_;
    std::size_t passed_over_ = 0;
};

// One leaf of a data path as a document has it, all in one chain of nodes.
ClientNode chain_of(const RequestNode &request) {
    ClientNode node{.name = request.tag, .module = request.ns, .value = request.value.value_or("")};
    for (const RequestNode &child : request.children)
        node.children.push_back(chain_of(child));
    return node;
}

// The leaf at the end of the chain.
ClientNode &end_of(ClientNode &chain) {
    ClientNode *node = &chain;
    while (!node->children.empty())
        node = &node->children.back();
    return *node;
}

ClientNode leaf_at(const Schema &schema, std::string_view path) {
    const Filter filter = Filter::from_path(schema, path);
    const lysc_node *target = filter.path_target();
    if (target == nullptr || !is_leaf(*target))
        throw PathError(error_tag::invalid_value, path,
                        fmt::format("leads to {}, expected a leaf", target == nullptr  ? "the whole model"
                                                                    : is_list(*target) ? "a list entry"
                                                                                       : "a container"));
    if (is_key(*target))
        throw PathError(error_tag::invalid_value, path, "leads to the key of an entry, expected another leaf");
    return chain_of(filter.requests().front());
}

// True for what only stands on the way to nothing: it has no operation, and nothing below has one. Keys go with their
// entry.
bool is_idle(const EditNode &node) {
    if (node.operation)
        return false;
    return std::all_of(node.children.begin(), node.children.end(), [](const EditNode &child) {
        return (child.schema != nullptr && is_key(*child.schema)) || is_idle(child);
    });
}

bool is_left_out(const EditNode &node) {
    return is_idle(node) && !(node.schema != nullptr && is_key(*node.schema));
}

RequestNode request_shell(const EditNode &node, std::uint32_t operation) {
    return {.tag = node.name,
            .ns = node.ns,
            .value = node.value,
            .operation = operation,
            .key = node.schema != nullptr && is_key(*node.schema)};
}

RequestNode whole_request(const EditNode &node) {
    RequestNode request = request_shell(node, node.operation.value_or(YFW_OP_MERGE));
    for (const EditNode &child : node.children) {
        if (!is_left_out(child))
            request.children.push_back(whole_request(child));
    }
    return request;
}

bool is_one_request(const EditNode &node) {
    return node.schema == nullptr || is_list(*node.schema) || is_leaf(*node.schema) || node.children.empty();
}

std::vector<RequestNode> requests_of(const EditNode &node) {
    if (is_left_out(node))
        return {};
    if (is_one_request(node))
        return {whole_request(node)};
    std::vector<RequestNode> requests;
    std::uint32_t operation = node.operation.value_or(YFW_OP_MERGE);
    for (const EditNode &child : node.children) {
        for (RequestNode &inner : requests_of(child)) {
            RequestNode request = request_shell(node, operation);
            request.children.push_back(std::move(inner));
            requests.push_back(std::move(request));
            operation = YFW_OP_MERGE;
        }
    }
    return requests;
}

// What a client sent, and whether it may be something that was read before.
struct GivenEdit {
    std::vector<ClientNode> nodes;
    bool may_be_an_answer;

    GivenEdit(const Schema &schema, std::string_view text, StateInEdit state) {
        const DocumentFormat format = format_of(text);
        nodes = read_document(text, format, schema);
        may_be_an_answer = state == StateInEdit::passed_over;
        if (format == DocumentFormat::json)
            return;
        const bool is_config = nodes.size() == 1 && is_element(nodes.front(), "config");
        const bool is_answer = may_be_an_answer && nodes.size() == 1 && is_element(nodes.front(), "data");
        if (!is_config && !is_answer)
            throw DocumentError(
                fmt::format("expected one element <config xmlns=\"{}\"> around the edit", netconf_namespace));
        may_be_an_answer = is_answer;
        const ClientNode &around = nodes.front();
        const std::string path = "/" + around.name;
        if (around.operation)
            throw AttributeError(error_tag::bad_attribute, path, "operation",
                                 "carries an operation, expected it on the elements inside");
        if (!around.attributes.empty())
            refuse_attribute(around, path);
        if (!trimmed(around.value).empty())
            throw RequestError(error_tag::invalid_value, path,
                               fmt::format("holds the text '{}', expected elements", trimmed(around.value)));
        nodes = std::vector<ClientNode>(std::move(nodes.front().children));
    }
};

} // namespace

EditPath EditPath::below(std::string step) const {
    return EditPath(Place{place_, std::move(step)});
}

EditPath EditPath::with(std::string_view text) const {
    return EditPath(Place{place_->above, place_->step + std::string(text)});
}

std::string EditPath::text() const {
    std::vector<const Place *> places;
    for (const Place *place = place_.get(); place != nullptr; place = place->above.get())
        places.push_back(place);
    std::string text;
    for (auto place = places.rbegin(); place != places.rend(); ++place)
        text += (*place)->step;
    return text;
}

std::vector<std::string> EditNode::keys() const {
    std::vector<std::string> values;
    for (const lysc_node *key : list_keys(*schema)) {
        for (const EditNode &child : children) {
            if (child.schema == key && child.value)
                values.push_back(*child.value);
        }
    }
    return values;
}

std::vector<ClientNode> read_edit(std::string_view document, const Schema &schema) {
    return GivenEdit(schema, document, StateInEdit::refused).nodes;
}

EditRequest::EditRequest(const Schema &schema, std::string_view document, DefaultOperation default_operation,
                         StateInEdit state) {
    const GivenEdit given(schema, document, state);
    read(schema, given.nodes, default_operation,
         given.may_be_an_answer ? StateInEdit::passed_over : StateInEdit::refused);
}

EditRequest::EditRequest(const Schema &schema, const std::vector<ClientNode> &nodes,
                         DefaultOperation default_operation) {
    read(schema, nodes, default_operation, StateInEdit::refused);
}

void EditRequest::read(const Schema &schema, const std::vector<ClientNode> &nodes, DefaultOperation default_operation,
                       StateInEdit state) {
    std::optional<std::uint32_t> operation;
    if (default_operation != DefaultOperation::none)
        operation = default_operation == DefaultOperation::replace ? YFW_OP_REPLACE : YFW_OP_MERGE;
    EditReader reader(schema, state);
    std::unordered_set<std::string> paths;
    roots_.clear();
    for (const ClientNode &node : nodes) {
        roots_.push_back(reader.read_root(node, operation));
        check_repeated(paths, roots_.back());
    }
    passed_over_ = reader.passed_over();
    // State alone is nothing to edit, and is refused by its path.
    if (passed_over_ != 0 && std::none_of(roots_.begin(), roots_.end(), asks_for_something))
        read(schema, nodes, default_operation, StateInEdit::refused);
    else if (default_operation == DefaultOperation::replace)
        remove_other_roots(schema);
}

EditRequest EditRequest::set_leaf(const Schema &schema, std::string_view path, const std::string &value) {
    ClientNode root = leaf_at(schema, path);
    end_of(root).value = value;
    EditRequest request;
    request.roots_.push_back(EditReader(schema, StateInEdit::refused).read_root(root, YFW_OP_MERGE));
    return request;
}

EditRequest EditRequest::delete_leaf(const Schema &schema, std::string_view path) {
    ClientNode root = leaf_at(schema, path);
    end_of(root).operation = std::string(operation_word(YFW_OP_DELETE));
    EditRequest request;
    request.roots_.push_back(EditReader(schema, StateInEdit::refused).read_root(root, std::nullopt));
    return request;
}

// The document replaces the whole configuration: what it does not hold goes.
void EditRequest::remove_other_roots(const Schema &schema) {
    for (const std::string_view name : schema.children(nullptr)) {
        const lysc_node &root = *schema.find(nullptr, name);
        const bool given =
            std::any_of(roots_.begin(), roots_.end(), [&](const EditNode &node) { return node.schema == &root; });
        if (!given && is_configuration(root))
            roots_.push_back({.schema = &root,
                              .name = root.name,
                              .ns = root.module->ns,
                              .path = EditPath(fmt::format("/{}", name)),
                              .value = std::nullopt,
                              .operation = YFW_OP_REMOVE,
                              .children = {}});
    }
}

std::vector<RequestNode> EditRequest::requests() const {
    std::vector<RequestNode> requests;
    for (const EditNode &root : roots_) {
        for (RequestNode &request : requests_of(root))
            requests.push_back(std::move(request));
    }
    return requests;
}

} // namespace ocamp
