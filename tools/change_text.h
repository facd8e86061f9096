// What commands that change something tell of it: lines for people, JSON for machines, nothing for scripts. Knows no
// command.
#pragma once

#include "node/editor.h"
#include "options.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// What a change did, or would do.
struct ToldChanges {
    std::vector<LeafChange> changed;
    std::vector<Rounding> rounded = {};
    std::size_t passed_over = 0; ///< leaves of state that the document held
};

/// A change on one line, escaped, with its unit and without module names in the path: "~ /list[key='1']/leaf 1.0 -> 1.5
/// dB".
std::string told_line(const LeafChange &change);

/// All of it, as the options want it told.
std::string told_text(const ToldChanges &told, const TellOptions &options, bool as_json);

} // namespace ocamp
