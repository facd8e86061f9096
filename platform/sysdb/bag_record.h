// Bag records: the model of one in memory, the encoder, and the decoder that takes a record token by token. Every byte
// of a record is taken as coming from outside. Knows nothing of where records are kept. docs/bag-records.md has the
// format byte by byte.
#pragma once

#include "yfw_platform.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ocamp {

/// Type number of a token. The seam names those that the plug-in knows; the others are the platform's own.
enum class BagType : std::uint8_t {
    int8 = BAG_TOKEN_INT8,
    uint8 = BAG_TOKEN_UINT8,
    int16 = BAG_TOKEN_INT16,
    uint16 = BAG_TOKEN_UINT16,
    int32 = BAG_TOKEN_INT32,
    uint32 = BAG_TOKEN_UINT32,
    int64 = 6,
    uint64 = 7,
    ipv4 = BAG_TOKEN_IPV4,
    enumeration = BAG_TOKEN_ENUM,
    boolean = BAG_TOKEN_BOOL,
    text = BAG_TOKEN_TEXT,
    long_text = BAG_TOKEN_LONG_TEXT,
    sequence = BAG_TOKEN_SEQUENCE,
    sequence_end = BAG_TOKEN_SEQUENCE_END,
    structure = 16,
    structure_end = 17,
    end = BAG_TOKEN_END
};

inline constexpr std::size_t bag_name_limit = 255;         ///< bytes of the record's name and of a token's
inline constexpr std::size_t bag_text_limit = 65535;       ///< bytes of a text; a long text has no limit of its own
inline constexpr std::size_t bag_nesting_limit = 16;       ///< structures and sequences inside one another
inline constexpr std::size_t bag_record_limit = 1U << 20U; ///< bytes of a whole record

/// A record that cannot be decoded (the text says what stands at which offset and what was expected) or a model that
/// cannot be encoded (the text names the token).
class BagError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One token with those inside it.
struct BagToken {
    /// Signed types and enumeration: int64_t. Unsigned types: uint64_t. ipv4: uint64_t, in host order (192.0.2.1 is
    /// 0xc0000201). Texts: UTF-8 without NUL. Structure and sequence: monostate.
    using Value = std::variant<std::monostate, std::int64_t, std::uint64_t, bool, std::string>;

    BagType type = BagType::structure; ///< never end, sequence_end or structure_end
    std::string name;                  ///< empty: the token has none
    Value value;
    std::vector<BagToken> tokens; ///< of a structure or sequence

    bool operator==(const BagToken &) const = default;
};

/// A whole record.
struct BagRecord {
    std::string name;
    std::uint32_t version_major = 0, version_minor = 0;
    std::vector<BagToken> tokens;

    bool operator==(const BagRecord &) const = default;
};

/// Smallest and largest value of a type whose values are int64_t or uint64_t.
struct SignedRange {
    std::int64_t lowest, highest;
};
/// None for a type whose values are not int64_t.
std::optional<SignedRange> signed_range(BagType type) noexcept;
/// None for a type whose values are not uint64_t.
std::optional<std::uint64_t> unsigned_highest(BagType type) noexcept;

/// Throws BagError for a model that no record can hold.
std::vector<std::uint8_t> encode_bag(const BagRecord &record);

/// Throws BagError for bytes that are no whole record.
BagRecord decode_bag(std::span<const std::uint8_t> bytes);

/// Throws BagError unless decode_bag could decode it.
void check_bag(std::span<const std::uint8_t> bytes);

/// What the header of a record says. `name` lies in the record and is NUL-terminated there.
struct BagHeader {
    std::uint32_t length; ///< of the whole record, bytes
    std::string_view name;
    std::uint32_t version_major, version_minor;
    std::uint32_t first_token; ///< offset
};

/// Header of the record that fills `bytes`.
BagHeader read_bag_header(std::span<const std::uint8_t> bytes);

/// Header of the record that begins at `data`, whose length nobody knows but the record itself. Reads on behind the
/// magic only when it is there, and behind the fixed part only when that matches its checksum.
BagHeader read_bag_header(const std::uint8_t *data);

/// One token as the decoder meets it. Texts lie in the record and are NUL-terminated there.
struct BagItem {
    BagType type;
    std::string_view name; ///< data() is NULL when the token has none
    /// As BagToken::Value, with texts that belong to the record.
    std::variant<std::monostate, std::int64_t, std::uint64_t, bool, std::string_view> value;
};

/// Takes a record apart token by token. The record must outlive the reader.
class BagReader {
  public:
    /// Checks the header and the checksum of the whole record.
    explicit BagReader(std::span<const std::uint8_t> bytes);

    /// The next token; after BagType::end there is none. A reader that has thrown throws again.
    BagItem next();
    /// True when the end token has been given.
    bool ended() const noexcept { return ended_; }
    /// Bytes of the record that have been taken.
    std::size_t offset() const noexcept { return offset_; }

  private:
    std::span<const std::uint8_t> take(std::size_t count, const char *what);
    template <class Integer>
    Integer take_integer(const char *what);
    std::string_view take_text(std::size_t length, const char *what);
    void close(BagType opened, std::size_t at);
    BagItem read_token();

    std::span<const std::uint8_t> bytes_;
    std::size_t offset_ = 0;
    std::vector<BagType> open_; ///< structures and sequences not yet ended, the outermost first
    bool ended_ = false;
};

} // namespace ocamp
