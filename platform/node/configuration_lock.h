// A lock on a node's configuration against other processes: whoever edits it holds a share while it does so, and one
// holder alone may lock all others out. Knows nothing of data or sessions.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace ocamp {

/// A share of the lock, or the whole of it, from the constructor's return to the end of the object, or of the process
/// however that comes about. Records and operational data are written without.
class ConfigurationLock {
  public:
    enum class Kind {
        share, ///< beside other shares
        whole  ///< alone
    };

    /// `folder`: a node's, whose file of writers' turns holds the lock. Waits until `limit` has passed. Throws
    /// RequestError with lock_denied for the whole and in_use for a share when another process has it longer than that,
    /// and std::system_error when the file fails it.
    ConfigurationLock(const std::filesystem::path &folder, Kind kind, std::chrono::milliseconds limit);
    ~ConfigurationLock();
    ConfigurationLock(const ConfigurationLock &) = delete;
    ConfigurationLock &operator=(const ConfigurationLock &) = delete;

  private:
    int descriptor_;
};

} // namespace ocamp
