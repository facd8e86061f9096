// Files and folders: looked at, read whole, brought to the disk. Knows nothing of what they hold.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace ocamp {

/// What a path leads to; file_type::not_found for nothing. Throws NodeError when it cannot be followed, and
/// std::system_error when the machine cannot tell.
std::filesystem::file_type type_of(const std::filesystem::path &path);

/// The text of a file. Throws NodeError when it is no regular file (a pipe or a device might never end) or may not be
/// read, and std::system_error when the machine cannot read it.
std::string read_document(const std::filesystem::path &file);

/// Brings a file, or the names in a folder, to the disk. Throws std::system_error with the path and `failure`.
void sync(const std::filesystem::path &path, std::string_view failure = "cannot be written to the disk");

} // namespace ocamp
