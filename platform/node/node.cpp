// How nodes are made and opened. Knows neither the plug-in nor OpenConfig requests.
#include "node/node.h"

#include "node/unfinished_node.h"
#include "sysdb/bag_json.h"
#include "sysdb/record_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kDatabaseName = "node.db";
constexpr std::string_view kQueueName = "node.queue";
constexpr std::string_view kNewWord = ".new-"; // stands before the number of the process that makes the file
constexpr std::chrono::seconds kLongestQueue{30};
constexpr FileMark kMark{0x4f434e44, 1}; // "OCND"
constexpr std::array<std::string_view, 1> kOpenConfigModules{"openconfig-optical-amplifier"};
constexpr std::array<std::string_view, 5> kNativeModules{"Korvex-ifmgr-cfg", "Korvex-controller-optics-cfg",
                                                         "Korvex-controller-orvo8-ots-oper",
                                                         "Korvex-controller-optics-oper", "Korvex-pmengine-oper"};

[[noreturn]] void fail_on(const fs::path &path, std::string_view action) {
    throw std::system_error(errno, std::generic_category(), fmt::format("{}: {}", path.string(), action));
}

std::string read_file(const fs::path &file) {
    // A pipe or a device might never end.
    if (!fs::is_regular_file(file))
        throw NodeError(fmt::format("{}: not a regular file, expected a document", file.string()));
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    if (stream && (text << stream.rdbuf()))
        return text.str();
    // A disk that fails is not the fault of who named the file.
    if (errno != 0 && errno != ENOENT && errno != EACCES)
        fail_on(file, "cannot be read");
    throw NodeError(fmt::format("{}: cannot be read, expected a document", file.string()));
}

// The files of a folder with one of the extensions, by name.
std::vector<fs::path> files_in(const fs::path &folder, std::initializer_list<std::string_view> extensions) {
    std::error_code error;
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
        const std::string extension = entry.path().extension().string();
        if (std::find(extensions.begin(), extensions.end(), extension) == extensions.end())
            throw NodeError(fmt::format("{}: expected a file whose name ends in {}", entry.path().string(),
                                        extensions.size() == 1 ? ".json" : ".json or .xml"));
        files.push_back(entry.path());
    }
    if (error)
        throw NodeError(fmt::format("{}: {}, expected a folder of an example node", folder.string(), error.message()));
    std::sort(files.begin(), files.end());
    return files;
}

// Takes away the roots that are only there by default: each file would bring them anew.
void drop_implicit_roots(YangTree &tree) {
    lyd_node *first = tree.release();
    for (lyd_node *root = first; root != nullptr;) {
        lyd_node *next = root->next;
        if ((root->flags & LYD_DEFAULT) != 0) {
            first = root == first ? next : first;
            lyd_free_tree(root);
        }
        root = next;
    }
    tree.reset(first);
}

void load_native_file(Database &database, const fs::path &file, YangTree &running,
                      std::map<std::string, std::string> &file_of_root) {
    YangTree tree;
    try {
        tree = native_schema().parse(read_file(file), file.extension() == ".xml" ? LYD_XML : LYD_JSON);
    } catch (const YangError &error) {
        throw NodeError(fmt::format("{}: {}", file.string(), error.what()));
    }
    drop_implicit_roots(tree);
    std::size_t roots = 0, configuration_roots = 0;
    for (const lyd_node *root = tree.get(); root != nullptr; root = root->next) {
        const auto [earlier, added] = file_of_root.emplace(data_path(*root), file.string());
        if (!added)
            throw NodeError(fmt::format("{}: {} is already in {}, expected each root in one file", file.string(),
                                        earlier->first, earlier->second));
        ++roots;
        configuration_roots += is_configuration(*root->schema) ? 1 : 0;
    }
    if (roots == 0)
        throw NodeError(fmt::format("{}: holds no data, expected the root of a native model", file.string()));
    if (configuration_roots == roots)
        add_roots(running, std::move(tree));
    else if (roots == 1)
        store_operational(database, lyd_owner_module(tree.get())->name, tree.get());
    else
        throw NodeError(fmt::format("{}: expected configuration alone or one root of operational data", file.string()));
}

void load_sysdb_file(SystemDatabase &system_database, const fs::path &file) {
    try {
        for (const SysdbItem &item : sysdb_items_from_json(read_file(file)))
            write_record(system_database, item.bind_point, item.item, item.bag);
    } catch (const std::system_error &) {
        throw; // names the file already, and is no fault of the example
    } catch (const SqliteError &) {
        throw;
    } catch (const NodeError &) {
        throw;
    } catch (const std::runtime_error &error) {
        throw NodeError(fmt::format("{}: {}", file.string(), error.what()));
    }
}

void load_example(Database &database, const fs::path &example) {
    YangTree running;
    std::map<std::string, std::string> file_of_root;
    for (const fs::path &file : files_in(example / "native", {".json", ".xml"}))
        load_native_file(database, file, running, file_of_root);
    store_running(database, running.get());
    SystemDatabase system_database(database);
    for (const fs::path &file : files_in(example / "sysdb", {".json"}))
        load_sysdb_file(system_database, file);
}

void sync(const fs::path &path, std::string_view failure = "cannot be written to the disk") {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 || fsync(descriptor) != 0) {
        const int error = errno;
        if (descriptor >= 0)
            close(descriptor);
        errno = error;
        fail_on(path, failure);
    }
    close(descriptor);
}

void remove_with_journal(const fs::path &file) {
    std::error_code ignored;
    // The journal first: without its file nobody would find it again.
    fs::remove(file.string() + "-journal", ignored);
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
    const std::string prefix = final_name.filename().string() + std::string(kNewWord);
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(final_name.parent_path(), error)) {
        const std::string pid = entry.path().filename().string();
        if (!pid.starts_with(prefix) || pid.find_first_not_of("0123456789", prefix.size()) != std::string::npos ||
            !entry.is_regular_file(error))
            continue;
        if (LockedFile(entry.path(), O_RDWR).lock())
            remove_with_journal(entry.path());
    }
}

// A file that is gone again unless it was given its name.
class NewFile {
  public:
    explicit NewFile(const fs::path &final_name)
        : final_name_(final_name), path_(final_name.string() + fmt::format("{}{}", kNewWord, getpid())) {
        file_.emplace(path_, O_RDWR | O_CREAT | O_EXCL);
        // Another run may have taken it for a leftover before it was locked.
        if (!file_->lock() || !file_->is_named())
            fail_on(path_, "cannot be made");
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
        if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, final_name_.c_str(), RENAME_NOREPLACE) != 0)
            fail_on(final_name_, "cannot be made");
        unfinished_node::file_is_finished();
        sync(folder, "the node is made, but it may not outlast a power cut");
    }

  private:
    fs::path final_name_;
    fs::path path_;
    std::optional<LockedFile> file_;
};

// A folder that is gone again, if it was made here and is empty.
class NewFolder {
  public:
    explicit NewFolder(const fs::path &path) {
        std::error_code error;
        if (fs::create_directory(path, error))
            unfinished_node::folder_is_made(path);
        if (error)
            throw NodeError(fmt::format("{}: {}, expected a folder that can be made", path.string(), error.message()));
    }
    ~NewFolder() { unfinished_node::remove_folder(); }
    NewFolder(const NewFolder &) = delete;
    NewFolder &operator=(const NewFolder &) = delete;
};

const std::vector<std::string> &node_tables() {
    static const std::vector<std::string> statements = [] {
        std::vector<std::string> all = seal_table_sql();
        for (const std::vector<std::string> &table : {native_table_sql(), item_table_sql()})
            all.insert(all.end(), table.begin(), table.end());
        return all;
    }();
    return statements;
}

// Path of a node's database. Throws NodeError when there is none.
std::string database_of(const fs::path &folder) {
    const fs::path file = folder / kDatabaseName;
    if (!fs::is_regular_file(file))
        throw NodeError(fmt::format("{}: no node, expected a folder made with 'ocamp node init'", folder.string()));
    return file.string();
}

std::optional<WriterTurn> turn_for(const fs::path &folder, Node::Access access) {
    if (access == Node::Access::read)
        return std::nullopt;
    database_of(folder);
    return std::optional<WriterTurn>(std::in_place, (folder / kQueueName).string(), kLongestQueue);
}

} // namespace

const Schema &openconfig_schema() {
    static const Schema schema(kOpenConfigModules);
    return schema;
}

const Schema &native_schema() {
    static const Schema schema(kNativeModules);
    return schema;
}

void Node::init(const fs::path &folder, const fs::path &example) {
    if (!fs::is_directory(example))
        throw NodeError(fmt::format("{}: no such folder, expected an example node", example.string()));
    const fs::path target = fs::absolute(folder).lexically_normal();
    const NewFolder made(target);
    remove_leftovers(target / kDatabaseName);
    if (fs::exists(target / kDatabaseName))
        throw NodeError(fmt::format("{}: holds a node already, expected a new or empty folder", folder.string()));
    NewFile file(target / kDatabaseName);
    {
        Database database(file.path().string(), Database::Mode::create, &kMark);
        Transaction transaction(database);
        run_all(database, node_tables());
        load_example(database, example);
        transaction.commit("");
    }
    file.give_name();
}

Node::Node(const fs::path &folder, Access access) try
    : turn_(turn_for(folder, access)),
      database_(database_of(folder), access == Access::read ? Database::Mode::read_only : Database::Mode::read_write,
                &kMark),
      system_database_(database_) {
    const ReadTransaction reading(database_);
    check_schema(database_, node_tables());
} catch (const ForeignFileError &error) {
    throw NodeError(fmt::format("{}, expected the database of a node", error.what()));
}

} // namespace ocamp
