// Joins the table of items and the format of records.
#include "sysdb/record_reader.h"

#include "sysdb/seal.h"

#include <fmt/format.h>

namespace ocamp {

std::optional<std::vector<std::uint8_t>> read_record(SystemDatabase &database, std::string_view bind_point,
                                                     std::string_view item) {
    auto bag = database.get(bind_point, item);
    try {
        if (bag)
            check_bag(*bag);
    } catch (const BagError &error) {
        throw DamageError(
            fmt::format("{}: record {}{} is damaged: {}", database.file(), bind_point, item, error.what()));
    }
    return bag;
}

void write_record(SystemDatabase &database, std::string_view bind_point, std::string_view item,
                  const BagRecord &record) {
    database.put(bind_point, item, encode_bag(record));
    const auto stored = read_record(database, bind_point, item);
    if (!stored || decode_bag(*stored) != record)
        throw DamageError(
            fmt::format("{}: record {}{} would read back as another one", database.file(), bind_point, item));
}

} // namespace ocamp
