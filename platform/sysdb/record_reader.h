// Items whose bytes hold: the records of the system database as clients want them, read and written.
#pragma once

#include "sysdb/bag_record.h"
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

/// Writes or overwrites an item, and reads it back before anything can be committed. Throws what SystemDatabase::put
/// throws, BagError for a record that cannot be encoded, and DamageError when it would read back as another one.
void write_record(SystemDatabase &database, std::string_view bind_point, std::string_view item,
                  const BagRecord &record);

} // namespace ocamp
