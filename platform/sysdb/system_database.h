// The node's system database: records by bind point and item name in one table of an SQLite file. Knows neither what
// is in the records nor the C seam.
#pragma once

#include "seam/input_error.h"
#include "sysdb/seal.h"
#include "sysdb/sqlite.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

inline constexpr std::size_t sysdb_name_limit = 255; ///< bytes of a bind point and of an item name

/// A bind point or an item name that is none. The text names it and says what was expected.
class SysdbNameError : public InputError {
  public:
    using InputError::InputError;
};

/// A bind point is a path with "/" at both ends ("/oper/ots/if/"); an item name is a path with "/" at neither
/// ("Ots0_1_0_0/ots_info"); no part of either is empty, and both are UTF-8 without NUL. Throw SysdbNameError.
void check_bind_point(std::string_view bind_point);
void check_item_name(std::string_view item);

/// The statements that make the table of items. They want the table of seals.
std::vector<std::string> item_table_sql();

/// All calls throw SqliteError when the file fails them, DamageError when what is asked for cannot be told for sure,
/// and SysdbNameError for a bad name. Calls that may tell of absence belong into a transaction when others write. One
/// thread at a time.
class SystemDatabase {
  public:
    /// Shares a connection, which must outlive this object. Writes are then part of the connection's transaction.
    /// `schema`: whose table of items it is, as tables of the connection are named.
    explicit SystemDatabase(Database &shared, std::string_view schema = Database::own_schema)
        : database_(shared), schema_(schema) {}

    /// Reads items of another file of the connection as well, which hide those of the same name here. They cannot be
    /// written: put and remove throw SysdbNameError for them. One without bytes is none, and hides all the same.
    void read_first_from(std::string_view schema);

    /// The database's file, for messages.
    const std::string &file() const noexcept { return database_.file_of(schema_); }

    /// Nothing when there truly is no such item: before that is said, the names of all items are checked. The bytes are
    /// those that were put under this name.
    std::optional<std::vector<std::uint8_t>> get(std::string_view bind_point, std::string_view item);
    /// Writes or overwrites. The bytes are taken as they are.
    void put(std::string_view bind_point, std::string_view item, std::span<const std::uint8_t> bag);
    /// False when there is no such item.
    bool remove(std::string_view bind_point, std::string_view item);

    /// What lies immediately under `folder`, in byte order: items by name, folders once and with a "/" at the end.
    /// `folder` is empty for the bind point itself, or ends in "/". Names are relative to it: under "/oper/ots/if/"
    /// the item "Ots0_1_0_0/ots_info" shows as "Ots0_1_0_0/", and in the folder "Ots0_1_0_0/" as "ots_info".
    std::vector<std::string> list(std::string_view bind_point, std::string_view folder = {});
    /// Every item under a folder of a bind point, however deep, in the order of list; the names are those of the items.
    std::vector<std::string> items(std::string_view bind_point, const std::string &folder = {});
    /// Those that have items, in byte order.
    std::vector<std::string> bind_points();

    /// True when the table of items is there and can be read; else what is wrong is noted as a failure.
    bool readable() noexcept;

  private:
    // `sql` has {} before the name of the table.
    Statement &statement(std::optional<Statement> &kept, std::string_view sql);
    void check_names();
    void refuse_hidden(std::string_view bind_point, std::string_view item);
    std::vector<std::string> names_without_bytes(std::string_view bind_point);
    std::vector<std::string> own_list(std::string_view bind_point, std::string_view folder,
                                      const std::vector<std::string> &left_out);

    Database &database_;
    std::string schema_;
    std::unique_ptr<SystemDatabase> first_; ///< whose items hide those here
    std::optional<Statement> get_, put_, remove_, list_, names_, probe_, without_bytes_;
    std::optional<Database::State> checked_; ///< when the names were last found whole
};

} // namespace ocamp
