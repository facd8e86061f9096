// Converts bag records to JSON and back, checking every value against its type. Knows nothing of the database beyond
// the form of its names.
#include "sysdb/bag_json.h"

#include "seam/json_text.h"
#include "sysdb/system_database.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct TypeWord {
    BagType type;
    std::string_view word;
};

constexpr TypeWord type_words[] = {
    {BagType::int8, "int8"},           {BagType::uint8, "uint8"},      {BagType::int16, "int16"},
    {BagType::uint16, "uint16"},       {BagType::int32, "int32"},      {BagType::uint32, "uint32"},
    {BagType::int64, "int64"},         {BagType::uint64, "uint64"},    {BagType::ipv4, "ipv4"},
    {BagType::enumeration, "enum"},    {BagType::boolean, "bool"},     {BagType::text, "text"},
    {BagType::long_text, "long-text"}, {BagType::structure, "struct"}, {BagType::sequence, "sequence"},
};

// Arrays and objects inside one another: the tokens of the deepest record, in an item file.
constexpr std::size_t json_nesting_limit = 2 * bag_nesting_limit + 8;

template <class... Values>
[[noreturn]] void fail(std::string_view path, fmt::format_string<Values...> format, Values &&...values) {
    throw BagJsonError(fmt::format("{}: {}", path, fmt::format(format, std::forward<Values>(values)...)));
}

void check_members(const Json &object, const std::string &path, std::initializer_list<std::string_view> known) {
    if (!object.is_object())
        fail(path, "expected an object, found {}", shown(object));
    for (const auto &member : object.items())
        if (std::find(known.begin(), known.end(), member.key()) == known.end())
            fail(path, "unknown member {}, expected {}", shown(Json(member.key())), fmt::join(known, ", "));
}

const Json &member(const Json &object, const std::string &path, const char *name) {
    const auto found = object.find(name);
    if (found == object.end())
        fail(path, "the member \"{}\" is missing", name);
    return *found;
}

std::string text_of(const Json &value, const std::string &path, std::size_t limit) {
    if (!value.is_string())
        fail(path, "expected a text, found {}", shown(value));
    auto text = value.get<std::string>();
    if (text.size() > limit)
        fail(path, "expected a text of at most {} bytes, found {} bytes", limit, text.size());
    if (text.find('\0') != std::string::npos)
        fail(path, "expected a text without NUL, found {}", shown(value));
    return text;
}

// A number, or a text that holds nothing but one: not every writer of JSON keeps 64 bits in a number.
template <class Integer>
std::optional<Integer> integer_of(const Json &value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        return std::in_range<Integer>(number) ? std::optional(static_cast<Integer>(number)) : std::nullopt;
    }
    if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        return std::in_range<Integer>(number) ? std::optional(static_cast<Integer>(number)) : std::nullopt;
    }
    if (!value.is_string())
        return std::nullopt;
    const auto &text = value.get_ref<const std::string &>();
    Integer number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

template <class Integer>
Integer ranged_integer(const Json &value, const std::string &path, bool text_allowed, Integer lowest, Integer highest) {
    const auto number = value.is_string() && !text_allowed ? std::nullopt : integer_of<Integer>(value);
    if (!number || *number < lowest || *number > highest)
        fail(path, "expected a whole number from {} to {}, found {}", lowest, highest, shown(value));
    return *number;
}

std::string address_text(std::uint64_t address) {
    return fmt::format("{}.{}.{}.{}", address >> 24U, (address >> 16U) & 0xffU, (address >> 8U) & 0xffU,
                       address & 0xffU);
}

std::uint64_t address_of(const Json &value, const std::string &path) {
    if (value.is_string()) {
        const auto &text = value.get_ref<const std::string &>();
        in_addr address{};
        // Written back it must be the same: inet_pton stops at a NUL.
        if (inet_pton(AF_INET, text.c_str(), &address) == 1 && address_text(ntohl(address.s_addr)) == text)
            return ntohl(address.s_addr);
    }
    fail(path, "expected an IPv4 address such as \"192.0.2.1\", found {}", shown(value));
}

BagToken::Value value_from_json(const Json &value, const std::string &path, BagType type) {
    const bool wide = type == BagType::int64 || type == BagType::uint64;
    if (const auto range = signed_range(type))
        return ranged_integer<std::int64_t>(value, path, wide, range->lowest, range->highest);
    if (const auto highest = unsigned_highest(type))
        return ranged_integer<std::uint64_t>(value, path, wide, 0, *highest);
    if (type == BagType::ipv4)
        return address_of(value, path);
    if (type == BagType::boolean) {
        if (!value.is_boolean())
            fail(path, "expected true or false, found {}", shown(value));
        return value.get<bool>();
    }
    return text_of(value, path, type == BagType::text ? bag_text_limit : bag_record_limit);
}

BagType type_from_json(const Json &value, const std::string &path) {
    if (value.is_string())
        for (const TypeWord &row : type_words)
            if (row.word == value.get_ref<const std::string &>())
                return row.type;
    std::vector<std::string_view> words;
    for (const TypeWord &row : type_words)
        words.push_back(row.word);
    fail(path, "expected one of {}, found {}", fmt::join(words, ", "), shown(value));
}

std::vector<BagToken> tokens_from_json(const Json &array, const std::string &path, std::size_t depth);

BagToken token_from_json(const Json &object, const std::string &path, std::size_t depth) {
    check_members(object, path, {"type", "name", "value", "tokens"});
    BagToken token;
    token.type = type_from_json(member(object, path, "type"), path + ".type");
    if (const auto name = object.find("name"); name != object.end()) {
        token.name = text_of(*name, path + ".name", bag_name_limit);
        if (token.name.empty())
            fail(path + ".name", "expected a name that is not empty, or no member \"name\"");
    }
    const bool nests = token.type == BagType::structure || token.type == BagType::sequence;
    if (object.contains(nests ? "value" : "tokens"))
        fail(path, "expected \"{}\" for this type, found \"{}\"", nests ? "tokens" : "value",
             nests ? "value" : "tokens");
    if (!nests) {
        token.value = value_from_json(member(object, path, "value"), path + ".value", token.type);
        return token;
    }
    if (depth >= bag_nesting_limit)
        fail(path, "nested deeper than {}", bag_nesting_limit);
    token.tokens = tokens_from_json(member(object, path, "tokens"), path + ".tokens", depth + 1);
    return token;
}

std::vector<BagToken> tokens_from_json(const Json &array, const std::string &path, std::size_t depth) {
    if (!array.is_array())
        fail(path, "expected an array, found {}", shown(array));
    std::vector<BagToken> tokens;
    tokens.reserve(array.size());
    for (std::size_t i = 0; i < array.size(); ++i)
        tokens.push_back(token_from_json(array[i], fmt::format("{}[{}]", path, i), depth));
    return tokens;
}

BagRecord record_from_json(const Json &object, const std::string &path) {
    check_members(object, path, {"name", "version", "tokens"});
    BagRecord record;
    record.name = text_of(member(object, path, "name"), path + ".name", bag_name_limit);
    const Json &version = member(object, path, "version");
    if (!version.is_array() || version.size() != 2)
        fail(path + ".version", "expected an array of two numbers, found {}", shown(version));
    const auto part = [&](std::size_t i) {
        return static_cast<std::uint32_t>(ranged_integer<std::uint64_t>(
            version[i], fmt::format("{}.version[{}]", path, i), false, 0, *unsigned_highest(BagType::uint32)));
    };
    record.version_major = part(0);
    record.version_minor = part(1);
    record.tokens = tokens_from_json(member(object, path, "tokens"), path + ".tokens", 0);
    try {
        encode_bag(record);
    } catch (const BagError &error) {
        fail(path, "{}", error.what()); // each part is good, the whole is too long
    }
    return record;
}

// Runs one of the checks of database names and gives its answer a place.
template <class Check>
std::string name_from_json(const Json &value, const std::string &path, Check check) {
    auto name = text_of(value, path, sysdb_name_limit);
    try {
        check(name);
    } catch (const SysdbNameError &error) {
        fail(path, "{}", error.what());
    }
    return name;
}

SysdbItem item_from_json(const Json &object, const std::string &path) {
    check_members(object, path, {"bind_point", "item", "bag"});
    return {name_from_json(member(object, path, "bind_point"), path + ".bind_point", check_bind_point),
            name_from_json(member(object, path, "item"), path + ".item", check_item_name),
            record_from_json(member(object, path, "bag"), path + ".bag")};
}

struct JsonValue {
    BagType type;

    Json operator()(std::monostate) const { return nullptr; }
    Json operator()(bool value) const { return value; }
    Json operator()(const std::string &text) const { return text; }
    Json operator()(std::int64_t value) const {
        return type == BagType::int64 ? Json(std::to_string(value)) : Json(value);
    }
    Json operator()(std::uint64_t value) const {
        if (type == BagType::ipv4)
            return address_text(value);
        return type == BagType::uint64 ? Json(std::to_string(value)) : Json(value);
    }
};

Json tokens_to_json(const std::vector<BagToken> &tokens) {
    Json array = Json::array();
    for (const BagToken &token : tokens) {
        const auto *const row = std::find_if(std::begin(type_words), std::end(type_words),
                                             [&](const TypeWord &candidate) { return candidate.type == token.type; });
        Json &object = array.emplace_back(Json{{"type", row->word}});
        if (!token.name.empty())
            object["name"] = token.name;
        if (token.type == BagType::structure || token.type == BagType::sequence)
            object["tokens"] = tokens_to_json(token.tokens);
        else
            object["value"] = std::visit(JsonValue{token.type}, token.value);
    }
    return array;
}

Json record_to_json(const BagRecord &record) {
    encode_bag(record); // refuses what has no JSON form either
    return {{"name", record.name},
            {"version", Json::array({record.version_major, record.version_minor})},
            {"tokens", tokens_to_json(record.tokens)}};
}

} // namespace

BagRecord bag_from_json(std::string_view text) {
    return record_from_json(parse_json(text, json_nesting_limit), "$");
}

std::vector<SysdbItem> sysdb_items_from_json(std::string_view text) {
    const Json array = parse_json(text, json_nesting_limit);
    if (!array.is_array())
        fail("$", "expected an array of items, found {}", shown(array));
    std::vector<SysdbItem> items;
    items.reserve(array.size());
    for (std::size_t i = 0; i < array.size(); ++i)
        items.push_back(item_from_json(array[i], fmt::format("$[{}]", i)));
    return items;
}

std::string bag_to_json(const BagRecord &record) {
    return record_to_json(record).dump(2) + '\n';
}

std::string sysdb_items_to_json(const std::vector<SysdbItem> &items) {
    Json array = Json::array();
    for (const SysdbItem &item : items)
        array.push_back({{"bind_point", item.bind_point}, {"item", item.item}, {"bag", record_to_json(item.bag)}});
    return array.dump(2) + '\n';
}

} // namespace ocamp
