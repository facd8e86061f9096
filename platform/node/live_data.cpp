// How live data are kept: the node's tables in a second file, written without waiting for the disk.
#include "node/live_data.h"

#include "node/native_data.h"
#include "node/tables.h"
#include "sysdb/database_file.h"
#include "sysdb/seal.h"
#include "yang/models.h"

namespace ocamp {

namespace fs = std::filesystem;

namespace {

// The operating system writes the file when it likes; a small cache is enough for one node.
constexpr const char *settings = "PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = OFF; PRAGMA cache_size = -128;";

void make(const fs::path &file) {
    make_database_file(file, live_mark, settings, [](Database &database) { run_all(database, node_tables()); });
}

} // namespace

void LiveData::open(const fs::path &file) {
    database_.emplace(file.string(), Database::Mode::read_write, &live_mark);
    database_->exec(settings);
    check_schema(*database_, node_tables());
    load_native(*database_, native_schema());
    system_database_.emplace(*database_);
    system_database_->bind_points();
}

void LiveData::close() {
    system_database_.reset();
    database_.reset();
}

LiveData::LiveData(const fs::path &folder) {
    const fs::path file = folder / live_name;
    if (!fs::exists(file)) {
        make(file);
        open(file);
        return;
    }
    try {
        if (opens_undamaged(
                file, [&] { open(file); }, [this] { close(); }))
            return;
    } catch (const ForeignFileError &) {
        close();
    }
    remove_database_file(file);
    make(file);
    open(file);
    replaced_ = true;
}

void LiveData::put_document(std::string_view module, std::string_view document) {
    store_document(*database_, module, document);
}

} // namespace ocamp
