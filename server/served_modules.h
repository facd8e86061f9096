// Which YANG modules the server serves, for hello messages, YANG libraries, get-schema and capabilities. Knows nothing
// of the node's data.
#pragma once

#include "yang/schema.h"

#include <span>
#include <string>
#include <vector>

namespace ocamp::server {

/// One module.
struct ServedModule {
    std::string name;
    std::string revision; ///< the latest; empty when it has none
    std::string ns;       ///< namespace URI
    std::string prefix;
    std::string organization;
    std::string text;                     ///< the YANG source
    bool implemented;                     ///< false: only imported by others
    std::vector<std::string> deviated_by; ///< names of the modules that deviate it
};

/// The OpenConfig module, the deviations from it, the five native modules, and all that they import; implemented ones
/// first. Made when it is first asked for; lives as long as the program.
const std::vector<ServedModule> &served_modules();

/// As clients see the node: all served modules, with the deviations. A context of its own, which lives as long as the
/// program; not for the core's trees.
const ly_ctx &served_context();

} // namespace ocamp::server
