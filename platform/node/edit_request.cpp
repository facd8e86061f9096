// How edit documents are read. Knows neither the node's data nor the plug-in.
#include "node/edit_request.h"

#include "framework/operation_words.h"
#include "framework/path_text.h"
#include "node/request_error.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ocamp {

namespace {

// True for strings, and for references to strings.
bool is_text(const lysc_node &leaf) {
    const lysc_type *type = reinterpret_cast<const lysc_node_leaf &>(leaf).type;
    if (type->basetype == LY_TYPE_LEAFREF)
        type = reinterpret_cast<const lysc_type_leafref *>(type)->realtype;
    return type->basetype == LY_TYPE_STRING;
}

std::vector<ClientNode> read_edit(std::string_view document) {
    const DocumentFormat format = format_of(document);
    std::vector<ClientNode> nodes = read_document(document, format);
    if (format == DocumentFormat::json)
        return nodes;
    if (nodes.size() != 1 || nodes.front().name != "config" || nodes.front().module != kNetconfNamespace)
        throw DocumentError(
            fmt::format("expected one element <config xmlns=\"{}\"> around the edit", kNetconfNamespace));
    return std::vector<ClientNode>(std::move(nodes.front().children));
}

// Reads the nodes of a document from the root down.
class EditReader {
  public:
    explicit EditReader(const Schema &schema) : schema_(schema) {}

    EditNode read_root(const ClientNode &from, std::optional<std::uint32_t> default_operation) const {
        return read(from, nullptr, "", default_operation);
    }

  private:
    EditNode shell(const ClientNode &from, const std::string &above, std::optional<std::uint32_t> inherited) const {
        EditNode node{.schema = nullptr,
                      .name = from.name,
                      .ns = namespace_of(from),
                      .path = above + "/" + from.name,
                      .value = std::nullopt,
                      .operation = inherited,
                      .children = {}};
        if (from.module.empty())
            throw RequestError(error_tag::unknown_namespace, node.path,
                               "has no namespace, expected that of its module");
        return node;
    }

    EditNode read(const ClientNode &from, const lysc_node *parent, const std::string &above,
                  std::optional<std::uint32_t> inherited) const {
        EditNode node = shell(from, above, inherited);
        node.schema = schema_.find(parent, from.name, node.ns);
        if (node.schema == nullptr && parent != nullptr && node.ns != parent->module->ns) {
            refuse_namesake(node, from, *parent);
            return read_foreign(from, above, inherited);
        }
        if (node.schema == nullptr)
            refuse_unknown(node, parent);
        if (is_list(*node.schema))
            node.path += predicates(from, *node.schema);
        settle_operation(node, from);
        if (!is_configuration(*node.schema))
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
    EditNode read_foreign(const ClientNode &from, const std::string &above,
                          std::optional<std::uint32_t> inherited) const {
        EditNode node = shell(from, above, inherited);
        settle_operation(node, from);
        if (from.children.empty())
            node.value = from.value;
        for (const ClientNode &child : from.children)
            node.children.push_back(read_foreign(child, node.path, node.operation));
        return node;
    }

    // URI of the node's module; the name that the client gave when the module is not known.
    std::string namespace_of(const ClientNode &from) const {
        const lys_module *module = schema_.module(from.module);
        return module != nullptr ? module->ns : from.module;
    }

    [[noreturn]] void refuse_unknown(const EditNode &node, const lysc_node *parent) const {
        if (schema_.module(node.ns) == nullptr)
            throw RequestError(error_tag::unknown_namespace, node.path,
                               fmt::format("module '{}' is none of the model's", node.ns));
        throw RequestError(
            error_tag::unknown_element, node.path,
            fmt::format("the model has no such node, expected one of: {}", fmt::join(schema_.children(parent), ", ")));
    }

    std::string predicates(const ClientNode &entry, const lysc_node &list) const {
        std::string text;
        for (const lysc_node *key : list_keys(list)) {
            for (const ClientNode &child : entry.children) {
                if (child.name == key->name)
                    text += step_with_key("", key->name, child.value);
            }
        }
        return text;
    }

    static void settle_operation(EditNode &node, const ClientNode &from) {
        if (!from.attributes.empty())
            throw RequestError(error_tag::unknown_attribute, node.path,
                               fmt::format("attribute '{}', expected none but 'operation' of the namespace {}",
                                           from.attributes.front(), kNetconfNamespace));
        if (from.operation) {
            node.operation = operation_of(*from.operation);
            node.own_operation = true;
            if (!node.operation)
                throw RequestError(error_tag::bad_attribute, node.path,
                                   fmt::format("operation '{}', expected one of: {}", *from.operation,
                                               fmt::join(kOperationWords, ", ")));
        } else if (node.schema != nullptr && is_key(*node.schema) && deletes(node.operation.value_or(YFW_OP_MERGE))) {
            // The key of an entry that is deleted only says which one it is.
            node.operation = YFW_OP_MERGE;
        }
        // A key replaced by itself changes nothing; what is replaced is for the entry to say.
        if (node.own_operation && node.schema != nullptr && is_key(*node.schema) &&
            node.operation == std::optional<std::uint32_t>(YFW_OP_REPLACE))
            node.operation = YFW_OP_MERGE;
    }

    void read_value(EditNode &node, const ClientNode &from) const {
        if (!from.children.empty())
            throw RequestError(error_tag::invalid_value, node.path, "is a leaf, expected a value without elements");
        if (deletes(node.operation.value_or(YFW_OP_MERGE)) && !is_key(*node.schema))
            return;
        try {
            // White space around a text is part of it, around any other value it is not.
            const bool text = is_text(*node.schema);
            node.value = schema_.check_value(*node.schema, text ? from.value : trimmed(from.value));
        } catch (const YangError &error) {
            throw RequestError(error_tag::invalid_value, node.path, error.what());
        }
    }

    void read_children(EditNode &node, const ClientNode &from) const {
        if (!trimmed(from.value).empty())
            throw RequestError(error_tag::invalid_value, node.path,
                               fmt::format("holds the text '{}', expected elements", trimmed(from.value)));
        for (const ClientNode &child : from.children) {
            // What a replace brings is merged into what it has emptied; the key tells the entry and its operation.
            const bool emptied = node.operation == std::optional<std::uint32_t>(YFW_OP_REPLACE) &&
                                 !(is_list(*node.schema) && names_key(*node.schema, child));
            EditNode added = read(child, node.schema, node.path, emptied ? YFW_OP_MERGE : node.operation);
            check_repeated(node, added);
            node.children.push_back(std::move(added));
        }
    }

    static bool names_key(const lysc_node &list, const ClientNode &child) {
        const std::vector<const lysc_node *> keys = list_keys(list);
        return std::any_of(keys.begin(), keys.end(), [&](const lysc_node *key) { return key->name == child.name; });
    }

    // A repeated key is the plug-in's to judge.
    static void check_repeated(const EditNode &parent, const EditNode &added) {
        const bool repeated = std::any_of(parent.children.begin(), parent.children.end(), [&](const EditNode &other) {
            return other.schema == added.schema && other.path == added.path;
        });
        if (repeated && added.schema != nullptr && !is_key(*added.schema))
            throw RequestError(error_tag::operation_failed, added.path, "is given twice, expected once");
    }

    const Schema &schema_;
};

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
    return node.schema == nullptr || is_list(*node.schema) || is_leaf(*node.schema) || node.children.empty() ||
           deletes(node.operation.value_or(YFW_OP_MERGE));
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

} // namespace

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

EditRequest::EditRequest(const Schema &schema, std::string_view document, DefaultOperation default_operation) {
    std::optional<std::uint32_t> operation;
    if (default_operation != DefaultOperation::none)
        operation = default_operation == DefaultOperation::replace ? YFW_OP_REPLACE : YFW_OP_MERGE;
    const EditReader reader(schema);
    for (const ClientNode &node : read_edit(document))
        roots_.push_back(reader.read_root(node, operation));
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
