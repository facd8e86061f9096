// Opens database files with the settings that a node relies on and turns SQLite's codes into exceptions. Knows no
// table.
#include "sysdb/sqlite.h"

#include <utility>

#include <fmt/format.h>
#include <sqlite3.h>

namespace ocamp {

namespace {

constexpr int kBusyTimeout = 5000; // ms

[[noreturn]] void fail(sqlite3 *connection, int code, const std::string &file, std::string_view action) {
    const char *reason = connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
    throw SqliteError(fmt::format("{}: {}: {}", file, action, reason), code);
}

std::string file_of(sqlite3 *connection) {
    const char *file = sqlite3_db_filename(connection, "main");
    return file != nullptr && *file != '\0' ? file : "(database in memory)";
}

} // namespace

void Statement::Finalize::operator()(sqlite3_stmt *statement) const noexcept {
    sqlite3_finalize(statement);
}

Statement::Statement(sqlite3 *connection, std::string_view sql) {
    sqlite3_stmt *statement = nullptr;
    const int code = sqlite3_prepare_v3(connection, sql.data(), static_cast<int>(sql.size()), 0, &statement, nullptr);
    if (code != SQLITE_OK)
        fail(connection, code, file_of(connection), fmt::format("prepare {}", sql));
    statement_.reset(statement);
}

void Statement::check(int code, const char *action) const {
    if (code == SQLITE_OK)
        return;
    sqlite3 *connection = sqlite3_db_handle(statement_.get());
    fail(connection, code, file_of(connection), fmt::format("{} {}", action, sqlite3_sql(statement_.get())));
}

Statement &Statement::bind(int parameter, std::string_view text) {
    // A view without data would bind NULL.
    const char *data = text.data() == nullptr ? "" : text.data();
    check(sqlite3_bind_text64(statement_.get(), parameter, data, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8), "bind");
    return *this;
}

Statement &Statement::bind(int parameter, std::int64_t number) {
    check(sqlite3_bind_int64(statement_.get(), parameter, number), "bind");
    return *this;
}

Statement &Statement::bind_blob(int parameter, std::span<const std::uint8_t> blob) {
    if (blob.empty())
        check(sqlite3_bind_zeroblob(statement_.get(), parameter, 0), "bind");
    else
        check(sqlite3_bind_blob64(statement_.get(), parameter, blob.data(), blob.size(), SQLITE_TRANSIENT), "bind");
    return *this;
}

Statement &Statement::bind_null(int parameter) {
    check(sqlite3_bind_null(statement_.get(), parameter), "bind");
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        check(code, "run");
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

bool Statement::is_null(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

void Database::Close::operator()(sqlite3 *connection) const noexcept {
    // v2: statements that outlive the connection stay valid.
    sqlite3_close_v2(connection);
}

Database::Database(const std::string &file, Mode mode) : file_(file) {
    const int flags = mode == Mode::read_only ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3 *connection = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &connection, flags | SQLITE_OPEN_EXRESCODE, nullptr);
    connection_.reset(connection); // a failed open gives a connection too
    if (code != SQLITE_OK)
        fail(connection, code, file_, "open");
    sqlite3_busy_timeout(connection, kBusyTimeout);
    exec("PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF;");
    if (mode == Mode::read_write_create)
        exec("PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA;");
    // SQLite looks into the file at the first read only; a file that is no database is told now.
    exec("SELECT count(*) FROM sqlite_schema;");
}

void Database::exec(const std::string &sql) {
    const int code = sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        fail(connection_.get(), code, file_, sql);
}

bool Database::read_only() const noexcept {
    return sqlite3_db_readonly(connection_.get(), "main") != 0;
}

Transaction::Transaction(Database &database) : database_(database) {
    database_.exec("BEGIN IMMEDIATE;");
}

Transaction::~Transaction() {
    // SQLite may have rolled back by itself, after which there is nothing to do.
    if (open_ && sqlite3_get_autocommit(database_.connection()) == 0)
        sqlite3_exec(database_.connection(), "ROLLBACK;", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
    database_.exec("COMMIT;");
    open_ = false;
}

} // namespace ocamp
