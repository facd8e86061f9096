// The YANG modules of the server: those of the node and those of the protocol itself, with the features that the
// adapter has. Knows no session and no request.
#pragma once

#include "yang/schema.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp::netconf {

/// A module as clients are told of it.
struct ModuleEntry {
    std::string name;
    std::string revision; ///< empty when it has none
    std::string ns;
    std::vector<std::string> features = {};   ///< those that are on
    std::vector<std::string> deviations = {}; ///< modules that deviate from it
    bool implemented = true;                  ///< false: others use its types only
};

/// Loads everything, once; further calls do nothing. Before other threads use any model.
void load_models();

/// The modules of the protocol, in the context that they share with those of the node. Lives as long as the program.
const Schema &protocol_schema();

/// All modules, each once, in an order that stays.
const std::vector<ModuleEntry> &all_modules();
/// A text that is another one when the modules are others.
const std::string &module_set_id();

/// Forms in which a module's text is given.
enum class SchemaFormat { yang, yin };
/// The text of a served module; none for a name or a revision that is not served. An empty revision stands for the one
/// that is there.
std::optional<std::string> module_text(std::string_view name, std::string_view revision, SchemaFormat format);

/// The operation of that name in the namespace; NULL when there is none, or the feature that it needs is off.
const lysc_node *operation(std::string_view ns, std::string_view name);
/// Any module of the context by name or by namespace; NULL when there is none. Of the node or of the protocol.
const lys_module *module_named(std::string_view name);
const lys_module *module_with_namespace(std::string_view ns);
/// The module whose data has a top-level node of that name; NULL when there is none.
const lys_module *module_of_root(std::string_view name);

} // namespace ocamp::netconf
