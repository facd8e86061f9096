// What the plug-in's rows say of the way from native leaves to OpenConfig ones, taken over when the program is built.
// Knows no data and no request.
#pragma once

#include <span>
#include <string_view>

namespace ocamp {

/// A native leaf that answers an OpenConfig leaf.
struct MappingRow {
    std::string_view openconfig; ///< path of the OpenConfig leaf, without keys and module names
    std::string_view native;     ///< path of the native leaf, likewise
    std::string_view module;     ///< the native leaf's
    std::string_view converter;  ///< the plug-in's function
    std::string_view unit;       ///< of the OpenConfig leaf; empty: it has none
    std::string_view rule;       ///< what becomes of the text: its scale, such as "native tenths", or in words
    std::string_view
        getter; ///< the plug-in's function that reads an amplifier's value from the system database instead
};

/// All rows, those of one OpenConfig leaf side by side.
std::span<const MappingRow> mapping_rows() noexcept;

/// The row of a native leaf that answers an OpenConfig leaf; NULL when it answers another or none.
const MappingRow *mapping_row(std::string_view openconfig, std::string_view native) noexcept;

} // namespace ocamp
