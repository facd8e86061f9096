// The folder of a line: its description, the state that it was left in, the events that wait, and the folders of its
// nodes. Knows nothing of what a state or an event holds.
#pragma once

#include "line/description.h"
#include "sysdb/sqlite.h"

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// A folder that is no line, or a line that cannot be made or run. The text names the file and what was expected.
class LineError : public InputError {
  public:
    using InputError::InputError;
};

/// Makes a line in `folder`, which must not exist or be empty, from a description: the folder's files, and each node as
/// the description sets it. Nothing is left behind when it fails. Throws JsonError, NodeError for a folder that holds
/// something, and what Node::init_with throws.
void init_line(const std::filesystem::path &folder, std::string_view description);

/// Makes the line of one node in a new folder within that node's folder: the node stays as it is. Throws as init_line.
void init_line_around(const std::filesystem::path &folder, std::string_view description);

/// Whether the folder is that of a line.
bool is_line(const std::filesystem::path &folder);
/// The description in a line's folder. Throws LineError and JsonError.
LineDescription line_of_folder(const std::filesystem::path &folder);
/// The folder of a node.
std::filesystem::path node_folder(const std::filesystem::path &folder, const NodeDescription &node);

/// The one that runs a line, from the constructor's return to its end, or to the end of the process.
class LineLock {
  public:
    /// Throws LineError when another process runs the line.
    explicit LineLock(const std::filesystem::path &folder);
    ~LineLock();
    LineLock(const LineLock &) = delete;
    LineLock &operator=(const LineLock &) = delete;

  private:
    int descriptor_;
};

/// An event that waits.
struct WaitingEvent {
    std::int64_t id;
    std::optional<std::uint64_t> at; ///< second of line time; none: now
    std::string words;
};

/// The file of a line's state in its folder.
inline constexpr std::string_view line_database_name = "line.db";

/// Names of what is kept of a run: the state of the simulation, the readings of intervals that are not over, and those
/// of past ones.
inline constexpr std::string_view simulation_text = "simulation", open_text = "open intervals",
                                  closed_text = "closed intervals";

/// State and events of a line, in its database. Written without waiting for the disk: after a power cut a line may
/// begin anew, and its nodes keep their configuration. Throws SqliteError where it is used.
class LineStore {
  public:
    /// Opens the database in the line's folder, or makes it. One that is damaged is replaced when `may_replace`. Throws
    /// LineError when it is another program's, and std::system_error when it cannot be read; both are left as they are.
    LineStore(const std::filesystem::path &folder, bool may_replace);

    /// Whether an earlier database was damaged and has been replaced.
    bool was_replaced() const noexcept { return replaced_; }

    /// A text that is kept; nothing when the line has not run yet.
    std::optional<std::string> text(std::string_view name);
    /// Those that wait, in the order in which they came.
    std::vector<WaitingEvent> events();
    /// Lets an event wait.
    void add_event(const std::optional<std::uint64_t> &at, std::string_view words);

    /// One text that is to be kept under a name.
    struct Kept {
        std::string_view name, text;
    };
    /// Keeps texts and forgets events that have happened, in one transaction.
    void save(std::initializer_list<Kept> texts, const std::vector<std::int64_t> &happened);

  private:
    void open(const std::string &file);
    void close();

    std::optional<Database> database_;
    std::optional<Statement> save_, text_, events_;
    bool replaced_ = false;
};

} // namespace ocamp
