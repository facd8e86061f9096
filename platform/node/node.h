// A node: a folder with one database file that holds its native data and its system database, and perhaps a second one
// with what is measured while it lives. Knows neither the plug-in nor OpenConfig requests.
#pragma once

#include "log/log.h"
#include "node/native_data.h"
#include "seam/input_error.h"
#include "sysdb/system_database.h"
#include "sysdb/writer_queue.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// A folder that is no node, or an example that none can be made from. The text names file and place.
class NodeError : public InputError {
  public:
    using InputError::InputError;
};

/// The settings, unless a log of theirs would be written into a file of the node in `folder`. Throws LogError.
const LogSettings &logs_outside(const std::filesystem::path &folder, const LogSettings &logs);

/// An open node. Not to be used by several threads at a time.
class Node {
  public:
    /// Makes a node in `folder`, which may exist but must hold no node, from an example: the documents in native/ and
    /// the records in sysdb/. Nothing is left behind when it fails, and what earlier runs that were killed left in the
    /// folder is taken away. Throws NodeError, std::system_error and SqliteError.
    /// Gives the files of the example that were passed over: notes for readers (README), backups of editors, hidden
    /// files.
    static std::vector<std::filesystem::path> init(const std::filesystem::path &folder,
                                                   const std::filesystem::path &example);
    /// The same with what `fill` stores in the tables of the new database. Throws what `fill` throws, too.
    static void init_with(const std::filesystem::path &folder, const std::function<void(Database &)> &fill);

    /// Where writers of the node in `folder` queue.
    static std::filesystem::path queue_file(const std::filesystem::path &folder);

    /// What a node is opened for.
    enum class Access {
        read, ///< alters nothing; what is read belongs into a ReadTransaction
        write ///< waits for its turn among the writers, which lasts as long as the node is open; see WriterTurn
    };

    /// Reads the live data too when there are any; see LiveData. A node that gets some later is to be opened anew.
    /// Throws NodeError when the folder holds no node of this program's, DamageError when the node's tables are not as
    /// they should be, WriterQueueError, and SqliteError when the file fails it.
    Node(const std::filesystem::path &folder, Access access);

    /// The node's file. It belongs to the node.
    Database &database() noexcept { return database_; }
    /// The node's items, on the same connection.
    SystemDatabase &system_database() noexcept { return system_database_; }

  private:
    std::optional<WriterTurn> turn_;
    Database database_;
    SystemDatabase system_database_;
};

} // namespace ocamp
