// What the making of a node has put on the disk so far, so that it goes again when the node does not come about. Knows
// nothing of what a node holds.
#pragma once

#include <filesystem>

namespace ocamp {

/// Each thread makes one node at a time. The names are kept outside of the heap: what takes away needs no memory, and
/// may run where the process ends for want of it.
namespace unfinished_node {

/// The folder has been made, or the file in it, whose journal goes with it. Paths of PATH_MAX bytes and more are not
/// kept; no file has one.
void folder_is_made(const std::filesystem::path &folder) noexcept;
void file_is_made(const std::filesystem::path &file) noexcept;

/// The file stays: it is the node's now.
void file_is_finished() noexcept;

/// Take away what has been made and is not finished, the folder only when it is empty. Errors are nobody's concern.
void remove_file() noexcept;
void remove_folder() noexcept;

} // namespace unfinished_node

} // namespace ocamp
