// How the folder of a line is made and kept.
#include "line/folder.h"

#include "line/node_data.h"
#include "node/files.h"
#include "node/live_data.h"
#include "node/node.h"
#include "node/unfinished_folder.h"
#include "sysdb/database_file.h"
#include "yang/models.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view description_name = "line.json", nodes_name = "nodes", lock_name = "line.lock";
constexpr FileMark line_mark{0x4f434c4e, 1}; // "OCLN"
constexpr const char *settings = "PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = OFF;";
constexpr const char *tables = "CREATE TABLE state(name TEXT PRIMARY KEY, text TEXT NOT NULL) STRICT, WITHOUT ROWID;"
                               "CREATE TABLE event(id INTEGER PRIMARY KEY AUTOINCREMENT, at INTEGER, "
                               "words TEXT NOT NULL) STRICT;";

void make_node(const fs::path &folder, const LineDescription &line, std::size_t node) {
    Node::init_with(node_folder(folder, line.nodes[node]), [&](Database &database) {
        store_running(database, native_schema().parse(first_configuration(line, node), LYD_JSON));
    });
    // A node without cards has no amplifiers to configure; what they measure comes with the first second.
    LiveData live(node_folder(folder, line.nodes[node]));
    Transaction transaction(live.database());
    for (const SlotDescription &slot : line.nodes[node].slots) {
        for (const bool booster : {false, true}) {
            if (!(booster ? slot.booster : slot.pre_amplifier))
                continue;
            const NodeRecord record = inventory_record(node, slot.number, booster);
            live.system_database().put(record.bind_point, record.item, encode_bag(record.record));
        }
    }
    transaction.commit("");
}

} // namespace

void init_line(const fs::path &folder, std::string_view description) {
    const LineDescription line = read_line(description);
    UnfinishedFolder made(folder);
    fs::create_directory(made.path() / nodes_name);
    for (std::size_t node = 0; node < line.nodes.size(); ++node)
        make_node(made.path(), line, node);
    made.write_file(description_name, description);
    const LineStore store(made.path(), false);
    made.finish();
}

void init_line_around(const fs::path &folder, std::string_view description) {
    const LineDescription line = read_line(description);
    UnfinishedFolder made(folder);
    fs::create_directory(made.path() / nodes_name);
    fs::create_directory_symlink("../..", node_folder(made.path(), line.nodes.front()));
    made.write_file(description_name, description);
    made.finish();
}

bool is_line(const fs::path &folder) {
    std::error_code error;
    return fs::is_regular_file(folder / description_name, error);
}

LineDescription line_of_folder(const fs::path &folder) {
    if (!is_line(folder))
        throw LineError(fmt::format("{}: no line, expected a folder made with 'ocamp line init'", folder.string()));
    const fs::path file = folder / description_name;
    try {
        return read_line(read_document(file));
    } catch (const JsonError &error) {
        throw JsonError(fmt::format("{}: {}", file.string(), error.what()));
    }
}

fs::path node_folder(const fs::path &folder, const NodeDescription &node) {
    return folder / nodes_name / node.name;
}

LineLock::LineLock(const fs::path &folder)
    : descriptor_(open((folder / lock_name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0)
        throw std::system_error(errno, std::generic_category(), (folder / lock_name).string());
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor_);
        throw LineError(fmt::format("{}: another process runs this line, expected one at a time", folder.string()));
    }
}

LineLock::~LineLock() {
    close(descriptor_);
}

void LineStore::open(const std::string &file) {
    if (!fs::exists(file))
        make_database_file(file, line_mark, settings, [](Database &database) { database.exec(tables); });
    try {
        database_.emplace(file, Database::Mode::read_write, &line_mark);
    } catch (const ForeignFileError &error) {
        throw LineError(
            fmt::format("{}, expected the database of a line; move it away, and the line begins anew", error.what()));
    }
    database_->exec(settings);
    // What is damaged is to show now.
    for (const std::string_view name : {simulation_text, open_text, closed_text})
        text(name);
    events();
}

void LineStore::close() {
    for (std::optional<Statement> *statement : {&save_, &text_, &events_})
        statement->reset();
    database_.reset();
}

LineStore::LineStore(const fs::path &folder, bool may_replace) {
    const std::string file = (folder / line_database_name).string();
    if (!may_replace) {
        open(file);
        return;
    }
    if (opens_undamaged(
            file, [&] { open(file); }, [this] { close(); }))
        return;
    remove_database_file(file);
    open(file);
    replaced_ = true;
}

std::optional<std::string> LineStore::text(std::string_view name) {
    if (!text_)
        text_ = database_->prepare("SELECT text FROM state WHERE name = ?1");
    const StatementUse use(*text_);
    if (!text_->bind(1, name).step())
        return std::nullopt;
    return std::string(text_->text(0));
}

std::vector<WaitingEvent> LineStore::events() {
    if (!events_)
        events_ = database_->prepare("SELECT id, at IS NULL, at, words FROM event ORDER BY id");
    const StatementUse use(*events_);
    std::vector<WaitingEvent> waiting;
    while (events_->step()) {
        const bool now = events_->number(1) != 0;
        const auto at = static_cast<std::uint64_t>(events_->number(2));
        waiting.push_back({events_->number(0), now ? std::nullopt : std::optional(at), std::string(events_->text(3))});
    }
    return waiting;
}

void LineStore::add_event(const std::optional<std::uint64_t> &at, std::string_view words) {
    Statement insert =
        database_->prepare(at ? "INSERT INTO event(words, at) VALUES(?1, ?2)" : "INSERT INTO event(words) VALUES(?1)");
    insert.bind(1, words);
    if (at)
        insert.bind(2, static_cast<std::int64_t>(*at));
    insert.step();
}

void LineStore::save(std::initializer_list<Kept> texts, const std::vector<std::int64_t> &happened) {
    if (!save_)
        save_ = database_->prepare("INSERT INTO state(name, text) VALUES(?1, ?2) ON CONFLICT(name) DO UPDATE SET "
                                   "text = excluded.text");
    Transaction transaction(*database_);
    for (const Kept &kept : texts) {
        const StatementUse use(*save_);
        save_->bind(1, kept.name).bind(2, kept.text).step();
    }
    for (const std::int64_t id : happened)
        database_->prepare("DELETE FROM event WHERE id = ?1").bind(1, id).step();
    transaction.commit("");
}

} // namespace ocamp
