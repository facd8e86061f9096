// Items whose bytes hold: the records of the system database as clients want them.
#pragma once

#include "sysdb/system_database.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace ocamp {

/// The record of an item, checked from its first byte to its last; nothing when there is no such item. Throws what
/// SystemDatabase::get throws, and DamageError for a record that cannot be decoded.
std::optional<std::vector<std::uint8_t>> read_record(SystemDatabase &database, std::string_view bind_point,
                                                     std::string_view item);

} // namespace ocamp
