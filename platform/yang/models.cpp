// Which modules make which model, and how nodes are looked up in the model as the device deviates from it. Knows
// nothing of requests.
#include "yang/models.h"

#include <array>

namespace ocamp {

namespace {

constexpr std::array<std::string_view, 1> openconfig_modules{"openconfig-optical-amplifier"};
constexpr std::array<std::string_view, 5> native_modules{"Korvex-ifmgr-cfg", "Korvex-controller-optics-cfg",
                                                         "Korvex-controller-orvo8-ots-oper",
                                                         "Korvex-controller-optics-oper", "Korvex-pmengine-oper"};
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

} // namespace

const Schema &openconfig_schema() {
    static const Schema schema(openconfig_modules);
    return schema;
}

const Schema &native_schema() {
    static const Schema schema(native_modules);
    return schema;
}

bool is_served(const lysc_node &node) {
    return device_schema().module(node.module->name) == nullptr || on_device(&node) != nullptr;
}

} // namespace ocamp
