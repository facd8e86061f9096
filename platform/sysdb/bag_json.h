// Bag records and system-database items as JSON, for people and for example files. Knows nothing of the database.
#pragma once

#include "seam/json_error.h"
#include "sysdb/bag_record.h"

#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// JSON that is not a record or an item file. The text gives the place, as in $[0].bag.tokens[2].value, what was
/// expected there and what was found.
using BagJsonError = JsonError;

/// One item with its place and its record.
struct SysdbItem {
    std::string bind_point, item;
    BagRecord bag;
};

/// A record that these return can be encoded. Throw BagJsonError.
BagRecord bag_from_json(std::string_view text);
std::vector<SysdbItem> sysdb_items_from_json(std::string_view text);

/// Indented by two, with a newline at the end. Throws BagError for a model that could not be encoded either.
std::string bag_to_json(const BagRecord &record);
/// What sysdb_items_from_json reads, in the same form.
std::string sysdb_items_to_json(const std::vector<SysdbItem> &items);

} // namespace ocamp
