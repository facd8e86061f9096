// Opens database files with the settings that a node relies on and turns SQLite's codes into exceptions. Knows no
// table.
#include "sysdb/sqlite.h"

#include "log/stages.h"
#include "seam/failure.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>
#include <sqlite3.h>

namespace ocamp {

namespace {

constexpr int busy_timeout = 5000; // ms
constexpr int primary_code = 0xff; // the part of an extended result code that names its kind

// SQLite's file header: magic, and offsets of what is looked at.
constexpr std::size_t header_size = 100;
constexpr std::string_view file_magic("SQLite format 3\0", 16);
constexpr std::size_t write_format_at = 18, read_format_at = 19, user_version_at = 60, application_id_at = 68;
constexpr std::uint8_t rollback_journal = 1;

std::uint32_t big_endian(const std::uint8_t *bytes) noexcept {
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U | std::uint32_t{bytes[2]} << 8U | bytes[3];
}

// What a statement does, in words for people.
std::string_view action_of(std::string_view sql) noexcept {
    constexpr std::pair<std::string_view, std::string_view> actions[] = {
        {"SELECT", "read"},          {"INSERT", "write"},         {"UPDATE", "write"},
        {"DELETE", "write"},         {"COMMIT", "write"},         {"PRAGMA", "open"},
        {"BEGIN;", "begin to read"}, {"BEGIN", "begin to write"}, {"ATTACH", "open"},
    };
    for (const auto &[word, action] : actions) {
        if (sql.starts_with(word))
            return action;
    }
    return "change the tables";
}

// Why no file can be made beside `file`, as errno says it; 0 when one can. Asked with the call that SQLite opens files
// with, for a file without name, which nobody sees.
int want_beside(const std::string &file) {
    sqlite3_vfs *system = sqlite3_vfs_find(nullptr);
    const auto open_file = reinterpret_cast<int (*)(const char *, int, int)>(system->xGetSystemCall(system, "open"));
    const std::string folder = std::filesystem::path(file).parent_path().string();
    const int descriptor = open_file(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return errno;
    close(descriptor);
    return 0;
}

// What the system says of a file that could not be opened. What SQLite cannot make, such as a journal, it tries to open
// without making it, and keeps the reason of that alone.
int system_error(sqlite3 *connection, const std::string &file) {
    const int error = sqlite3_system_errno(connection);
    const int want = error == ENOENT ? want_beside(file) : 0;
    return is_shortage(want) ? want : error;
}

std::string reason_of(sqlite3 *connection, int code, const std::string &file) {
    if (code == SQLITE_READONLY_DBMOVED)
        return "the file has been renamed or removed since it was opened";
    std::string reason = connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
    if ((code & primary_code) != SQLITE_CANTOPEN || connection == nullptr)
        return reason;
    const int error = system_error(connection, file);
    if (error != 0)
        reason.append(": ").append(std::strerror(error));
    return reason;
}

[[noreturn]] void fail(sqlite3 *connection, int code, const std::string &file, std::string_view action) {
    if ((code & primary_code) == SQLITE_BUSY)
        throw SqliteError(fmt::format("{}: locked by another client for longer than the busy limit of {} s: {}", file,
                                      busy_timeout / 1000, action),
                          code);
    throw SqliteError(fmt::format("{}: {}: {}", file, action, reason_of(connection, code, file)), code);
}

// A file's name as a URI that is opened for reading only. Without a host of its own, it has what stands behind two
// slashes at the beginning for one.
std::string read_only_uri(std::string_view file) {
    std::string uri = file.starts_with('/') ? "file://" : "file:";
    for (const char c : file) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           std::string_view("/._-").find(c) != std::string_view::npos;
        uri += plain ? std::string(1, c) : fmt::format("%{:02x}", static_cast<unsigned char>(c));
    }
    return uri + "?mode=ro";
}

// SQLite takes a name that begins so for a URI.
std::string plain_name(const std::string &file) {
    return file.starts_with("file:") ? "./" + file : file;
}

std::string file_of(sqlite3 *connection) {
    const char *file = sqlite3_db_filename(connection, "main");
    return file != nullptr && *file != '\0' ? file : "(database in memory)";
}

} // namespace

bool SqliteError::is_damage() const noexcept {
    return (code_ & primary_code) == SQLITE_CORRUPT || (code_ & primary_code) == SQLITE_NOTADB;
}

void Statement::Finalize::operator()(sqlite3_stmt *statement) const noexcept {
    sqlite3_finalize(statement);
}

Statement::Statement(sqlite3 *connection, std::string_view sql) {
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v3(connection, sql.data(), static_cast<int>(sql.size()), 0, &statement, nullptr);
    if (code != SQLITE_OK)
        fail(connection, code, file_of(connection), action_of(sql));
    statement_.reset(statement);
}

void Statement::check(int code) const {
    if (code == SQLITE_OK)
        return;
    sqlite3 *connection = sqlite3_db_handle(statement_.get());
    fail(connection, code, file_of(connection), action_of(sqlite3_sql(statement_.get())));
}

Statement &Statement::bind(int parameter, std::string_view text) {
    // A view without data would bind NULL.
    const char *data = text.data() == nullptr ? "" : text.data();
    check(sqlite3_bind_text64(statement_.get(), parameter, data, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Statement &Statement::bind(int parameter, std::int64_t number) {
    check(sqlite3_bind_int64(statement_.get(), parameter, number));
    return *this;
}

Statement &Statement::bind_blob(int parameter, std::span<const std::uint8_t> blob) {
    if (blob.empty())
        check(sqlite3_bind_zeroblob(statement_.get(), parameter, 0));
    else
        check(sqlite3_bind_blob64(statement_.get(), parameter, blob.data(), blob.size(), SQLITE_TRANSIENT));
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        check(code);
    return code == SQLITE_ROW;
}

void Statement::reset() noexcept {
    // The result repeats the error of the last step, which has been thrown already.
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
}

std::string_view Statement::text(int column) const {
    const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(statement_.get(), column));
    if (data == nullptr)
        return {};
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

std::span<const std::uint8_t> Statement::blob(int column) const {
    const auto *data = static_cast<const std::uint8_t *>(sqlite3_column_blob(statement_.get(), column));
    if (data == nullptr)
        return {};
    return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

std::int64_t Statement::number(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

void Database::Close::operator()(sqlite3 *connection) const noexcept {
    // v2: statements that outlive the connection stay valid.
    sqlite3_close_v2(connection);
}

Database::Database(const std::string &file, Mode mode, const FileMark *mark) : file_(file) {
    const StageMark stage(Stage::database);
    int flags = mode == Mode::read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    if (mode == Mode::create)
        flags |= SQLITE_OPEN_CREATE;
    sqlite3 *connection = nullptr;
    // URIs are for files that are attached: they say that those are not written.
    const int code = sqlite3_open_v2(plain_name(file).c_str(), &connection,
                                     flags | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_URI, nullptr);
    connection_.reset(connection); // a failed open gives a connection too
    if (code != SQLITE_OK)
        fail(connection, code, file_, "open");
    if (mark != nullptr && mode != Mode::create)
        check_mark(*mark);
    sqlite3_busy_timeout(connection, busy_timeout);
    exec("PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON;");
    if (mode != Mode::read_only)
        exec("PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA;");
    if (mark != nullptr && mode == Mode::create)
        exec(fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {};", mark->application_id, mark->version));
    // SQLite looks into the file at the first read only; a file that is no database is told now.
    begin_reading();
}

// Read through SQLite's own handle: a handle of ours would drop SQLite's locks on the file when it is closed.
void Database::check_mark(const FileMark &mark) {
    sqlite3_file *handle = nullptr;
    sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_FILE_POINTER, &handle);
    std::array<std::uint8_t, header_size> header{};
    const int code = handle->pMethods->xRead(handle, header.data(), static_cast<int>(header.size()), 0);
    if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ)
        fail(nullptr, code, file_, "read");
    if (code != SQLITE_OK || std::memcmp(header.data(), file_magic.data(), file_magic.size()) != 0)
        throw ForeignFileError(fmt::format("{}: no SQLite database", file_));
    const std::uint32_t application_id = big_endian(&header[application_id_at]);
    if (application_id != static_cast<std::uint32_t>(mark.application_id))
        throw ForeignFileError(fmt::format("{}: a database with application id {:#010x}, expected {:#010x}", file_,
                                           application_id, mark.application_id));
    const std::uint32_t version = big_endian(&header[user_version_at]);
    if (version != static_cast<std::uint32_t>(mark.version))
        throw ForeignFileError(
            fmt::format("{}: a database of version {}, expected version {}", file_, version, mark.version));
    if (header[write_format_at] != rollback_journal || header[read_format_at] != rollback_journal)
        throw ForeignFileError(fmt::format("{}: file formats {} and {}, expected a database with a rollback journal",
                                           file_, header[write_format_at], header[read_format_at]));
}

void Database::attach_to_read(const std::string &file, const std::string &schema, const FileMark &mark) {
    { const Database look(file, Mode::read_only, &mark); }
    prepare("ATTACH ?1 AS " + schema).bind(1, read_only_uri(file)).step();
    attached_file_ = file;
    attached_schema_ = schema;
    begin_reading();
}

void Database::undo_killed_writers() const {
    try {
        const Database undo(file_, Mode::read_write);
        if (!attached_file_.empty())
            const Database undo_attached(attached_file_, Mode::read_write);
    } catch (const SqliteError &error) {
        throw SqliteError(fmt::format("{}, expected somebody who may write: a writer was killed, and what it left half "
                                      "done must be undone first",
                                      error.what()),
                          error.code());
    }
}

void Database::look_into_files() {
    exec("SELECT count(*) FROM sqlite_schema;");
    if (!attached_schema_.empty())
        exec(fmt::format("SELECT count(*) FROM {}.sqlite_schema;", attached_schema_));
}

// Locks the database for reading, within a transaction to its end.
void Database::begin_reading() {
    try {
        look_into_files();
    } catch (const SqliteError &error) {
        if (error.code() != SQLITE_READONLY_ROLLBACK)
            throw;
        // A writer was killed in the middle of a commit: only who may write can undo what it left.
        undo_killed_writers();
        look_into_files();
    }
}

void Database::exec(const std::string &sql) {
    const int code = sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        fail(connection_.get(), code, file_, action_of(sql));
}

Database::State Database::state() {
    State state{0, 0, sqlite3_total_changes64(connection_.get())};
    sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_DATA_VERSION, &state.version);
    if (!attached_schema_.empty())
        sqlite3_file_control(connection_.get(), attached_schema_.c_str(), SQLITE_FCNTL_DATA_VERSION,
                             &state.attached_version);
    return state;
}

ReadTransaction::ReadTransaction(Database &database) : database_(database) {
    const StageMark stage(Stage::database);
    database_.exec("BEGIN;");
    try {
        database_.begin_reading();
    } catch (const SqliteError &) {
        sqlite3_exec(database_.connection(), "ROLLBACK;", nullptr, nullptr, nullptr);
        throw;
    }
}

// There is nothing to undo: the end of a read that fails loses nothing.
ReadTransaction::~ReadTransaction() {
    const StageMark stage(Stage::database);
    sqlite3_exec(database_.connection(), "ROLLBACK;", nullptr, nullptr, nullptr);
}

Transaction::Transaction(Database &database) : database_(database) {
    const StageMark stage(Stage::database);
    database_.exec("BEGIN IMMEDIATE;");
}

Transaction::~Transaction() {
    // SQLite may have rolled back by itself, after which there is nothing to do.
    if (open_ && sqlite3_get_autocommit(database_.connection()) == 0)
        sqlite3_exec(database_.connection(), "ROLLBACK;", nullptr, nullptr, nullptr);
}

void Transaction::commit(std::string_view made) {
    try {
        database_.exec("COMMIT;");
    } catch (const SqliteError &error) {
        // The last step: the journal is gone already, and with it the way back.
        if (error.code() == SQLITE_IOERR_DIR_FSYNC && !made.empty())
            throw SqliteError(fmt::format("{}, but it may not outlast a power cut: {}", made, error.what()),
                              error.code());
        throw;
    }
    open_ = false;
}

} // namespace ocamp
