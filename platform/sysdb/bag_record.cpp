// Encodes and decodes bag records. All numbers are little-endian whatever the machine; nothing is read before its
// bounds are checked. Knows nothing of files, databases or the C seam.
#include "sysdb/bag_record.h"

#include "seam/text.h"
#include "sysdb/crc32.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

namespace {

constexpr std::array<std::uint8_t, 4> record_magic{'O', 'C', 'B', 'R'};
constexpr std::uint16_t record_format = 1;

// Offsets of the header's fixed part.
constexpr std::size_t format_at = 4, name_length_at = 6, length_at = 8, major_at = 12, minor_at = 16,
                      body_check_at = 20, header_check_at = 24, name_at = 28;

using Bytes = std::span<const std::uint8_t>;

// The caller has checked that `bytes` is long enough.
template <class Integer>
Integer load(Bytes bytes, std::size_t at = 0) noexcept {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(Integer); ++i)
        value |= std::uint64_t{bytes[at + i]} << (8 * i);
    return static_cast<Integer>(value);
}

template <class Integer>
void store(std::uint8_t *to, Integer value) noexcept {
    for (std::size_t i = 0; i < sizeof(Integer); ++i)
        to[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * i));
}

std::string_view as_text(Bytes bytes) noexcept {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

template <class... Values>
[[noreturn]] void malformed(std::size_t offset, fmt::format_string<Values...> format, Values &&...values) {
    throw BagError(fmt::format("offset {}: {}", offset, fmt::format(format, std::forward<Values>(values)...)));
}

// The fixed part of the header, which `fixed` holds whole.
BagHeader read_fixed_header(Bytes fixed) {
    if (load<std::uint16_t>(fixed, format_at) != record_format)
        malformed(format_at, "format {}, expected {}", load<std::uint16_t>(fixed, format_at), record_format);
    const auto check = load<std::uint32_t>(fixed, header_check_at);
    if (const std::uint32_t sum = crc32(fixed.first(header_check_at)); check != sum)
        malformed(header_check_at, "header checksum {:#010x}, expected {:#010x}", check, sum);
    BagHeader header{};
    header.length = load<std::uint32_t>(fixed, length_at);
    header.version_major = load<std::uint32_t>(fixed, major_at);
    header.version_minor = load<std::uint32_t>(fixed, minor_at);
    const std::size_t name_length = load<std::uint16_t>(fixed, name_length_at);
    if (name_length > bag_name_limit)
        malformed(name_length_at, "name of {} bytes, expected at most {}", name_length, bag_name_limit);
    header.first_token = static_cast<std::uint32_t>(name_at + name_length + 1);
    // The end token needs one byte.
    if (header.length <= header.first_token || header.length > bag_record_limit)
        malformed(length_at, "record of {} bytes, expected {} to {}", header.length, header.first_token + 1,
                  bag_record_limit);
    return header;
}

void check_terminated_text(Bytes bytes, std::size_t offset, const char *what) {
    const std::string_view text = as_text(bytes.first(bytes.size() - 1));
    if (bytes.back() != 0)
        malformed(offset + text.size(), "{} without its final NUL", what);
    if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos)
        malformed(offset + nul, "{} with a NUL inside, expected {} bytes of text", what, text.size());
    if (!is_utf8(text))
        malformed(offset, "{} is not UTF-8", what);
}

// `record` holds the record at least as far as the first token.
void read_name(BagHeader &header, Bytes record) {
    const Bytes name = record.subspan(name_at, header.first_token - name_at);
    check_terminated_text(name, name_at, "record name");
    header.name = as_text(name.first(name.size() - 1));
}

void check_magic(Bytes bytes) {
    if (!std::equal(record_magic.begin(), record_magic.end(), bytes.begin()))
        malformed(0, "not a bag record, expected the magic {}", as_text(record_magic));
}

bool is_known(std::uint8_t type) noexcept {
    return type <= 18 && type != 11;
}

bool opens(BagType type) noexcept {
    return type == BagType::sequence || type == BagType::structure;
}

bool ends(BagType type) noexcept {
    return type == BagType::sequence_end || type == BagType::structure_end || type == BagType::end;
}

// Writes one record; `path` names the token being written, for errors.
class BagWriter {
  public:
    std::vector<std::uint8_t> write(const BagRecord &record) {
        check_text(record.name, bag_name_limit, "record name");
        bytes_.assign(name_at, 0);
        append_text(record.name);
        for (const BagToken &token : record.tokens)
            write_token(token, 0);
        append(static_cast<std::uint8_t>(BagType::end));
        if (bytes_.size() > bag_record_limit)
            fail("record of {} bytes, expected at most {}", bytes_.size(), bag_record_limit);

        std::uint8_t *header = bytes_.data();
        std::copy(record_magic.begin(), record_magic.end(), header);
        store(header + format_at, record_format);
        store(header + name_length_at, static_cast<std::uint16_t>(record.name.size()));
        store(header + length_at, static_cast<std::uint32_t>(bytes_.size()));
        store(header + major_at, record.version_major);
        store(header + minor_at, record.version_minor);
        store(header + body_check_at, crc32(Bytes(bytes_).subspan(name_at)));
        store(header + header_check_at, crc32(Bytes(bytes_).first(header_check_at)));
        return std::move(bytes_);
    }

  private:
    template <class... Values>
    [[noreturn]] void fail(fmt::format_string<Values...> format, Values &&...values) const {
        throw BagError(fmt::format("{}: {}", path_.empty() ? "record" : path_,
                                   fmt::format(format, std::forward<Values>(values)...)));
    }

    void check_text(std::string_view text, std::size_t limit, const char *what) const {
        if (text.size() > limit)
            fail("{} of {} bytes, expected at most {}", what, text.size(), limit);
        if (text.find('\0') != std::string_view::npos)
            fail("{} with a NUL inside", what);
        if (!is_utf8(text))
            fail("{} is not UTF-8", what);
    }

    template <class Integer>
    void append(Integer value) {
        bytes_.resize(bytes_.size() + sizeof value);
        store(bytes_.data() + bytes_.size() - sizeof value, value);
    }

    void append_text(std::string_view text) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        bytes_.push_back(0);
    }

    template <class Wanted>
    const Wanted &value_of(const BagToken &token, const char *expected) const {
        const auto *value = std::get_if<Wanted>(&token.value);
        if (value == nullptr)
            fail("type {} needs {}", static_cast<unsigned>(token.type), expected);
        return *value;
    }

    template <class Integer>
    void write_signed(const BagToken &token) {
        const auto value = value_of<std::int64_t>(token, "a signed value");
        if (value < std::numeric_limits<Integer>::min() || value > std::numeric_limits<Integer>::max())
            fail("{} does not fit type {}", value, static_cast<unsigned>(token.type));
        append(static_cast<Integer>(value));
    }

    template <class Integer>
    void write_unsigned(const BagToken &token) {
        const auto value = value_of<std::uint64_t>(token, "an unsigned value");
        if (value > std::numeric_limits<Integer>::max())
            fail("{} does not fit type {}", value, static_cast<unsigned>(token.type));
        append(static_cast<Integer>(value));
    }

    void write_ipv4(const BagToken &token) {
        const auto value = value_of<std::uint64_t>(token, "an IPv4 address");
        if (value > std::numeric_limits<std::uint32_t>::max())
            fail("{} is not an IPv4 address", value);
        for (const unsigned shift : {24U, 16U, 8U, 0U})
            bytes_.push_back(static_cast<std::uint8_t>(value >> shift));
    }

    template <class Length>
    void write_text(const BagToken &token, std::size_t limit) {
        const auto &text = value_of<std::string>(token, "a text");
        check_text(text, limit, "text");
        append(static_cast<Length>(text.size()));
        append_text(text);
    }

    void write_nested(const BagToken &token, std::size_t depth, BagType end) {
        value_of<std::monostate>(token, "no value of its own");
        if (depth >= bag_nesting_limit)
            fail("nested deeper than {}", bag_nesting_limit);
        for (const BagToken &nested : token.tokens)
            write_token(nested, depth + 1);
        append(static_cast<std::uint8_t>(end));
    }

    void write_token(const BagToken &token, std::size_t depth) {
        const std::size_t path_length = path_.size();
        (path_ += depth == 0 ? "token " : ".") += token.name.empty() ? "(unnamed)" : token.name;
        if (!is_known(static_cast<std::uint8_t>(token.type)) || ends(token.type))
            fail("type {} is not that of a token", static_cast<unsigned>(token.type));
        if (!token.tokens.empty() && !opens(token.type))
            fail("type {} has no tokens inside", static_cast<unsigned>(token.type));
        check_text(token.name, bag_name_limit, "name");
        append(static_cast<std::uint8_t>(token.type));
        append(static_cast<std::uint8_t>(token.name.size()));
        if (!token.name.empty())
            append_text(token.name);
        write_value(token, depth);
        path_.resize(path_length);
    }

    void write_value(const BagToken &token, std::size_t depth) {
        switch (token.type) {
        case BagType::int8:
            return write_signed<std::int8_t>(token);
        case BagType::int16:
            return write_signed<std::int16_t>(token);
        case BagType::int32:
        case BagType::enumeration:
            return write_signed<std::int32_t>(token);
        case BagType::int64:
            return write_signed<std::int64_t>(token);
        case BagType::uint8:
            return write_unsigned<std::uint8_t>(token);
        case BagType::uint16:
            return write_unsigned<std::uint16_t>(token);
        case BagType::uint32:
            return write_unsigned<std::uint32_t>(token);
        case BagType::uint64:
            return write_unsigned<std::uint64_t>(token);
        case BagType::ipv4:
            return write_ipv4(token);
        case BagType::boolean:
            return append(static_cast<std::uint8_t>(value_of<bool>(token, "a boolean") ? 1 : 0));
        case BagType::text:
            return write_text<std::uint16_t>(token, bag_text_limit);
        case BagType::long_text:
            return write_text<std::uint32_t>(token, bag_record_limit);
        case BagType::sequence:
            return write_nested(token, depth, BagType::sequence_end);
        case BagType::structure:
            return write_nested(token, depth, BagType::structure_end);
        case BagType::sequence_end:
        case BagType::structure_end:
        case BagType::end:
            return;
        }
    }

    std::vector<std::uint8_t> bytes_;
    std::string path_;
};

template <class Integer>
SignedRange range_of() noexcept {
    return {std::numeric_limits<Integer>::min(), std::numeric_limits<Integer>::max()};
}

struct OwnedValue {
    BagToken::Value operator()(std::string_view text) const { return std::string(text); }
    template <class Scalar>
    BagToken::Value operator()(Scalar value) const {
        return value;
    }
};

// Tokens as far as the end of the sequence, structure or record. The reader bounds the depth.
std::vector<BagToken> read_tokens(BagReader &reader) {
    std::vector<BagToken> tokens;
    for (;;) {
        const BagItem item = reader.next();
        if (ends(item.type))
            return tokens;
        BagToken &token = tokens.emplace_back();
        token.type = item.type;
        token.name = item.name;
        token.value = std::visit(OwnedValue{}, item.value);
        if (opens(item.type))
            token.tokens = read_tokens(reader);
    }
}

} // namespace

std::optional<SignedRange> signed_range(BagType type) noexcept {
    switch (type) {
    case BagType::int8:
        return range_of<std::int8_t>();
    case BagType::int16:
        return range_of<std::int16_t>();
    case BagType::int32:
    case BagType::enumeration:
        return range_of<std::int32_t>();
    case BagType::int64:
        return range_of<std::int64_t>();
    default:
        return std::nullopt;
    }
}

std::optional<std::uint64_t> unsigned_highest(BagType type) noexcept {
    switch (type) {
    case BagType::uint8:
        return std::numeric_limits<std::uint8_t>::max();
    case BagType::uint16:
        return std::numeric_limits<std::uint16_t>::max();
    case BagType::uint32:
        return std::numeric_limits<std::uint32_t>::max();
    case BagType::uint64:
        return std::numeric_limits<std::uint64_t>::max();
    default:
        return std::nullopt;
    }
}

std::vector<std::uint8_t> encode_bag(const BagRecord &record) {
    return BagWriter().write(record);
}

BagRecord decode_bag(Bytes bytes) {
    const BagHeader header = read_bag_header(bytes);
    BagReader reader(bytes);
    return {std::string(header.name), header.version_major, header.version_minor, read_tokens(reader)};
}

void check_bag(Bytes bytes) {
    BagReader reader(bytes);
    while (!reader.ended())
        reader.next();
}

BagHeader read_bag_header(Bytes bytes) {
    if (bytes.size() < name_at)
        malformed(bytes.size(), "record ends in its header, expected at least {} bytes", name_at);
    check_magic(bytes);
    BagHeader header = read_fixed_header(bytes.first(name_at));
    if (header.length != bytes.size())
        malformed(length_at, "record of {} bytes, expected the {} that are there", header.length, bytes.size());
    read_name(header, bytes);
    return header;
}

BagHeader read_bag_header(const std::uint8_t *data) {
    check_magic({data, record_magic.size()});
    BagHeader header = read_fixed_header({data, name_at});
    read_name(header, {data, header.first_token});
    return header;
}

BagReader::BagReader(Bytes bytes) : bytes_(bytes), offset_(read_bag_header(bytes).first_token) {
    const auto check = load<std::uint32_t>(bytes, body_check_at);
    if (const std::uint32_t sum = crc32(bytes.subspan(name_at)); check != sum)
        malformed(body_check_at, "checksum {:#010x}, expected {:#010x}", check, sum);
}

Bytes BagReader::take(std::size_t count, const char *what) {
    if (bytes_.size() - offset_ < count)
        malformed(offset_, "{} bytes left, expected {} for the {}", bytes_.size() - offset_, count, what);
    const Bytes taken = bytes_.subspan(offset_, count);
    offset_ += count;
    return taken;
}

template <class Integer>
Integer BagReader::take_integer(const char *what) {
    return load<Integer>(take(sizeof(Integer), what));
}

std::string_view BagReader::take_text(std::size_t length, const char *what) {
    const std::size_t at = offset_;
    const Bytes bytes = take(length + 1, what);
    check_terminated_text(bytes, at, what);
    return as_text(bytes.first(length));
}

void BagReader::close(BagType opened, std::size_t at) {
    if (open_.empty() || open_.back() != opened)
        malformed(at, "end of a {}, but none is open here", opened == BagType::sequence ? "sequence" : "structure");
    open_.pop_back();
}

BagItem BagReader::next() {
    const std::size_t start = offset_;
    try {
        return read_token();
    } catch (...) {
        // Stay in front of the bad token, so that asking again gives the same answer.
        offset_ = start;
        throw;
    }
}

BagItem BagReader::read_token() {
    if (ended_)
        throw BagError("read on behind the end token");
    const std::size_t at = offset_;
    const auto number = take_integer<std::uint8_t>("token type");
    if (!is_known(number))
        malformed(at, "token type {}, expected 0 to 10 or 12 to 18", number);
    BagItem item{static_cast<BagType>(number), {}, {}};
    if (item.type == BagType::sequence_end) {
        close(BagType::sequence, at);
        return item;
    }
    if (item.type == BagType::structure_end) {
        close(BagType::structure, at);
        return item;
    }
    if (item.type == BagType::end) {
        if (!open_.empty())
            malformed(at, "end of the record, expected the end of a {}",
                      open_.back() == BagType::sequence ? "sequence" : "structure");
        if (offset_ != bytes_.size())
            malformed(offset_, "{} bytes behind the end token, expected none", bytes_.size() - offset_);
        ended_ = true;
        return item;
    }
    if (const auto name_length = take_integer<std::uint8_t>("name length"); name_length != 0)
        item.name = take_text(name_length, "name");

    switch (item.type) {
    case BagType::int8:
        item.value = std::int64_t{take_integer<std::int8_t>("value")};
        break;
    case BagType::int16:
        item.value = std::int64_t{take_integer<std::int16_t>("value")};
        break;
    case BagType::int32:
    case BagType::enumeration:
        item.value = std::int64_t{take_integer<std::int32_t>("value")};
        break;
    case BagType::int64:
        item.value = take_integer<std::int64_t>("value");
        break;
    case BagType::uint8:
        item.value = std::uint64_t{take_integer<std::uint8_t>("value")};
        break;
    case BagType::uint16:
        item.value = std::uint64_t{take_integer<std::uint16_t>("value")};
        break;
    case BagType::uint32:
        item.value = std::uint64_t{take_integer<std::uint32_t>("value")};
        break;
    case BagType::uint64:
        item.value = take_integer<std::uint64_t>("value");
        break;
    case BagType::ipv4: {
        const Bytes address = take(4, "IPv4 address");
        item.value = std::uint64_t{address[0]} << 24U | std::uint64_t{address[1]} << 16U |
                     std::uint64_t{address[2]} << 8U | std::uint64_t{address[3]};
        break;
    }
    case BagType::boolean: {
        const std::size_t value_at = offset_;
        const auto value = take_integer<std::uint8_t>("boolean");
        if (value > 1)
            malformed(value_at, "boolean {}, expected 0 or 1", value);
        item.value = value == 1;
        break;
    }
    case BagType::text:
        item.value = take_text(take_integer<std::uint16_t>("text length"), "text");
        break;
    case BagType::long_text:
        item.value = take_text(take_integer<std::uint32_t>("text length"), "long text");
        break;
    case BagType::sequence:
    case BagType::structure:
        if (open_.size() >= bag_nesting_limit)
            malformed(at, "nested deeper than {}", bag_nesting_limit);
        open_.push_back(item.type);
        break;
    case BagType::sequence_end:
    case BagType::structure_end:
    case BagType::end:
        break;
    }
    return item;
}

} // namespace ocamp
