// Which nodes of the OpenConfig model this device has, as its deviations module says. Knows nothing of requests.
#pragma once

#include "node/schema.h"

namespace ocamp {

// False for a node of the OpenConfig model that the device does not serve: a leaf that it does not have, or a container
// without any leaf that it has. True for every node of another model.
bool is_served(const lysc_node &node);

} // namespace ocamp
