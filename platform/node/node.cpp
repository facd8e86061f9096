// How nodes are made and opened. Knows neither the plug-in nor OpenConfig requests.
#include "node/node.h"

#include "node/example_node.h"
#include "node/files.h"
#include "node/live_data.h"
#include "node/tables.h"
#include "node/unfinished_node.h"
#include "seam/failure.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view database_name = "node.db";
constexpr std::string_view queue_name = "node.queue";
constexpr std::string_view journal_name = "node.db-journal";
constexpr std::string_view new_word = ".new-"; // stands before the number of the process that makes the file
constexpr std::string_view journal_word = "-journal";
constexpr std::chrono::seconds longest_queue{30};
constexpr FileMark node_mark{0x4f434e44, 2}; // "OCND"

[[noreturn]] void fail_on(const fs::path &path, std::string_view action) {
    throw std::system_error(errno, std::generic_category(), fmt::format("{}: {}", path.string(), action));
}

void remove_with_journal(const fs::path &file) {
    std::error_code ignored;
    // The journal first: without its file nobody would find it again.
    fs::remove(file.string().append(journal_word), ignored);
    fs::remove(file, ignored);
}

// An open file, and with it the lock that says that someone is at work on it.
class LockedFile {
  public:
    LockedFile(const fs::path &path, int flags) : descriptor_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
    ~LockedFile() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    LockedFile(const LockedFile &) = delete;
    LockedFile &operator=(const LockedFile &) = delete;

    bool lock() const noexcept { return descriptor_ >= 0 && flock(descriptor_, LOCK_EX | LOCK_NB) == 0; }
    // Whether the file still has its name.
    bool is_named() const noexcept {
        struct stat status = {};
        return fstat(descriptor_, &status) == 0 && status.st_nlink != 0;
    }

  private:
    int descriptor_;
};

// Takes away the files that runs which were killed left behind. Those of runs at work are locked.
void remove_leftovers(const fs::path &final_name) {
    const std::string prefix = final_name.filename().string() + std::string(new_word);
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(final_name.parent_path(), error)) {
        std::string name = entry.path().filename().string();
        const bool is_journal = name.ends_with(journal_word);
        name.resize(name.size() - (is_journal ? journal_word.size() : 0));
        if (!name.starts_with(prefix) || name.find_first_not_of("0123456789", prefix.size()) != std::string::npos ||
            !entry.is_regular_file(error))
            continue;
        const fs::path file = final_name.parent_path() / name;
        // A journal goes with its file, which is there before it and is gone after it.
        if (is_journal && fs::exists(file, error))
            continue;
        // Held until the file is gone: nobody may begin with what is being taken away.
        const LockedFile leftover(file, O_RDWR);
        if (is_journal || (leftover.lock() && leftover.is_named()))
            remove_with_journal(file);
    }
}

[[noreturn]] void refuse_second_node(const fs::path &folder) {
    throw NodeError(fmt::format("{}: holds a node already, expected a new or empty folder", folder.string()));
}

constexpr std::string_view made_but_not_synced = "the node is made, but it may not outlast a power cut";

// A file that is gone again unless it was given its name.
class NewFile {
  public:
    explicit NewFile(const fs::path &final_name)
        : final_name_(final_name), path_(final_name.string() + fmt::format("{}{}", new_word, getpid())) {
        // Another run may take it for a leftover before it is locked.
        for (int attempt = 0; !make(); ++attempt) {
            if (attempt == most_attempts)
                fail_on(path_, "cannot be made");
            std::this_thread::sleep_for(pause);
        }
        unfinished_node::file_is_made(path_);
    }
    ~NewFile() { unfinished_node::remove_file(); }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    const fs::path &path() const noexcept { return path_; }

    // A file that has the name by now is not replaced.
    void give_name() {
        sync(path_);
        const fs::path folder = final_name_.parent_path();
        if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, final_name_.c_str(), RENAME_NOREPLACE) != 0) {
            if (errno == EEXIST)
                refuse_second_node(folder);
            fail_on(final_name_, "cannot be made");
        }
        unfinished_node::file_is_finished();
        sync(folder, made_but_not_synced);
    }

  private:
    static constexpr int most_attempts = 100;
    static constexpr std::chrono::milliseconds pause{1};

    bool make() {
        file_.emplace(path_, O_RDWR | O_CREAT | O_EXCL);
        if (file_->lock())
            return file_->is_named();
        if (errno != EEXIST && errno != EWOULDBLOCK)
            fail_on(path_, "cannot be made");
        return false;
    }

    fs::path final_name_;
    fs::path path_;
    std::optional<LockedFile> file_;
};

// A folder that is gone again, if it was made here and is empty.
class NewFolder {
  public:
    explicit NewFolder(const fs::path &path) : above_((path / "..").lexically_normal()) {
        std::error_code error;
        is_made_ = fs::create_directory(path, error);
        if (is_made_)
            unfinished_node::folder_is_made(path);
        if (is_shortage(error.value()))
            throw std::system_error(error, fmt::format("{}: cannot be made", path.string()));
        if (error)
            throw NodeError(fmt::format("{}: {}, expected a folder that can be made", path.string(), error.message()));
    }
    ~NewFolder() { unfinished_node::remove_folder(); }
    NewFolder(const NewFolder &) = delete;
    NewFolder &operator=(const NewFolder &) = delete;

    // A folder that was there before has its name on the disk already. Nothing is allocated: the node is made by then.
    void sync_name() const {
        if (is_made_)
            sync(above_, made_but_not_synced);
    }

  private:
    fs::path above_;
    bool is_made_ = false;
};

// Path of a node's database. Throws NodeError when there is none.
std::string database_of(const fs::path &folder) {
    const fs::path file = folder / database_name;
    if (type_of(file) != fs::file_type::regular)
        throw NodeError(fmt::format("{}: no node, expected a folder made with 'ocamp node init'", folder.string()));
    // SQLite would wait for whoever writes into a pipe.
    const fs::path journal = folder / journal_name;
    if (fs::exists(journal) && !fs::is_regular_file(journal))
        throw NodeError(fmt::format("{}: not a regular file, expected the journal of a database", journal.string()));
    return file.string();
}

// Whether both are one file, which may not exist yet.
bool is_same_file(const fs::path &one, const fs::path &other) {
    std::error_code error;
    if (fs::exists(one, error) && fs::exists(other, error))
        return fs::equivalent(one, other, error);
    return fs::weakly_canonical(fs::absolute(one), error) == fs::weakly_canonical(fs::absolute(other), error);
}

std::optional<WriterTurn> turn_for(const fs::path &folder, Node::Access access) {
    if (access == Node::Access::read)
        return std::nullopt;
    database_of(folder);
    return std::optional<WriterTurn>(std::in_place, Node::queue_file(folder).string(), longest_queue);
}

} // namespace

const LogSettings &logs_outside(const fs::path &folder, const LogSettings &logs) {
    for (const std::string &log : {logs.debug_log, logs.trace}) {
        for (const std::string_view name : {database_name, queue_name, journal_name, live_name, live_journal_name}) {
            if (!log.empty() && is_same_file(log, folder / name))
                throw LogError(fmt::format("log file {}: a file of the node's own, expected another", log));
        }
    }
    return logs;
}

fs::path Node::queue_file(const fs::path &folder) {
    return folder / queue_name;
}

std::vector<fs::path> Node::init(const fs::path &folder, const fs::path &example) {
    if (type_of(example) != fs::file_type::directory)
        throw NodeError(fmt::format("{}: no such folder, expected an example node", example.string()));
    std::vector<fs::path> passed_over;
    init_with(folder, [&](Database &database) { passed_over = load_example(database, example); });
    return passed_over;
}

void Node::init_with(const fs::path &folder, const std::function<void(Database &)> &fill) {
    std::error_code error;
    const fs::path target = fs::absolute(folder, error).lexically_normal();
    if (error)
        throw NodeError(fmt::format("\"{}\": {}, expected the name of a folder", folder.string(), error.message()));
    const NewFolder made(target);
    remove_leftovers(target / database_name);
    if (fs::exists(fs::symlink_status(target / database_name, error)))
        refuse_second_node(folder);
    NewFile file(target / database_name);
    {
        Database database(file.path().string(), Database::Mode::create, &node_mark);
        Transaction transaction(database);
        run_all(database, node_tables());
        fill(database);
        transaction.commit("");
    }
    file.give_name();
    made.sync_name();
}

Node::Node(const fs::path &folder, Access access) try
    : turn_(turn_for(folder, access)),
      database_(database_of(folder), access == Access::read ? Database::Mode::read_only : Database::Mode::read_write,
                &node_mark),
      system_database_(database_) {
    if (const fs::path live = folder / live_name; type_of(live) == fs::file_type::regular) {
        database_.attach_to_read(live.string(), live_schema, live_mark);
        system_database_.read_first_from(live_schema);
    }
    const ReadTransaction reading(database_);
    check_schema(database_, node_tables());
    if (database_.has_attached(live_schema))
        check_schema(database_, node_tables(), live_schema);
} catch (const ForeignFileError &error) {
    throw NodeError(fmt::format("{}, expected the database of a node", error.what()));
}

} // namespace ocamp
