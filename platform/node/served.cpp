// The model as the device's deviations leave it. Knows neither requests nor the plug-in.
#include "node/served.h"

#include <array>
#include <string_view>

namespace ocamp {

namespace {

const Schema &served_schema() {
    static constexpr std::array<std::string_view, 2> modules{"openconfig-optical-amplifier",
                                                             "openconfig-optical-amplifier-deviations"};
    static const Schema schema(modules);
    return schema;
}

// The same node in the model that is served; NULL when it is not there.
const lysc_node *served_node(const lysc_node &node) {
    const lysc_node *parent = node.parent != nullptr ? served_node(*node.parent) : nullptr;
    if (node.parent != nullptr && parent == nullptr)
        return nullptr;
    return served_schema().find(parent, node.name, node.module->ns);
}

} // namespace

bool is_served(const lysc_node &node) {
    return served_node(node) != nullptr;
}

} // namespace ocamp
