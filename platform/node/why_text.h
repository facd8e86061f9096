// How answers of why are shown: as text for people and as JSON for programs. Knows nothing of how they are found.
#pragma once

#include "node/why.h"
#include "node/why_edit.h"

#include <cstddef>
#include <span>
#include <string>

namespace ocamp {

/// One leaf as a paragraph; several as a table with one line each, at most `columns` wide, under the entry that they
/// belong to. Ends in a newline; every value is escaped.
std::string why_text(const WhyReport &report, std::size_t columns = 120);
/// The edit's leaves, a paragraph each.
std::string why_text(std::span<const WhyEdit> leaves);

/// The same as a JSON object, indented, with a newline at the end.
std::string why_json(const WhyReport &report);
std::string why_json(std::span<const WhyEdit> leaves);

} // namespace ocamp
