// What the server keeps beside the node's data: users, keys, a pending confirmed commit. Knows not what is in them.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ocamp::server {

/// A file or folder of the server's that cannot be used. The text names it, the reason, and what was expected.
class StateError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The folder "server" in a node's folder. It and its files are their owner's alone; what others may read or write is
/// refused. Safe from any thread and for several processes; each file is whole at any time, or not there.
class StateFolder {
  public:
    /// `node`: a node's folder. Nothing is made before something is written.
    explicit StateFolder(const std::filesystem::path &node);

    /// Where a file lies, for libraries that want a path. `name` has no slash.
    std::filesystem::path path_of(std::string_view name) const;
    /// None when there is no such file. Throws StateError.
    std::optional<std::string> read(std::string_view name) const;
    /// Makes or replaces the file: when this returns, it is on the disk. Throws StateError; the file is as before then.
    void write(std::string_view name, std::string_view content) const;
    /// The same, but never replaces: false when there is such a file by now. Throws StateError.
    bool write_new(std::string_view name, std::string_view content) const;
    /// False when there was none. Throws StateError.
    bool remove(std::string_view name) const;

    /// What one process or thread alone has under a word, from the constructor's return to the end of the object or of
    /// the process.
    class Hold {
      public:
        /// Throws StateError, also when another has it and this is not to wait.
        Hold(const StateFolder &folder, std::string_view word, bool wait);
        ~Hold();
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;

      private:
        int descriptor_ = -1;
    };

  private:
    void make() const;
    std::filesystem::path write_temporary(std::string_view name, std::string_view content) const;

    std::filesystem::path folder_;
};

} // namespace ocamp::server
