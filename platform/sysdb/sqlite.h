// SQLite connections, statements and transactions as C++ objects, with the settings that all database files of a node
// share. Knows no table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace ocamp {

// The text names the file, what was being done, and SQLite's reason.
class SqliteError : public std::runtime_error {
  public:
    SqliteError(const std::string &text, int code) : std::runtime_error(text), code_(code) {}
    int code() const noexcept { return code_; } // SQLite's extended result code

  private:
    int code_;
};

// A prepared statement. Parameters and columns count as SQLite counts them: from 1 and from 0. What is bound is copied.
// All calls that can fail throw SqliteError.
class Statement {
  public:
    Statement(sqlite3 *connection, std::string_view sql);

    Statement &bind(int parameter, std::string_view text);
    Statement &bind(int parameter, std::int64_t number);
    Statement &bind_blob(int parameter, std::span<const std::uint8_t> blob);
    Statement &bind_null(int parameter);

    // True when there is a row.
    bool step();
    // Makes the statement ready to run again and forgets what was bound.
    void reset() noexcept;

    // Columns of the current row; texts and blobs live until the next step or reset. NULL reads as empty or 0.
    std::string_view text(int column) const;
    std::span<const std::uint8_t> blob(int column) const;
    std::int64_t number(int column) const;
    bool is_null(int column) const;

  private:
    void check(int code, const char *action) const;

    struct Finalize {
        void operator()(sqlite3_stmt *statement) const noexcept;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// Resets a statement that is kept for the next use, on every way out.
class StatementUse {
  public:
    explicit StatementUse(Statement &statement) noexcept : statement_(statement) {}
    ~StatementUse() { statement_.reset(); }
    StatementUse(const StatementUse &) = delete;
    StatementUse &operator=(const StatementUse &) = delete;

  private:
    Statement &statement_;
};

// A connection to one database file. Waits up to 5 s for a lock, checks foreign keys, trusts no schema; writes with a
// rollback journal that is gone, and synced, before a commit returns.
class Database {
  public:
    enum class Mode { read_only, read_write_create };

    Database(const std::string &file, Mode mode);

    void exec(const std::string &sql);
    Statement prepare(std::string_view sql) { return {connection_.get(), sql}; }
    bool read_only() const noexcept;
    const std::string &file() const noexcept { return file_; }
    sqlite3 *connection() noexcept { return connection_.get(); }

  private:
    struct Close {
        void operator()(sqlite3 *connection) const noexcept;
    };
    std::string file_;
    std::unique_ptr<sqlite3, Close> connection_;
};

// A write transaction; rolled back unless it was committed.
class Transaction {
  public:
    explicit Transaction(Database &database);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    void commit();

  private:
    Database &database_;
    bool open_ = true;
};

} // namespace ocamp
