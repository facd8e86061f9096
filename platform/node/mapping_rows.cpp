// The rows as the program has them. Knows nothing of what they are used for.
#include "node/mapping_rows.h"

#include <algorithm>

namespace ocamp {

namespace {

constexpr MappingRow rows[] = {
#include <mapping_table.inc>
};

} // namespace

std::span<const MappingRow> mapping_rows() noexcept {
    return rows;
}

const MappingRow *mapping_row(std::string_view openconfig, std::string_view native) noexcept {
    const auto *const found = std::find_if(std::begin(rows), std::end(rows), [&](const MappingRow &row) {
        return row.openconfig == openconfig && row.native == native;
    });
    return found != std::end(rows) ? found : nullptr;
}

} // namespace ocamp
