// Behaviour of the bag record encoder and decoder, in C++ and through the seam. Every bad record is decoded from a
// heap block of its exact size, so that a read outside it is caught under the sanitizers.
#include "log/log.h"
#include "seam/codes.h"
#include "support/files.h"
#include "sysdb/bag_record.h"
#include "sysdb/crc32.h"

#include <arpa/inet.h>

#include <filesystem>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

namespace {

using ocamp::BagRecord;
using ocamp::BagToken;
using ocamp::BagType;
using Bytes = std::vector<std::uint8_t>;

BagToken token(BagType type, std::string name, BagToken::Value value) {
    return {type, std::move(name), std::move(value), {}};
}

TEST(Crc32, IsThatOfItsPublishedExample) {
    const std::string_view digits = "123456789";
    EXPECT_EQ(ocamp::crc32({reinterpret_cast<const std::uint8_t *>(digits.data()), digits.size()}), 0xcbf43926U);
    EXPECT_EQ(ocamp::crc32({}), 0U);
}

TEST(Crc32, IsThatOfItsBytesOneByOne) {
    Bytes bytes;
    for (unsigned size = 0; size < 70; ++size) {
        std::uint32_t one_by_one = 0;
        for (const std::uint8_t &byte : bytes)
            one_by_one = ocamp::crc32({&byte, 1}, one_by_one);
        for (std::size_t split = 0; split <= bytes.size(); ++split) {
            const std::span whole(bytes);
            EXPECT_EQ(ocamp::crc32(whole.subspan(split), ocamp::crc32(whole.first(split))), one_by_one);
        }
        bytes.push_back(static_cast<std::uint8_t>(size * 151 + 7));
    }
}

BagToken nest(BagType type, std::string name, std::vector<BagToken> tokens) {
    return {type, std::move(name), {}, std::move(tokens)};
}

BagToken nested_structures(std::size_t count) {
    BagToken inner = nest(BagType::structure, "s", {});
    for (std::size_t i = 1; i < count; ++i)
        inner = nest(BagType::structure, "s", {inner});
    return inner;
}

BagRecord record_of(std::vector<BagToken> tokens) {
    return {"r", 1, 2, std::move(tokens)};
}

// Every type once, at both ends of its range where it has one.
BagRecord every_type() {
    using I = std::int64_t;
    using U = std::uint64_t;
    return {"every_type",
            3,
            14,
            {token(BagType::int8, "i8", I{-128}), token(BagType::int8, "", I{127}), token(BagType::uint8, "u8", U{255}),
             token(BagType::int16, "i16", I{-32768}), token(BagType::int16, "", I{32767}),
             token(BagType::uint16, "u16", U{65535}), token(BagType::int32, "i32", I{-2147483648LL}),
             token(BagType::int32, "", I{2147483647}), token(BagType::uint32, "u32", U{4294967295U}),
             token(BagType::int64, "i64", std::numeric_limits<I>::min()),
             token(BagType::uint64, "u64", std::numeric_limits<U>::max()),
             token(BagType::ipv4, "address", U{0xc0000201U}), token(BagType::enumeration, "e", I{-7}),
             token(BagType::boolean, "yes", true), token(BagType::boolean, "no", false),
             token(BagType::text, "t", std::string("-12.5 \xe2\x82\xac\n")), token(BagType::text, "", std::string()),
             token(BagType::long_text, "lt", std::string(70000, 'x')),
             nest(BagType::structure, "s",
                  {nest(BagType::sequence, "q",
                        {token(BagType::text, "", std::string("one")), token(BagType::text, "", std::string("two"))}),
                   nest(BagType::structure, "", {})})}};
}

BagRecord small_record() {
    return {"ots",
            1,
            0,
            {nest(BagType::structure, "Info",
                  {token(BagType::int32, "Power", std::int64_t{-250}),
                   nest(BagType::sequence, "Lane", {token(BagType::text, "", std::string("a"))}),
                   token(BagType::boolean, "On", true)})}};
}

// Puts the bytes of tokens, which may be wrong, into a record whose lengths and checksums are right.
Bytes sealed(Bytes tokens) {
    const auto crc = [](const std::uint8_t *data, std::size_t size) {
        std::uint32_t value = 0xffffffffU;
        for (std::size_t i = 0; i < size; ++i) {
            value ^= data[i];
            for (int bit = 0; bit < 8; ++bit)
                value = (value >> 1U) ^ ((value & 1U) != 0 ? 0xedb88320U : 0U);
        }
        return ~value;
    };
    Bytes bytes{'O', 'C', 'B', 'R', 1, 0, 1, 0};
    bytes.resize(28);
    bytes.insert(bytes.end(), {'r', 0});
    bytes.insert(bytes.end(), tokens.begin(), tokens.end());
    const auto word = [&bytes](std::size_t at, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i)
            bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    };
    word(8, static_cast<std::uint32_t>(bytes.size()));
    word(20, crc(bytes.data() + 28, bytes.size() - 28));
    word(24, crc(bytes.data(), 24));
    return bytes;
}

std::string decoding_error(const Bytes &bytes) {
    const auto block = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), block.get());
    try {
        ocamp::decode_bag({block.get(), bytes.size()});
    } catch (const ocamp::BagError &error) {
        return error.what();
    }
    return "";
}

std::string encoding_error(const BagRecord &record) {
    try {
        ocamp::encode_bag(record);
    } catch (const ocamp::BagError &error) {
        return error.what();
    }
    return "";
}

// Walks a record through the seam to its end; the first code that is not 0, else 0.
cerrno walk_through_seam(const Bytes &bytes) {
    const auto block = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), block.get());
    bag_walk_td walk;
    cerrno rc = bag_generic_init(block.get(), static_cast<std::uint32_t>(bytes.size()), &walk);
    bag_token_td next{};
    while (rc == CERR_SUCCESS && next.type != BAG_TOKEN_END)
        rc = bag_generic_token(&walk, &next);
    bag_generic_destroy(&walk);
    return rc;
}

struct OpenWalk {
    explicit OpenWalk(Bytes from) : bytes(std::move(from)) {
        EXPECT_EQ(bag_generic_init(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &walk), CERR_SUCCESS);
    }
    ~OpenWalk() { bag_generic_destroy(&walk); }
    bag_token_td next() {
        bag_token_td result;
        EXPECT_EQ(bag_generic_token(&walk, &result), CERR_SUCCESS);
        return result;
    }
    Bytes bytes;
    bag_walk_td walk;
};

TEST(BagRecord, EveryTypeComesBackAsItWas) {
    EXPECT_EQ(ocamp::decode_bag(ocamp::encode_bag(every_type())), every_type());
}

TEST(BagRecord, ARecordWithoutNameOrTokensComesBack) {
    const BagRecord empty{"", 0, 4294967295U, {}};
    EXPECT_EQ(ocamp::decode_bag(ocamp::encode_bag(empty)), empty);
}

TEST(BagRecord, TheBytesAreThoseOfTheFormat) {
    const BagRecord record{
        "r", 0, 0, {token(BagType::int32, "P", std::int64_t{-2}), token(BagType::text, "", std::string("ab"))}};
    EXPECT_EQ(ocamp::encode_bag(record), sealed({4, 1, 'P', 0, 0xfe, 0xff, 0xff, 0xff, 12, 0, 2, 0, 'a', 'b', 0, 18}));
}

TEST(BagRecord, ARecordCutAtAnyByteIsRefused) {
    const Bytes whole = ocamp::encode_bag(small_record());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_NE(decoding_error(cut), "") << length;
        EXPECT_EQ(walk_through_seam(cut), ocamp::rc_malformed_record) << length;
    }
}

TEST(BagRecord, ARecordWithAByteTooManyIsRefused) {
    Bytes bytes = ocamp::encode_bag(small_record());
    bytes.push_back(0);
    EXPECT_NE(decoding_error(bytes), "");
}

TEST(BagRecord, AFlippedBitAnywhereIsRefused) {
    const Bytes whole = ocamp::encode_bag(small_record());
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (unsigned bit = 0; bit < 8; ++bit) {
            Bytes flipped = whole;
            flipped[at] = static_cast<std::uint8_t>(flipped[at] ^ (1U << bit));
            EXPECT_NE(decoding_error(flipped), "") << at << "." << bit;
            EXPECT_EQ(walk_through_seam(flipped), ocamp::rc_malformed_record) << at << "." << bit;
        }
}

// What the checksums cannot help against: records that were written wrong.
TEST(BagRecord, AFlippedBitUnderAGoodChecksumNeverReadsOutside) {
    const Bytes tokens = [] {
        Bytes bytes = ocamp::encode_bag(small_record());
        bytes.erase(bytes.begin(), bytes.begin() + 28 + 4);
        return bytes;
    }();
    ASSERT_EQ(decoding_error(sealed(tokens)), "");
    std::size_t refused = 0;
    for (std::size_t at = 0; at < tokens.size(); ++at)
        for (unsigned value = 0; value < 256; ++value) {
            Bytes changed = tokens;
            changed[at] = static_cast<std::uint8_t>(value);
            if (!decoding_error(sealed(changed)).empty())
                ++refused;
        }
    EXPECT_GT(refused, 2000U);
    for (std::size_t length = 0; length < tokens.size(); ++length) {
        const Bytes cut(tokens.begin(), tokens.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_NE(decoding_error(sealed(cut)), "") << length;
    }
}

TEST(BagRecord, AWrittenErrorIsNamedWithItsOffset) {
    struct Case {
        Bytes tokens;
        const char *error;
    };
    const Case cases[] = {
        {{11, 0, 18}, "offset 30: token type 11, expected 0 to 10 or 12 to 18"},
        {{19, 18}, "offset 30: token type 19, expected 0 to 10 or 12 to 18"},
        {{18, 18}, "offset 31: 1 bytes behind the end token, expected none"},
        {{15, 18}, "offset 30: end of a sequence, but none is open here"},
        {{17, 18}, "offset 30: end of a structure, but none is open here"},
        {{14, 0, 17, 18}, "offset 32: end of a structure, but none is open here"},
        {{14, 0, 18}, "offset 32: end of the record, expected the end of a sequence"},
        {{16, 0, 18}, "offset 32: end of the record, expected the end of a structure"},
        {{10, 0, 2, 18}, "offset 32: boolean 2, expected 0 or 1"},
        {{4, 0, 1, 2, 18}, "offset 32: 3 bytes left, expected 4 for the value"},
        {{1, 1, 'x', 1, 7, 18}, "offset 33: name without its final NUL"},
        {{1, 2, 'x', 0, 0, 7, 18}, "offset 33: name with a NUL inside, expected 2 bytes of text"},
        {{1, 1, 0xff, 0, 7, 18}, "offset 32: name is not UTF-8"},
        {{12, 0, 1, 0, 'x', 1, 18}, "offset 35: text without its final NUL"},
        {{12, 0, 0xff, 0xff, 'x', 0, 18}, "offset 34: 3 bytes left, expected 65536 for the text"},
        {{13, 0, 0xff, 0xff, 0xff, 0xff, 'x', 0, 18}, "offset 36: 3 bytes left, expected 4294967296 for the long text"},
    };
    for (const Case &wrong : cases)
        EXPECT_EQ(decoding_error(sealed(wrong.tokens)), wrong.error);
}

// A record of one byte behind its header, which has these bytes at `at` and a checksum that fits.
Bytes with_header(std::size_t at, const Bytes &changed) {
    Bytes bytes = sealed({18});
    std::copy(changed.begin(), changed.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    const std::uint32_t sum = ocamp::crc32(std::span(bytes).first(24));
    for (std::size_t i = 0; i < 4; ++i)
        bytes[24 + i] = static_cast<std::uint8_t>(sum >> (8 * i));
    return bytes;
}

TEST(BagRecord, AWrongHeaderIsNamedWithItsOffset) {
    EXPECT_EQ(decoding_error(with_header(0, {'x'})), "offset 0: not a bag record, expected the magic OCBR");
    EXPECT_EQ(decoding_error(with_header(4, {2, 0})), "offset 4: format 2, expected 1");
    EXPECT_EQ(decoding_error(with_header(6, {0, 1})), "offset 6: name of 256 bytes, expected at most 255");
    EXPECT_EQ(decoding_error(with_header(8, {30, 0, 0, 0})), "offset 8: record of 30 bytes, expected 31 to 1048576");
    EXPECT_EQ(decoding_error(with_header(8, {1, 0, 16, 0})),
              "offset 8: record of 1048577 bytes, expected 31 to 1048576");
    EXPECT_EQ(decoding_error(with_header(29, {'x'})), "offset 29: record name without its final NUL");
    BagRecord longest = record_of({});
    longest.name = std::string(255, 'n');
    EXPECT_EQ(ocamp::decode_bag(ocamp::encode_bag(longest)).name, longest.name);
}

TEST(BagRecord, ARecordIsNotReadOnBehindItsEnd) {
    const Bytes bytes = ocamp::encode_bag({"r", 1, 0, {}});
    ocamp::BagReader reader(bytes);
    EXPECT_EQ(reader.next().type, BagType::end);
    EXPECT_TRUE(reader.ended());
    try {
        reader.next();
        ADD_FAILURE() << "read on";
    } catch (const ocamp::BagError &error) {
        EXPECT_STREQ(error.what(), "read on behind the end token");
    }
}

TEST(BagRecord, NestingIsBounded) {
    const BagRecord deepest = record_of({nested_structures(ocamp::bag_nesting_limit)});
    EXPECT_EQ(ocamp::decode_bag(ocamp::encode_bag(deepest)), deepest);
    EXPECT_NE(
        encoding_error(record_of({nested_structures(ocamp::bag_nesting_limit + 1)})).find("nested deeper than 16"),
        std::string::npos);
    Bytes tokens;
    for (std::size_t i = 0; i <= ocamp::bag_nesting_limit; ++i)
        tokens.insert(tokens.end(), {16, 0});
    tokens.insert(tokens.end(), ocamp::bag_nesting_limit + 1, 17);
    tokens.push_back(18);
    EXPECT_EQ(decoding_error(sealed(tokens)), "offset 62: nested deeper than 16");
}

TEST(BagRecord, AModelThatHasNoFormIsRefusedWithTheTokensName) {
    using I = std::int64_t;
    using U = std::uint64_t;
    const std::pair<BagToken, const char *> cases[] = {
        {token(BagType::int8, "v", I{128}), "token v: 128 does not fit type 0"},
        {token(BagType::int8, "v", I{-129}), "token v: -129 does not fit type 0"},
        {token(BagType::uint16, "v", U{65536}), "token v: 65536 does not fit type 3"},
        {token(BagType::int32, "v", I{2147483648LL}), "token v: 2147483648 does not fit type 4"},
        {token(BagType::enumeration, "v", I{-2147483649LL}), "token v: -2147483649 does not fit type 9"},
        {token(BagType::ipv4, "v", U{0x100000000U}), "token v: 4294967296 is not an IPv4 address"},
        {token(BagType::int32, "v", std::string("1")), "token v: type 4 needs a signed value"},
        {token(BagType::uint32, "v", I{1}), "token v: type 5 needs an unsigned value"},
        {token(BagType::boolean, "v", I{1}), "token v: type 10 needs a boolean"},
        {token(BagType::text, "v", I{1}), "token v: type 12 needs a text"},
        {token(BagType::structure, "v", I{1}), "token v: type 16 needs no value of its own"},
        {token(BagType::text, "v", std::string(65536, 'x')), "token v: text of 65536 bytes, expected at most 65535"},
        {token(BagType::text, "v", std::string("\xff")), "token v: text is not UTF-8"},
        {token(BagType::text, "v", std::string(1, '\0')), "token v: text with a NUL inside"},
        {token(BagType::text, std::string(256, 'n'), std::string()), "name of 256 bytes, expected at most 255"},
        {token(BagType::end, "v", {}), "token v: type 18 is not that of a token"},
        {token(static_cast<BagType>(11), "v", {}), "token v: type 11 is not that of a token"},
        {{BagType::int32, "v", I{1}, {token(BagType::int32, "", I{1})}}, "token v: type 4 has no tokens inside"},
        {nest(BagType::structure, "s", {token(BagType::int8, "v", I{200})}), "token s.v: 200 does not fit type 0"},
    };
    for (const auto &[wrong, error] : cases)
        EXPECT_NE(encoding_error(record_of({wrong})).find(error), std::string::npos)
            << error << " / " << encoding_error(record_of({wrong}));
    EXPECT_NE(encoding_error({std::string(256, 'r'), 1, 0, {}}), "");
    EXPECT_NE(encoding_error(record_of({token(BagType::long_text, "v", std::string(ocamp::bag_record_limit, 'x'))})),
              "");
}

TEST(BagSeam, TheHeaderTellsLengthNameAndVersion) {
    const Bytes bytes = ocamp::encode_bag(every_type());
    bag_header_td header;
    ASSERT_EQ(bag_header_info(bytes.data(), &header), CERR_SUCCESS);
    EXPECT_EQ(header.length, bytes.size());
    EXPECT_STREQ(header.name, "every_type");
    EXPECT_EQ(header.version_major, 3U);
    EXPECT_EQ(header.version_minor, 14U);
    // Straight into the record: nothing to free.
    EXPECT_EQ(static_cast<const void *>(header.name), bytes.data() + 28);
}

TEST(BagSeam, AHeaderThatDoesNotHoldIsRefused) {
    const Bytes whole = ocamp::encode_bag(small_record());
    bag_header_td header;
    // The fixed part and the name, but not the checksum over the tokens, which the header call does not read.
    for (std::size_t at = 0; at < 28; ++at) {
        Bytes flipped = whole;
        flipped[at] ^= 0x40U;
        EXPECT_EQ(bag_header_info(flipped.data(), &header), ocamp::rc_malformed_record) << at;
        EXPECT_EQ(header.name, nullptr);
    }
    EXPECT_EQ(bag_header_info("not a record", &header), ocamp::rc_malformed_record);
    EXPECT_EQ(bag_header_info(nullptr, &header), ocamp::rc_invalid_argument);
    EXPECT_EQ(bag_header_info(whole.data(), nullptr), ocamp::rc_invalid_argument);
}

TEST(BagSeam, EveryTypeStandsWhereTheSeamHasIt) {
    OpenWalk walk(ocamp::encode_bag(every_type()));
    const auto expect = [&walk](bag_token_type_td type, const char *name) {
        const bag_token_td next = walk.next();
        EXPECT_EQ(next.type, type);
        EXPECT_STREQ(next.name, name);
        return next.value;
    };
    EXPECT_EQ(expect(BAG_TOKEN_INT8, "i8").first.i8, -128);
    EXPECT_EQ(expect(BAG_TOKEN_INT8, nullptr).first.i8, 127);
    EXPECT_EQ(expect(BAG_TOKEN_UINT8, "u8").first.u8, 255);
    EXPECT_EQ(expect(BAG_TOKEN_INT16, "i16").first.i16, -32768);
    EXPECT_EQ(expect(BAG_TOKEN_INT16, nullptr).first.i16, 32767);
    EXPECT_EQ(expect(BAG_TOKEN_UINT16, "u16").first.u16, 65535);
    EXPECT_EQ(expect(BAG_TOKEN_INT32, "i32").first.i32, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(expect(BAG_TOKEN_INT32, nullptr).first.i32, 2147483647);
    EXPECT_EQ(expect(BAG_TOKEN_UINT32, "u32").first.u32, 4294967295U);
    EXPECT_EQ(expect(6, "i64").first.raw, 0x8000000000000000U);
    EXPECT_EQ(expect(7, "u64").first.raw, 0xffffffffffffffffU);
    char address[16];
    EXPECT_STREQ(inet_ntoa_r(expect(BAG_TOKEN_IPV4, "address").first.u32, address), "192.0.2.1");
    EXPECT_EQ(expect(BAG_TOKEN_ENUM, "e").first.i32, -7);
    EXPECT_EQ(expect(BAG_TOKEN_BOOL, "yes").first.u32, 1U);
    EXPECT_EQ(expect(BAG_TOKEN_BOOL, "no").first.u32, 0U);
    EXPECT_STREQ(expect(BAG_TOKEN_TEXT, "t").first.text, "-12.5 \xe2\x82\xac\n");
    EXPECT_STREQ(expect(BAG_TOKEN_TEXT, nullptr).first.text, "");
    EXPECT_EQ(std::string(expect(BAG_TOKEN_LONG_TEXT, "lt").second), std::string(70000, 'x'));
    expect(16, "s");
    expect(BAG_TOKEN_SEQUENCE, "q");
    EXPECT_STREQ(expect(BAG_TOKEN_TEXT, nullptr).first.text, "one");
    EXPECT_STREQ(expect(BAG_TOKEN_TEXT, nullptr).first.text, "two");
    expect(BAG_TOKEN_SEQUENCE_END, nullptr);
    expect(16, nullptr);
    expect(17, nullptr);
    expect(17, nullptr);
    expect(BAG_TOKEN_END, nullptr);
    EXPECT_EQ(walk.walk.offset, walk.bytes.size());
    bag_token_td behind;
    EXPECT_EQ(bag_generic_token(&walk.walk, &behind), ocamp::rc_walk_ended);
}

TEST(BagSeam, ABadTokenIsRefusedAgainWhenAskedAgain) {
    OpenWalk walk(sealed({4, 0, 1, 0, 0, 0, 10, 0, 2, 18}));
    EXPECT_EQ(walk.next().value.first.i32, 1);
    bag_token_td next;
    EXPECT_EQ(bag_generic_token(&walk.walk, &next), ocamp::rc_malformed_record);
    EXPECT_EQ(bag_generic_token(&walk.walk, &next), ocamp::rc_malformed_record);
    EXPECT_EQ(next.name, nullptr);
}

TEST(BagSeam, AWalkThatIsNotOpenIsRefused) {
    const Bytes bytes = ocamp::encode_bag(small_record());
    bag_walk_td walk{};
    bag_token_td next;
    EXPECT_EQ(bag_generic_token(&walk, &next), ocamp::rc_bad_handle);
    int other = 0;
    walk.state = &other;
    EXPECT_EQ(bag_generic_token(&walk, &next), ocamp::rc_bad_handle);
    EXPECT_EQ(bag_generic_token(nullptr, &next), ocamp::rc_invalid_argument);
    ASSERT_EQ(bag_generic_init(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &walk), CERR_SUCCESS);
    EXPECT_EQ(bag_generic_token(&walk, nullptr), ocamp::rc_invalid_argument);
    const bag_walk_td copy = walk;
    bag_generic_destroy(&walk);
    bag_generic_destroy(&walk);
    bag_generic_destroy(nullptr);
    EXPECT_EQ(bag_generic_token(&walk, &next), ocamp::rc_bad_handle);
    walk = copy;
    EXPECT_EQ(bag_generic_token(&walk, &next), ocamp::rc_bad_handle);
    bag_generic_destroy(&walk);
    EXPECT_EQ(bag_generic_init(nullptr, 0, &walk), ocamp::rc_invalid_argument);
    EXPECT_EQ(bag_generic_init(bytes.data(), static_cast<std::uint32_t>(bytes.size()), nullptr),
              ocamp::rc_invalid_argument);
    EXPECT_EQ(bag_generic_init(bytes.data(), 0, &walk), ocamp::rc_malformed_record);
    EXPECT_EQ(walk.state, nullptr);
}

TEST(BagSeam, AFreedTokenHoldsNoText) {
    OpenWalk walk(ocamp::encode_bag(record_of({token(BagType::text, "n", std::string("v"))})));
    bag_token_td next = walk.next();
    bag_generic_free_token_allocations(&next);
    EXPECT_EQ(next.name, nullptr);
    EXPECT_EQ(next.value.first.text, nullptr);
    EXPECT_EQ(next.type, static_cast<bag_token_type_td>(BAG_TOKEN_TEXT));
    bag_generic_free_token_allocations(nullptr);
}

TEST(BagSeam, AMalformedRecordIsToldInTheDebugLog) {
    const support::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "log";
    {
        const ocamp::LogSession session({file.string(), 0, ""});
        EXPECT_EQ(walk_through_seam(sealed({11, 0, 18})), ocamp::rc_malformed_record);
    }
    EXPECT_EQ(support::read_file(file),
              "ERR: platform: bag_generic_token: offset 30: token type 11, expected 0 to 10 or 12 to 18\n");
}

TEST(BagSeam, AnAddressIsWrittenInDots) {
    char text[16];
    EXPECT_EQ(inet_ntoa_r(htonl(0xffffffffU), text), text);
    EXPECT_STREQ(text, "255.255.255.255");
    EXPECT_EQ(inet_ntoa_r(0, nullptr), nullptr);
}

} // namespace
