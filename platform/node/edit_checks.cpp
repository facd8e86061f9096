// How an edit is held against the data before it. Knows neither the plug-in nor where data is kept.
#include "node/edit_checks.h"

#include "framework/operation_words.h"
#include "node/slots.h"

#include <optional>
#include <vector>

namespace ocamp {

lyd_node *instance_of(const EditNode &node, lyd_node *siblings) {
    if (node.schema == nullptr || siblings == nullptr)
        return nullptr;
    lyd_node *instance =
        is_list(*node.schema) ? find_entry(siblings, *node.schema, node.keys()) : find_instance(siblings, *node.schema);
    return instance == nullptr || (instance->flags & LYD_DEFAULT) != 0 ? nullptr : instance;
}

bool is_key_leaf(const EditNode &node) {
    return node.schema != nullptr && is_key(*node.schema);
}
bool is_operation(const EditNode &node, std::uint32_t operation) {
    return node.operation == std::optional<std::uint32_t>(operation);
}
bool is_deleted(const EditNode &node) {
    return node.operation && deletes(*node.operation);
}

void refuse_missing_slot(const EditNode &node) {
    for (const std::string &key : is_list(*node.schema) ? node.keys() : std::vector<std::string>()) {
        if (const std::optional<std::string> never = why_never_there(key))
            throw RequestError(error_tag::invalid_value, node.path, *never);
    }
}

void refuse_absent(const EditNode &node, ErrorTag tag, const std::string &reason) {
    refuse_missing_slot(node);
    throw RequestError(tag, node.path, reason);
}

void check_before(const EditNode &node, lyd_node *siblings) {
    const lyd_node *instance = instance_of(node, siblings);
    if (is_operation(node, YFW_OP_CREATE) && instance != nullptr && !is_key_leaf(node))
        throw RequestError(error_tag::data_exists, node.path, "exists already, 'create' expects that it does not");
    if (is_operation(node, YFW_OP_DELETE) && instance == nullptr && node.schema != nullptr && !is_key_leaf(node))
        refuse_absent(node, error_tag::data_missing, "does not exist, 'delete' expects that it does");
    const bool must_exist =
        !node.operation && node.schema != nullptr && (is_list(*node.schema) || is_leaf(*node.schema));
    if (must_exist && instance == nullptr && !is_key_leaf(node))
        refuse_absent(node, error_tag::data_missing, "does not exist, and the edit does not make it");
    // Of what is replaced nothing is left when its children come.
    lyd_node *below = instance == nullptr || is_operation(node, YFW_OP_REPLACE) ? nullptr : lyd_child(instance);
    for (const EditNode &child : node.children)
        check_before(child, below);
}

} // namespace ocamp
