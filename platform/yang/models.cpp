// Which modules make which model, and which nodes the device does not have. Knows nothing of requests.
#include "yang/models.h"

#include "yang/modules.h"

#include <algorithm>
#include <array>

namespace ocamp {

namespace {

constexpr std::array<std::string_view, 1> openconfig_modules{"openconfig-optical-amplifier"};
constexpr std::array<std::string_view, 5> native_modules{"Korvex-ifmgr-cfg", "Korvex-controller-optics-cfg",
                                                         "Korvex-controller-orvo8-ots-oper",
                                                         "Korvex-controller-optics-oper", "Korvex-pmengine-oper"};

struct Models {
    Schema openconfig{openconfig_modules};
    Schema native{openconfig, native_modules};
};

// Never taken apart: a process that ends has no need of it, and it takes as long as a small read.
const Models &models() {
    static const Models &models = *new Models;
    return models;
}

} // namespace

const Schema &openconfig_schema() {
    return models().openconfig;
}

const Schema &native_schema() {
    return models().native;
}

namespace {

bool is_taken_away(const lysc_node &node) {
    const std::string path = schema_path(node);
    const auto lies_at_or_below = [&](std::string_view unserved) {
        return path.starts_with(unserved) && (path.size() == unserved.size() || path[unserved.size()] == '/');
    };
    const auto unserved = unserved_paths();
    return std::any_of(unserved.begin(), unserved.end(), lies_at_or_below);
}

} // namespace

bool is_served(const lysc_node &node) {
    if (is_taken_away(node))
        return false;
    const lysc_node *child = lysc_node_child(&node);
    if (child == nullptr)
        return true;
    while (child != nullptr && !is_served(*child))
        child = child->next;
    return child != nullptr;
}

} // namespace ocamp
