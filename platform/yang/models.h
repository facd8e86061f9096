// The models of this program: those that clients speak, those that the node speaks, and which part of the former the
// device has. Knows nothing of requests.
#pragma once

#include "yang/schema.h"

namespace ocamp {

/// OpenConfig as it was published. Lives as long as the program.
const Schema &openconfig_schema();
/// The five native modules. Lives as long as the program.
const Schema &native_schema();

/// False for a node of the OpenConfig model that the device does not serve, as its deviations module says. True for
/// every node of another model.
bool is_served(const lysc_node &node);

} // namespace ocamp
