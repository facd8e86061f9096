// A node that lives by itself: a line of one node with fixed input powers. Knows neither protocols nor what is
// computed.
#pragma once

#include <filesystem>

namespace ocamp {

/// The folder of the line of that one node, "live" in the node's folder; made when it is not there yet. Every amplifier
/// that the node's operational data tell of receives the signal that it read then, for good. Throws LineError for a
/// node without amplifiers and for one of a line, and what Node's constructor throws.
std::filesystem::path line_of_node(const std::filesystem::path &node);

} // namespace ocamp
