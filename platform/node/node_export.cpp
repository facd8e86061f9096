// How a node is written out. Knows neither the plug-in nor OpenConfig.
#include "node/node_export.h"

#include "sysdb/bag_json.h"
#include "sysdb/record_reader.h"
#include "yang/models.h"

#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>
#include <system_error>

#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

using Files = std::map<fs::path, std::string>; // text by name within the folder

Files files_of(Node &node) {
    const ReadTransaction snapshot(node.database());
    Files files;
    const NativeData data = load_native(node.database(), native_schema());
    if (!data.running.tree().empty())
        files["native/running.json"] = data.running.tree().print(LYD_JSON);
    for (const NativeDocument &document : data.operational) {
        if (!document.tree().empty())
            files[fmt::format("native/{}.json", lyd_owner_module(document.tree().first())->name)] =
                document.tree().print(LYD_JSON);
    }
    SystemDatabase &database = node.system_database();
    std::vector<SysdbItem> items;
    for (const std::string &bind_point : database.bind_points()) {
        for (const std::string &item : database.items(bind_point))
            items.push_back({bind_point, item, decode_bag(read_record(database, bind_point, item).value())});
    }
    files["sysdb/items.json"] = sysdb_items_to_json(items);
    return files;
}

[[noreturn]] void fail_on(const fs::path &path) {
    throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(),
                            fmt::format("{}: cannot be written", path.string()));
}

void write_file(const fs::path &path, const std::string &text) {
    struct Close {
        void operator()(std::FILE *file) const noexcept { std::fclose(file); }
    };
    errno = 0;
    std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "wxe"));
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fflush(file.get()) != 0 || fsync(fileno(file.get())) != 0)
        fail_on(path);
}

// A folder that is gone again with all that is in it, unless it was given its name.
class NewFolder {
  public:
    explicit NewFolder(const fs::path &final_name)
        : final_name_(final_name), path_(final_name.string() + fmt::format(".new-{}", getpid())) {
        std::error_code error;
        if (!fs::create_directory(path_, error))
            throw NodeError(fmt::format("{}: {}, expected a folder that can be made", final_name.string(),
                                        error ? error.message() : "is being written"));
    }
    ~NewFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    NewFolder(const NewFolder &) = delete;
    NewFolder &operator=(const NewFolder &) = delete;

    const fs::path &path() const noexcept { return path_; }

    // Takes the place of an empty folder, too.
    void give_name() {
        if (std::rename(path_.c_str(), final_name_.c_str()) == 0)
            return;
        if (errno == ENOTEMPTY || errno == EEXIST || errno == ENOTDIR)
            throw NodeError(fmt::format("{}: is there already, expected a new or empty folder", final_name_.string()));
        fail_on(final_name_);
    }

  private:
    fs::path final_name_, path_;
};

} // namespace

void export_node(Node &node, const fs::path &folder) {
    const Files files = files_of(node);
    fs::path target = fs::absolute(folder).lexically_normal();
    // A slash at the end names the same folder.
    if (!target.has_filename())
        target = target.parent_path();
    NewFolder made(target);
    for (const char *room : {"native", "sysdb"}) {
        if (!fs::create_directory(made.path() / room))
            fail_on(made.path() / room);
    }
    for (const auto &[name, text] : files)
        write_file(made.path() / name, text);
    made.give_name();
}

} // namespace ocamp
