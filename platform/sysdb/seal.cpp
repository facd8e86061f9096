// How tables are sealed and checked. Knows no table but the seal.
#include "sysdb/seal.h"

#include "log/stages.h"
#include "sysdb/crc32.h"

#include <fmt/format.h>

namespace ocamp {

std::vector<std::string> seal_table_sql() {
    return {"CREATE TABLE seal(name TEXT PRIMARY KEY, row_count INTEGER NOT NULL, checksum_sum INTEGER NOT NULL) "
            "STRICT, WITHOUT ROWID"};
}

std::vector<std::string> sealed_table_sql(const std::string &table, const std::string &columns) {
    const auto trigger = [&](std::string_view event, std::string_view change) {
        return fmt::format("CREATE TRIGGER {0}_{1} AFTER {1} ON {0} BEGIN UPDATE seal SET {2} WHERE name = '{0}'; END",
                           table, event, change);
    };
    return {
        fmt::format("CREATE TABLE {}({}) STRICT, WITHOUT ROWID", table, columns),
        trigger("insert", "row_count = row_count + 1, checksum_sum = checksum_sum + NEW.checksum"),
        trigger("delete", "row_count = row_count - 1, checksum_sum = checksum_sum - OLD.checksum"),
        trigger("update", "checksum_sum = checksum_sum - OLD.checksum + NEW.checksum"),
        fmt::format("INSERT INTO seal(name, row_count, checksum_sum) VALUES('{}', 0, 0)", table),
    };
}

void run_all(Database &database, std::span<const std::string> statements) {
    for (const std::string &statement : statements)
        database.exec(statement);
}

void check_schema(Database &database, std::span<const std::string> statements, std::string_view schema) {
    const StageMark stage(Stage::database);
    const std::string &file = database.file_of(schema);
    Statement query = database.prepare(fmt::format(
        "SELECT sql FROM {}sqlite_schema WHERE sql IS NOT NULL ORDER BY rowid", Database::table_prefix(schema)));
    for (const std::string &statement : statements) {
        if (!statement.starts_with("CREATE "))
            continue;
        if (!query.step())
            throw DamageError(fmt::format("{}: a table is missing, expected {}", file, statement));
        if (query.text(0) != statement)
            throw DamageError(fmt::format("{}: damaged: found {}, expected {}", file, query.text(0), statement));
    }
    if (query.step())
        throw DamageError(fmt::format("{}: damaged: found {}, expected no more tables", file, query.text(0)));
}

std::int64_t row_checksum(std::initializer_list<std::string_view> texts) noexcept {
    constexpr std::uint8_t terminator = 0;
    std::uint32_t sum = 0;
    for (const std::string_view text : texts) {
        sum = crc32({reinterpret_cast<const std::uint8_t *>(text.data()), text.size()}, sum);
        sum = crc32({&terminator, 1}, sum);
    }
    return sum;
}

void check_seal(Database &database, const std::string &table, std::int64_t count, std::int64_t sum,
                std::string_view schema) {
    const std::string &file = database.file_of(schema);
    Statement query = database.prepare(
        fmt::format("SELECT row_count, checksum_sum FROM {}seal WHERE name = ?1", Database::table_prefix(schema)));
    if (!query.bind(1, table).step())
        throw DamageError(fmt::format("{}: damaged: table {} has lost its seal", file, table));
    if (query.number(0) != count)
        throw DamageError(
            fmt::format("{}: damaged: table {} holds {} rows, expected {}", file, table, count, query.number(0)));
    if (query.number(1) != sum)
        throw DamageError(fmt::format("{}: damaged: table {} has checksums that sum up to {}, expected {}", file, table,
                                      sum, query.number(1)));
}

} // namespace ocamp
