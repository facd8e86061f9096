// The folder that a new node is filled from: native documents and records of the system database. Knows nothing of how
// a node's own folder is made.
#pragma once

#include "sysdb/sqlite.h"

#include <filesystem>
#include <vector>

namespace ocamp {

/// Writes what the folder holds into the database of a new node: the documents of its folder "native" (.json, .xml) and
/// the records of "sysdb" (.json). Gives the files that were passed over, sorted: notes for readers, backups, hidden
/// ones. Throws NodeError when the folder or a file is wrong, std::system_error when it cannot be read for want of
/// something, and SqliteError.
std::vector<std::filesystem::path> load_example(Database &database, const std::filesystem::path &example);

} // namespace ocamp
