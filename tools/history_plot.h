// Histories as pictures: rows of blocks for a terminal, and SVG. Knows nothing of nodes.
#pragma once

#include "node/history.h"

#include <string>
#include <vector>

namespace ocamp {

/// The leaves min, avg and max of one quantity, as far as it has them.
struct Quantity {
    std::string path; ///< of their container
    std::string unit;
    std::vector<LeafHistory> leaves;
};
/// The leaves by their containers, in their order.
std::vector<Quantity> quantities_of(const std::vector<LeafHistory> &leaves);

/// A heading and one line a leaf: the values as eighths of a block, from the lowest to the highest of the quantity, the
/// latest last; a blank where there is none. `ascii`: characters of seven bits instead of blocks.
std::string plot_of(const Quantity &quantity, bool ascii);

/// One document with a diagram for each quantity: the average as a line in the band between minimum and maximum.
std::string svg_of(const std::vector<Quantity> &quantities);

} // namespace ocamp
