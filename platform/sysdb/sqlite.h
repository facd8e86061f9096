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
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace ocamp {

/// The text names the file, what was being done, and SQLite's reason.
class SqliteError : public std::runtime_error {
  public:
    /// `code`: SQLite's extended result code.
    SqliteError(const std::string &text, int code) : std::runtime_error(text), code_(code) {}
    int code() const noexcept { return code_; } ///< SQLite's extended result code
    /// Whether the file is no database, or a damaged one.
    bool is_damage() const noexcept;

  private:
    int code_;
};

/// A prepared statement. Parameters and columns count as SQLite counts them: from 1 and from 0. What is bound is
/// copied. All calls that can fail throw SqliteError.
class Statement {
  public:
    /// `connection` stays its owner's, and may end before the statement does.
    Statement(sqlite3 *connection, std::string_view sql);

    /// Each gives the statement itself.
    Statement &bind(int parameter, std::string_view text);
    Statement &bind(int parameter, std::int64_t number);
    Statement &bind_blob(int parameter, std::span<const std::uint8_t> blob);

    /// True when there is a row.
    bool step();
    /// Makes the statement ready to run again and forgets what was bound.
    void reset() noexcept;

    /// Columns of the current row; texts and blobs live until the next step or reset. NULL reads as empty or 0.
    std::string_view text(int column) const;
    std::span<const std::uint8_t> blob(int column) const;
    std::int64_t number(int column) const;

  private:
    void check(int code) const;

    struct Finalize {
        void operator()(sqlite3_stmt *statement) const noexcept;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Resets a statement that is kept for the next use, on every way out.
class StatementUse {
  public:
    /// `statement` outlives this.
    explicit StatementUse(Statement &statement) noexcept : statement_(statement) {}
    ~StatementUse() { statement_.reset(); }
    StatementUse(const StatementUse &) = delete;
    StatementUse &operator=(const StatementUse &) = delete;

  private:
    Statement &statement_;
};

/// What tells the files of one program, and of one layout of its tables, from others: words of SQLite's file header.
struct FileMark {
    std::int32_t application_id;
    std::int32_t version;
};

/// A file that is no database, not of this program, or of a later layout. The text names it and says what was found.
class ForeignFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A connection to one database file. Waits up to 5 s for a lock, checks foreign keys, trusts no schema; writes with a
/// rollback journal that is gone, and synced, before a commit returns.
class Database {
  public:
    /// What a file is opened for.
    enum class Mode {
        read_only, ///< writes nothing, but for undoing what a writer that was killed left half done
        read_write,
        create ///< read_write of a file that may not be there yet
    };
    /// Changes whenever the content may have changed.
    struct State {
        std::uint32_t version, attached_version; ///< of the files, whoever writes them
        std::int64_t changes;                    ///< made by this connection
        bool operator==(const State &) const = default;
    };
    static constexpr std::string_view own_schema = "main";
    /// What stands before the names of that schema's tables in statements.
    static std::string table_prefix(std::string_view schema) {
        return schema == own_schema ? std::string() : std::string(schema) + ".";
    }

    /// With a mark the file is looked at before SQLite works with it; throws ForeignFileError then. A created file gets
    /// the mark.
    Database(const std::string &file, Mode mode, const FileMark *mark = nullptr);

    /// Lets this connection read a second file as well, whose tables are named `schema`.TABLE. A read transaction sees
    /// one state of both; a write transaction writes this one only, and other clients may begin to write that one
    /// meanwhile. Once at most, outside of transactions. `schema` is a name that SQL takes unquoted. Throws
    /// SqliteError, ForeignFileError.
    void attach_to_read(const std::string &file, const std::string &schema, const FileMark &mark);

    /// Runs statements that give no rows. Throws SqliteError.
    void exec(const std::string &sql);
    /// Throws SqliteError.
    Statement prepare(std::string_view sql) { return {connection_.get(), sql}; }
    /// What tells this moment's content from another's, whoever changes it.
    State state();
    /// As it was given.
    const std::string &file() const noexcept { return file_; }
    /// Whether a second file is read under that name.
    bool has_attached(std::string_view schema) const noexcept { return schema == attached_schema_; }
    /// The same of the file whose tables carry that name.
    const std::string &file_of(std::string_view schema) const noexcept {
        return schema == attached_schema_ ? attached_file_ : file_;
    }
    /// Belongs to this object.
    sqlite3 *connection() noexcept { return connection_.get(); }

  private:
    friend class ReadTransaction;
    void check_mark(const FileMark &mark);
    void begin_reading();
    void look_into_files();
    void undo_killed_writers() const;

    struct Close {
        void operator()(sqlite3 *connection) const noexcept;
    };
    std::string file_;
    std::string attached_file_, attached_schema_; // empty: none
    std::unique_ptr<sqlite3, Close> connection_;
};

/// What is read while it lives is of one state of the database.
class ReadTransaction {
  public:
    /// Waits for writers that commit. Throws SqliteError.
    explicit ReadTransaction(Database &database);
    ~ReadTransaction();
    ReadTransaction(const ReadTransaction &) = delete;
    ReadTransaction &operator=(const ReadTransaction &) = delete;

  private:
    Database &database_;
};

/// A write transaction; rolled back unless it was committed.
class Transaction {
  public:
    /// Waits for other writers. Throws SqliteError.
    explicit Transaction(Database &database);
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

    /// When it throws, nothing has changed, unless the text begins with `made`: then only the folder's entry for the
    /// journal could not be synced. An empty `made` is for a file that nobody else sees yet.
    void commit(std::string_view made = "the change is made");

  private:
    Database &database_;
    bool open_ = true;
};

} // namespace ocamp
