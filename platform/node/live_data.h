// What a node measures while it lives: operational data and records that change every second, in a file of their own,
// so that they need no synchronous write and the configuration keeps its own. Knows nothing of what is measured.
#pragma once

#include "sysdb/sqlite.h"
#include "sysdb/system_database.h"

#include <filesystem>
#include <optional>
#include <string_view>

namespace ocamp {

inline constexpr std::string_view live_name = "node.live";
inline constexpr std::string_view live_journal_name = "node.live-journal";
inline constexpr FileMark live_mark{0x4f434e4c, 1}; ///< "OCNL"

/// The live data of one node, for the one process that writes them. What is there hides the node's own documents and
/// records of the same names from all who open the node. A process that is killed leaves what was committed last; after
/// a power cut the file may be damaged, and the next LiveData replaces it.
class LiveData {
  public:
    /// Opens the file of the node's folder, or makes it, empty, when it is not there, damaged or another program's.
    /// Throws SqliteError, and std::system_error for one that cannot be read.
    explicit LiveData(const std::filesystem::path &folder);

    /// Whether an earlier file was of no use and has been replaced.
    bool was_replaced() const noexcept { return replaced_; }

    /// Takes a record away from all who open the node, and hides the node's own of that name. Throws SqliteError.
    void hide_record(std::string_view bind_point, std::string_view item) {
        system_database_->put(bind_point, item, {});
    }

    /// Each is part of the transaction on this.
    Database &database() noexcept { return *database_; }
    SystemDatabase &system_database() noexcept { return *system_database_; }

    /// Replaces the module's document, which is taken as it stands. Throws SqliteError.
    void put_document(std::string_view module, std::string_view document);

  private:
    void open(const std::filesystem::path &file);
    void close();

    std::optional<Database> database_;
    std::optional<SystemDatabase> system_database_;
    bool replaced_ = false;
};

} // namespace ocamp
