// A confirmed commit that waits: what it will take back is on the disk, so that no end of the server confirms it. Knows
// neither sessions nor when it is taken back.
#pragma once

#include "seam/json_error.h"
#include "server/state_folder.h"
#include "yang/tree.h"

#include <optional>
#include <string>
#include <string_view>

namespace ocamp::server {

/// Keeps the native configuration that comes back. On the disk before the commit that it belongs to.
void keep_former_configuration(const StateFolder &folder, const YangTree &running);
/// None when no commit is pending. Throws StateError for a file that is damaged.
std::optional<YangTree> former_configuration(const StateFolder &folder);
/// The same without the folder: the record in the file. Throws JsonError for one that is damaged.
std::string record_of_configuration(const YangTree &running);
YangTree configuration_of_record(std::string_view record);
/// The commit is confirmed, or taken back.
void forget_former_configuration(const StateFolder &folder);

} // namespace ocamp::server
