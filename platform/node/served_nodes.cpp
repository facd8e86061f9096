// Looks nodes up among those that the device does not have. Knows nothing of requests.
#include "node/served_nodes.h"

#include "node/yang_modules.h"

#include <algorithm>

namespace ocamp {

bool is_served(const lysc_node &node) {
    const std::string path = schema_path(node);
    const auto lies_at_or_below = [&](std::string_view unserved) {
        return path.starts_with(unserved) && (path.size() == unserved.size() || path[unserved.size()] == '/');
    };
    const auto unserved = unserved_paths();
    return std::none_of(unserved.begin(), unserved.end(), lies_at_or_below);
}

} // namespace ocamp
