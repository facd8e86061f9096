// Which nodes of the OpenConfig model the device serves: those that its deviations module leaves. Knows neither
// requests nor the plug-in.
#pragma once

#include "node/schema.h"

namespace ocamp {

/// `node` is one of openconfig_schema().
bool is_served(const lysc_node &node);

} // namespace ocamp
