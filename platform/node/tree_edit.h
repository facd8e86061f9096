// Carries a client's edit out on a tree of the very model that it is written in. Knows neither the plug-in nor where
// data is kept.
#pragma once

#include "node/edit_request.h"
#include "yang/tree.h"

namespace ocamp {

/// Changes `tree` as the edit says. Throws RequestError as RFC 6241 asks, after which the tree is to be thrown away.
/// Whether the whole is valid afterwards is for others to ask.
void apply_edit(const EditRequest &edit, YangTree &tree);

/// Throws RequestError unless each leaf that the edit has set still holds its value.
void check_kept(const EditRequest &edit, const YangTree &tree);

} // namespace ocamp
