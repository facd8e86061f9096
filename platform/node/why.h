// Why OpenConfig leaves have the values that a read gives, or none: told from what was observed of the read. Knows
// neither how it is shown nor who asks.
#pragma once

#include "node/filter.h"
#include "node/reader.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Why a leaf has no value: what comes first in the chain from the request to the answer.
enum class Absence {
    not_served,       ///< the device does not serve the leaf
    no_such_slot,     ///< the entry's key names a slot that the platform does not have
    not_asked,        ///< the request never asked for it
    refused,          ///< the plug-in refused the request
    no_native_entry,  ///< there is no native entry to read
    not_in_inventory, ///< the system database knows no such amplifier or channel
    damaged,          ///< a record that was needed is damaged, or the database failed
    no_native_leaf,   ///< the native entry does not have the leaf
    no_record,        ///< the system database lacks the item, or the record lacks the element
    no_value,         ///< the converter made no value of what it read
    unfit,            ///< the value fits no type of the OpenConfig leaf
    no_key            ///< the value was written into an entry without key
};

/// The word for programs, such as "not-served".
std::string_view word_of(Absence absence) noexcept;

/// Where a text was read.
struct WhySource {
    bool database = false;
    std::string place;        ///< native: data path of the leaf; database: the bind point
    std::string item = {};    ///< of the database: the item's name
    std::string record = {};  ///< and the name of its record
    std::string element = {}; ///< and the element in it, with dots
    std::string text;         ///< as it was read
};

/// A source that could have given the value, and did not.
struct PassedOver {
    WhySource source;
    std::string reason;
};

/// One leaf.
struct WhyLeaf {
    std::string path;                      ///< data path with keys, without module names
    std::string entry;                     ///< data path of the list entry that it belongs to; empty: none
    std::optional<std::string> value = {}; ///< as a read gives it
    std::string unit = {};                 ///< empty: none
    // What follows tells of a leaf with a value.
    std::optional<WhySource> from = {};  ///< none when the plug-in wrote it without having a node in hand
    std::string converter = {};          ///< the plug-in's function; empty when it is not known
    std::string rule = {};               ///< what it does, as the mapping's row says; empty when there is no row
    std::string written = {};            ///< the text that it wrote
    std::vector<WhySource> checked = {}; ///< what had to be there for it, and was
    std::vector<PassedOver> passed_over = {};
    // And these of one without.
    std::optional<Absence> absence = {};
    std::string reason = {}; ///< one line
};

/// The answer to one question.
struct WhyReport {
    std::vector<WhyLeaf> leaves;            ///< every leaf under the path, entry after entry, in the order of the model
    std::vector<std::string> left_out = {}; ///< why lists that are named without keys lack entries
    std::string failure = {};               ///< why a read of the path fails as a whole; empty when it does not
};

/// What is known of one read of a path.
struct ObservedRead {
    std::uint32_t kind; ///< YFW_KIND_GET or YFW_KIND_GET_CONFIG
    const Filter &filter;
    ReadReport report = {};
    ReadResult result = {};
    std::string refusal = {}; ///< why it was refused; empty when it was not
    std::string failure = {}; ///< what failed meanwhile; empty when nothing did
};

/// Throws FilterError for a filter that is not made from a path, nor the whole model.
WhyReport why(const ObservedRead &read);

/// The path of a data tree's node with its keys and without module names.
std::string plain_path(const lyd_node &node);

} // namespace ocamp
