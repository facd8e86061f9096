// What is in a node of a line, and edits of it, for tests. Knows nothing of how it came there.
#pragma once

#include "sysdb/bag_record.h"

#include <filesystem>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace line_tests {

/// All native data, as RFC 7951 JSON.
nlohmann::json native(const std::filesystem::path &node);

/// What the native data tell of a port of that name. Throws std::runtime_error when there is none.
const nlohmann::json &port(const nlohmann::json &native, const std::string &name);

/// A record of the node's system database; none when it is not there.
std::optional<ocamp::BagRecord> record(const std::filesystem::path &node, const std::string &bind_point,
                                       const std::string &item);

/// The configuration of one interface changes as an edit of a client's would. null takes the leaf away.
void configure(const std::filesystem::path &node, const std::string &interface, const std::string &leaf,
               const nlohmann::json &value);

/// Where an entry stands among those of all interfaces.
enum class Place { first, last };

/// Settings for the interface that wait for hardware, beside those that apply.
void configure_ahead(const std::filesystem::path &node, const std::string &interface, const std::string &leaf,
                     const nlohmann::json &value, Place place);

} // namespace line_tests
