// Tables that notice damage. Each row carries a checksum, and one more table, the seal, holds the number and the sum
// of the checksums of every sealed table, so that neither a changed row nor a missing one goes unseen. SQLite itself
// checks nothing but the shape of its pages. Knows no table but the seal.
#pragma once

#include "sysdb/sqlite.h"

#include <cstdint>
#include <initializer_list>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// Something kept that is not what was stored. The text names the file and the record.
class DamageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The statements that make the table of seals, and a sealed table, which must have the column
/// "checksum INTEGER NOT NULL". Triggers keep the seal.
std::vector<std::string> seal_table_sql();
std::vector<std::string> sealed_table_sql(const std::string &table, const std::string &columns);

/// Runs the statements one after the other. Throws SqliteError.
void run_all(Database &database, std::span<const std::string> statements);
/// Throws DamageError unless the file's tables and triggers are those that the statements make. `schema`: the file, as
/// tables of the connection are named.
void check_schema(Database &database, std::span<const std::string> statements,
                  std::string_view schema = Database::own_schema);

/// Checksum of a row: of its texts, each with a NUL behind it.
std::int64_t row_checksum(std::initializer_list<std::string_view> texts) noexcept;

/// Throws DamageError unless the rows of the table, as they were counted and summed up, are those of its seal.
void check_seal(Database &database, const std::string &table, std::int64_t count, std::int64_t sum,
                std::string_view schema = Database::own_schema);

} // namespace ocamp
