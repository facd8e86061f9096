// Looks nodes up in the model as the device deviates from it. Knows nothing of requests.
#include "node/served_nodes.h"

#include <array>

namespace ocamp {

namespace {

constexpr std::array<std::string_view, 2> device_modules{"openconfig-optical-amplifier",
                                                         "openconfig-optical-amplifier-deviations"};

const Schema &device_schema() {
    static const Schema schema(device_modules);
    return schema;
}

// The same node of the device's model; NULL when it has none.
const lysc_node *on_device(const lysc_node *node) {
    const lysc_node *parent = node->parent != nullptr ? on_device(node->parent) : nullptr;
    if (node->parent != nullptr && parent == nullptr)
        return nullptr;
    return device_schema().find(parent, node->name, node->module->ns);
}

// A container keeps its place in the device's model when all of its leaves are taken away.
bool holds_leaf(const lysc_node &node) {
    if (is_leaf(node))
        return true;
    for (const lysc_node *child = lysc_node_child(&node); child != nullptr; child = child->next) {
        if (holds_leaf(*child))
            return true;
    }
    return false;
}

} // namespace

bool is_served(const lysc_node &node) {
    if (device_schema().module(node.module->name) == nullptr)
        return true;
    const lysc_node *device_node = on_device(&node);
    return device_node != nullptr && holds_leaf(*device_node);
}

} // namespace ocamp
