// The tables of a database file with data of a node. Knows nothing of what is in them.
#pragma once

#include <string>
#include <vector>

namespace ocamp {

/// The statements that make them: seals, native documents, items of the system database.
const std::vector<std::string> &node_tables();

} // namespace ocamp
