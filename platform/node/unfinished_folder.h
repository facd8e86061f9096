// A folder that is filled before it has its name: who looks for it meanwhile finds nothing, or all of it. Knows nothing
// of what it holds.
#pragma once

#include <filesystem>
#include <string_view>

namespace ocamp {

/// Stands beside the folder that it becomes, and is gone again with all that is in it unless it does.
class UnfinishedFolder {
  public:
    /// `folder` may end in a slash, and may be an empty folder, whose place is taken. Throws NodeError for one that
    /// holds something, and for one that cannot be made.
    explicit UnfinishedFolder(const std::filesystem::path &folder);
    ~UnfinishedFolder();
    UnfinishedFolder(const UnfinishedFolder &) = delete;
    UnfinishedFolder &operator=(const UnfinishedFolder &) = delete;

    /// Where to fill it. No file in it can be replaced by accident: it is new.
    const std::filesystem::path &path() const noexcept { return path_; }

    /// Makes a file in it, by its name below it, and brings it to the disk. Throws std::system_error.
    void write_file(const std::filesystem::path &name, std::string_view text) const;

    /// Gives it its name, and brings that and the names in the folder and in those in it to the disk. Throws NodeError
    /// when the name has been taken meanwhile, and std::system_error.
    void finish();

  private:
    std::filesystem::path final_name_, path_;
};

} // namespace ocamp
