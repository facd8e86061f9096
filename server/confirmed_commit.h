// A confirmed commit that waits: what it will take back is on the disk, so that no end of the server confirms it. Knows
// neither sessions nor when it is taken back.
#pragma once

#include "server/state_folder.h"
#include "yang/tree.h"

#include <optional>

namespace ocamp::server {

/// Keeps the native configuration that comes back. On the disk before the commit that it belongs to.
void keep_former_configuration(const StateFolder &folder, const YangTree &running);
/// None when no commit is pending. Throws StateError for a file that is damaged.
std::optional<YangTree> former_configuration(const StateFolder &folder);
/// The commit is confirmed, or taken back.
void forget_former_configuration(const StateFolder &folder);

} // namespace ocamp::server
