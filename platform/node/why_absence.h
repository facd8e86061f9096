// Why a leaf has no value. A part of why.h; knows nothing of leaves with one.
#pragma once

#include "node/why.h"

#include <string>
#include <vector>

namespace ocamp {

/// Fills in absence and reason of a leaf without value.
void tell_absence(const ObservedRead &read, const lysc_node &schema, WhyLeaf &leaf);

/// The same of a value that a walk wrote into no entry.
void tell_orphan(const NativeWalkReport &walk, const Placement &placement, WhyLeaf &leaf);

/// Why entries are left out of the lists that a read named without keys, each reason once.
std::vector<std::string> entries_left_out(const ReadReport &report);

/// Path of a model's node, without keys and module names.
std::string schema_place(const lysc_node &node);

} // namespace ocamp
