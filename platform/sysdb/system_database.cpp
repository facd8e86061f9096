// Reads and writes the table of system-database items. Knows neither what is in the records nor the C seam.
#include "sysdb/system_database.h"

#include "seam/failure.h"
#include "seam/text.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr const char *table_name = "sysdb_item";

[[noreturn]] void refuse_name(const char *what, std::string_view name, const char *expected) {
    std::string text = fmt::format("{} \"", what);
    append_escaped(text, name.substr(0, sysdb_name_limit), '"');
    throw SysdbNameError(fmt::format("{}\": expected {}", text, expected));
}

std::int64_t bag_checksum(std::string_view bind_point, std::string_view item, std::span<const std::uint8_t> bag) {
    return row_checksum({bind_point, item, {reinterpret_cast<const char *>(bag.data()), bag.size()}});
}

void check_name(const char *what, std::string_view name) {
    if (name.size() > sysdb_name_limit)
        refuse_name(what, name, "at most 255 bytes");
    if (name.find("//") != std::string_view::npos)
        refuse_name(what, name, "no empty part");
    if (name.find('\0') != std::string_view::npos || !is_utf8(name))
        refuse_name(what, name, "UTF-8 without NUL");
}

// What stands in either, once and in byte order.
std::vector<std::string> merged(const std::vector<std::string> &one, const std::vector<std::string> &other) {
    std::vector<std::string> all;
    std::set_union(one.begin(), one.end(), other.begin(), other.end(), std::back_inserter(all));
    return all;
}

} // namespace

void check_bind_point(std::string_view bind_point) {
    if (!bind_point.starts_with('/') || !bind_point.ends_with('/'))
        refuse_name("bind point", bind_point, "\"/\" at both ends");
    check_name("bind point", bind_point);
}

void check_item_name(std::string_view item) {
    if (item.empty() || item.starts_with('/') || item.ends_with('/'))
        refuse_name("item", item, "a name with \"/\" at neither end");
    check_name("item", item);
}

std::vector<std::string> item_table_sql() {
    // The checksum is that of the names, so that absence can be told without reading the records. The record's is that
    // of both: its own checksums do not say whose it is.
    return sealed_table_sql(table_name, "bind_point TEXT NOT NULL, item TEXT NOT NULL, bag BLOB NOT NULL, "
                                        "bag_checksum INTEGER NOT NULL, checksum INTEGER NOT NULL, "
                                        "PRIMARY KEY(bind_point, item)");
}

Statement &SystemDatabase::statement(std::optional<Statement> &kept, std::string_view sql) {
    if (!kept)
        kept = database_.prepare(fmt::format(fmt::runtime(sql), Database::table_prefix(schema_)));
    return *kept;
}

void SystemDatabase::read_first_from(std::string_view schema) {
    first_ = std::make_unique<SystemDatabase>(database_, schema);
}

void SystemDatabase::refuse_hidden(std::string_view bind_point, std::string_view item) {
    if (first_ != nullptr && first_->get(bind_point, item))
        throw SysdbNameError(fmt::format("record {}{} is written by what measures the node, into {}; expected another",
                                         bind_point, item, first_->file()));
}

// A damaged name would make its item, or the items behind it, look absent.
void SystemDatabase::check_names() {
    const Database::State now = database_.state();
    if (checked_ == now)
        return;
    Statement &query =
        statement(names_, "SELECT bind_point, item, checksum FROM {}sysdb_item ORDER BY bind_point, item");
    const StatementUse use(query);
    std::pair<std::string, std::string> before;
    std::int64_t count = 0, sum = 0;
    while (query.step()) {
        std::pair<std::string, std::string> name(query.text(0), query.text(1));
        if (row_checksum({name.first, name.second}) != query.number(2) || name <= before)
            throw DamageError(fmt::format("{}: record {}{} is damaged: its name does not hold its checksum", file(),
                                          name.first, name.second));
        ++count;
        sum += query.number(2);
        before = std::move(name);
    }
    check_seal(database_, table_name, count, sum, schema_);
    checked_ = now;
}

std::optional<std::vector<std::uint8_t>> SystemDatabase::get(std::string_view bind_point, std::string_view item) {
    check_bind_point(bind_point);
    check_item_name(item);
    if (first_ != nullptr) {
        if (auto bag = first_->get(bind_point, item))
            return bag->empty() ? std::nullopt : std::move(bag);
    }
    Statement &query =
        statement(get_, "SELECT bag, bag_checksum FROM {}sysdb_item WHERE bind_point = ?1 AND item = ?2");
    const StatementUse use(query);
    if (!query.bind(1, bind_point).bind(2, item).step()) {
        check_names();
        return std::nullopt;
    }
    const auto bag = query.blob(0);
    if (bag_checksum(bind_point, item, bag) != query.number(1))
        throw DamageError(
            fmt::format("{}: record {}{} is damaged: it does not hold its checksum", file(), bind_point, item));
    return std::vector<std::uint8_t>(bag.begin(), bag.end());
}

void SystemDatabase::put(std::string_view bind_point, std::string_view item, std::span<const std::uint8_t> bag) {
    check_bind_point(bind_point);
    check_item_name(item);
    refuse_hidden(bind_point, item);
    Statement &change = statement(put_, "INSERT INTO {}sysdb_item(bind_point, item, bag, bag_checksum, checksum) "
                                        "VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(bind_point, item) DO UPDATE SET "
                                        "bag = excluded.bag, bag_checksum = excluded.bag_checksum, "
                                        "checksum = excluded.checksum");
    const StatementUse use(change);
    change.bind(1, bind_point).bind(2, item).bind_blob(3, bag).bind(4, bag_checksum(bind_point, item, bag));
    change.bind(5, row_checksum({bind_point, item})).step();
}

bool SystemDatabase::remove(std::string_view bind_point, std::string_view item) {
    check_bind_point(bind_point);
    check_item_name(item);
    refuse_hidden(bind_point, item);
    Statement &change = statement(remove_, "DELETE FROM {}sysdb_item WHERE bind_point = ?1 AND item = ?2 RETURNING 1");
    const StatementUse use(change);
    const bool removed = change.bind(1, bind_point).bind(2, item).step();
    // The deletion is done when the statement has run to its end.
    if (removed)
        change.step();
    else
        check_names();
    return removed;
}

std::vector<std::string> SystemDatabase::names_without_bytes(std::string_view bind_point) {
    Statement &query = statement(
        without_bytes_, "SELECT item FROM {}sysdb_item WHERE bind_point = ?1 AND length(bag) = 0 ORDER BY item");
    const StatementUse use(query);
    query.bind(1, bind_point);
    std::vector<std::string> names;
    while (query.step())
        names.emplace_back(query.text(0));
    return names;
}

std::vector<std::string> SystemDatabase::list(std::string_view bind_point, std::string_view folder) {
    check_bind_point(bind_point);
    if (first_ == nullptr)
        return own_list(bind_point, folder, {});
    const std::vector<std::string> left_out = first_->names_without_bytes(bind_point);
    return merged(own_list(bind_point, folder, left_out), first_->own_list(bind_point, folder, left_out));
}

// `left_out` is in byte order.
std::vector<std::string> SystemDatabase::own_list(std::string_view bind_point, std::string_view folder,
                                                  const std::vector<std::string> &left_out) {
    std::string above; // first name behind those of the folder; "0" follows "/" in byte order
    if (!folder.empty()) {
        if (!folder.ends_with('/'))
            refuse_name("folder", folder, "\"/\" at the end");
        check_item_name(folder.substr(0, folder.size() - 1));
        above.assign(folder).back() = '0';
    }
    Statement &query = statement(list_, "SELECT item FROM {}sysdb_item WHERE bind_point = ?1 AND item > ?2 "
                                        "AND (?3 = '' OR item < ?3) ORDER BY item");
    const StatementUse use(query);
    query.bind(1, bind_point).bind(2, folder).bind(3, above);
    std::vector<std::string> names;
    while (query.step()) {
        std::string_view name = query.text(0);
        if (std::binary_search(left_out.begin(), left_out.end(), name))
            continue;
        name.remove_prefix(folder.size());
        if (const std::size_t slash = name.find('/'); slash != std::string_view::npos)
            name = name.substr(0, slash + 1);
        // Byte order keeps the items of a folder together.
        if (names.empty() || names.back() != name)
            names.emplace_back(name);
    }
    check_names();
    return names;
}

std::vector<std::string> SystemDatabase::items(std::string_view bind_point, const std::string &folder) {
    std::vector<std::string> all;
    for (const std::string &name : list(bind_point, folder)) {
        if (!name.ends_with('/')) {
            all.push_back(folder + name);
            continue;
        }
        for (std::string &inner : items(bind_point, folder + name))
            all.push_back(std::move(inner));
    }
    return all;
}

std::vector<std::string> SystemDatabase::bind_points() {
    Statement query = database_.prepare(fmt::format("SELECT DISTINCT bind_point FROM {}sysdb_item ORDER BY bind_point",
                                                    Database::table_prefix(schema_)));
    std::vector<std::string> names;
    while (query.step())
        names.emplace_back(query.text(0));
    check_names();
    if (first_ == nullptr)
        return names;
    names = merged(names, first_->bind_points());
    std::erase_if(names, [&](const std::string &name) { return list(name).empty(); });
    return names;
}

bool SystemDatabase::readable() noexcept {
    try {
        Statement &query = statement(probe_, "SELECT bag FROM {}sysdb_item LIMIT 1");
        const StatementUse use(query);
        query.step();
        return first_ == nullptr || first_->readable();
    } catch (const std::exception &error) {
        note_failure(error.what());
        return false;
    }
}

} // namespace ocamp
