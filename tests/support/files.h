// Files of tests: whole contents, and folders that are gone with their test. Knows nothing of what is in them.
#pragma once

#include <filesystem>
#include <string>

namespace support {

/// The whole of a file. Throws std::filesystem::filesystem_error when it cannot be read.
std::string read_file(const std::filesystem::path &file);

/// Makes the file, or replaces what is in it. Throws std::filesystem::filesystem_error.
void write_file(const std::filesystem::path &file, const std::string &text);

/// A new folder, which is gone with everything in it when this ends. Throws std::filesystem::filesystem_error.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const noexcept { return path_; }

  private:
    std::filesystem::path path_;
};

} // namespace support
